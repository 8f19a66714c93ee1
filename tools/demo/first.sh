#!/bin/sh
# What the demo can show as soon as the Linux build is there: the scene to a sound file and a picture.
set -eu
cd "$(dirname "$0")/../.."
out=build/demo
mkdir -p "$out"
build/linux/tools/kalrender/kalrender scenes/walk.json -o "$out/walk.wav" --plot "$out/walk.png"
echo "Listen already: $out/walk.wav (headphones)"
