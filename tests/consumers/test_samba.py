"""testparm, smbd and smbclient with the written smb.conf, unfiltered."""
import contextlib
import json
import os
import pathlib
import re
import shutil
import unittest

import appliance
import intent
import live_samba
import samba_letters
import study
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
    """tavrogen-access on the example and on drawn appliances, cell by cell against smbd."""

    @classmethod
    def setUpClass(cls):
        live_samba.make_accounts()

    maxDiff = None

    def compare(self):
        report = json.loads(run(os.environ["TAVROGEN"] + "-access", "--root", study.ROOT,
                                "--json").stdout)
        people = [person["name"] for person in report["people"]
                  if person["name"] in live_samba.ACCOUNTS]
        told = {}
        for row in report["folders"]:
            for cell in row["rights"]:
                for name in [service.get("as", row["name"]) for service in cell["services"]
                             if service["name"] == "SMB"]:
                    rights = {**cell["people"], None: cell["guests"]}
                    told |= {(name, who, row["folder"]): right for who, right in rights.items()
                             if right != "none" and who in [*people, None]}
        names = {name for name, _, _ in told}
        names |= {fields[0][:59] for fields in study.listed("shareinfo")}
        seen = {}
        with live_samba.served() as started:
            if not started:
                self.assertEqual(told, {})
                return
            settings = live_samba.client()
            for name in names:
                for who in [*people, None]:
                    right, folder = live_samba.access(settings, who, name)
                    if right != live_samba.NOTHING:
                        seen[name, who, folder] = ["none", "read", "write"][right]
        there = {key: right for key, right in told.items()
                 if pathlib.Path(f"{study.ROOT}{os.path.normpath(key[2])}").is_dir()}
        self.assertEqual(there, seen)

    def test_the_example_is_told_as_it_is_served(self):
        shutil.rmtree(study.ROOT, ignore_errors=True)
        shutil.copytree(appliance.EXAMPLE, study.ROOT)
        run(appliance.SOURCE / "scripts/sandbox", "--host", "morvista-nas", study.ROOT,
            os.environ["TAVROGEN"], "-c", "samba").check_returncode()
        self.compare()

    def test_drawn_appliances_are_told_as_they_are_served(self):
        for kind, seeds in (("plain", range(2)), ("plausible", range(10)), ("wild", range(10))):
            for seed in seeds:
                with self.subTest(kind, seed=seed):
                    study.write_drawn(kind, seed, "samba")
                    self.compare()

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
