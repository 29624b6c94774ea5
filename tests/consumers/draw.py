"""Draws random appliances: a sound one, in which some values are then replaced by odd ones.

`plain` replaces none, `plausible` takes values that a web page would accept, `wild` takes
anything that a file can hold. The same kind and seed always give the same appliance.
"""
import argparse
import os
import pathlib
import random

PEOPLE = ["alice", "bob", "carol", "dave", "erika"]
GROUPS = ["staff", "finance", "studio"]
VOLUMES = ["array1", "disk3", "disk4"]
FOLDERS = ["public", "accounts", "projects", "design", "media", "archive", "backup", "photos",
           "scans", "setup", "handbook", "exchange", "music", "sales", "orders", "plans"]
POLICIES = ["manual", "documents", "programs", "disable"]
NAME, VOLUME, COMMENT, LISTS, SWITCHES = 0, 1, 2, slice(3, 7), slice(7, 10)

# What an odd value is taken from: by kind of appliance and kind of value.
ODD = {
    "plausible": {
        "name": ["My Documents", "Old Files", "Fotos 2007", "Büro", "ÄRZTE", "写真", "Общие", "PUBLIC",
                 "Public", "global", "Homes", "printers", "info", "IPC$", "backup$", "R&D", "a.b",
                 "Sales, North", "c++", "100%", "50%u", "draft [old]", "Q&A?", "what's new", "it's",
                 "spool", "lost+found", "usbdisk1", "no#1", "a;b", "{new}", "x=y", "@home", "~tmp",
                 "a folder with quite a long name", "αρχείο", "ΣΊΣΥΦΟΣ", "straße", "ǅ", "ＡＢＣ",
                 "データの保管場所と共有フォルダの名前を長く書く", "e" * 40, "trailing ", " leading",
                 "two  blanks", "year 2007/08", "tilde~", "a+b", "-old", "(1)", "$HOME", "c:",
                 "$c", "$u files", "branches", "branchesx", "\u0421клад", "\u0441клад", "!new"],
        "volume": ["array1", "array2", "disk1", "disk2", "info", "usbdisk1", "Array1", "disk5",
                   "my disk"],
        "comment": ["Büro / 書類", "100 %", "50 %U", "ends in \\", "; not", "# not", "say \"hi\"",
                    "x" * 120, "", "データ" * 20],
        "users": ["", "all", "alice smith", "alice, bob", "alice,bob", "bob,", ",bob", "ALICE",
                  "Alice", "NORTH+ivan", "NORTH+alice", "NORTH+ivan petrov", "NORTH\\alice", "admin",
                  "guest", "@staff", "müller", "alice;bob", "alice bob", "nobody", "root", "everyone",
                  "alice,alice", "alice@north", "a.smith", "alice-b", "ivan+alice", "frank", "bob "],
        "groups": ["", "all", "domain users", "Domain Users", "staff, finance", "staff,finance",
                   "staff,", "STAFF", "NORTH+engineers", "NORTH+domain users", "@staff", "@studio",
                   "hdusers", "nogroup", "staff finance", "users", "entwickler", "büro", "crew",
                   "alice"],
        "policy": ["", "Manual", "none", "documents ", "disabled", "auto"],
        "network": ["", "192.0.2.0/24", "192.0.2.1", "192.0.2", "fd00::", "2001:db8::1", "*",
                    "*.example.net", "nas.example.net", "client", "0.0.0.0", "192.0.2.0 ", "any",
                    "192.0.2.*", "192.0.2.0,198.51.100.0", "192.0.2.0 198.51.100.0", "@staff",
                    " 192.0.2.0", "300.0.2.0", "192.000.002.000"],
        "mask": ["", "24", "/24", "255.255.255", "255.0.255.0", "0.0.0.0", "255.255.255.255", "64",
                 "33", "0", "32", "128", "255.255.255.0 ", "ffff::", "0xffffff00", "255.255.0.0",
                 "255,255,255,0", "129", "024"],
        "loghost": ["", "loghost", "loghost.example.net", "192.0.2.50:514", "192.0.2.50:1514",
                    "@192.0.2.50", "fd00::50", "[fd00::50]", "[fd00::50]:1514", " 192.0.2.50",
                    "192.0.2.50 ", "192.0.2.50,192.0.2.51", "192.0.2.50 192.0.2.51", "::1", "log-1",
                    "192.0.2.50;192.0.2.51", "udp://192.0.2.50", "300.1.1.1", "192.0.2.50#main"],
        "items": ["", "system", "file_smb", "file_smb<>system", "all", "system,file_smb",
                  "System<>file_smb", "file_ftp", "<>system", "systems"],
        "secret": ["", "secret word", "twelve+chars!", "päßwörter", "short", "x" * 40, "se#cret",
                   "two  blanks", " leading", "tab\tbed", "\"quoted one\""],
        "chapuser": ["", "mail host", "mailhost@north", "büro", "x" * 60, "#mail", "mail,host"],
        "target": ["", "mail store", "Mail", "büro", "build", "x" * 240, "mail:1", "mail_1", "mail#1"],
        "path": ["", "/dev/md9", "/dev/lvm_vg0/my video", "/dev/lvm_vg0/video"],
        "initiators": ["", "ALL", "all", "192.0.2.31", "192.0.2.31,192.0.2.32", "192.0.2.0/24",
                       "192.0.2.31 192.0.2.32", "[fd00::31]", "fd00::31", "mailhost", "192.0.2.",
                       "192.0.2.31;192.0.2.32", "192.0.2.31, ALL", "iqn.2005-03.org.open:client"],
        "authtype": ["no", "simplex", "duplex", "Simplex", "chap", ""],
        "onoff": ["on", "off", "On", "yes", "1", ""],
        "switch": ["0", "1", "2", "", "on", "01", "0x1", "256"],
        "domain": ["off", "on", "ad", "server", "share", "ON", ""],
        "word": ["", "NORTH", "north.example.net", "My Group", "dc1 dc2", "Büro", "NORTH\\", "dc 1"],
        "server string": ["", "Büro", "%h store", "ends in \\", "100 %", "x" * 120],
        "code page": ["CP932", "CP437", "CP850", "CP1252", "CP65001", "UTF-8", "", "ISO8859_15"],
        "root": ["dfs", "", "public", "My Files", "branches$", "/mnt/array1", "/mnt/array1/public",
                 "/mnt/info", "/mnt/disk3/spool", "/mnt/array1/my branches"],
        "link": ["", "berlin 2", "\\\\berlin\\files", "\\\\berlin\\my files", "berlin", "a/b"],
        "access mode": ["read", "write", "", "none", "READ"],
    },
    "wild": {
        "name": ["", ".", "..", "../disk4", "a/b", "a//b", "./public", "/", "public/", "a\\b", "x]", "[x",
                 "[x]", "a*", "?", "a\"b", "\"", "\"\"", "a\tb", "tab\t", "a\r", "public\r", "%u", "%U",
                 "%{env:HOME}", "%f", "%p", "%$", "%", "glo bal", "a\\040b", "a\\", "a\\\\b", "#x", ";x",
                 "<x", "a>b", "a<>b", "x" * 60, "é" * 30, "\udc83\\", "\udc8f\udc8a\udc96", "\udcff",
                 "\udcc3", "\udce5\udc86", "$", "$$", "${x}", "a\x01b", "a\x7f", "\x0b", "a\0b", "ı", "İ",
                 "ß", "ẞ", "ſ", "K", "ﬀ", "\ufeffx", "\u200bx", "a\u00a0b", "</Directory>", "!", "*", "@",
                 "(rw)", "a(rw)", "a)b", "=", "a=b", "/mnt", "~", "~alice", "-", "'", "a'b", "`id`",
                 "\\101", "a\\154b", "x\"y z\"", "#####END#####", ":DEFAULT:", "options:ro", "$v", "$$c"],
        "volume": ["", ".", "..", "a b", "array1 ", "\"", "x" * 20, "array1/x", "#", "\\", "disk?", "%u",
                   "\udcff", "usbdisk2", "../etc"],
        "comment": ["\\", "%", "%U", "\"", "\r", "\t", "a\rb", "é" * 60, "\udcff", "a<b", "\x01", "]", "["],
        "users": [",", ",,", " ", "\"", "@", "!", "!bob", "%U", "%u", "S-1-1-0", "+staff", "&staff",
                  "&+staff", "#alice", "alice#", "alice\\", "regex", "regex,bob", "OR", "*", "?", "al*",
                  "al?ce", "\\", "alice\t", "alice\r", "\t", "\r", "a<b", "alice,\"bob\"", "'alice'",
                  "\"alice bob\"", "%{env:USER}", "\udcff", "(alice)", "alice=bob", "@@staff", "alice,!bob",
                  "%", "+", "NORTH+", "+alice", "/.*/", "@staff,bob", "0", "2001", "#2001", "$c", ":",
                  "rolist:bob", "options:ro", "alice rolist:", "alice allow:bob", "deny:alice", "alice:"],
        "groups": [",", " ", "\"", "@", "!staff", "%G", "S-1-1-0", "+staff", "&staff", "#staff",
                   "staff\\", "regex", "regex,staff", "*", "sta*", "\t", "\r", "staff\r", "\udcff", "staff\"",
                   "@@staff", "staff,!studio", "100", "#100", "NORTH+", "%", "%{env:USER}", "OR", "\\"],
        "policy": ["\\", "%", "\"manual\"", "manual\r", " ", "\udcff", "manual;"],
        "network": ["\t", "\"", "#", "\\", "192.0.2.0\r", "192.0.2.0\t", "=public", "@", "192.0.2.0#",
                    "192.0.2.0/24(ro) *", "*(rw)", "()", "(rw)", "-ro", "\udcff", "192.0.2.0\\040", "/",
                    "1", "0", "::", "::ffff:192.0.2.0", "fd00::%eth0", "[fd00::]", "?", "[0-9]*", "\"*\"",
                    "192.0.2.0\\", "-", "3221225984", "0xc0.0.2.0", "192.0.512"],
        "mask": ["\t", "\"", "#", "\\", "255.255.255.0\r", "24\r", "24 ", "24\t", "-1", "24(ro) *", "(", ")",
                 "0x18", "24#", "24.0.0.0", "\udcff", "4294967295", "24\\", " 24", "+24", "0.0.0.255", "1e1",
                 "24/24"],
        "loghost": ["\t192.0.2.50", "#", "192.0.2.50#", "192.0.2.50;", "192.0.2.50;x", "192.0.2.50&",
                    "&", "@", "@@192.0.2.50", "(o)192.0.2.50", "(z9)192.0.2.50", "(o,z9)192.0.2.50", "[",
                    "[::1", "[]", ":", "192.0.2.50:", "192.0.2.50:0", "192.0.2.50:x", "192.0.2.50:514x",
                    "192.0.2.50:70000", "\\", "192.0.2.50\\", "192.0.2.50\r", "192.0.2.50\t", "\"192.0.2.50\"",
                    "\udcff", "%h", "*", "()", "(x", "192.0.2.50:514;RSYSLOG_ForwardFormat", "~", "-", "|x",
                    "/var/log/x", "127.1", "0", "192.0.2.50/24", "192.0.2.50$", "\0", "\x01"],
        "items": ["system\r", "<", "<>", "><", "system<file_smb", "\udcff", "<><>system", " system"],
        "secret": [" ", "\t", "\"", "#", "\\", "a\\b", "\udcff", "a\rb", "a b c", "secret\r", "\x01", "'a b'"],
        "chapuser": [" ", "a b", "\t", "\"", "#", "a#b", "\udcff", "a\r", "a\tb", "\\", " a"],
        "target": [" ", "a b", "a\tb", "a\r", "#", "a#", "\"", "\udcff", "ALL", "a ALL", "*", "a,b", " a"],
        "path": ["/dev/md2,Type=fileio", "/dev/lvm_vg0/a,b", "/dev/lvm_vg0/a b", " ", "/dev/lvm_vg0/a#b"],
        "initiators": [" ", "*", "ALL ", "\t", "\"", "#", ",", "192.0.2.31\r", "ALL,x", "^.*$", "[", "(",
                       "192.0.2.31#", "a b", "\udcff", "x" * 250, ".", "192.0.2.31,,192.0.2.32", "[0-9]*"],
        "authtype": ["simplex ", "duplex\r", "\"no\"", "\udcff"],
        "onoff": ["on ", "on\r", "\udcff", "ON"],
        "switch": ["-1", "x", "1x", "0001", "257", " 1", "\t1", "1\r", "010"],
        "domain": ["on ", "ad\r", "\udcff"],
        "word": ["\\", "%", "%U", "\"", "a\r", "\udcff", "\t", ";", "#", "]", "a,b", "*", "-", "x" * 100],
        "server string": ["\\", "%U", "\r", "\udcff", "\"", "é" * 60, "\t"],
        "code page": ["cp932", "CP932 ", "\\", "\udcff"],
        "root": [" ", ".", "..", "/", "%u", "]", "\\", "\"", "\udcff", "global", "IPC$", "a/b", "/mnt", "\r",
                 "/mnt/array1/", "/mnt/array1/../disk3", "/mnt/array1/a\\b"],
        "link": ["\\", "\\\\", "\\\\a", "\udcff", "..", "%u", "\\\\a\\b\\"],
        "access mode": ["write ", "write\r", "\udcff"],
    },
}


