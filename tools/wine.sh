#!/bin/sh
# Runs a Windows program under Wine, in a prefix of the build's own and without Wine's diagnostics.
#   wine.sh [--64] PROGRAM [ARGUMENT...]      --64: a 64-bit program
set -eu
bits=32
[ "$1" != --64 ] || { bits=64; shift; }
command -v wine >/dev/null || { echo "wine.sh: Wine is not installed; tools/setup.sh installs it" >&2; exit 1; }
here=$(cd "$(dirname "$0")/.." && pwd)
suffix=${bits#32} # one prefix for either kind
export WINEDEBUG=-all WINEARCH=win$bits WINEPREFIX="${KAL_WINEPREFIX:-$here/build/wine}$suffix"
export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe="
mkdir -p "$WINEPREFIX"
# The first start makes the prefix, which takes seconds; programs that are started meanwhile wait for it.
# shellcheck disable=SC2016 # the inner shell expands it
[ -e "$WINEPREFIX/made" ] ||
    flock -o "$WINEPREFIX" sh -c '[ -e "$WINEPREFIX/made" ] || { wine wineboot --init && touch "$WINEPREFIX/made"; }' \
        >"$WINEPREFIX/log" 2>&1 </dev/null || { cat "$WINEPREFIX/log" >&2; exit 1; }
exec wine "$@"
