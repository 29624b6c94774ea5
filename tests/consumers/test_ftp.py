"""proftpd with the written proftpd.conf, but for the refused lines, and the written PAM file."""
import contextlib
import ftplib
import io
import os
import pathlib
import re
import shutil
import unittest

import appliance
import intent
from appliance import ETC, MNT, PEOPLE, ROOT, report, run
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
USERS = r"""alice,bob; alice, bob; alice bob,carol; ALICE; ,; ,\nAllowUser bob; bob\nAllowUser ,;
    ,\nAllowGroup finance; !bob; ! bob; "; "alice bob"; "bob",carol; bob,"carol"; "a\lice"; a\lice;
    alice\r,bob\r; @; bob #alice; bob,#alice; bob\\\n alice; a*,%u,%{env:NOTHING}; AND alice;
    or bob; regex ^a; alice regex"""
GROUPS = r"""staff,finance; staff finance; OR staff,finance; staff,; ,; !staff; primary; regex fin;
    ,\nAllowGroup finance; primary\nAllowUser bob"""
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
    "<Directory /mnt/a\n</Directory>\n", "<Directory /mnt/a>\n", "<IfModule mod_none.c>\n",
    2 * "<Directory /mnt/a>\nUmask 0\n</Directory>\n", "<Limit>\n</Limit>\n",
    "<Limit ALL>\nAllowUser #alice\n</Limit>\n", "<Limit ALL>\nAllowUser regex [\n</Limit>\n",
    "<Limit ALL>\nOrder allow\n</Limit>\n", "<Limit ALL>\nDenyAll now\n</Limit>\n",
    "<Limit ALL>\nAllowUser " + "x" * 4087 + "\n</Limit>\n",
]
ACCEPTED = [
    "<Limit ALL>\nAllowUser " + "x" * 4086 + "\n</Limit>\n", "<Global>\n</Global>\n",
    "<IfModule mod_none.c>\nNoSuchDirective\n</IfModule>\n", "# NoSuchDirective \\\n",
    "\\\nPort 21\n", 2 * "<Directory /mnt/a>\n</Directory>\n",
    "<Anonymous /mnt>\n" + 2 * "<Directory /mnt/a>\nUmask 0\n</Directory>\n" + "</Anonymous>\n",
]


def section(path, limits):
    text = "".join(f"<Limit {what}>\n{lines}\n</Limit>\n" for what, lines in limits)
    return f"<Directory {path}>\n{text}</Directory>\n"


def allows(action, *arguments):
    with contextlib.suppress(ftplib.error_perm, ftplib.error_temp):
        action(*arguments)
        return True
    return False


def right(session, folder):
    """Whether the session may read, and whether it may write in a folder."""
    content = io.BytesIO()
    below = folder.removeprefix(str(MNT))
    allows(session.retrbinary, f"RETR {below}/marker", content.write)
    stored = allows(session.storbinary, f"STOR {below}/new", io.BytesIO(b"new"))
    if stored:
        os.unlink(folder + "/new")
    return content.getvalue() == b"kept", stored