class Appliance:
    """The settings as lists of fields and pairs; what may become odd is in `places`."""

    def __init__(self, chance, people, shares):
        self.chance = chance
        self.people = people
        self.places = []  # (kind of value, container, index or key)
        self.unshared = ["leftover"]  # folders that are no shares
        folders = chance.sample(FOLDERS, shares)
        self.shares = [self.share(name, chance.choice(VOLUMES)) for name in folders]
        self.usb_shares = [self.share(name, f"usbdisk{disk}") for disk, name in
                           enumerate(["travel", "camera"][:chance.choice([0, 1, 2, 2])], 1)]
        for share in self.usb_shares:  # the settings of a USB share name its groups with their mark
            for field in (4, 6):
                share[field] = ",".join("@" + group for group in share[field].split(",")
                                        if group and group != "all") or share[field]
        self.hidden = self.side_list(0.25, lambda: [self.pick("on", "off"), *[""] * 6])
        self.offline = self.side_list(0.25, lambda: [self.pick("on", "off"), self.pick(*POLICIES),
                                                     *[""] * 5], policy=2)
        self.vfs = self.side_list(0.6, lambda: [self.pick("on", "off"), self.pick("on", "off"),
                                                self.pick("0", "1"), *[""] * 4], switch=3)
        self.draw_keyed_files(folders)
        self.draw_system()

    def pick(self, *values):
        return self.chance.choice(values)

    def share(self, name, volume):
        some = lambda names: ",".join(self.chance.sample(names, self.chance.choice([0, 0, 1, 1, 2])))
        lists = [some(self.people), some(GROUPS), some(self.people), some(GROUPS)]
        kind = self.chance.random()
        if kind < 0.25:
            lists = ["all"] * 4
        elif not any(lists):
            lists[0] = self.chance.choice(self.people)
        fields = [name, volume, f"The {name} folder", *lists,
                  self.pick("1", "1", "0"), self.pick("1", "0"), self.pick("1", "1", "0"), "0", "",
                  self.pick("0", "0", "0", "1"), self.pick("0", "1"), "0", "0"]
        kinds = ["name", "volume", "comment", "users", "groups", "users", "groups"]
        kinds += ["switch"] * 3
        weights = {"name": 4, "volume": 1, "comment": 1, "users": 4, "groups": 3, "switch": 1}
        for field, kind in enumerate(kinds):
            self.places += [(kind, fields, field)] * weights[kind]
        return fields

    def side_list(self, part, rest, **odd):
        lines = []
        for share in self.shares + self.usb_shares:
            if self.chance.random() < part:
                lines.append([share, *rest()])  # the share itself stands for its name
                self.places += [(kind, lines[-1], field) for kind, field in odd.items()]
        return lines

    def keyed(self, kinds, **pairs):
        self.places += [(kinds[key], pairs, key) for key in kinds]
        return pairs

    def draw_keyed_files(self, folders):
        onoff = ("on", "off")
        self.info = self.keyed(
            {"string": "server string", "wg": "word", "domain": "domain", "local_auth": "onoff",
             "pdc": "word", "ad_dns": "word", "wins": "word", "codepage": "code page",
             "auth_server": "word", "anonyftp": "onoff", "anonyftp_folder": "name",
             "anonyftp_mode": "access mode", "syslog_forward": "onoff", "info_visible": "onoff",
             "syslog_forward_target": "loghost", "syslog_forward_item": "items"},
            string="File store", wg="NORTH", domain="off", local_auth=self.pick(*onoff), pdc="dc1",
            ad_dns="north.example.net", wins="192.0.2.2", mtu="1500",
            codepage=self.pick("CP932", "CP437", "CP850"), auth_server="dc1", auth_dc_server="off",
            auth_user_auto_add="off", auth_test="off", auth_test_folder="authtest", atalk="on",
            ftp="on", anonyftp=self.pick(*onoff), anonyftp_folder=self.chance.choice(folders),
            anonyftp_mode=self.pick("read", "write"), printer_win="off",
            syslog_forward=self.pick(*onoff), syslog_forward_target="192.0.2.50",
            syslog_forward_item=self.pick("system", "file_smb", "system<>file_smb"),
            info_visible=self.pick(*onoff))
        self.places += [("loghost", self.info, "syslog_forward_target")] * 6
        self.msdfs = self.keyed(
            {"msdfs_root_name": "root", "msdfs_root_path": "root", "msdfs_link1_name": "link",
             "msdfs_link1_unc1": "link"},
            msdfs_function=self.pick(*onoff), msdfs_root_as_link=self.pick("off", "off", "on"),
            msdfs_root_name="branches", msdfs_root_path="/mnt/array1/branches",
            msdfs_link1_name="berlin", msdfs_link1_unc1="\\\\berlin.example.net\\files")
        self.nfs = self.keyed(
            {"nfs_networkaddress": "network", "nfs_subnetmask": "mask"},
            nfs_networkaddress="192.0.2.0", nfs_subnetmask=self.pick("255.255.255.0", "24"))
        self.places += [("network", self.nfs, "nfs_networkaddress"),
                        ("mask", self.nfs, "nfs_subnetmask")] * 4
        self.iscsi = self.keyed(
            {"iscsi_authtype": "authtype", "iscsi_IncomingUser_name": "chapuser",
             "iscsi_IncomingUser_password": "secret"},
            iscsi_service="on", iscsi_authtype=self.pick("no", "simplex", "duplex"),
            iscsi_IncomingUser_name="discovery", iscsi_IncomingUser_password="examplesecret1",
            iscsi_OutgoingUser_name="morvista", iscsi_OutgoingUser_password="examplesecret2")
        kinds = {"target": "target", "path_lun0": "path", "IncomingUser_name": "chapuser",
                 "IncomingUser_password": "secret", "OutgoingUser_name": "chapuser",
                 "OutgoingUser_password": "secret", "initiators.allow": "initiators",
                 "authtype": "authtype"}
        self.disks = self.keyed(
            {f"iscsi_device{disk}_{key}": kind for disk in (0, 1) for key, kind in kinds.items()},
            **{f"iscsi_device{disk}_{key}": value for disk, target in enumerate(["mail", "build"])
               for key, value in {
                   "target": target, "path_lun0": f"/dev/md{disk + 2}", "alias": target.title(),
                   "authtype": self.pick("no", "simplex", "duplex"), "available": "on",
                   "IncomingUser_name": f"{target}host", "IncomingUser_password": "examplesecret3",
                   "OutgoingUser_name": "morvista", "OutgoingUser_password": "examplesecret4",
                   "initiators.allow": self.pick("", "192.0.2.31", "192.0.2.31, 192.0.2.32"),
                   "ip_restrict": self.pick("on", "off")}.items()})

    def draw_system(self):
        member = lambda: self.chance.sample(self.people, self.chance.randint(1, len(self.people) - 1))
        self.groups = {"hdusers": ["admin", "guest", *self.people],
                       **{group: member() for group in GROUPS}}
        self.primary = {person: "100" for person in ["admin", "guest", *self.people]}
        self.disk_info = {"array1": "raid1", "array2": "off", "disk1": "array1", "disk2": "array1",
                          "disk3": "normal", "disk4": "normal", "usb_disk1": "ext3",
                          "usb_disk2": "vfat"}
        self.mounts = {volume: "xfs" for volume in VOLUMES}
        self.mounts |= {share[VOLUME]: self.pick("ext3", "vfat", "ntfs") for share in self.usb_shares
                        if self.chance.random() < 0.9}
        # Odd without being a value: lists, members and volumes.
        self.oddities = [self.empty_all_lists, self.mix_all, self.list_many, self.move_primary_group,
                         self.drop_members, self.repeat_share, self.unmount, self.switch_off_volume,
                         self.name_with_blank]

    def empty_all_lists(self):
        self.chance.choice(self.shares + self.usb_shares)[LISTS] = [""] * 4

    def mix_all(self):
        self.chance.choice(self.shares)[self.chance.randrange(3, 7)] = "all"

    def list_many(self):
        names = [f"worker{number:03}" for number in range(self.pick(40, 300, 900))]
        self.groups["crew"] = names
        self.chance.choice(self.shares)[self.pick(4, 6)] = "crew"

    def move_primary_group(self):
        self.primary[self.chance.choice(self.people)] = self.pick("500", "501", "502", "700")

    def name_with_blank(self):
        self.groups["domain users"] = self.chance.sample(self.people, 2)
        self.primary["alice smith"] = "100"
        field, name = self.pick((3, "alice smith"), (4, "domain users"), (6, "domain users"))
        self.chance.choice(self.shares)[field] = name

    def drop_members(self):
        self.groups[self.chance.choice(GROUPS)] = []

    def repeat_share(self):
        share, other = self.chance.sample(self.shares, 2)
        share[NAME] = self.pick(other[NAME], other[NAME].upper(), other[NAME].title())
        share[VOLUME] = self.pick(other[VOLUME], share[VOLUME])

    def unmount(self):
        self.mounts.pop(self.pick("usbdisk1", "usbdisk2"), None)

    def switch_off_volume(self):
        self.disk_info[self.pick("disk3", "disk4", "array1")] = "off"

    def make_plain(self):
        """Takes out what is odd without an odd value: the FTP server shows every folder of a
        volume, and has an anonymous user whatever the switch says."""
        self.unshared = []
        self.info["anonyftp"] = "on"

    def make_odd(self, kind):
        """Replaces a few values; no more than one in eight comes from chance alone."""
        for _ in range(self.chance.choice([0, 1, 1, 2, 2, 3, 4])):
            if self.chance.random() < 0.12:
                self.chance.choice(self.oddities)()
                continue
            value_kind, container, index = self.chance.choice(self.places)
            values = ODD[kind][value_kind]
            if kind == "wild" and self.chance.random() < 0.15:
                values = [self.any_bytes()]
            value = self.chance.choice(values)
            if kind == "wild" and self.chance.random() < 0.2:
                value = container[index] + value  # an odd end
            container[index] = value

    def any_bytes(self):
        raw = bytes(self.chance.randrange(256) for _ in range(self.chance.randint(1, 12)))
        return raw.replace(b"\n", b"").decode("utf-8", "surrogateescape")

    def files(self):
        listed = lambda lines: "".join("<>".join(line) + "\n" for line in lines)
        sided = lambda lines: listed([line[0][NAME], *line[1:]] for line in lines)
        pairs = lambda table: "".join(f"{key}={value}\n" for key, value in table.items())
        ids = {"hdusers": 100, "staff": 500, "finance": 501, "studio": 502, "crew": 503,
               "domain users": 504}
        group = "root:x:0:\n" + "".join(f"{name}:x:{ids[name]}:{','.join(members)}\n"
                                        for name, members in self.groups.items())
        passwd = "root:x:0:0::/:/bin/sh\n" + "".join(
            f"{name}:x:{number}:{primary}::/mnt:/bin/sh\n"
            for number, (name, primary) in enumerate(self.primary.items(), 2001))
        mounts = "rootfs / rootfs rw 0 0\n" + "".join(
            f"/dev/{volume} /mnt/{volume} {kind} rw 0 0\n" for volume, kind in self.mounts.items())
        return {
            "etc/korvel/shareinfo": listed(self.shares),
            "etc/korvel/usbshareinfo": listed(self.usb_shares),
            "etc/korvel/shareinfo.hidden": sided(self.hidden),
            "etc/korvel/offlinefile": sided(self.offline),
            "etc/korvel/shareinfo.vfs": sided(self.vfs),
            "etc/korvel/info": pairs(self.info), "etc/korvel/diskinfo": pairs(self.disk_info),
            "etc/korvel/msdfs": pairs(self.msdfs), "etc/korvel/nfs_info": pairs(self.nfs),
            "etc/korvel/iscsi_info": pairs(self.iscsi), "etc/korvel/iscsi_disks1": pairs(self.disks),
            "etc/vantor_expansion_firmware": "VANTOR_CONFIG_SSLFTP=0\n",
            "etc/group": group, "etc/passwd": passwd, "proc/mounts": mounts,
            "tmp/pvlistconfig": "/dev/md2<>vg_mail<>lvm2\n/dev/md3<>vg_build<>lvm2\n",
            "dev/md2": "", "dev/md3": "", "dev/lvm_vg0/video": "",
        }

    def folders(self):
        """The folders of the volumes: the shares', by their names as cut, and some that are none."""
        yield from (f"mnt/{volume}/{folder}".encode() for volume in VOLUMES
                    for folder in ("spool", "lost+found", *self.unshared))
        yield from (b"mnt/info", b"mnt/array1/branches", b"mnt/usbdisk1", b"mnt/usbdisk2")
        for share in self.shares:
            yield b"mnt/%b/%b" % (as_bytes(share[VOLUME])[:15], as_bytes(share[NAME])[:59])


