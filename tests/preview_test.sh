#!/bin/bash
# Tests scripts/preview with PROGRAM: what it says, its status, and that the root stays as it was.
# PART is usual, busybox (its tools alone) or checkers (the services' own).
set -eu
program=$1 kind=$2
top=$(cd "$(dirname "$0")/.." && pwd)
scratch=$(mktemp -d)
trap 'chmod -R u+rwX "$scratch" && rm -rf "$scratch"' EXIT
root="$scratch/a root, with a comma"
machine=(--host nas --eth0 '02:00:5e:10:00:01,192.0.2.10/24')
names=(samba proftpd atalk syslog iscsi nfs)
tools=() # what preview is run by: for one, with fewer rights or with other tools

fresh_root() {
    chmod -R u+rwX "$scratch" && rm -rf "$root" && cp -r "$top/examples/appliance" "$root"
}
picture() {
    (cd "$root" && find . -exec ls -ldi --time-style=full-iso {} + -type f -exec cksum {} +) 2>&1 ||
        true # a folder may be closed
}
preview() { "${tools[@]}" "$top/scripts/preview" --program "$program" --root "$root" "$@"; }
run() {
    "$top/scripts/sandbox" "${machine[@]}" "$root" "$program" "${names[@]/#/-c}" &>"$scratch/log"
}

# expect STATUS WORDS COMMAND...: the words, a pattern, are in a line of what the command says.
expect() {
    local status=0 before after
    before=$(picture)
    "${@:3}" >"$scratch/shown" 2>"$scratch/messages" || status=$?
    after=$(picture)
    diff <(echo "$before") <(echo "$after") && [ $status -eq "$1" ] &&
        ! grep -n "/sys/" "$scratch/shown" &&
        grep -q -e "$2" "$scratch/shown" "$scratch/messages" && return
    echo "expect $*: status $status" && cat "$scratch/shown" "$scratch/messages" && exit 1
}

if [ "$kind" = checkers ]; then
    fresh_root
    run
    expect 0 '^known: .*CharsetLocal' preview "${machine[@]}" --check "${names[@]}"
    for checker in testparm proftpd rsyslogd tavrogen-lint; do
        grep -q "^=== $checker" "$scratch/shown" || { echo "no $checker"; exit 1; }
    done
    ! grep 'is not installed' "$scratch/shown" || exit 1
    sed -i '1i syslog_forward_target=' "$root/etc/korvel/info"
    expect 3 '^rsyslogd: .*invalid character' preview --check syslog
    exit
fi
if [ "$kind" = busybox ]; then
    mkdir "$scratch/busybox"
    for tool in $(busybox --list); do ln -s "$(command -v busybox)" "$scratch/busybox/$tool"; done
    tools=(env "PATH=$scratch/busybox" sh)
fi

fresh_root
expect 1 '^+++ b/etc/exports' preview "${machine[@]}" "${names[@]}"
[ "$(grep -c '^+++ b/etc/' "$scratch/shown")" -eq 12 ]
run
expect 0 '^# .duplex' preview "${machine[@]}" "${names[@]}"
sed -i 's/<>Staff handbook<>/<>New<>/' "$root/etc/korvel/shareinfo"
expect 1 comment preview "${machine[@]}" "${names[@]}"
diff <(grep '^[-+]' "$scratch/shown") - <<'END'
--- a/etc/samba/smb.conf
+++ b/etc/samba/smb.conf
-    comment = Staff handbook(Read Only)
+    comment = New(Read Only)
END
tools=()
[ "$kind" = usual ] || exit 0

# Root, too, reads here only what the mode of a file lets it read. A user is root over the own files.
limited=()
[ "$(id -u)" != 0 ] || limited=(setpriv '--bounding-set=-dac_override,-dac_read_search')
# One row: status | words | what is done in the root | arguments
while IFS='|' read -r status words change arguments; do
    [ "$(id -u)" = 0 ] || [ "${words%%.*}" != 'not readable' ] || continue
    fresh_root
    (cd "$root" && eval "$change")
    tools=("${limited[@]}")
    # shellcheck disable=SC2086 # a list of arguments
    expect "$status" "$words" preview $arguments
