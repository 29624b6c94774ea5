#!/bin/bash
# Checks that the manual is well-formed and names what the sources name, and nothing else.
set -eu -o pipefail
cd "$(dirname "$0")/.."
command=doc/tavrogen.8 settings=doc/tavrogen-settings.5
status=0

# same WHAT IN_SOURCES IN_MANUAL: two lists of names.
same() {
    [ -n "$2" ] || { echo "no $1 found in the sources"; status=1; }
    diff -u --label "$1 in the sources" --label "$1 in the manual" \
        <(sort -u <<<"$2") <(sort -u <<<"$3") || status=1
}

mandoc -T lint -W warning $command $settings doc/tavrogen-{access,lint}.8 || status=1

same "options" \
    "$(grep -oP 'getopt\(argc, argv, "\K[a-z:]+' cmd/main.cpp | tr -d : | grep -o .)" \
    "$(grep '^\.It Fl' $command | sed 's/^.It Fl//; s/ Ar.*//' | grep -o '[a-z]')"

same "services" \
    "$(grep -oP '\{"\K[a-z]+(?=", make_)' cmd/actions.cpp)" \
    "$(grep -oP '^\.It Cm \K.*' $command)"

wrapper='(load_switch|LoadConfFile[A-Za-z]+)\(([a-z_]+, |"/[^"]*", )?'
same "keys" \
    "$(grep -ohP "$wrapper\"\K[^\"/]+(?=\")" conf/*.cpp writers/*.cpp
       grep -ohP 'snprintf\((key|name), [^"]*"\K[^"]*%d[^"%]*(?=")' conf/*.cpp | sed 's/%d/N/'
       grep -oP '^ +(own|shared)\.load\("\K[^"]+' conf/load_config_iscsi.cpp |
           sed 's/^/iscsi_deviceN_/')" \
    "$(grep -oP '^\.It Va \K.*' $settings)"

# The files that are opened, by name or, under /etc/korvel, by the name in that folder.
files=$(grep -ohP '"\K/(etc|proc|tmp)/[^"%]*(?=(%d)?")' conf/*.cpp util/*.cpp writers/*.cpp)
for file in $files; do
    name=${file#/etc/korvel/}
    grep -qE "(^|[ /])${name//./\\.}( |$|1)" $command || { echo "$command lacks $file"; status=1; }
done
exit $status
