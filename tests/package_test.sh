#!/bin/bash
# Checks that the packages are built, pass lintian, and install a program that runs, with its
# manual.
set -eu
cd "$(dirname "$0")/.."
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() { echo "$*"; exit 1; }

# runs ROOT [OPTION...]: the program prints its usage in that root, and has status 255.
runs() {
    local root=$1 status=0
    shift
    scripts/sandbox "$@" "$root" "$root/usr/sbin/tavrogen" >"$scratch/out" || status=$?
    [ $status = 255 ] || fail "$root: exit status $status"
    grep -qx usage "$scratch/out" || fail "$root: no usage"
}

DIST=$scratch scripts/package

for architecture in amd64 armhf; do
    root=$scratch/$architecture
    mkdir -p "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/info"
    touch "$root/var/lib/dpkg/status" "$root/var/lib/dpkg/available"
    dpkg --root="$root" --log=/dev/null --force-architecture --force-not-root \
        --force-script-chrootless --install "$scratch"/tavrogen_*_$architecture.deb
    [ "$(dpkg --root="$root" --verify tavrogen)" = "" ] || fail "$root: damaged"
    for companion in access lint; do
        [ -x "$root/usr/sbin/tavrogen-$companion" ] || fail "$root: no tavrogen-$companion"
    done
    for page in man8/tavrogen{,-access,-lint}.8 man5/tavrogen-settings.5; do
        gzip -dc "$root/usr/share/man/$page.gz" | cmp - "doc/${page#*/}"
    done
done
runs "$scratch/amd64"
runs "$scratch/armhf" --emulator /usr/bin/qemu-arm-static
