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
from known import as_known, refusals

REFUSALS = refusals("proftpd", "-v")
CONFIGURATION = ETC / "proftpd/proftpd.conf"
KNOWN = {
    # the administrators' line names guest, whose logins the anonymous section takes
    "guest on setup: nothing, not read and write",
    # the anonymous section hides USB disks whatever their shares say
    "guest on camera: nothing, not read", "anonymous on camera: nothing, not read",
}


def edit_refused_lines():
    """Edits the lines that proftpd refuses until it takes the file. Returns them."""
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


def served():
    return appliance.service("proftpd", "--nodaemon", "--config", str(CONFIGURATION),
                             ready=lambda: appliance.answers(21))


def allowed(action, *arguments):
    """Whether the server allows the action; any trouble but a refusal is an error."""
    try:
        action(*arguments)
        return True
    except (ftplib.error_perm, ftplib.error_temp) as refusal:
        assert re.search("^550 .*(not permitted|denied|No such file)|^450 .*No such file",
                         str(refusal)), refusal
        return False


class Served(unittest.TestCase):
    """The example in workgroup mode, served by proftpd."""

    @classmethod
    def setUpClass(cls):
        appliance.make_accounts()
        appliance.write_configuration()
        appliance.make_folders()
        edit_refused_lines()
        running = contextlib.ExitStack()
        cls.addClassCleanup(running.close)
        running.enter_context(served())

    def login(self, person, password=None):
        session = ftplib.FTP("127.0.0.1", timeout=20)
        self.addCleanup(session.close)
        session.login(person, password or f"{person}-secret")
        return session

    def rights(self, session, folder):
        """What the session may do in a folder; each kind of writing must agree."""
        content = io.BytesIO()
        parent = folder.rsplit("/", 1)[0] or "/"
        reading = {
            allowed(session.retrbinary, f"RETR {folder}/marker", content.write),
            allowed(session.nlst, folder),
            allowed(session.cwd, folder),
            folder in [name.replace("//", "/") for name in session.nlst(parent)],
            content.getvalue() == b"kept"}
        self.assertEqual(len(reading), 1, folder)
        new = MNT / folder[1:] / "new"
        writing = {
            allowed(session.storbinary, f"STOR {folder}/marker", io.BytesIO(b"kept")),
            allowed(session.mkd, f"{folder}/folder"),
            allowed(session.rmd, f"{folder}/folder"),
            allowed(session.storbinary, f"STOR {folder}/new", io.BytesIO(b"new")),
            new.exists()}
        self.assertEqual(len(writing), 1, folder)
        if new.exists():
            before = new.stat().st_mode
            self.assertFalse(allowed(session.sendcmd, f"SITE CHMOD 600 {folder}/new"))
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
        self.assertEqual(intent.deviations(people, served, granted), KNOWN)
        hidden = [f"/{share.folder}" for share in shares if not share.ftp]
        hidden += ["/array1/branches", "/array1/spool", "/disk3/spool", "/disk4/lost+found"]
        for person, session in sessions.items():
            for folder in hidden:
                self.assertEqual(self.rights(session, folder), intent.NOTHING, (person, folder))
            for folder in ("/info", "/array1", "/disk3", "/disk4"):
                self.assertEqual(self.rights(session, folder), intent.READ, (person, folder))
            self.assertFalse(allowed(session.mkd, "/folder"), person)

    def test_a_login_needs_the_password_and_is_not_for_root(self):
        for login in (("alice", "wrong"), ("root",)):
            with self.assertRaisesRegex(ftplib.error_perm, "^530"):
                self.login(*login)


class Checked(unittest.TestCase):
    """Each mode's file, read by proftpd."""

    def test_only_known_lines_are_refused(self):
        refused = set()
        for mode in ("off", "on", "ad", "server", "share"):
            appliance.write_configuration(domain=mode)
            refused |= edit_refused_lines()
        self.assertEqual(refused, set(REFUSALS))


# Users and groups who may write and who may read.
LISTS = r"""alice,bob; alice, bob; alice bob,carol; ALICE; ,; "; "alice bob"; "bob",carol; bob,"carol"
    "a\lice"; a\lice; @; bob,#alice; a*,%u,%{env:NOTHING}; AND alice; or bob; regex li; alice regex
    !bob; ! bob; |staff,finance; |staff finance; |OR staff,finance; |staff,; |,; |!staff; |studio
    |regex fin; alice|finance; bob|studio|alice|; carol|||staff; bob||,|staff,finance; ||!bob|
    |@staff||@finance; ||regex|; dave|||finance,staff"""
