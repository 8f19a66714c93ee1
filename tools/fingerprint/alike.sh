#!/bin/sh
# Holds 300 random programs in WebAssembly to within 150 dB of what they sound like natively, with the kernels of four
# lanes: `make ports`. Sensible programs are within 560 dB. What remains of a gain below 1e-30, which WebAssembly
# forgets and others do not, is heard with samples of 1e30 and more: the seeds 1001 ... 3000 have some of those.
set -eu
cd "$(dirname "$0")/../.."
fingerprint=tools/fingerprint/fingerprint
samples=$(mktemp)
trap 'rm -f "$samples"' EXIT

node --no-warnings tools/wasi.mjs build/wasm-release/$fingerprint.wasm --table SIMD128 --samples >"$samples"
build/linux-release/$fingerprint --table SSE2 --against <"$samples"
