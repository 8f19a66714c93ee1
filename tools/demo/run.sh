#!/bin/sh
# The demo: renders the scene exactly, by both builds' engines, then plays it through the real libraries, in three rooms,
# natively and under Wine, and draws what either ear gets. Needs both builds; run it through `make demo`.
set -eu
cd "$(dirname "$0")/../.."
linux=build/linux
windows=build/win32
out=build/demo
wav=$linux/tools/demo/demo_wav
table=$out/table
: >"$table"

# row WHAT RUN RUN KIND: a line of the table, how far the second run is from the first
row() { printf '%-46s %9s dB   %s\n' "$1" "$("$wav" compare "$2" "$3")" "$4" >>"$table"; }

mkdir -p "$out/exact"
"$linux/tools/scene/scene_raw" scenes/walk.json "$out/exact/linux.f32"
"$linux/tools/scene/scene_raw" scenes/walk.json "$out/exact/again.f32"
tools/wine.sh "$windows/tools/scene/scene_raw.exe" scenes/walk.json "$out/exact/windows.f32"
row "walk.json, Linux, a second run" "$out/exact/linux" "$out/exact/again" "exact: no difference at all (-120 is the floor)"
row "walk.json, the 32-bit Windows build" "$out/exact/linux" "$out/exact/windows" "exact: the same figure in every run"

# place NAME SED: the scene in another room.
place() {
    mkdir -p "$out/$1"
    sed "$2" scenes/walk.json >"$out/$1/scene.json"
}
place dry '/"room":/d'
place small ''
place hall 's/\("room":.*\)\[.*\]/\1[18, 25, 50]/'
for room in dry small hall; do
    echo "In the room $room:"
    "$linux/tools/demo/demo_host" "$linux/libkalmarble/libKALMarble.so" "$out/$room/scene.json" "$out/$room/linux"
    tools/wine.sh "$windows/tools/demo/demo_host.exe" "$windows/libkalmarble/KALMarble.dll" "$out/$room/scene.json" \
        "$out/$room/windows"
    "$wav" export "$out/$room/linux"
    "$wav" export "$out/$room/windows"
    row "the real libraries, $room, Windows from Linux" "$out/$room/linux" "$out/$room/windows" \
        "follows the clock: on a busy machine sounds start late"
    gnuplot -c tools/demo/scene.gp "$out/$room"
done
gnuplot -c tools/demo/decay.gp "$out"

echo
echo "Distances between renderings, relative to the sound:"
cat "$table"
echo "Exact too: peak and RMS of walk.wav. How many times as fast as it plays follows the clock, everywhere."
echo
echo "Listen:  $out/walk.wav  $out/dry/linux.wav  $out/small/linux.wav  $out/hall/linux.wav  (headphones; windows.wav beside each)"
echo "Look at: $out/walk.png, $out/small/scene.png and its likes, $out/decay.png"
