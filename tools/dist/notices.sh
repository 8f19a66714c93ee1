#!/bin/sh
# Prints the notices of what static linking brings into the DLLs, in the words of the packages that it comes from; NOTICE
# ends with them.
set -eu
gcc=/usr/share/doc/gcc-mingw-w64-base/copyright
mingw=/usr/share/doc/mingw-w64-common/copyright

title() { printf '\n%s\n%s\n\n' "$1" "$(echo "$1" | tr -c '\n' '-')"; }

# stanza PATTERN: the text of the stanza that begins with the line, without the marks of its format.
stanza() { awk -v first="$1" '$0 == first && !before { on = 1 } on && !NF { exit } on; { before = NF }' "$mingw" | sed 's/^ \.$//; s/^ //'; }

title "libgcc and libstdc++: GNU General Public License, version 3 or later, with the GCC Runtime Library Exception"
sed -n '/^GCC RUNTIME LIBRARY EXCEPTION$/,/^requirements of the license of GCC\.$/p' "$gcc"
title "mingw-w64 runtime"
stanza "Files: *"
echo
stanza "Files: mingw-w64-crt/gdtoa/*"
echo
stanza "Files: mingw-w64-crt/gdtoa/qnan.c"
echo
stanza "Files: mingw-w64-crt/math/s_erf.c"
title "winpthreads"
stanza "Files: mingw-w64-libraries/winpthreads/*"
stanza "License: expat" | sed 1d
echo
stanza "Files: mingw-w64-libraries/winpthreads/include/pthread.h"
