#!/bin/sh
# Puts the stage together as a folder of static files: the page, its scenes, the package. assemble.sh PACKAGE FOLDER
set -eu
cd "$(dirname "$0")/.."
rm -rf "$2"
mkdir -p "$2"
cp -R web/stage/. "$2"
cp scenes/flyover.json "$2/scenes"
cp -R "$1" "$2/kalmarble"
