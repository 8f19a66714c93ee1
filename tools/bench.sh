#!/bin/sh
# Runs every benchmark and keeps what they print in build/bench: scenes natively (beside another renderer) and as the
# 32-bit Windows build, then the kernels, each as text and as JSON.
set -eu
cd "$(dirname "$0")/.."
out=build/bench
mkdir -p "$out"

{
    grep -m1 'model name' /proc/cpuinfo
    grep -m1 'cpu MHz' /proc/cpuinfo
    echo "load before: $(cut -d' ' -f1-3 /proc/loadavg)"
} | tee "$out/machine.txt"

scene=build/linux-bench/bench/kal_scene
echo "== scenes, Linux"
"$scene" | tee "$out/scenes-linux.txt"
echo "== a scene of ten minutes"
"$scene" --alone --threads 1 --motion sends --voices 256 --blocks 60000 | tee "$out/scene-long.txt"
echo "== scenes, Linux, narrow kernels"
"$scene" --row SSE2 --threads 1 --motion sends --voices 2000,10000 | tee "$out/scenes-linux-sse2.txt"
echo "== scenes, 32-bit Windows under Wine"
tools/wine.sh build/win32-bench/bench/kal_scene.exe --threads 1 --motion sends | tr -d '\r' | tee "$out/scenes-windows.txt"
echo "== kernels, Linux"
build/linux-bench/bench/kal_bench --benchmark_out="$out/kernels.json" --benchmark_out_format=json | tee "$out/kernels.txt"
