#!/bin/sh
# Takes what `make dist` made as a new user would: unpacks each archive into an empty place, builds an example against
# it in every way that is offered, and runs it.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
dist=$root/build/dist
here=$(mktemp -d)
trap 'rm -rf "$here"' EXIT
cd "$here"

fail() { echo "dist: $*" >&2; exit 1; }
says() { echo "dist: $*"; }

# expect WHAT ACTUAL EXPECTED
expect() { [ "$2" = "$3" ] || fail "$1 is '$2' where '$3' is due"; }

# cmake_game NAME ARGUMENTS...: configures, builds and runs the game's project.
cmake_game() {
    name=$1
    shift
    {
        cmake -S "$root/tests/dist" -B "$name" -G Ninja -DCMAKE_BUILD_TYPE=Release "$@" &&
            cmake --build "$name" --target game
    } >"$name.log" 2>&1 || { cat "$name.log"; fail "$name: not built"; }
    "$name/game" 0.5 >/dev/null || fail "$name: does not run"
    says "$name: builds and runs"
}

(cd "$dist" && sha256sum --quiet -c SHA256SUMS && [ "$(wc -l <SHA256SUMS)" -eq 5 ]) || fail "the sums are not right"
version=$(basename "$dist"/kalmarble-*-linux.tar.gz | sed 's/kalmarble-\(.*\)-linux.tar.gz/\1/')
major=${version%%.*}

# The Linux archive.
tar xf "$dist/kalmarble-$version-linux.tar.gz"
linux=$here/kalmarble-$version-linux
examples=$linux/share/doc/kalmarble/examples
cmake_game find_package -DCMAKE_PREFIX_PATH="$linux" -DEXAMPLES="$examples"
# shellcheck disable=SC2046 # words on purpose
gcc -std=c99 "$examples/minimal_host.c" $(PKG_CONFIG_PATH=$linux/lib/pkgconfig pkg-config --cflags --libs kalmarble) \
    -lm -ldl -o by_pkg_config
LD_LIBRARY_PATH=$linux/lib ./by_pkg_config "$linux/lib/libKALMarble.so" >/dev/null || fail "pkg-config: does not run"
expect "pkg-config's version" "$(PKG_CONFIG_PATH=$linux/lib/pkgconfig pkg-config --modversion kalmarble)" "$version"
g++ -std=c++17 "$examples/circling_host.cpp" -I"$linux/include" -L"$linux/lib" -lKALMarble -pthread -o by_hand
LD_LIBRARY_PATH=$linux/lib ./by_hand 0.5 >/dev/null || fail "plain line: does not run"
expect "the SONAME" "$(objdump -p by_hand | awk '/NEEDED.*KAL/ { print $2 }')" "libKALMarble.so.$major"
readelf -p .comment "$linux/lib/libKALMarble.so" | grep -q "KALMarble $version" || fail "no version in the Linux library"
[ -f "$linux/share/doc/kalmarble/html/index.html" ] || fail "no documents in the Linux archive"
says "pkg-config and plain line: build and run"

# Debian's packages, installed as dpkg does it, with this system's list of packages but into an empty place.
debian=$here/debian
multiarch=$(gcc -print-multiarch)
mkdir "$debian" "$here/bin"
cp -r /var/lib/dpkg "$here/dpkg"
printf '#!/bin/sh\nexec /sbin/ldconfig -n "%s"\n' "$debian/usr/lib/$multiarch" >"$here/bin/ldconfig"
chmod +x "$here/bin/ldconfig"
dpkg_there() {
    PATH=$here/bin:$PATH:/usr/sbin:/sbin dpkg --admindir="$here/dpkg" --instdir="$debian" --log="$here/dpkg.log" \
        --force-not-root --force-script-chrootless --no-triggers "$@" >/dev/null
}
! dpkg_there -i "$dist/libkalmarble-dev_$version"_*.deb 2>/dev/null || fail "the library is not asked for"
dpkg_there -i "$dist/libkalmarble${major}_$version"_*.deb "$dist/libkalmarble-dev_$version"_*.deb ||
    fail "dpkg does not install the packages"
for package in "libkalmarble$major" libkalmarble-dev; do
    expect "the installed version" "$(dpkg-query --admindir="$here/dpkg" -W -f '${Version}' "$package")" "$version"
    [ -f "$debian/usr/share/doc/$package/copyright" ] || fail "$package: no copyright"
done
dpkg-deb -f "$dist/libkalmarble${major}_$version"_*.deb Depends | grep -q "libc6 (>= 2" || fail "no libc6 is asked for"
cmake_game debian_game -DCMAKE_PREFIX_PATH="$debian/usr" -DCMAKE_LIBRARY_ARCHITECTURE="$multiarch" \
    -DEXAMPLES="$debian/usr/share/doc/kalmarble/examples"
dpkg_there -r libkalmarble-dev "libkalmarble$major" || fail "dpkg does not remove the packages"
expect "what is left of them" "$(find "$debian" ! -type d)" ""
says "Debian's packages come and go"

# The sources, in a game's own project.
cmake_game add_subdirectory -DKAL_SOURCE="$root" -DEXAMPLES="$root/examples"

# Windows, in both widths: a loaded and a linked library.
unzip -q "$dist/kalmarble-$version-windows.zip"
unzip -q "$dist/kalmarble-$version-symbols.zip"
windows=$here/kalmarble-$version-windows
for bits in 32 64; do
    case $bits in
    32) gnu=i686-w64-mingw32 wine="$root/tools/wine.sh" ;;
    64) gnu=x86_64-w64-mingw32 wine="$root/tools/wine.sh --64" ;;
    esac
    lib=$windows/win$bits
    "$gnu"-gcc-posix -std=c99 "$windows/examples/minimal_host.c" -I"$windows/include" -static -o "$lib/minimal.exe"
    "$gnu"-g++-posix -std=c++17 "$windows/examples/circling_host.cpp" -I"$windows/include" "$lib/libKALMarble.dll.a" \
        -static -o "$lib/circling.exe"
    (cd "$lib" && $wine minimal.exe KALMarble.dll >/dev/null && $wine circling.exe 0.5 >/dev/null) ||
        fail "win$bits: does not run"
    "$root/tests/exports/check.sh" "$lib/KALMarble.dll" >/dev/null || fail "win$bits: not well-formed"
    # The resource's texts are in UTF-16.
    tr -d '\000' <"$lib/KALMarble.dll" | grep -aq "ProductVersion.*$version" || fail "win$bits: no version resource"
    objdump -h "$here/kalmarble-$version-symbols/win$bits/KALMarble.dll.debug" | grep -q '\.debug_line' ||
        fail "win$bits: no symbols"
    says "win$bits: builds and runs"
done
[ -f "$windows/docs/index.html" ] || fail "no documents in the Windows archive"

"$root/tools/dist/notices.sh" | tail -n +2 >notices
tail -n "$(wc -l <notices)" "$root/NOTICE" | cmp - notices || fail "NOTICE is not what tools/dist/notices.sh prints"
says "all is well"
