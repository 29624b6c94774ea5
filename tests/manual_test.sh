#!/bin/bash
# Checks that the manual names what the program asks for, and nothing else: manual_test.sh PROGRAM
set -eu -o pipefail
program=$(realpath "$1")
cd "$(dirname "$0")/.."
command=doc/tavrogen.8 settings=doc/tavrogen-settings.5
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
status=0

# same WHAT IN_PROGRAM IN_MANUAL: two lists of names.
same() {
    diff -u --label "$1 of the program" --label "$1 in the manual" \
        <(sort -u <<<"$2") <(sort -u <<<"$3") || status=1
}

# run ARG...: both streams of a run.
run() { scripts/sandbox "$root" "$program" "$@" 2>&1 || [ $? = 255 ] || exit 1; }

same "options" \
    "$(for letter in {a..z} {A..Z}; do
        run "-$letter" | grep "invalid option" >/dev/null || echo "$letter"
    done)" \
    "$(grep '^\.It Fl' $command | sed 's/^.It Fl//; s/ Ar.*//' | grep -o '[a-z]')"

services=$(run | sed -n 's/.*-c <\(.*\)>.*/\1/p' | tr '|' '\n')
same "services" "$services" "$(sed -n 's/^\.It Cm //p' $command)"

# Without any setting, the program names every key that it asks for. Some are asked for only where
# there is a disk, a link or a share.
mkdir -p "$root"/etc/{korvel,samba,atalk,proftpd,pam.d}
echo iscsi_device0_target=x >"$root/etc/korvel/iscsi_disks1"
echo share >"$root/etc/korvel/shareinfo"
echo msdfs_link1_name=x >"$root/etc/korvel/msdfs"
# shellcheck disable=SC2046 # a list of words
said=$(run $(sed 's/^/-c /' <<<"$services"))
rm -r "$root"/etc/{samba,atalk,proftpd,pam.d,syslog.conf,ietd.conf,exports}
mkdir "$root"/etc/{syslog.conf,ietd.conf,exports}
# shellcheck disable=SC2046
said+=$'\n'$(run $(sed 's/^/-c /' <<<"$services"))
same "keys" \
    "$(sed -n 's/.*:key=\[\(.*\)\] not found.*/\1/p' <<<"$said" |
        sed 's/^\(array\|disk\|usb_disk\|iscsi_device\|msdfs_link\)[0-9]*/\1N/')
iscsi_deviceN_target" \
    "$(sed -n 's/^\.It Va //p' $settings)"

files=$(sed -n 's/.*not found in \(.*\)\.$/\1/p; s/^file:\(.*\)/\1/p; s/.*an.*[oO]pen *:* //p' <<<"$said")
for file in $(sort -u <<<"$files"); do
    name=${file#/etc/korvel/}
    grep -qE "(^|[ /])${name//./\\.}( |$)" $command ||
        [[ $name =~ ^iscsi_disks[2-9]$ ]] || { echo "$command lacks $file"; status=1; }
done
exit $status
