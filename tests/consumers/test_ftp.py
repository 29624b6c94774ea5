"""proftpd with the written proftpd.conf, but for the refused lines, and the written PAM file."""
import contextlib
import ftplib
import io
import itertools
import json
import os
import pathlib
import re
import shutil
import unittest

import appliance
import intent
import live_ftp
import study
from appliance import ETC, MNT, PEOPLE, run
from known import KNOWN, as_known, refusals

REFUSALS = refusals("proftpd", "-v")
CONFIGURATION = ETC / "proftpd/proftpd.conf"


def edit_refused_lines():
    """Edits the lines that proftpd refuses, one after the other, until it takes the file."""
    refused = set()
    while (done := run("proftpd", "--configtest", "--config", CONFIGURATION)).returncode:
        line = re.search(rf"on line (\d+) of '{CONFIGURATION}'", done.stdout)
        assert line, done.stdout
        lines = CONFIGURATION.read_text().splitlines(True)
        at = int(line[1]) - 1
        line = as_known(lines[at], REFUSALS)
        refused.add(line)
        lines[at] = REFUSALS.get(line, [""])[0] + "\n"
        CONFIGURATION.write_text("".join(lines))
    return refused


class Served(unittest.TestCase):
    """The example in workgroup mode, served by proftpd."""

    @classmethod
    def setUpClass(cls):
        appliance.make_accounts()
        appliance.make_folders()
        appliance.write_configuration()
        edit_refused_lines()
        running = contextlib.ExitStack()
        cls.addClassCleanup(running.close)
        running.enter_context(appliance.service(
            "proftpd", "--nodaemon", "--config", str(CONFIGURATION),
            ready=lambda: appliance.answers(21)))

    def login(self, person, password=None):
        session = ftplib.FTP("127.0.0.1", timeout=20)
        self.addCleanup(session.close)
        session.login(person, password or f"{person}-secret")
        return session

    def allowed(self, action, *arguments):
        """Whether the server allows the action; any trouble but a refusal is an error."""
        try:
            action(*arguments)
            return True
        except ftplib.error_perm as refusal:
            self.assertRegex(str(refusal), "^550 .*(not permitted|denied|No such file)")
            return False
        except ftplib.error_temp as refusal:  # so a hidden folder refuses to be listed
            self.assertRegex(str(refusal), "^450 .*No such file")
            return False

    def rights(self, session, folder):
        """What the session may do in a folder; each kind of writing must agree."""
        content = io.BytesIO()
        parent = folder.rsplit("/", 1)[0] or "/"
        reading = {
            self.allowed(session.retrbinary, f"RETR {folder}/marker", content.write),
            self.allowed(session.nlst, folder),
            self.allowed(session.cwd, folder),
            folder in [name.replace("//", "/") for name in session.nlst(parent)],
            content.getvalue() == b"kept"}
        self.assertEqual(len(reading), 1, folder)
        new = MNT / folder[1:] / "new"
        writing = {
            self.allowed(session.storbinary, f"STOR {folder}/marker", io.BytesIO(b"kept")),
            self.allowed(session.mkd, f"{folder}/folder"),
            self.allowed(session.rmd, f"{folder}/folder"),
            self.allowed(session.storbinary, f"STOR {folder}/new", io.BytesIO(b"new")),
            new.exists()}
        self.assertEqual(len(writing), 1, folder)
        if new.exists():
            before = new.stat().st_mode
            self.assertFalse(self.allowed(session.sendcmd, f"SITE CHMOD 600 {folder}/new"))
            self.assertEqual(new.stat().st_mode, before)
            session.delete(f"{folder}/new")
        return intent.RIGHTS[reading == {True}, writing == {True}]

    def test_rights_are_as_the_share_list_means_them(self):
        people = ["admin", "guest", *PEOPLE, "anonymous"]
        sessions = {person: self.login(person) for person in people}

        def granted(person, share):
            return self.rights(sessions[person], f"/{share.folder}")

        shares = intent.shares()
        served = [share for share in shares if share.ftp]
        self.assertEqual(intent.deviations(people, served, granted), set(KNOWN["FTP rights"]))
        hidden = [f"/{share.folder}" for share in shares if not share.ftp]
        hidden += ["/array1/branches", "/array1/spool", "/disk3/spool", "/disk4/lost+found"]
        for person, session in sessions.items():
            for folder in hidden:
                self.assertEqual(self.rights(session, folder), intent.NOTHING, (person, folder))
            for folder in ("/info", "/array1", "/disk3", "/disk4"):
                self.assertEqual(self.rights(session, folder), intent.READ, (person, folder))
            self.assertFalse(self.allowed(session.mkd, "/folder"), person)

    def test_a_login_needs_the_password_and_is_not_for_root(self):
        for person, password in (("alice", "wrong"), ("root", None)):
            with self.assertRaisesRegex(ftplib.error_perm, "^530"):
                self.login(person, password)


