"""Holds the lint's findings on smb.conf against live smbd: study_samba.py KIND FIRST LAST.

Inside the private machine, with TAVROGEN set to the program.
"""
import os
import re
import sys

import live_samba
import study
from appliance import run
from live_samba import NOTHING, READ, WRITE

FULL = {"0": WRITE, "1": READ}


def names_in(text):
    return [name.strip(" \t") for name in text.split(",") if name.strip(" \t")]


def number(text):
    digits = text.lstrip(" \t\v\f\r")
    sign = digits[:1] in "+-"
    end = sign
    while digits[end:end + 1].isdigit():
        end += 1
    return int(digits[:end]) % 256 if end > sign else 0


class People:
    def __init__(self):
        lines = lambda name: [line.split(":") for line in
                              (study.ROOT / "etc" / name).read_text().splitlines()]
        self.groups = {}
        for name, _, number_, members in lines("group"):
            for member in names_in(members):
                self.groups.setdefault(member, set()).add(name)
            for account in lines("passwd"):
                if account[3] == number_:
                    self.groups.setdefault(account[0], set()).add(name)
        self.names = [account[0] for account in lines("passwd") if account[0] != "root"]


class Meant:
    """A share as the settings mean it."""

    def __init__(self, fields, usb, hidden, position):
        fields = fields + [""] * 16
        cut = lambda text, size: study.as_text(os.fsencode(text)[:size])
        self.name, self.volume = cut(fields[0], 59), cut(fields[1], 15)
        self.comment, self.lists = cut(fields[2], 99), fields[3:7]
        self.served, self.usb = number(fields[7]) != 0, usb
        self.folder = f"/mnt/{self.volume}" + ("" if usb else f"/{self.name}")
        self.read_only = number(fields[12]) != 0
        if usb:
            mounts = [line.split(" ") for line in
                      (study.ROOT / "proc/mounts").read_text().splitlines()]
            kind = [mount[2] for mount in mounts if mount[1] == f"/mnt/usbdisk{position}"]
            self.served = self.served and position <= 2 and bool(kind)
            self.read_only = self.read_only or kind in (["vfat"], ["ntfs"])
        self.client_name = self.name + "$" * (self.name in hidden)
        self.shown = self.comment + "(Read Only)" * self.read_only

    def right(self, people, person):
        full = READ if self.read_only else WRITE
        if self.lists == ["all"] * 4:
            return full
        if person is None:
            return NOTHING
        groups = people.groups.get(person, set())
        if not any(self.lists):
            return full if person in ("admin", "guest") or "hdusers" in groups else NOTHING
        listed = lambda users, listed_groups: (
            person in names_in(users) or
            bool(groups & {name.removeprefix("@") for name in names_in(listed_groups)}))
        rw_users, rw_groups, ro_users, ro_groups = self.lists
        if listed(ro_users, ro_groups):
            return READ
        return full if listed(rw_users, rw_groups) else NOTHING


def meant_shares():
    hidden, known = set(), set()
    for line in study.listed("shareinfo.hidden"):
        name = line[0][:59]
        if name not in known and (line + [""])[1] != "on":
            hidden.add(name)
        known.add(name)
    shares = [Meant(fields, usb, hidden, position)
              for usb, name in ((False, "shareinfo"), (True, "usbshareinfo"))
              for position, fields in enumerate(study.listed(name), 1)
              if len(fields) > 1 and fields[1]]
    return shares


def inside(left, right):
    return (left + "/").startswith(right + "/")


def misread_globals():
    found = []
    for key, limit, parameter, about in (
            ("string", 99, "server string", "the server's description"),
            ("wg", 29, "workgroup", "the workgroup")):
        meant = study.as_text(os.fsencode(study.setting("info", key))[:limit])
        read = run("testparm", "-s", f"--parameter-name={parameter}",
                   errors="surrogateescape").stdout
        variables = key == "string" and re.search("%[A-Zadhijmtvw]", meant)
        shown = meant if key == "string" else meant.upper()  # as Samba spells it
        if f"\n{shown}\n" not in f"\n{read}\n" or variables or meant.strip('"') != meant:
            found.append(study.Misreading(about, False, read[-100:]))
    return found


def misread_root(settings, shares):
    """The root of DFS, which everybody may read."""
    root = lambda key: study.setting("msdfs", "msdfs_root_" + key)
    if study.setting("msdfs", "msdfs_function") != "on" or root("as_link") == "on":
        return []
    got, folder = live_samba.access(settings, None, root("name")[:59])
    exposes = any(got > share.right(None, None) and
                  inside(os.path.normpath(share.folder), folder) for share in shares)
    if exposes or got == NOTHING:
        return [study.Misreading(root("name")[:59], exposes, folder)]
    return []


def misreadings():
    people, shares = People(), meant_shares()
    found = []
    with live_samba.served() as started:
        if not started:
            return [study.Misreading("does not start", False, "")]
        found += misread_globals()
        settings = live_samba.client()
        found += misread_root(settings, shares)
        # The list of shares takes a second: it is not asked for plain texts.
        texts = [share.client_name + share.comment for share in shares]
        plain = all(re.fullmatch(r"(\w| \w)*", text + study.setting("info", "string"), re.A)
                    for text in texts)
        listed = {share.client_name: share.shown for share in shares} if plain else (
            live_samba.comments())
        if listed is None:
            found.append(study.Misreading("can list the shares", False, ""))
        for share in shares:
            there = os.fsencode(f"{study.ROOT}{os.path.normpath(share.folder)}")
            if not share.served or not os.path.isdir(there):
                continue
            wrong = {}
            exposes = False
            for person in [*people.names, None]:
                meant = share.right(people, person)
                got, folder = live_samba.access(settings, person, share.client_name)
                same = not folder or (folder == os.path.normpath(share.folder) and
                                      not {".", ".."} & set(share.folder.split("/")) and
                                      (share.usb or share.name.strip("/")))
                if got != meant or not same:
                    wrong[person] = (meant, got, folder)
                exposes = exposes or got > meant
                if not same:
                    exposes = exposes or any(
                        got > other.right(people, person) for other in shares
                        if other is not share and (inside(folder, os.path.normpath(other.folder)) or
                                                   inside(os.path.normpath(other.folder), folder)))
            if list(wrong) == [None] and wrong[None][1] < wrong[None][0] and not wrong[None][2]:
                wrong = {}
            if wrong:
                found.append(study.Misreading(share.name, exposes, wrong))
            elif listed and listed.get(share.client_name, share.shown) != share.shown:
                found.append(study.Misreading(share.name, False, listed.get(share.client_name)))
    return found


def main():
    kind, first, last = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    live_samba.make_accounts()
    tally = study.Tally()
    for seed in range(first, last):
        study.write_drawn(kind, seed, "samba")
        said = study.findings("SMB")
        tally.add(f"{kind} {seed}", misreadings(), said)
        for case in tally.wrong:
            print(os.fsencode(case).decode("utf-8", "backslashreplace"))
        tally.wrong.clear()
        print(f"{kind} {first} to {seed}: {tally}", end="\n" if seed == last - 1 else "\r",
              flush=True)


if __name__ == "__main__":
    main()
