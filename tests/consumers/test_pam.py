"""pamtester with the written PAM files; winbindd stands in for a domain with its local people."""
import pathlib
import unittest

import appliance
from appliance import ETC, run

SERVICES = ("ftp", "netatalk")


def accepts(service, person, password, *steps):
    done = run("pamtester", service, person, "authenticate", *steps, input=password + "\n")
    return done.returncode == 0


class Pam(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        appliance.make_accounts()

    def test_local_people_log_in_by_their_passwords(self):
        appliance.write_configuration()
        (ETC / "ftpusers").write_text("bob\n")  # who may not use FTP
        for service in SERVICES:
            self.assertEqual(accepts(service, "bob", "bob-secret"), service != "ftp")
            everything = ("acct_mgmt", "open_session", "close_session")
            self.assertTrue(accepts(service, "alice", "alice-secret", *everything), service)
            self.assertFalse(accepts(service, "alice", "wrong", *everything), service)

    def test_people_of_a_domain_log_in_by_winbind(self):
        appliance.write_configuration()
        appliance.make_samba_accounts()
        pathlib.Path("/run/samba").mkdir()
        with appliance.service("winbindd", "--foreground", "--no-process-group", "--debug-stdout",
                               ready=lambda: run("wbinfo", "--ping").returncode == 0):
            for mode, local_auth in (("on", "off"), ("ad", "on")):
                appliance.write_configuration(domain=mode, local_auth=local_auth)
                for service in SERVICES:
                    with self.subTest(service=service, mode=mode, local_auth=local_auth):
                        self.assertTrue(accepts(service, "alice", "alice-secret"))
                        self.assertFalse(accepts(service, "alice", "wrong"))
                        # guest is no member: only AppleTalk falls back to local passwords
                        self.assertEqual(accepts(service, "guest", "guest-secret"),
                                         service == "netatalk" and local_auth == "on")
