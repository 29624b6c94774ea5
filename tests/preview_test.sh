#!/bin/bash
# Tests scripts/preview with PROGRAM: what it shows, and that the root stays as it was.
set -eu
program=$1
top=$(cd "$(dirname "$0")/.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
names='samba proftpd atalk syslog iscsi nfs'
machine='--host nas --eth0 02:00:5e:10:00:01,192.0.2.10/24'

picture() {
    (cd "$root" && find . -printf '%p %i %m %u %T@ %s %l\n' && find . -type f -exec sha256sum {} +)
}
# expect STATUS COMMAND...: what the command shows is then in $work/shown.
expect() {
    picture >"$work/before"
    status=0
    "${@:2}" >"$work/shown" 2>"$work/messages" || status=$?
    picture | diff "$work/before" - && [ $status -eq "$1" ] && return
    echo "$root: expect $*: status $status" && cat "$work/shown" "$work/messages" && exit 1
}
preview() { "$top/scripts/preview" --program "$program" --root "$root" $machine "$@"; }

# A comma in its path keeps a root from being overlaid: it is copied.
for root in "$work/overlay" "$work/a,copy"; do
    cp -r "$top/examples/appliance" "$root"
    expect 1 preview $names
    [ "$(grep -c '^+++ b/etc/' "$work/shown")" -eq 12 ]
    expect 2 preview foo nfs
    "$top/scripts/sandbox" $machine "$root" "$program" $(printf -- '-c %s ' $names) &>"$work/log"
    expect 0 preview --check $names
    [ "$(sed -n '1s/ .*//p; /tavrogen-lint/,$p' "$work/shown")" = $'===\n=== tavrogen-lint' ]
    for checker in testparm proftpd rsyslogd; do
        grep -q "^=== $checker " "$work/shown" || { echo "no $checker"; exit 1; }
    done
    if [ -n "${CI-}" ] && grep 'is not installed' "$work/shown"; then exit 1; fi

    sed -i 's/<>Staff handbook<>/<>New<>/' "$root/etc/korvel/shareinfo"
    expect 1 preview $names
    diff <(grep '^[-+]' "$work/shown") - <<'END'
--- a/etc/samba/smb.conf
+++ b/etc/samba/smb.conf
-    comment = Staff handbook(Read Only)
+    comment = New(Read Only)
END
    # An output that cannot be opened, after one that can; one that a link leads out of etc.
    rm "$root"/etc/{pam_smb.conf,ietd.conf,exports}
    mkdir "$root"/etc/{pam_smb.conf,ietd.conf}
    ln -s ../tmp/exports "$root/etc/exports"
    expect 2 preview samba
    grep -q '^+    comment = New' "$work/shown"
    expect 2 preview nfs
    expect 2 preview iscsi
done

# This machine's own root: with an appliance's etc mounted over its own.
rm "$root/etc/exports"
expect 1 unshare $([ -O / ] || echo --map-root-user) --mount sh -c \
    'mount --bind "$1" /etc && shift && "$@"' - "$root/etc" "$top/scripts/preview" \
    --program "$program" nfs
[ "$(grep -c '^+/mnt/.* 192.0.2.0/' "$work/shown")" -eq 3 ]
