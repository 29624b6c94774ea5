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
import study
from appliance import ETC, MNT, PEOPLE, run
from known import KNOWN, as_known, refusals

REFUSALS = refusals("proftpd", "-v")
CONFIGURATION = ETC / "proftpd/proftpd.conf"
BASE = {name: (ETC / name).read_bytes().splitlines(True) for name in ("passwd", "group")}


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
    "etc/passwd": "".join(f"{name}:x:{number}:{group}::/mnt:/bin/sh\n" for number, (name, group) in
                          enumerate({"alice": 100, "bob": 100, "carol": 700, "guest": 100}.items(), 2001)),
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
    ["s"], ["s/"], ["s//"], ["/s"], ["./s"], ["s/.."], ["."], ["s*"], ["?"], ["[st]"], ["[s"], ["s]"],
    ["[!s]"], [r"a\b"], ["a\\"], ["a b"], ['"a b"'], ['a"b'], ["#a"], ["a>"], ["%u"], ["%u*"], ["%p"],
    ["%{env:NOTHING}"], ["%{env:HOME"], ["~"], ["*"], ["S"], ["s", "s/"], ["s*", "sx"], ["sx", "s*"],
    ["s", "*"], ["*", "s"], ["[a-s]*", "s", "s/x"], ["%u", "alice"], ["", "s/x"],
]
FOLDERS = ["s", "s/x", "sx", "t", "[st]", "[s", "s]", r"a\b", "ab", "a\\", "a b", "a", 'a"b', "#a", "a>",
           "%u", "%p", "alice", "bob", "S", "~", "%{env:HOME", "%{env:NOTHING}"]
REFUSED = [  # what the server does not start with
    "AllowUser\n", "NoSuchDirective\n", "<Directory v>\n</Directory>\n", "<Directory>\n</Directory>\n",
    "<Directory /mnt/a #b>\n</Directory>\n", "<Directory /mnt/a\n</Directory>\n", "</Limit>\n",
    2 * "<Directory /mnt/a>\nUmask 0\n</Directory>\n", "<Directory /mnt/a>\n",
    "".join(f"<Directory /mnt/{path}>\nUmask 0\n</Directory>\n" for path in ("a b", "a")),
    "<Limit ALL>\nDenyAll\n", "<Limit ALL>\nAllowUser\n</Limit>\n", "<Limit>\n</Limit>\n",
    "<Limit ALL>\nAllowUser #alice\n</Limit>\n", "<Limit ALL>\nAllowUser alice\\\n</Limit>\n</Directory>\n",
    "<Limit ALL>\nAllowUser regex [\n</Limit>\n", "<Limit ALL>\nAllowUser regex a b\n</Limit>\n",
    "<Limit ALL>\nOrder allow\n</Limit>\n", "<Limit ALL>\nDenyAll now\n</Limit>\n",
    "<Limit ALL>\nAllowUser " + "x" * 4087 + "\n</Limit>\n", "<IfModule mod_none.c>\n",
]
ACCEPTED = [
    "<Limit ALL>\nAllowUser " + "x" * 4086 + "\n</Limit>\n", "<Global>\n</Global>\n", "deferWelcome off\n",
    "<IfModule mod_none.c>\nNoSuchDirective\n</IfModule>\n", "# NoSuchDirective \\\n", "\\\nPort 21\n",
    "<Anonymous /mnt>\n" + 2 * "<Directory /mnt/a>\nUmask 0\n</Directory>\n" + "</Anonymous>\n",
    2 * "<Directory /mnt/a>\n</Directory>\n",
]


def access():
    return pathlib.Path(os.environ["TAVROGEN"]).with_name("tavrogen-access")


def section(path, limits):
    text = "".join(f"<Limit {what}>\n{lines}\n</Limit>\n" for what, lines in limits)
    return f"<Directory {path}>\n{text}</Directory>\n"


