#!/bin/sh
# Lets every fuzzer look for inputs that break it, one after the other, and stops at the first that finds one. New inputs
# gather in build/corpus-NAME; one that breaks something is written to build/fuzz-NAME-....
#   run.sh SECONDS      for each fuzzer
set -eu
cd "$(dirname "$0")/../.."

for fuzzer in build/linux-fuzz/tests/fuzz/fuzz_*; do
    name=${fuzzer##*/fuzz_}
    length=4096
    [ "$name" != host ] || length=600 # its threads make it slow
    mkdir -p "build/corpus-$name"
    echo "== $fuzzer"
    "$fuzzer" -max_total_time="$1" -max_len="$length" -rss_limit_mb=2048 -verbosity=0 -print_final_stats=1 \
        -artifact_prefix="build/fuzz-$name-" "build/corpus-$name" "tests/fuzz/corpus/$name"
done
