#!/bin/sh
# Prints how many lines of code there are, without blank ones and comments, and what share of them tests are: those in
# tests/ and in the tests of tools. Fails when that is more than a third.
set -eu
cd "$(dirname "$0")/../.."
languages="C,C++,C/C++ Header,Assembly,CMake,make,Python,Bourne Shell,Bourne Again Shell,JavaScript,TypeScript,HTML,CSS"
tests='^tests/|^tools/.*([Tt]ests?/|[Tt]est\.|test_)'

# lines_in: the lines of code in the files that are listed on the input.
lines_in() {
    files=$(mktemp)
    cat >"$files"
    cloc --quiet --csv --list-file="$files" --include-lang="$languages" | awk -F, '$2 == "SUM" { print $NF }'
    rm "$files"
}

all=$(git ls-files | lines_in)
test=$(git ls-files | grep -E "$tests" | lines_in)
echo "$all lines of code, $test of them tests: $((test * 1000 / all / 10)).$((test * 1000 / all % 10)) %"
[ $((test * 3)) -le "$all" ] || { echo "lines: tests are more than a third of it" >&2; exit 1; }