# Names, in this order on a volume of their own each; the first one's folder is for alice alone,
# the second one's for all, the third one's for all to read.
NAMES = [
    ["s"], ["s/"], ["s//"], ["/s"], ["./s"], ["s/.."], ["."], ["s*"], ["?"], ["[st]"], ["[s"],
    ["s]"], ["[!s]"], [r"a\b"], ["a\\"], ["a b"], ['a"b'], ["#a"], ["a>"], ["%u"],
    ["%u*"], ["%p"], ["%{env:NOTHING}"], ["%{env:HOME"], ["~"], ["*"], ["S"],
    ["s*", "sx"], ["sx", "s*"], ["s", "*"], ["*", "s"], ["[a-s]*", "s", "s/x"],
]
FOLDERS = ["s/x", "sx", "t", "[st]", "[s", "s]", r"a\b", "ab", "a\\", "a b", "a", 'a"b', "#a", "a>",
           "%u", "%p", "S", "~", "%{env:HOME", "%{env:NOTHING}"]


EVERYBODY = "all<>all<>all<>all"


def line(name, volume, lists=EVERYBODY, read_only=0):
    return f"{name}<>{volume}<><>{lists}<>0<>0<>1<>0<><>{read_only}<>0<>0<>0\n"


STARTS = {  # whether the server starts
    line("s", "v") + line("t", "v"): True,
    2 * line("s", "v"): False,
    line("s/", "v") + line("s", "v"): True,
    line("", "v") + line("s", "v"): True,
    line("spool", "array1"): False,
    line("s", "array1 "): False,
    line("s", "v") + "\n": False,
    line("s", "v", " <><><>"): False,
    line("s", "v", "#alice<><><>"): False,
    line("s", "v", "alice\\<><><>"): False,
}


def right(session, folder):
    """Whether the session may read, and whether it may write in a folder."""
    content = io.BytesIO()
    below = folder.removeprefix(str(MNT))
    allowed(session.retrbinary, f"RETR {below}/marker", content.write)
    stored = allowed(session.storbinary, f"STOR {below}/new", io.BytesIO(b"new"))
    if stored:
        os.unlink(folder + "/new")
    return content.getvalue() == b"kept", stored


class ReadBack(unittest.TestCase):
    """tavrogen-access says what the server gives where settings are odd."""

    @classmethod
    def setUpClass(cls):
        appliance.make_accounts()

    def prepare(self, shares, folders=(), **settings):
        """Lets the program write for shares. Returns the unknown lines that proftpd refuses."""
        appliance.write_configuration(shares, **settings)
        for name in folders:
            (ROOT / "mnt" / name).mkdir(parents=True)
        appliance.make_folders()
        (ETC / "pam.d/ftp").write_text("".join(
            f"{kind} required pam_permit.so\n" for kind in ("auth", "account", "session")))
        return edit_refused_lines() - set(REFUSALS)

    def differences(self, people):
        """The cells of the report that are not what a login gives."""
        told = {"none": (False, False), "read": (True, False),
                "upload": (False, True), "write": (True, True)}
        rows, different = intent.cells("FTP"), []
        with served():
            for person in people:
                with contextlib.closing(ftplib.FTP("127.0.0.1", timeout=20)) as session:
                    session.login(person, "any")
                    for folder, _, _ in os.walk(MNT):
                        cell = rows.get(folder, {}).get(person, "none")
                        if folder.count("/") in (2, 3) and right(session, folder) != told[cell]:
                            different.append((person, folder, cell))
        return different

    def test_lists(self):
        lists = [(text.strip() + "|||").split("|")[:4] for text in re.split("[;\n]", LISTS)]
        shares = [line("s", f"v{number}", "<>".join(four)) for number, four in enumerate(lists)]
        for mode in ("off", "ad"):  # the server knows the members, or the program writes them
            refused = self.prepare("".join(shares), [f"v{at}/s" for at in range(len(lists))], domain=mode)
            self.assertEqual(refused, set())
            found = [(lists[int(folder.split("/")[2][1:])], person, cell)
                     for person, folder, cell in self.differences([*PEOPLE, "frank"])]
            self.assertEqual(found, [], mode)

    def test_names(self):
        shares = [line(name, f"v{number}", *how) for number, names in enumerate(NAMES)
                  for name, how in zip(names, [("alice<><><>",), (), (EVERYBODY, 1)])]
        refused = self.prepare("".join(shares), [f"v{number}/{folder}" for number in range(len(NAMES))
                                                 for folder in FOLDERS])
        self.assertEqual(refused, set())
        self.assertEqual(self.differences(["alice", "bob", "guest"]), [])

    def test_what_stops_the_server(self):
        for shares, starts in STARTS.items():
            self.assertEqual([not self.prepare(shares), not report()["notes"]], [starts] * 2, shares)

    def test_the_report_tells_the_rights_of_the_example(self):
        appliance.write_configuration()
        served = [share for share in intent.shares() if share.ftp]
        people = ["admin", "guest", *PEOPLE, "anonymous"]
        self.assertEqual(intent.deviations(people, served, intent.reported("FTP")),
                         KNOWN)
