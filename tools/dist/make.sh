#!/bin/sh
# Makes the release of the commit that is checked out, in build/dist. The same commit gives the same bytes: everything
# carries the commit's time, in a fixed order. Needs the three builds whose presets end in -dist, and the documents.
set -eu
cd "$(dirname "$0")/../.."
umask 022
export LC_ALL=C TZ=UTC
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH

dist=$PWD/build/dist
stage=$dist/stage
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' build/linux-dist/CMakeCache.txt)
rm -rf "$dist"
mkdir -p "$stage"

# files DIRECTORY: its files in order, all as old as the commit.
files() {
    find "$1" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
    find "$1" ! -type d | sort
}

pack_zip() { (cd "$stage" && files "$1" | zip -q -X -@ "$dist/$1.zip"); }
pack_tar() {
    (cd "$stage" && files "$1" | tar -c --owner=0 --group=0 --numeric-owner -T -) | gzip -n9 >"$dist/$1.tar.gz"
}

# pack_map LIBRARY DIRECTORY: the linker's map, without the folder that it was built in.
pack_map() { sed "s|$PWD/||" "$1.map" >"$2/$(basename "$1").map"; }

# Windows: both libraries side by side, all else once.
windows=kalmarble-$version-windows
symbols=kalmarble-$version-symbols
for bits in 32 64; do
    mkdir -p "$stage/$windows/win$bits" "$stage/$symbols/win$bits"
    cp "build/win$bits-dist/libkalmarble/KALMarble.dll" "build/win$bits-dist/libkalmarble/libKALMarble.dll.a" \
        "$stage/$windows/win$bits"
    cp libkalmarble/Exports.def "$stage/$windows/win$bits/KALMarble.def"
    cp "build/win$bits-dist/libkalmarble/KALMarble.dll.debug" "$stage/$symbols/win$bits"
    pack_map "build/win$bits-dist/libkalmarble/KALMarble.dll" "$stage/$symbols/win$bits"
done
mkdir -p "$stage/$windows/include" "$stage/$windows/examples" "$stage/$symbols/linux"
cp include/KALMarble.h "$stage/$windows/include"
cp examples/kal_*.h examples/minimal_host.c examples/sdl_host.c examples/circling_host.cpp "$stage/$windows/examples"
cp -r build/docs/html "$stage/$windows/docs"
cp LICENSE NOTICE "$stage/$windows"
sed "s/VERSION/$version/" tools/dist/windows.txt >"$stage/$windows/README.txt"
pack_zip "$windows"

# Linux: where a prefix is unpacked, and Debian's packages, whose libraries lie where Debian's do.
linux=kalmarble-$version-linux
for component in runtime development; do
    cmake --install build/linux-dist --component $component --prefix "$stage/$linux" >/dev/null
done
rm -r "$stage/$linux"/share/doc/libkalmarble* # the packages' own
pack_tar "$linux"
cmake --preset linux-dist -DCMAKE_INSTALL_LIBDIR="lib/$(gcc -print-multiarch)" >/dev/null
cpack -G DEB --config build/linux-dist/CPackConfig.cmake -B "$dist/packages" >"$dist/packages.log" ||
    { cat "$dist/packages.log" >&2; exit 1; }
mv "$dist"/packages/*.deb "$dist"
cmake --preset linux-dist -DCMAKE_INSTALL_LIBDIR=lib >/dev/null

cp "build/linux-dist/libkalmarble/libKALMarble.so.$version.debug" "$stage/$symbols/linux"
pack_map "build/linux-dist/libkalmarble/libKALMarble.so.$version" "$stage/$symbols/linux"
pack_zip "$symbols"

rm -rf "$stage" "$dist/packages" "$dist/packages.log"
(cd "$dist" && sha256sum ./* >SHA256SUMS)
ls -l "$dist"
tools/dist/needs.sh build/win32-dist/libkalmarble/KALMarble.dll build/win64-dist/libkalmarble/KALMarble.dll \
    build/linux-dist/libkalmarble/libKALMarble.so
