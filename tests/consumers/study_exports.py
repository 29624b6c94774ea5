"""exportfs against tavrogen-lint's findings on NFS."""
import ipaddress
import os
import pathlib
import re
import sys

import study
from appliance import ETC, run
from study import ROOT, Misreading, Tally, as_text, listed, setting

EXPORTED = pathlib.Path("/var/lib/nfs/etab")


def network(text):
    """An IP network, or nothing; its mask may have a sign and zeros, as for strtoul(3)."""
    address, slash, mask = text.partition("/")
    if re.fullmatch(r"\+?\d+", mask):
        mask = str(int(mask))
    try:
        return ipaddress.ip_network(address + slash + (mask or "0") * bool(slash), strict=False)
    except ValueError:
        return None


def exported():
    """What exportfs makes of the written file: tuples of path, clients, whether they may write."""
    (ETC / "exports").write_bytes((ROOT / "etc/exports").read_bytes())
    EXPORTED.write_text("")
    run("exportfs", "-r", errors="replace")
    found = set()
    for line in as_text(EXPORTED.read_bytes()).split("\n")[:-1]:
        path, clients = line.split("\t", 1)
        clients, options = clients.rsplit("(", 1)
        plain = [re.sub(r"\\([0-7]{3})", lambda match: chr(int(match[1], 8)), text)
                 for text in (path, clients)]
        found.add((*plain, "rw" in options.split(",")))
    return found


def switched_on(text):
    """True when strtol(3) with base 0 reads a 1."""
    number = re.match(r"\s*\+?(0[xX][0-9a-fA-F]+|\d+)", text[:15])
    return bool(number) and int(number[1], 16 if number[1][:2] in ("0x", "0X") else 10) == 1


def exported_shares():
    """Name and folder of each share that is to be exported."""
    def cut(text, room):
        return as_text(text.encode("utf-8", "surrogateescape")[:room])

    names = {cut(fields[0], 59) for fields in listed("shareinfo.vfs")
             if len(fields) > 3 and switched_on(fields[3])}
    for name, volume in ((cut(line[0], 59), cut(line[1], 15))
                         for line in listed("shareinfo") if len(line) > 1):
        if name in names and volume:
            yield name, f"/mnt/{volume}/{name}"


def misreadings():
    address, mask = (setting("nfs_info", key).strip(" \t\r")
                     for key in ("nfs_networkaddress", "nfs_subnetmask"))
    meant = network(f"{address}/{mask}") if mask else None
    left, folders, found = exported(), set(), []
    for name, folder in exported_shares():
        parts = [part for part in name.split("/") if part]
        path = os.path.normpath(folder)
        as_meant = {entry for entry in left if os.path.normpath(entry[0]) == path and entry[2]
                    and meant and network(entry[1]) == meant}
        if not parts or "." in parts or ".." in parts:
            found.append(Misreading(name, True, f"{path} for {folder}"))
            continue
        folders.add(path)
        if not as_meant:
            found.append(Misreading(name, None, f"{folder} is not exported"))
    for path, clients, writable in left:
        everybody = clients in ("", "*")
        some = network(clients)
        if not everybody and not some and (
                "/" in clients or not set("*?[") & set(clients)):
            continue  # nobody, or a host whose name nobody here knows
        inside = some and meant and some.version == meant.version and some.subnet_of(meant)
        if not inside or os.path.normpath(path) not in folders:
            found.append(Misreading(path, True, f"for {clients or 'everybody'}, {writable=}"))
    return found


def measure(kinds, seeds):
    tally = Tally()
    for kind in kinds:
        for seed in seeds:
            study.write_drawn(kind, seed, "nfs")
            run("mount", "--bind", ROOT / "mnt", "/mnt").check_returncode()
            tally.add(f"{kind} {seed}", misreadings(), study.findings("NFS"))
            run("umount", "/mnt").check_returncode()
    return tally


if __name__ == "__main__":
    result = measure(("plain", "plausible", "wild"), range(int(sys.argv[1])))
    print(*map(ascii, result.wrong), result, sep="\n")
