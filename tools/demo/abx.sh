#!/bin/sh
# Holds every scene, rendered by the 32-bit Windows build under Wine, below -90 dB from the Linux build's rendering:
# `make abx`. Another kernel table adds in another order; what is louder than that is a fault.
#   abx.sh [SCENE...]
set -eu
cd "$(dirname "$0")/../.."
out=build/abx
mkdir -p "$out"
[ $# -gt 0 ] || set -- scenes/*.json

status=0
for scene in "$@"; do
    build/linux/tools/scene/scene_raw "$scene" "$out/linux.f32"
    tools/wine.sh build/win32/tools/scene/scene_raw.exe "$scene" "$out/windows.f32"
    distance=$(build/linux/tools/demo/demo_wav compare "$out/linux" "$out/windows")
    verdict=$(awk -v d="$distance" 'BEGIN { print d < -90 ? "good" : "TOO FAR" }')
    printf '%-24s %7s dB  %s\n' "$scene" "$distance" "$verdict"
    [ "$verdict" = good ] || status=1
done
exit $status
