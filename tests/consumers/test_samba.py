"""testparm, smbd and smbclient with the written smb.conf, unfiltered."""
import contextlib
import ctypes
import pathlib
import re
import unittest

import appliance
import intent
from appliance import ETC, MNT, PEOPLE, run
from known import refusals


def smbclient(person, *arguments):
    login = ["-U", f"{person}%{person}-secret"] if person else ["-N"]
    return run("smbclient", *arguments, *login).stdout


class Served(unittest.TestCase):
    """The example in workgroup mode, served by smbd."""

    @classmethod
    def setUpClass(cls):
        appliance.make_accounts()
        appliance.write_configuration()
        appliance.make_folders()
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
        self.assertEqual(intent.deviations(["admin", "guest", *PEOPLE], served, granted, 4), set())
        for share in self.shares:
            if not share.smb:
                self.assertEqual(granted("admin", share), intent.NOTHING)


class Reported(unittest.TestCase):
    def test_the_report_tells_the_rights_that_are_served(self):
        appliance.write_configuration()
        served = [share for share in intent.shares() if share.smb]
        self.assertEqual(intent.deviations([*PEOPLE, "admin"], served, intent.reported("SMB")),
                         set())

    def test_letters_are_compared_as_samba_compares_them(self):
        told, lower = {}, ctypes.CDLL("libsamba-util.so.0").tolower_m
        table = (appliance.SOURCE / "access/services/smb_letters.inc").read_text()
        for row in re.findall(r"{(\w+), (\w+), (\d+), (-?\d+)}", table):
            first, last, step, offset = (int(number, 0) for number in row)
            told |= {letter: letter + offset for letter in range(first, last + 1, step)}
        self.assertEqual(told, {letter: lower(letter) for letter in range(0x110000)
                                if lower(letter) != letter})


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
