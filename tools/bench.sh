#!/bin/sh
# Runs every benchmark and keeps what they print in build/bench: scenes natively (beside another renderer) and as the
# 32-bit Windows build, then the kernels, each as text and as JSON.
#   bench.sh [brief]      brief: only shows that all of it runs, with results that say nothing in build/bench-brief
set -eu
cd "$(dirname "$0")/.."
out=build/bench
scenes=""
kernels=""
if [ "${1:-}" = brief ]; then
    out=build/bench-brief
    scenes="--voices 1,8 --blocks 10"
    kernels="--benchmark_min_time=0.001"
fi
mkdir -p "$out"

{
    grep -m1 'model name' /proc/cpuinfo
    grep -m1 'cpu MHz' /proc/cpuinfo
    echo "load before: $(cut -d' ' -f1-3 /proc/loadavg)"
} | tee "$out/machine.txt"

# scene ARGUMENTS...: the scenes natively; of an option given twice, the latter counts.
# shellcheck disable=SC2086 # lists of words on purpose
scene() { build/linux-bench/bench/kal_scene "$@" $scenes; }
echo "== scenes, Linux"
scene | tee "$out/scenes-linux.txt"
echo "== a scene of ten minutes"
scene --alone --threads 1 --motion sends --voices 256 --blocks 60000 | tee "$out/scene-long.txt"
echo "== scenes, Linux, narrow kernels"
scene --kernels SSE2 --threads 1 --motion sends --voices 2000,10000 | tee "$out/scenes-linux-sse2.txt"
echo "== scenes, 32-bit Windows under Wine"
# shellcheck disable=SC2086
tools/wine.sh build/win32-bench/bench/kal_scene.exe --threads 1 --motion sends $scenes | tr -d '\r' | tee "$out/scenes-windows.txt"
echo "== a block that waits, Linux and Windows"
{
    build/linux-bench/bench/kal_waiting
    tools/wine.sh build/win32-bench/bench/kal_waiting.exe | tr -d '\r'
} | tee "$out/waiting.txt"
echo "== kernels, Linux"
# shellcheck disable=SC2086
build/linux-bench/bench/kal_bench --benchmark_out="$out/kernels.json" --benchmark_out_format=json $kernels | tee "$out/kernels.txt"
