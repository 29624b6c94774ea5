"""testparm, smbd and smbclient with the written smb.conf, unfiltered."""
import contextlib
import pathlib
import re
import unittest

import appliance
import intent
import samba_letters
from appliance import ETC, MNT, PEOPLE, run
from known import KNOWN, refusals


def smbclient(person, *arguments):
    login = ["-U", f"{person}%{person}-secret"] if person else ["-N"]
    return run("smbclient", *arguments, *login).stdout


class Served(unittest.TestCase):
    """The example in workgroup mode, served by smbd."""

    @classmethod
    def setUpClass(cls):
        appliance.make_accounts()
        appliance.make_folders()
        appliance.write_configuration()
        appliance.make_samba_accounts()
        running = contextlib.ExitStack()
        cls.addClassCleanup(running.close)
        running.enter_context(appliance.service(
            "smbd", "--foreground", "--no-process-group", "--debug-stdout",
            ready=lambda: appliance.answers(445)))
        cls.shares = intent.shares()

    def test_everybody_sees_the_served_shares_and_their_comments(self):
        expected = {share.smb_name: share.smb_comment for share in self.shares if share.smb}
        expected |= {"info": "Quarvane Utilities", "branches": "Quarvane DFS folder"}
        for person in [*PEOPLE, None]:
            seen = re.findall(r"^Disk\|(.*)\|(.*)$", smbclient(person, "-gL", "127.0.0.1"), re.M)
            self.assertEqual(dict(seen), expected, person)

    def test_a_hidden_share_answers_only_to_its_dollar_name(self):
        self.assertIn("NT_STATUS_BAD_NETWORK_NAME", smbclient("admin", "//127.0.0.1/backup"))
        self.assertIn("marker", smbclient("admin", "//127.0.0.1/backup$", "-c", "ls"))
        ordinary = run("rpcclient", "127.0.0.1", "-U", "admin%admin-secret", "-c", "netshareenum 1")
        self.assertIn("netname: public", ordinary.stdout)
        self.assertNotIn("$", ordinary.stdout.replace("IPC$", ""))

    def test_rights_are_as_the_share_list_means_them(self):
        def granted(person, share):
            got = pathlib.Path(f"/run/got-by-{person}-from-{share.name}")
            put = MNT / share.folder / f"put-by-{person}"
            said = smbclient(person, f"//127.0.0.1/{share.smb_name}", "-c",
                             f"get marker {got}; put /etc/hosts {put.name}")
            may_read = got.exists() and got.read_text() == "kept"
            if not may_read:
                self.assertIn("ACCESS_DENIED" if share.smb else "BAD_NETWORK_NAME", said)
            return intent.RIGHTS[may_read, put.exists()]

        served = [share for share in self.shares if share.smb]
        self.assertEqual(intent.deviations(["admin", "guest", *PEOPLE], served, granted, 4),
                         set(KNOWN["SMB rights"]))
        for share in self.shares:
            if not share.smb:
                self.assertEqual(granted("admin", share), intent.NOTHING)

    def test_the_recycle_bin_keeps_deleted_files_and_their_folders(self):
        for share, kept in (("public", ["Copy #1 of report", "report"]), ("accounts", [])):
            for _ in range(2):
                smbclient("alice", f"//127.0.0.1/{share}", "-c",
                          "mkdir year; cd year; put /etc/hosts report; rm report")
            self.assertTrue((MNT / "array1" / share / "year").exists())
            self.assertFalse((MNT / "array1" / share / "year/report").exists())
            found = (MNT / "array1" / share / "trashbox").rglob("year/*")
            self.assertEqual(sorted(file.name for file in found), kept)


class Reported(unittest.TestCase):
    def test_the_report_tells_the_rights_that_are_served(self):
        appliance.write_configuration()
        served = [share for share in intent.shares() if share.smb]
        self.assertEqual(intent.deviations([*PEOPLE, "admin"], served, intent.reported("SMB")),
                         set(KNOWN["SMB rights"]))

    def test_letters_are_compared_as_samba_compares_them(self):
        written = appliance.SOURCE / "access/services/smb_letters.inc"
        self.assertEqual(written.read_text(), samba_letters.text())


class Checked(unittest.TestCase):
    """Each mode's file, read by testparm."""

    def test_only_known_lines_are_ignored_or_refused(self):
        known = refusals("testparm", "--version")
        refused = set()
        for mode in ("off", "on", "ad", "server", "share"):
            appliance.write_configuration(domain=mode)
            done = run("testparm", "--suppress-prompt", ETC / "samba/smb.conf")
            if done.returncode:
                refused |= {f"security = {value}" for value in re.findall(
                    "Ignoring invalid value '(.*)' for parameter 'security'", done.stdout)}
                continue
            ignored = set(re.findall('Ignoring unknown parameter "(.*)"', done.stdout))
            self.assertEqual(ignored, {name for name in known if "=" not in name}, mode)
            self.assertIn("valid users = NORTH+mika @NORTH+auditors NORTH+ivan alice",
                          done.stdout, mode)
            self.assertEqual(done.stdout.count("\tpath = "),
                             2 + sum(share.smb for share in intent.shares()), mode)
        self.assertEqual(refused, {line for line in known if "=" in line})