class Checked(unittest.TestCase):
    """Each mode's file, read by proftpd."""

    def test_only_known_lines_are_refused(self):
        refused = set()
        for mode in ("off", "on", "ad", "server", "share"):
            appliance.write_configuration(domain=mode)
            refused |= edit_refused_lines()
        self.assertEqual(refused, set(REFUSALS))


PEOPLE_FILES = {
    "etc/passwd": "".join(f"{name}:x:{group + 1000}:{group}::/mnt:/bin/sh\n" for name, group in
                          {"alice": 100, "bob": 101, "carol": 700, "guest": 102}.items()),
    "etc/group": "hdusers:x:100:\nstaff:x:500:alice,bob\nfinance:x:501:alice\nprimary:x:700:\n",
}
# Lines that let people into a folder that is closed otherwise.
LISTS = r"""
AllowUser alice,bob
AllowUser alice, bob
AllowUser alice bob,carol
AllowUser ALICE
AllowUser ,
AllowUser ,\nAllowUser bob
AllowUser bob\nAllowUser ,
AllowUser ,\nAllowGroup finance
AllowUser !bob
AllowUser ! bob
AllowUser "
AllowUser "alice bob"
AllowUser "bob",carol
AllowUser bob,"carol"
AllowUser "a\lice"
AllowUser a\lice
AllowUser alice\r,bob\r
AllowUser @
AllowUser bob #alice
AllowUser bob,#alice
AllowUser bob\\\n alice
AllowUser a*,%u,%{env:NOTHING}
AllowUser AND alice
AllowUser or bob
AllowUser regex ^a
AllowUser alice regex
AllowGroup staff,finance
AllowGroup staff finance
AllowGroup OR staff,finance
AllowGroup staff,
AllowGroup ,
AllowGroup !staff
AllowGroup primary
AllowGroup regex fin
AllowGroup ,\nAllowGroup finance
AllowGroup primary\nAllowUser bob
""".strip().splitlines()
LIMITS = [  # each pair is a <Limit> of the folder
    [("WRITE", "DenyAll")],
    [("all", "DenyAll"), ("WRITE", "AllowUser bob")],
    [("ALL", "DenyAll"), ("READ", "")],
    [("ALL", "DenyAll\nAllowUser alice"), ("READ", "AllowUser bob"),
     ("WRITE", "Order deny,allow\nAllowUser carol")],
    [("WRITE", "AllowUser bob\nDenyAll")],
    [("WRITE", "Order deny,allow\nAllowUser bob\nDenyAll")],
    [("WRITE", "Order deny,allow\nDenyUser bob\nAllowAll")],
    [("WRITE", "DenyUser bob\nAllowAll")],
    [("WRITE", "DenyUser ,")],
    [("WRITE", "DenyUser ,\nDenyUser nobody")],
    [("WRITE", "Order deny,allow\nDenyGroup staff,finance\nDenyUser carol\nAllowAll")],
    [("WRITE", "DenyAll"), ("WRITE", "AllowUser bob")],
    [("WRITE", "AllowUser bob"), ("WRITE", "DenyAll")],
    [("WRITE", "AllowAll"), ("STOR", "DenyAll")],
    [("RETR DIRS", "DenyUser bob")],
]
# Paths of <Directory> sections, in the order of the file, below a volume of their own each.
PATHS = [
    ["s"], ["s/"], ["s//"], ["/s"], ["./s"], ["s/.."], ["."], ["s*"], ["?"], ["[st]"], ["[s"],
    ["s]"], ["[!s]"], [r"a\b"], ["a\\"], ["a b"], ['"a b"'], ['a"b'], ["#a"], ["a>"], ["%u"],
    ["%u*"], ["%p"], ["%{env:NOTHING}"], ["%{env:HOME"], ["~"], ["*"], ["S"], ["s", "s/"],
    ["s*", "sx"], ["sx", "s*"], ["s", "*"], ["*", "s"], ["[a-s]*", "s", "s/x"], ["%u", "alice"],
    ["", "s/x"],
]
FOLDERS = ["s/x", "sx", "t", "[st]", "[s", "s]", r"a\b", "ab", "a\\", "a b", "a", 'a"b', "#a", "a>",
           "%u", "%p", "alice", "bob", "S", "~", "%{env:HOME", "%{env:NOTHING}"]
