#!/bin/sh
# The demo: renders the scene in three rooms, natively and as the Windows build under Wine, compares the two and draws
# what either ear gets. Needs both builds; run it through `make demo`.
set -eu
cd "$(dirname "$0")/../.."
linux=build/linux
windows=build/win32
out=build/demo
wav=$linux/tools/demo/demo_wav

"$wav" import "$out/sounds" /usr/share/sounds/alsa/*.wav
for room in dry small hall; do
    mkdir -p "$out/$room"
    "$linux/tools/demo/demo_host" "$linux/libkalmarble/libKALMarble.so" "$out/sounds" "$out/$room/linux" --room "$room"
    tools/wine.sh "$windows/tools/demo/demo_host.exe" "$windows/libkalmarble/KALMarble.dll" "$out/sounds" \
        "$out/$room/windows" --room "$room"
    "$wav" export "$out/$room/linux"
    "$wav" export "$out/$room/windows"
    "$wav" compare "$out/$room/linux" "$out/$room/windows"
    gnuplot -c tools/demo/scene.gp "$out/$room"
done
gnuplot -c tools/demo/decay.gp "$out"

echo
echo "Listen:  $out/dry/linux.wav  $out/small/linux.wav  $out/hall/linux.wav  (headphones; windows.wav beside each)"
echo "Look at: $out/small/scene.png and its likes, $out/decay.png"