def as_bytes(text):
    return text.encode("utf-8", "surrogateescape")


def draw(kind, seed, root, people=5, shares=8):
    """Writes the appliance of this kind and seed into the folder `root`, which it makes."""
    chance = random.Random(f"{kind} {seed}")
    appliance = Appliance(chance, PEOPLE[:people], shares)
    if kind == "plain":
        appliance.make_plain()
    else:
        appliance.make_odd(kind)
    root = pathlib.Path(root)
    for folder in ("etc/samba", "etc/proftpd", "etc/atalk", "etc/pam.d"):
        (root / folder).mkdir(parents=True, exist_ok=True)
    for name, text in appliance.files().items():
        (root / name).parent.mkdir(parents=True, exist_ok=True)
        (root / name).write_bytes(as_bytes(text))
    volumes = os.path.normpath(bytes(root)) + b"/mnt/"
    for folder in appliance.folders():
        path = os.path.normpath(bytes(root) + b"/" + folder)
        if path.startswith(volumes) and b"\0" not in path:
            os.makedirs(path, exist_ok=True)


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description="Draws a random appliance.")
    parser.add_argument("kind", choices=["plain", *ODD])
    parser.add_argument("seed")
    parser.add_argument("root", help="the folder to write it into")
    arguments = parser.parse_args()
    draw(arguments.kind, arguments.seed, arguments.root)