class ReadBack(unittest.TestCase):
    """tavrogen-access says what the server really gives by files that were edited by hand."""

    @classmethod
    def setUpClass(cls):
        cls.system = {name: (ETC / name).read_text() for name in ("passwd", "group")}

    def edit(self, *sections, folders=("volume",)):
        """Makes ROOT such an appliance, and lays its accounts, folders and file over this
        machine's. Any password will do."""
        shutil.rmtree(ROOT, ignore_errors=True)
        server_file = ("DefaultRoot /mnt\nUser nobody\nGroup nogroup\nAuthPAMConfig ftp\n"
                       "AuthOrder mod_auth_pam.c* mod_auth_unix.c\n" + "".join(sections))
        for name, text in {**PEOPLE_FILES, "etc/proftpd/proftpd.conf": server_file}.items():
            (ROOT / name).parent.mkdir(parents=True, exist_ok=True)
            (ROOT / name).write_text(text, newline="")
        for name in folders:
            (ROOT / "mnt" / name).mkdir(parents=True)
        # Debian 13 has some of the server's modules apart.
        modules = "".join(f"{instead}\n" for instead, _ in REFUSALS.values()
                          if instead.startswith("LoadModule"))
        CONFIGURATION.write_text(modules + server_file, newline="")
        os.environ["HOME"] = "/root"  # the server's, too
        (ETC / "pam.d/ftp").write_text("".join(
            f"{kind} required pam_permit.so\n" for kind in ("auth", "account", "session")))
        (ETC / "ftpusers").unlink(missing_ok=True)
        for name, system in self.system.items():
            own = PEOPLE_FILES["etc/" + name]
            taken = {field for line in own.splitlines() for field in line.split(":")[0:3:2]}
            (ETC / name).write_text(own + "".join(
                line for line in system.splitlines(True) if not taken & set(line.split(":")[0:3:2])))
        run("find", MNT, "-mindepth", "1", "-delete")
        shutil.copytree(ROOT / "mnt", MNT, dirs_exist_ok=True)
        for folder, _, _ in os.walk(MNT):
            os.chmod(folder, 0o777)
            pathlib.Path(folder, "marker").write_text("kept")

    def differences(self, people):
        """The cells of the report on ROOT that are not what a login gives."""
        reported = {row["folder"]: {"anonymous": cell["guests"], **cell["people"]}
                    for row in report()["folders"] for cell in row["rights"]
                    if {"name": "FTP"} in cell["services"]}
        told = {"none": (False, False), "read": (True, False),
                "upload": (False, True), "write": (True, True)}
        different = []
        with appliance.service("proftpd", "--nodaemon", "--config", str(CONFIGURATION),
                               ready=lambda: appliance.answers(21)):
            for person in people:
                with contextlib.closing(ftplib.FTP("127.0.0.1", timeout=20)) as session:
                    known = allows(session.login, person, "any")
                    for folder, _, _ in os.walk(MNT):
                        if folder.count("/") in (2, 3):
                            given = right(session, folder) if known else (False, False)
                            cell = reported.get(folder, {}).get(person, "none")
                            if given != told[cell]:
                                different.append((person, folder, given, cell))
        return different

    def test_lists_and_limits(self):
        lines = [f"Allow{kind} {words.strip()}" for kind, table in (("User", USERS), ("Group", GROUPS))
                 for words in table.split(";")]
        rules = [[("ALL", "DenyAll\n" + line.replace(r"\n", "\n").replace(r"\r", "\r"))]
                 for line in lines] + LIMITS
        self.edit(*(section(f"/mnt/rules/{number}", limits)
                    for number, limits in enumerate(rules)),
                  folders=[f"rules/{number}" for number in range(len(rules))])
        found = [(person, rules[int(pathlib.Path(folder).name)], *rest) for person, folder, *rest
                 in self.differences(["alice", "bob", "carol"])]
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
            self.edit(around, *blocks, "<Anonymous /mnt>\nUser guest\n", *blocks, "</Anonymous>\n",
                      folders=[f"{number}/{folder}" for number in range(len(PATHS))
                               for folder in FOLDERS])
            found = [(PATHS[int(folder.split("/")[2])], person, folder, *rest)
                     for person, folder, *rest in self.differences(["alice", "guest"])]
            self.assertEqual(found, [])

    def test_logins(self):
        self.edit("<Limit LOGIN>\nDenyUser bob,root\n</Limit>\n<Anonymous /mnt>\nUser guest\n"
                  "UserAlias anonymous guest\n<Limit LOGIN>\nDenyAll\n</Limit>\n</Anonymous>\n")
        self.assertEqual(self.differences(["alice", "bob", "guest", "anonymous"]), [])

    def test_what_the_server_refuses(self):
        for lines in REFUSED + ACCEPTED:
            self.edit(lines)
            starts = run("proftpd", "--configtest", "--config", CONFIGURATION).returncode == 0
            self.assertEqual([starts, not report()["notes"]], [lines in ACCEPTED] * 2, lines)

    def test_the_report_tells_the_rights_of_the_example(self):
        appliance.write_configuration()
        (ROOT / "mnt/array1/mixed").mkdir()
        (ROOT / "etc/passwd").write_text("".join(
            f"{name}:x:{number}:100::/mnt:/bin/sh\n"
            for number, name in enumerate(["admin", "guest", *PEOPLE], 2001)))
        served = [share for share in intent.shares() if share.ftp]
        people = ["admin", "guest", *PEOPLE, "anonymous"]
        self.assertEqual(intent.deviations(people, served, intent.reported("FTP")),
                         set(KNOWN["FTP rights"]))
