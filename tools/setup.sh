#!/bin/sh
# Installs what the named groups of packages.txt hold, on Debian 12. Run by the Makefile; says nothing and does nothing
# when all is there. As an ordinary user it goes through sudo.
#   setup.sh [GROUP...]      without a group: all of them
set -eu

list=$(dirname "$0")/packages.txt
groups="$*"
[ $# -gt 0 ] || groups=$(awk '/^[a-z]/ { print $1 }' "$list")

packages=""
for group in $groups; do
    members=$(awk -v group="$group" '$1 == group { $1 = ""; print }' "$list")
    [ -n "$members" ] || { echo "setup: there is no group $group in $list" >&2; exit 2; }
    packages="$packages $members"
done

installed() { dpkg-query -W -f '${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed; }

missing=""
for package in $(echo "$packages" | tr -s ' ' '\n' | sort -u); do
    installed "$package" || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

scratch=$(mktemp -d)
log=$scratch/log
configuration=/dev/null

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

trap 'as_root rm -rf "$scratch"' EXIT

fail() {
    cat "$log" >&2
    echo "setup: $1" >&2
    exit 1
}

# apt ARGUMENTS...: apt-get that asks nothing, removes nothing and writes to the log.
apt() {
    as_root env DEBIAN_FRONTEND=noninteractive APT_CONFIG="$configuration" apt-get -q -y -o Acquire::Retries=3 \
        -o DPkg::Lock::Timeout=120 --no-install-recommends --no-remove "$@" >>"$log" 2>&1
}

# While a mirror is renewed, its i386 index of the security suite can be out of step with the amd64 one. 32-bit Wine then
# finds no libraries of the same versions as the 64-bit ones, which it needs. The release without the security suite is
# consistent, so everything comes from there, even where a security update has to be set back. It is read through a
# configuration of its own that changes no system file.
use_release_only() {
    echo "setup: the security suite is out of step; taking all packages from the release itself"
    configuration=$scratch/apt.conf
    mkdir -p "$scratch/lists/partial"
    cat >"$configuration" <<CONFIGURATION
Dir::Etc::sourcelist "$scratch/release.sources";
Dir::Etc::sourceparts "/dev/null";
Dir::Etc::preferences "$scratch/preferences";
Dir::State::Lists "$scratch/lists";
APT::Get::allow-downgrades "true";
CONFIGURATION
    cat >"$scratch/release.sources" <<SOURCES
Types: deb
URIs: http://deb.debian.org/debian
Suites: bookworm bookworm-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SOURCES
    cat >"$scratch/preferences" <<PREFERENCES
Package: *
Pin: release n=bookworm*
Pin-Priority: 1001
PREFERENCES
    chmod -R a+rX "$scratch"
    apt update
}

command -v apt-get >/dev/null || fail "no apt-get here; please install by hand:$missing"
[ "$(id -u)" -eq 0 ] || command -v sudo >/dev/null || fail "please run tools/setup.sh as root, or install sudo"
echo "setup: installing$missing, which takes some minutes"

case $missing in *:i386*) as_root dpkg --add-architecture i386 ;; esac
apt update || true # a source that nothing here needs may fail; the installation is what decides
# shellcheck disable=SC2086 # a list of words on purpose
apt install $missing || { use_release_only && apt install $missing; } || fail "these packages cannot be installed"
echo "setup: done"
