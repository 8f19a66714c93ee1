#!/bin/sh
# Runs a 32-bit Windows program under Wine, with a prefix of the build's own and without Wine's diagnostics.
set -eu
command -v wine >/dev/null || { echo "wine.sh: Wine is not installed; tools/setup.sh installs it" >&2; exit 1; }
here=$(cd "$(dirname "$0")/.." && pwd)
export WINEDEBUG=-all WINEARCH=win32 WINEPREFIX="${KAL_WINEPREFIX:-$here/build/wine}"
mkdir -p "$WINEPREFIX"
exec wine "$@"
