#!/bin/sh
# Prints what a built library needs of the system that it runs on: of Windows, the functions among its imports that are
# newer than Windows XP, and since when they are there; of Linux, the newest versions of the symbols that it asks for.
#   needs.sh LIBRARY...
set -eu
dir=$(dirname "$0")

for library; do
    case $library in
    *.dll)
        objdump -p "$library" | awk -v name="$library" '
            FILENAME ~ /newer/ { if (!/^#/) since[$1] = $2; next }
            /DLL Name:/ { dlls = dlls " " $3 }
            /^\t[0-9a-f]+\t/ && ($NF in since) { found = found " " $NF " (" since[$NF] ")" }
            END { printf "%s: imports from%s; newer than XP:%s\n", name, dlls, found ? found : " none" }
        ' "$dir/newer-than-xp.txt" -
        ;;
    *)
        symbols=$(objdump -T "$library")
        newest() { echo "$symbols" | grep -o "$1_[0-9][0-9.]*" | sort -Vu | tail -1; }
        echo "$library: $(newest GLIBC) $(newest GLIBCXX) $(newest CXXABI)"
        ;;
    esac
done
