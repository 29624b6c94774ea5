"""exportfs with the written exports."""
import unittest

import appliance
from appliance import run


class Exports(unittest.TestCase):
    def test_the_switched_on_shares_are_exported_to_the_network(self):
        appliance.write_configuration()
        appliance.make_folders()
        # A kernel that serves NFS itself cannot export the private machine's memory file system.
        said = run("exportfs", "-r").stdout.splitlines()
        self.assertEqual([line for line in said if "requires fsid=" not in line], [])
        exported = {}
        for line in run("exportfs", "-s").stdout.splitlines():
            folder, client = line.split()
            network, options = client.rstrip(")").split("(")
            exported[folder] = network
            self.assertLessEqual({"rw", "sync", "all_squash", "anonuid=99", "anongid=99",
                                  "no_subtree_check"}, set(options.split(",")))
        folders = ("array1/public", "array1/projects", "disk4/archive")
        self.assertEqual(exported, {f"/mnt/{folder}": "192.0.2.0/255.255.255.0"
                                    for folder in folders})
