"""proftpd with the written proftpd.conf, but for the refused lines, and the written PAM file."""
import contextlib
import ftplib
import io
import re
import unittest

import appliance
import intent
from appliance import ETC, MNT, PEOPLE, run
from known import KNOWN, as_known, refusals

REFUSED = refusals("proftpd", "-v")
CONFIGURATION = ETC / "proftpd/proftpd.conf"


def edit_refused_lines():
    """Edits the lines that proftpd refuses, one after the other, until it takes the file."""
    refused = set()
    while (done := run("proftpd", "--configtest", "--config", CONFIGURATION)).returncode:
        line = re.search(rf"on line (\d+) of '{CONFIGURATION}'", done.stdout)
        assert line, done.stdout
        lines = CONFIGURATION.read_text().splitlines(True)
        at = int(line[1]) - 1
        line = as_known(lines[at], REFUSED)
        refused.add(line)
        lines[at] = REFUSED.get(line, [""])[0] + "\n"
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
        self.assertEqual(refused, set(REFUSED))