done <<'END'
0|^usage: preview ||--help
2|unknown service sambaa||samba sambaa
2|unknown option --chekc||--chekc samba
2|--host needs a value||samba --host
2|no service is named||--check
2|no such folder: none||nfs --root none
2|not a program: /etc/passwd||--program /etc/passwd nfs
2|must be static||--program /bin/true nfs
1|^+    netbios name = other||samba --host other
1|^bob, carol, erika: accounts over SMB: nothing -> read$||--access samba
2|tavrogen-access: .*/etc/samba/smb.conf: Is a directory|mkdir etc/samba/smb.conf|--access samba
1|host name .* (this machine), eth0 .* (this machine)||nfs
1|host name far (the root.s etc/hostname), eth0 02:00:5e:00:00:02 (--eth0)|echo far >etc/hostname|nfs --eth0 02:00:5e:00:00:02,192.0.2.9/24
2|no appliance here|rm -r etc/korvel|nfs
2|not readable.*etc/korvel$|chmod 0 etc/korvel|nfs
2|not readable.*korvel/info|chmod 0 etc/korvel/info|syslog
2|not readable.*pvlistconfig|chmod 0 tmp/pvlistconfig|iscsi
2|not readable.*etc/group|chmod 0 etc/group|proftpd
2|not readable.*etc/vantor_exp|chmod 0 etc/vantor_expansion_firmware|proftpd
2|not readable.*etc/exports|echo >etc/exports && chmod 0 etc/exports|nfs
1|^+/mnt/array1/public |mkdir -p var/etc && ln -s /var/etc/exports etc/exports|nfs
1|^-old|mkdir var && echo old >var/exports && ln -s ../../../var/exports etc/exports|nfs
1|^+/mnt/array1/public |mv etc/korvel config && ln -s /config etc/korvel|nfs
1|^+/mnt/array1/public |mkdir config && mv etc config && ln -s config/etc etc|nfs
1|^+/mnt/array1/public |mkdir -p etc/tavrogen etc/.preview|nfs
2|cannot open /etc/exports|ln -s /var/exports etc/exports|nfs
2|too many links|ln -s exports etc/exports|nfs
2|too large to be copied|head -c 17000000 /dev/zero >mnt/image && ln -s ../mnt/exports etc/exports|nfs
2|^+    comment = Staff handbook|mkdir etc/pam_smb.conf|samba
2|tavrogen -c iscsi failed|mkdir etc/ietd.conf|iscsi
2|a device, pipe or socket.*etc/exports$|mkfifo etc/exports|nfs
2|a device, pipe or socket.*etc/exports$|ln -s ../node etc/exports; if ! mknod node b 7 7 2>/dev/null; then mkfifo node; fi|nfs
END
tools=()

# To a terminal nothing is printed that could steer it.
fresh_root
sed -i $'s/<>Staff handbook<>/<>\e]2;a\xc2\x9b\xe2\x80\xaeb\xc3\xa9<>/' "$root/etc/korvel/shareinfo"
expect 1 $'^+    comment = \e]2;a\xc2\x9b\xe2\x80\xaeb' preview samba
expect 1 $'^+    comment = ?]2;a??b\xc3\xa9' script -qec "$(printf '%q ' \
    "$top/scripts/preview" --program "$program" --root "$root" samba)" /dev/null

# Mounts of its own: this machine's root with an appliance's etc over its own, in which the settings
# and a file are mounted; and a full disk, of which the writer says nothing and the preview does.
own_root=(--map-root-user)
[ ! -O / ] || own_root=()
apart() { unshare "${own_root[@]}" --mount bash -euc "$@"; }
fresh_root
# shellcheck disable=SC2016 # expanded there
expect 1 '^+/mnt/array1/public ' apart 'mount --bind "$1/etc" /etc && mount --bind "$1/etc/korvel" /etc/korvel &&
    mount --bind "$1/etc/group" /etc/group && shift && "$@"' - \
    "$root" "$top/scripts/preview" --program "$program" nfs
# shellcheck disable=SC2016
apart 'root=$1 program=$2 top=$3
    run() { "$top/scripts/sandbox" --host nas "$root" "$program" -c samba; }
    preview() { "$top/scripts/preview" --program "$program" --root "$root" --host nas samba; }
    mount -t tmpfs -o size=32k tmpfs "$root/etc/samba"
    head -c 28k /dev/zero >"$root/etc/samba/other"
    run && status=0 && { preview || status=$?; } && [ $status -eq 1 ]
    [ -s "$root/etc/samba/smb.conf" ] && rm "$root/etc/samba/other"
    run && preview' - "$root" "$program" "$top" &>"$scratch/log" ||
    { echo "a full disk:" && cat "$scratch/log" && exit 1; }
