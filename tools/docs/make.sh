#!/bin/sh
# Makes the documents in build/docs/html and follows their links; run through `make docs`.
set -eu
cd "$(dirname "$0")/../.."
KAL_VERSION=$(sed -n 's/^project(KALMarble VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
export KAL_VERSION
rm -rf build/docs
mkdir -p build/docs
doxygen tools/docs/Doxyfile
tools/docs/links.py build/docs/html
echo "The way in is build/docs/html/index.html"