REFUSED = [  # what the server does not start with
    "AllowUser\n", "NoSuchDirective\n", "</Limit>\n", "<Directory v>\n</Directory>\n",
    "<Directory>\n</Directory>\n", "<Directory /mnt/a #b>\n</Directory>\n",
    "<Directory /mnt/a\n</Directory>\n",
    2 * "<Directory /mnt/a>\nUmask 0\n</Directory>\n", "<Directory /mnt/a>\n",
    "".join(f"<Directory /mnt/{path}>\nUmask 0\n</Directory>\n" for path in ("a b", "a")),
    "<Limit ALL>\nDenyAll\n", "<Limit ALL>\nAllowUser\n</Limit>\n", "<Limit>\n</Limit>\n",
    "<Limit ALL>\nAllowUser #alice\n</Limit>\n",
    "<Limit ALL>\nAllowUser alice\\\n</Limit>\n<Limit READ>\n</Limit>\n",
    "<Limit ALL>\nAllowUser regex [\n</Limit>\n", "<Limit ALL>\nAllowUser regex a b\n</Limit>\n",
    "<Limit ALL>\nOrder allow\n</Limit>\n", "<Limit ALL>\nDenyAll now\n</Limit>\n",
    "<Limit ALL>\nAllowUser " + "x" * 4087 + "\n</Limit>\n", "<IfModule mod_none.c>\n",
]
ACCEPTED = [
    "<Limit ALL>\nAllowUser " + "x" * 4086 + "\n</Limit>\n", "<Global>\n</Global>\n",
    "<IfModule mod_none.c>\nNoSuchDirective\n</IfModule>\n", "# NoSuchDirective \\\n",
    "\\\nPort 21\n", "deferWelcome off\n",
    "<Anonymous /mnt>\n" + 2 * "<Directory /mnt/a>\nUmask 0\n</Directory>\n" + "</Anonymous>\n",
    2 * "<Directory /mnt/a>\n</Directory>\n",
]


def access():
    return pathlib.Path(os.environ["TAVROGEN"]).with_name("tavrogen-access")


def shown(path):
    """A path as the report shows it: bytes that are no UTF-8 become U+FFFD."""
    return re.sub("[\udc80-\udcff]", "\ufffd", study.as_text(path))


def section(path, limits):
    text = "".join(f"<Limit {what}>\n{lines}\n</Limit>\n" for what, lines in limits)
    return f"<Directory {path}>\n{text}</Directory>\n"


