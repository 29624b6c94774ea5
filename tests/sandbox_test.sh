#!/bin/bash
# Tests scripts/sandbox with PROGRAM: the root is as it was afterwards, whatever ends the run.
set -eu -m # with -m, what runs behind can be interrupted
program=$1
top=$(cd "$(dirname "$0")/.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
root="$scratch/a root"
mkdir "$root"

# expect STATUS WHAT: the status is that, and the root holds nothing but what it held.
expect() {
    local found
    found=$(cd "$root" && find . -mindepth 1 -exec cksum {} + 2>&1)
    [ "$status" -eq "$1" ] && [ "$found" = "$held" ] && return
    printf '%s: status %s, in the root:\n%s\n' "$2" "$status" "$found" && exit 1
}
run() { status=0 && "$top/scripts/sandbox" "$root" "$@" >"$scratch/out" 2>&1 || status=$?; }

held=''
run "$program" -x
expect 255 'an ordinary run'
grep -q "^tavrogen: invalid option" "$scratch/out"
run "$scratch/none"
expect 125 'no program'
run /bin/sh # it has no libraries there
expect 125 'a dynamic program'

many=()
for ((i = 0; i < 1000; ++i)); do many+=(-v); done # what it prints fills the pipe, and it waits
for signal in HUP INT TERM; do
    "$top/scripts/sandbox" "$root" "$program" "${many[@]}" > >(exec sleep 9 &>/dev/null) &
    for ((i = 0; i < 200; ++i)); do [ ! -e "$root/tavrogen" ] || break; sleep 0.05; done
    [ -e "$root/tavrogen" ] && kill -$signal $!
    status=0 && wait $! || status=$?
    expect $((128 + $(kill -l $signal))) "$signal"
done

echo mine >"$root/tavrogen"
held=$(cd "$root" && cksum ./tavrogen)
run "$program"
expect 255 'a file of its name'