class ReadBack(unittest.TestCase):
    """tavrogen-access says what the server really gives."""

    def setUp(self):
        (ETC / "pam.d/ftp").write_text("".join(  # any password will do
            f"{kind} required pam_permit.so\n" for kind in ("auth", "account", "session")))
        (ETC / "ftpusers").unlink(missing_ok=True)

    def install(self, server_file):
        """Gives the private machine the server's file, the people and the folders of ROOT."""
        lines = server_file.decode(errors="surrogateescape").split("\n")
        accepted = [REFUSALS.get(as_known(line, REFUSALS), [line])[0] for line in lines]
        CONFIGURATION.write_bytes("\n".join(accepted).encode(errors="surrogateescape"))
        for name in ("passwd", "group"):
            own = (study.ROOT / "etc" / name).read_bytes()
            taken = {line.split(b":")[0] for line in own.splitlines()}
            (ETC / name).write_bytes(own + b"".join(
                line for line in BASE[name] if line.split(b":")[0] not in taken))
        run("find", MNT, "-mindepth", "1", "-delete")
        shutil.copytree(bytes(study.ROOT / "mnt"), bytes(MNT), dirs_exist_ok=True)
        for folder, _, _ in os.walk(bytes(MNT)):
            os.chmod(folder, 0o777)
            with open(folder + b"/marker", "wb") as marker:
                marker.write(b"kept")

    def granted(self, session, folder):
        def done(action, *arguments):
            try:
                action(*arguments)
                return True
            except (ftplib.error_perm, ftplib.error_temp):
                return False

        content = io.BytesIO()
        below = folder.removeprefix(bytes(MNT)).decode("latin-1")
        done(session.retrbinary, f"RETR {below}/marker", content.write)
        stored = done(session.storbinary, f"STOR {below}/new", io.BytesIO(b"new"))
        if stored:
            os.unlink(folder + b"/new")
        return (content.getvalue() == b"kept", stored)

    def differences(self, people):
        """The cells of the report on ROOT that are not what a login gives."""
        said = json.loads(run(access(), "--json", "--root", study.ROOT).stdout)
        reported = {row["folder"]: cell for row in said["folders"] for cell in row["rights"]
                    if {"name": "FTP"} in cell["services"]}
        folders = [folder for folder, _, _ in os.walk(bytes(MNT))  # as far as the report goes
                   if folder.count(b"/") in (2, 3) and b"\r" not in folder]
        different = []
        with appliance.service("proftpd", "--nodaemon", "--config", str(CONFIGURATION),
                               ready=lambda: appliance.answers(21)):
            for person in people:
                with ftplib.FTP("127.0.0.1", timeout=20, encoding="latin-1") as session:
                    session.login(person, "any")
                    for folder in folders:
                        got = self.granted(session, folder)
                        cell = reported.get(study.as_text(folder), {})
                        right = cell.get("guests") if person == "anonymous" else cell.get("people", {}).get(person)
                        # To write without reading is told as writing.
                        told = {"read": [(True, False)], "write": [(True, True), (False, True)]}
                        if got not in told.get(right, [(False, False)]):
                            different.append((person, folder, got, right))
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
        return server_file.read_bytes()

    def make_folders(self, names):
        for name in names:
            (study.ROOT / "mnt" / name).mkdir(parents=True)

    def test_lists_and_limits(self):
        rules = [[("ALL", "DenyAll\n" + line.replace(r"\n", "\n").replace(r"\r", "\r"))]
                 for line in LISTS] + LIMITS
        server_file = self.edit(*(section(f"/mnt/rules/{number}", limits)
                                  for number, limits in enumerate(rules)))
        self.make_folders(f"rules/{number}" for number in range(len(rules)))
        self.install(server_file)
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
            server_file = self.edit(around, *blocks, "<Anonymous /mnt>\nUser guest\n",
                                    *blocks, "</Anonymous>\n")
            self.make_folders(f"{number}/{folder}" for number in range(len(PATHS))
                              for folder in FOLDERS if "/" not in folder)
            self.make_folders(f"{number}/s/x" for number in range(len(PATHS)))
            self.install(server_file)
            found = [(PATHS[int(folder.split(b"/")[2])], person, folder, *rest)
                     for person, folder, *rest in self.differences(["alice", "guest"])]
            self.assertEqual(found, [])

    def test_what_the_server_refuses(self):
        for lines in REFUSED + ACCEPTED:
            server_file = self.edit(lines)
            CONFIGURATION.write_bytes(server_file)
            starts = run("proftpd", "--configtest", "--config", CONFIGURATION).returncode == 0
            said = json.loads(run(access(), "--json", "--root", study.ROOT).stdout)
            self.assertEqual([starts, not said["notes"]], [lines in ACCEPTED] * 2, lines)

    def test_drawn_appliances(self):
        for kind, seed in itertools.product(["plain", "plausible", "wild"], range(8)):
            with self.subTest(kind=kind, seed=seed):
                study.write_drawn(kind, seed, "proftpd")
                server_file = (study.ROOT / "etc/proftpd/proftpd.conf").read_bytes()
                self.install(server_file)
                passwd = (study.ROOT / "etc/passwd").read_text().splitlines()
                people = [line.split(":")[0] for line in passwd[1:]]
                if b"<Anonymous" in server_file:
                    people.append("anonymous")
                started = run("proftpd", "--configtest", "--config", CONFIGURATION).returncode == 0
                if started:
                    self.assertEqual(self.differences(people), [])
                else:
                    said = json.loads(run(access(), "--json", "--root", study.ROOT).stdout)
                    self.assertNotEqual(said["notes"], [])
