#!/bin/bash
# Checks that the packages are built, the same ones elsewhere, that they pass lintian, and that they
# install programs that run, with their manual.
set -eu
cd "$(dirname "$0")/.."
PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin
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

SOURCE_DATE_EPOCH=$(git -c safe.directory='*' log -1 --format=%ct 2>/dev/null || date +%s)
export SOURCE_DATE_EPOCH
DIST=$scratch scripts/package
copy="$scratch/another path"
mkdir "$copy"
tar -c --exclude='./build*' --exclude=./dist --exclude=./.git . | tar -x -C "$copy"
(umask 077 && TZ=Asia/Tokyo DIST=$copy "$copy/scripts/package" release >/dev/null)
native=$(dpkg --print-architecture)
cmp "$scratch"/tavrogen_*_"$native".deb "$copy"/tavrogen_*.deb

for architecture in "$native" armhf armel; do
    root=$scratch/$architecture
    mkdir -p "$root/var/lib/dpkg/updates" "$root/var/lib/dpkg/info"
    touch "$root/var/lib/dpkg/status" "$root/var/lib/dpkg/available"
    dpkg --root="$root" --log=/dev/null --force-architecture --force-not-root \
        --force-script-chrootless --install "$scratch"/tavrogen_*_"$architecture".deb
    [ "$(dpkg --root="$root" --verify tavrogen)" = "" ] || fail "$root: damaged"
    for companion in access lint; do
        [ -x "$root/usr/sbin/tavrogen-$companion" ] || fail "$root: no tavrogen-$companion"
    done
    for page in doc/*.[58]; do
        gzip -dc "$root/usr/share/man/man${page##*.}/${page#*/}.gz" | cmp - "$page"
    done
done
runs "$scratch/$native"
QEMU_CPU=cortex-a8 runs "$scratch/armhf" --emulator /usr/bin/qemu-arm-static
QEMU_CPU=arm926 runs "$scratch/armel" --emulator /usr/bin/qemu-arm-static

# The installed preview, with the installed program, and one for another machine.
cp -r examples/appliance "$scratch/appliance"
preview() { "$scratch/$native/usr/sbin/tavrogen-preview" --root "$scratch/appliance" --host nas "$@" nfs; }
! preview >"$scratch/native" || fail "preview finds no difference"
! preview --program "$scratch/armel/usr/sbin/tavrogen" --emulator /usr/bin/qemu-arm-static \
    >"$scratch/emulated" || fail "preview finds no difference"
grep -q '^+++ b/etc/exports' "$scratch/native" && cmp "$scratch/native" "$scratch/emulated"