class ReadBack(unittest.TestCase):
    """tavrogen-access says what the server really gives."""

    def differences(self, people):
        """The cells of the report on ROOT that are not what a login gives."""
        said = json.loads(run(access(), "--json", "--root", study.ROOT).stdout)
        reported = {row["folder"]: {"anonymous": cell["guests"], **cell["people"]}
                    for row in said["folders"] for cell in row["rights"]
                    if {"name": "FTP"} in cell["services"]}
        # To write without reading is told as writing.
        told = {"none": [(False, False)], "read": [(True, False)],
                "write": [(True, True), (False, True)]}
        different = []
        for person, rights in live_ftp.rights(people, live_ftp.folders()).items():
            for folder, right in rights.items():
                cell = reported.get(shown(folder), {}).get(person, "none")
                if right not in told[cell]:
                    different.append((person, folder, right, cell))
        return different

    def edit(self, *sections):
        """Makes ROOT an appliance of a file edited by hand."""
        shutil.rmtree(study.ROOT, ignore_errors=True)
        for name, text in PEOPLE_FILES.items():
            (study.ROOT / name).parent.mkdir(parents=True, exist_ok=True)
            (study.ROOT / name).write_text(text)
        server_file = study.ROOT / "etc/proftpd/proftpd.conf"
        server_file.parent.mkdir()
        server_file.write_text("DefaultRoot /mnt\nUser nobody\nGroup nogroup\nAuthPAMConfig ftp\n"
                               "AuthOrder mod_auth_pam.c* mod_auth_unix.c\n" +
                               "".join(sections), newline="")

    def make_folders(self, names):
        for name in names:
            (study.ROOT / "mnt" / name).mkdir(parents=True)

    def test_lists_and_limits(self):
        rules = [[("ALL", "DenyAll\n" + line.replace(r"\n", "\n").replace(r"\r", "\r"))]
                 for line in LISTS] + LIMITS
        self.edit(*(section(f"/mnt/rules/{number}", limits)
                    for number, limits in enumerate(rules)))
        self.make_folders(f"rules/{number}" for number in range(len(rules)))
        live_ftp.move_in()
        found = [(person, rules[int(pathlib.Path(os.fsdecode(folder)).name)], *rest)
                 for person, folder, *rest in self.differences(["alice", "bob", "carol"])]
        self.assertEqual(found, [])

    def test_paths(self):
        # In a file of its own with a <Directory /> around all, as the program's, and without it.
        for around in ("", section("/", [("WRITE", "DenyAll")])):
            blocks = []
            for number, paths in enumerate(PATHS):
                bodies = [("ALL", "DenyAll")], [("WRITE", "AllowAll")], [("READ", "DenyAll")]
                blocks += [section(f'"/mnt/{number}/{path[1:]}' if path.startswith('"') else
                                   f"/mnt/{number}/{path}", limits)
                           for path, limits in zip(paths, bodies)]
            self.edit(around, *blocks, "<Anonymous /mnt>\nUser guest\n", *blocks, "</Anonymous>\n")
            self.make_folders(f"{number}/{folder}" for number in range(len(PATHS))
                              for folder in FOLDERS)
            live_ftp.move_in()
            found = [(PATHS[int(folder.split(b"/")[2])], person, folder, *rest)
                     for person, folder, *rest in self.differences(["alice", "guest"])]
            self.assertEqual(found, [])

    def test_logins(self):
        self.edit("<Limit LOGIN>\nDenyUser bob,root\n</Limit>\n<Anonymous /mnt>\nUser guest\n"
                  "UserAlias anonymous guest\n<Limit LOGIN>\nDenyAll\n</Limit>\n</Anonymous>\n")
        self.make_folders(["volume"])
        live_ftp.move_in()
        self.assertEqual(self.differences(["alice", "bob", "guest", "anonymous"]), [])

    def test_what_the_server_refuses(self):
        for lines in REFUSED + ACCEPTED:
            self.edit(lines)
            (study.ROOT / "mnt").mkdir()
            live_ftp.move_in()
            said = json.loads(run(access(), "--json", "--root", study.ROOT).stdout)
            self.assertEqual([live_ftp.starts(), not said["notes"]], [lines in ACCEPTED] * 2, lines)

    def write_example(self):
        appliance.write_configuration()
        shutil.rmtree(study.ROOT, ignore_errors=True)
        shutil.copytree(appliance.ROOT, study.ROOT)
        (study.ROOT / "mnt/array1/mixed").mkdir()
        (study.ROOT / "etc/passwd").write_text("".join(
            f"{name}:x:{number}:100::/mnt:/bin/sh\n"
            for number, name in enumerate(["admin", "guest", *PEOPLE], 2001)))

    def test_the_example_and_drawn_appliances(self):
        for kind, seed in [("example", 0),
                           *itertools.product(["plain", "plausible", "wild"], range(8))]:
            with self.subTest(kind=kind, seed=seed):
                if kind == "example":
                    self.write_example()
                else:
                    study.write_drawn(kind, seed, "proftpd")
                live_ftp.move_in()
                if live_ftp.starts():
                    self.assertEqual(self.differences(live_ftp.people()), [])
                else:
                    said = json.loads(run(access(), "--json", "--root", study.ROOT).stdout)
                    self.assertNotEqual(said["notes"], [])
