// Host names, and numbers of disks.
#include "tests/root.h"

#include <sys/stat.h>

using std::string;

TEST(Samba, TakesTheHostNameUpToItsDot) {
    for (const auto& [host, name] :
         {std::pair<string, string>{"a-host-name-of-twenty.example.net", "a-host-name-of-twen"},
          {"nas", "nas"},
          {"n.a.s", "n"}}) {
        Root root;
        root.host = host;
        root.run("-c samba");
        EXPECT_EQ(lines_with(root.read("/etc/samba/smb.conf"), "    netbios"),
                  "    netbios name = " + name + "\n");
    }
    // Kept: without its key, local_auth goes by the host name.
    Root root;
    root.host = "on";
    root.change("info", "local_auth;domain=on");
    root.run("-c samba");
    EXPECT_TRUE(has(root.read("/etc/samba/smb.conf"), "= guest winbind:ntdomain sam_ignored"));
}

TEST(Iscsi, FindsTenFilesOfTwentyDevices) {
    Root root;
    string targets;
    for (int file = 1; file <= 10; ++file) {
        string settings;
        for (int device = 0; device < 20; ++device) {
            const string key = "iscsi_device" + std::to_string(device) + "_";
            const string name = std::to_string(file) + "-" + std::to_string(device) + "\n";
            settings +=
                key + "target=" + name + key + "path_lun0=/dev/md1\n" + key + "available=on\n";
            targets += "Target  iqn.2008-09.com.quarvane:appliance-000000000000:" + name;
        }
        root.write("iscsi_disks" + std::to_string(file), settings);
    }
    root.run("-c iscsi");
    EXPECT_EQ(lines_with(root.read("/etc/ietd.conf"), "Target"), targets);
    EXPECT_TRUE(has(root.read("/etc/ietd.conf"), "\n\n#Disk200\n"));
}

TEST(Iscsi, KeepsThePermissionsOfAFileThatIsThere) {
    Root root;
    root.run("-c iscsi");
    chmod(root.at("/etc/ietd.conf").c_str(), 0640);
    root.run("-c iscsi");
    EXPECT_EQ(std::filesystem::status(root.at("/etc/ietd.conf")).permissions(),
              std::filesystem::perms(0640));
}
