#!/usr/bin/env bash
# Runs the benchmarks and keeps what they print in build/bench: the machine, then each piece as text, and kernels as JSON.
#   bench.sh [brief] [PIECE...]   brief: only shows that all of it runs, with results that say nothing, in build/bench-brief
# Pieces, all by default:
#   scenes   whole blocks natively, beside another renderer   windows  the same in the 32-bit Windows build under Wine
#   long     a scene of ten minutes                           narrow   further voices with the narrow kernels
#   tables   narrow and wide kernels, in both builds          busy     beside a load on every core, in both builds
#   waiting  as above, a block that waits, also on one CPU    latency  from a call until it is heard, in both builds
#   kernels  each kernel, natively
# shellcheck disable=SC2086 # lists of words on purpose
set -euo pipefail
cd "$(dirname "$0")/.."
out=build/bench
brief="" # options that end a list: of those given twice the latter count
kernel_options=""
starts=40
if [ "${1:-}" = brief ]; then
    shift
    out=build/bench-brief
    brief="--voices 1,8 --blocks 10"
    kernel_options="--benchmark_min_time=0.001"
    starts=1
fi
[ $# -gt 0 ] || set -- scenes windows long narrow tables busy waiting latency kernels
mkdir -p "$out"

# native NAME ARGUMENTS..., wine NAME ARGUMENTS..., both NAME ARGUMENTS...: a benchmark in the builds named.
native() { "build/linux-bench/bench/$1" "${@:2}"; }
wine() { tools/wine.sh "build/win32-bench/bench/$1.exe" "${@:2}" | tr -d '\r'; }
both() { for build in native wine; do echo "-- $build" && $build "$@"; done; }

run() {
    local sends="--alone --motion sends"
    case $1 in
    scenes) native kal_scene $brief ;;
    windows) wine kal_scene $sends $brief ;;
    long) native kal_scene $sends --threads 1 --voices 256 --blocks 60000 $brief ;;
    narrow) native kal_scene $sends --kernels SSE2 --threads 1 --voices 2000,10000 $brief ;;
    tables)
        kernels=SSE2,AVX2
        ! grep -qw avx512bw /proc/cpuinfo || kernels+=,AVX512
        both kal_scene $sends --kernels $kernels --threads 1 --voices 1,64,256,1000,10000 $brief
        ;;
    busy) both kal_scene $sends --busy --voices 1,8,64,256,1000 --blocks 6000 $brief ;;
    waiting)
        both kal_waiting
        echo "on one processor:"
        (taskset -cp 0 "$BASHPID" >/dev/null && both kal_waiting)
        ;;
    latency) both kal_latency $starts ;;
    kernels) native kal_bench --benchmark_out="$out/kernels.json" --benchmark_out_format=json $kernel_options ;;
    *) echo "bench.sh: no piece is called $1" >&2 && return 2 ;;
    esac
}

{
    grep -m1 'model name' /proc/cpuinfo
    grep -m1 'cpu MHz' /proc/cpuinfo
    echo "load before: $(cut -d' ' -f1-3 /proc/loadavg)"
} | tee "$out/machine.txt"
for piece; do
    echo "== $piece"
    run "$piece" | tee "$out/$piece.txt"
done
