#!/bin/sh
# Looks at the built library itself: what it exports and, on Windows, what it needs and how large it is. Prints
# every fault.
#   check.sh LIBRARY      a .dll or .so
set -eu
library=$1
faults=0

# expect WHAT ACTUAL EXPECTED: both lists, one word a line, must be equal.
expect() {
    [ "$2" = "$3" ] && return
    echo "fault: $1: $(echo "$2" | tr '\n' ' ')where due: $(echo "$3" | tr '\n' ' ')"
    faults=1
}

case $library in
*.dll)
    headers=$(objdump -p "$library")
    exports=$(echo "$headers" | sed -n '/Ordinal\/Name Pointer/,/^$/s/^[[:space:]]*\[ *[0-9]*\] *//p')
    imports=$(echo "$headers" | sed -n 's/.*DLL Name: //p' | LC_ALL=C sort)
    expect exports "$exports" "KalInitialize"
    expect imports "$imports" "$(printf 'KERNEL32.dll\nmsvcrt.dll')"
    size=$(wc -c <"$library")
    [ "$size" -le 1500000 ] || expect size "$size" "at most 1500000"
    ;;
*)
    exports=$(nm -D --defined-only "$library" | awk '{ print $3 }')
    expect exports "$exports" "KalInitialize"
    ;;
esac

[ "$faults" -eq 0 ] && echo "$library: well-formed"
exit "$faults"
