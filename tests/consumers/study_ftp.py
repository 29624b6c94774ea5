"""Holds the lint's findings on proftpd.conf against live logins: study_ftp.py COUNT.

By hand only: `run ftp PROGRAM COUNT`. It takes about a second for each appliance.
"""
import os
import re
import sys

import live_ftp
import study
from study import ROOT, Misreading, as_text, listed, setting

READ_ONLY = {"vfat", "msdos", "ntfs"}
NOTHING, READ, WRITE = (False, False), (True, False), (True, True)


def names_in(text):
    return {name.strip(" \t") for name in text.split(",") if name.strip(" \t")}


def number(text):
    digits = re.match(r"\s*([+-]?\d+)", text[:31])
    return int(digits[1]) & 255 if digits else 0


def groups_of_people():
    texts = {name: as_text((ROOT / "etc" / name).read_bytes()) for name in ("passwd", "group")}
    rows = {name: [line.split(":") for line in text.split("\n") if line.count(":") > 2]
            for name, text in texts.items()}
    return {person[0]: {group[0] for group in rows["group"]
                        if person[0] in names_in(group[3]) or person[3] == group[2]}
            for person in rows["passwd"] if person[0] != "root"}


def meant_right(fields, person, groups, full):
    rw_users, rw_groups, ro_users, ro_groups = fields[3:7]

    def among(users, their_groups):
        marks = {name.removeprefix("@") for name in names_in(their_groups)}
        return person in names_in(users) or bool(groups & marks)

    if fields[3:7] == ["all"] * 4:
        return full
    if not any(fields[3:7]):
        return full if person in ("admin", "guest") or "hdusers" in groups else NOTHING
    if among(ro_users, ro_groups):
        return READ
    return full if among(rw_users, rw_groups) else NOTHING


def meant_shares():
    """Of each share: its name, its folder and everybody's rights."""
    people = groups_of_people()
    mounts = dict(line.split(" ")[1:3] for line in (ROOT / "proc/mounts").read_text().splitlines())
    for name, usb in (("shareinfo", False), ("usbshareinfo", True)):
        for line, fields in enumerate(listed(name), 1):
            fields += [""] * 17
            share, volume = (os.fsencode(text)[:size] for text, size in zip(fields, (59, 15)))
            if not volume or (usb and line > 2):
                continue
            medium = mounts.get(f"/mnt/usbdisk{line}", "") if usb else "xfs"
            full = READ if number(fields[12]) or medium in READ_ONLY else WRITE
            served = number(fields[9]) and medium
            rights = {person: meant_right(fields, person, groups, full) if served else NOTHING
                      for person, groups in people.items()}
            is_open = fields[3:7] == ["all"] * 4 and setting("info", "anonyftp") != "off"
            rights["anonymous"] = full if served and is_open else NOTHING
            yield (as_text(share), rights,
                   os.path.normpath(b"/mnt/" + volume + (b"" if usb else b"/" + share)))


def misreadings():
    live_ftp.move_in()
    if not live_ftp.starts():
        return [Misreading("does not start", False, "")]
    names, shares, found = live_ftp.people(), list(meant_shares()), []
    asked = {folder for _, _, folder in shares if os.path.isdir(folder) and b"\r" not in folder}
    others = {folder for folder in live_ftp.folders() if folder.count(b"/") == 3 and
              not any((share + b"/").startswith(folder + b"/") or folder.startswith(share + b"/")
                      for share in asked)} - {b"/mnt/info"}
    live = live_ftp.rights(names, asked | others)
    for share, rights, folder in shares:
        if folder not in asked:
            continue
        more = {person: live[person][folder] for person in names
                if any(got > meant for got, meant in zip(live[person][folder], rights[person]))}
        # Guests may get less; and the anonymous logins are guest's.
        less = {person: live[person][folder] for person in names
                if person not in ("guest", "anonymous") and
                any(got < meant for got, meant in zip(live[person][folder], rights[person]))}
        more = {person: got for person, got in more.items()
                if person != "guest" or "anonymous" in more or "anonymous" not in names}
        if more:
            found.append(Misreading(share, True, more))
        if less and not set(more) - {"guest", "anonymous"}:
            found.append(Misreading(share, False if not more else None, less))
    return found + [Misreading(as_text(folder), True, "no share") for folder in others
                    if any(live[person][folder][0] for person in names)]


def main():
    tally = study.Tally()
    for kind in ("plain", "plausible", "wild"):
        for seed in range(int(sys.argv[1])):
            study.write_drawn(kind, seed, "proftpd")
            tally.add(f"{kind} {seed}", misreadings(), study.findings("FTP"))
    print(*map(ascii, tally.wrong), tally, sep="\n")


if __name__ == "__main__":
    main()
