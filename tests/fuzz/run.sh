#!/bin/sh
# Lets every fuzzer look for inputs that break it, all at once; what each says follows in order. New inputs gather in
# build/corpus-NAME; one that breaks something is written to build/fuzz-NAME-....
#   run.sh SECONDS
set -eu
cd "$(dirname "$0")/../.."

running=""
for fuzzer in build/linux-fuzz/tests/fuzz/fuzz_*; do
    name=${fuzzer##*/fuzz_}
    length=4096
    [ "$name" != host ] || length=600 # its threads make it slow
    mkdir -p "build/corpus-$name"
    "$fuzzer" -max_total_time="$1" -max_len="$length" -rss_limit_mb=2048 -verbosity=0 -print_final_stats=1 \
        -artifact_prefix="build/fuzz-$name-" "build/corpus-$name" "tests/fuzz/corpus/$name" >"build/fuzz-$name.log" 2>&1 &
    running="$running $!:$name"
done

status=0
for fuzzer in $running; do
    wait "${fuzzer%%:*}" || status=1
    echo "== fuzz_${fuzzer#*:}"
    cat "build/fuzz-${fuzzer#*:}.log"
done
exit $status
