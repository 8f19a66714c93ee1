#!/bin/sh
# Installs what building, testing and the demo need on Debian 12. Run by the Makefile; does nothing when all is there.
# As an ordinary user it goes through sudo.
set -eu

packages="ca-certificates g++ clang clang-format clang-tidy libclang-rt-14-dev cmake ninja-build git \
g++-mingw-w64-i686-posix googletest libgtest-dev libgmock-dev libbenchmark-dev libsndfile1-dev libfftw3-dev \
libopenal-dev gnuplot-nox alsa-utils"

as_root() { if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi; }

installed() { dpkg-query -W -f '${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed; }

install_packages() {
    missing=""
    for package in $packages; do installed "$package" || missing="$missing $package"; done
    [ -n "$missing" ] || return 0
    echo "setup: installing$missing"
    # A source that this project does not need may fail to refresh; the install below is what decides.
    as_root apt-get -qq update || true
    # shellcheck disable=SC2086 # a list of words on purpose
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends install $missing
}

# The i386 index of the security suite is at times out of step with its amd64 one, which leaves wine32 without a
# matching libc. Then the packages come from the main suite alone, through a configuration that touches no system file.
install_wine_from_main_suite() {
    scratch=$(mktemp -d)
    mkdir -p "$scratch/sources" "$scratch/lists/partial"
    cat >"$scratch/sources/main.sources" <<SOURCES
Types: deb
URIs: http://deb.debian.org/debian
Suites: bookworm bookworm-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SOURCES
    chmod -R a+rX "$scratch"
    options="-o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts=$scratch/sources -o Dir::State::Lists=$scratch/lists"
    # shellcheck disable=SC2086
    as_root apt-get -qq $options update
    # shellcheck disable=SC2086
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends --allow-downgrades $options install wine wine32:i386
    as_root rm -rf "$scratch"
}

install_wine() {
    installed wine32:i386 && command -v wine >/dev/null && return 0
    echo "setup: installing Wine for 32-bit programs"
    as_root dpkg --add-architecture i386
    { as_root apt-get -qq update && as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get -qq -y --no-install-recommends install wine wine32:i386; } || install_wine_from_main_suite
}

install_packages
install_wine
