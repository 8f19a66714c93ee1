#!/bin/sh
# Installs what building, testing and the demo need on Debian 12. Run by the Makefile; says nothing and does nothing when
# all is there. As an ordinary user it goes through sudo.
set -eu

packages="ca-certificates g++ clang clang-format-14 clang-tidy-14 libclang-rt-14-dev cmake ninja-build git \
g++-mingw-w64-i686-posix googletest libgtest-dev libgmock-dev libbenchmark-dev libsndfile1-dev libfftw3-dev \
libopenal-dev gnuplot-nox alsa-utils"

log=$(mktemp)
trap 'rm -f "$log"' EXIT

fail() {
    cat "$log" >&2
    echo "setup: $1" >&2
    exit 1
}

installed() { dpkg-query -W -f '${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed; }

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# apt ARGUMENTS...: apt-get that asks nothing and writes to the log.
apt() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o Acquire::Retries=3 -o DPkg::Lock::Timeout=120 \
        --no-install-recommends "$@" >>"$log" 2>&1
}

# When a mirror is being renewed, the i386 index of the security suite can be out of step with the amd64 one, which
# leaves 32-bit Wine without matching libraries. The main suite alone is then consistent; it is read through a
# configuration of its own that touches no system file.
install_wine_from_main_suite() {
    scratch=$(mktemp -d)
    mkdir -p "$scratch/lists/partial"
    cat >"$scratch/main.sources" <<SOURCES
Types: deb
URIs: http://deb.debian.org/debian
Suites: bookworm bookworm-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SOURCES
    chmod -R a+rX "$scratch"
    echo "setup: the security suite is out of step; installing Wine's libraries from the main suite"
    set -- -o Dir::Etc::sourcelist="$scratch/main.sources" -o Dir::Etc::sourceparts=/dev/null \
        -o Dir::State::Lists="$scratch/lists"
    { apt "$@" update && apt "$@" --allow-downgrades install wine wine32:i386; } || fail "Wine cannot be installed"
    as_root rm -rf "$scratch"
}

missing=""
for package in $packages; do installed "$package" || missing="$missing $package"; done
wine=""
installed wine && installed wine32:i386 || wine="wine wine32:i386"
[ -n "$missing$wine" ] || exit 0

command -v apt-get >/dev/null || fail "no apt-get here; please install by hand:$missing $wine"
[ "$(id -u)" -eq 0 ] || command -v sudo >/dev/null || fail "please run tools/setup.sh as root, or install sudo"
echo "setup: installing$missing $wine, which takes some minutes"

# A source that nothing here comes from may fail to refresh: the installation is what decides.
[ -z "$wine" ] || as_root dpkg --add-architecture i386
apt update || true
# shellcheck disable=SC2086 # a list of words on purpose
[ -z "$missing" ] || apt install $missing || fail "the packages above cannot be installed"
# shellcheck disable=SC2086
[ -z "$wine" ] || apt install $wine || install_wine_from_main_suite
echo "setup: done"
