// The iSCSI target.
#include "tests/appliance.h"

#include <sys/stat.h>

static const std::string ietd_conf = "/etc/ietd.conf";

TEST(Iscsi, WritesEveryKindOfDisk) {
    Appliance appliance({"tests/appliance", "tests/disks"});
    const Outcome run = appliance.run("-c iscsi");
    EXPECT_EQ(run.out, expected("traces/disks"));
    EXPECT_EQ(run.err,
              "# [duplex] [finder] [finderpass] \ncannot open /dev/none\ncannot open /dev/" +
                  std::string(58, 'd') + "\n");
    appliance.expect_files("disks");
}

TEST(Iscsi, NeedsAVolumeListForAllButLogicalVolumes) {
    Appliance appliance;
    appliance.change("iscsi_disks1", "iscsi_device2_path_lun0=/dev/lvm_vg/d");
    appliance.write("/dev/lvm_vg/d", "");
    for (const bool list : {true, false}) {
        list ? appliance.write("/tmp/pvlistconfig", "") : appliance.remove("/tmp/pvlistconfig");
        EXPECT_EQ(has(appliance.run("-c iscsi").out, "checkpath"), list);
        const std::string text = appliance.read(ietd_conf);
        EXPECT_TRUE(has(text, "#Disk1\n") && has(text, ":build\n") && !has(text, ":mail\n"));
    }
}

TEST(Iscsi, WritesTheGlobalUsersThatTheAuthenticationNeeds) {
    const std::string in = "IncomingUser finder finderpass\n";
    const std::string out = "OutgoingUser keeper keeperpass\n";
    const struct {
        std::string change, users;  // each change on top of those before
    } rows[] = {
        {"iscsi_authtype=no", ""},
        {"iscsi_authtype=", ""},
        {"iscsi_authtype=chap", ""},
        {"iscsi_authtype=simplex", in},
        {"iscsi_authtype=duplex", in + out},
        {"iscsi_IncomingUser_password=", out},
        {"iscsi_OutgoingUser_name", ""},
        {"iscsi_IncomingUser_password=finderpass", in},
        {"iscsi_OutgoingUser_name=x;iscsi_OutgoingUser_password=;iscsi_IncomingUser_name=", ""},
    };
    Appliance appliance;
    appliance.remove("iscsi_disks1");
    for (const auto& row : rows) {
        appliance.change("iscsi_info", row.change);
        appliance.run("-c iscsi");
        EXPECT_EQ(appliance.read(ietd_conf), "#iSCSI global configuration\n" + row.users + "\n");
        EXPECT_EQ(appliance.read("/etc/initiators.allow"), "");
    }
}

TEST(Iscsi, FindsTenFilesOfTwentyDevices) {
    Appliance appliance;
    std::string targets;
    for (int file = 1; file <= 11; ++file) {
        std::string settings;
        for (int device = 0; device < 20; ++device) {
            const std::string key = "iscsi_device" + std::to_string(device) + "_";
            const std::string name = std::to_string(file) + "-" + std::to_string(device) + "\n";
            settings +=
                key + "target=" + name + key + "path_lun0=/dev/md1\n" + key + "available=on\n";
            if (file <= 10)
                targets += "Target  iqn.2008-09.com.quarvane:appliance-000000000000:" + name;
        }
        appliance.write("iscsi_disks" + std::to_string(file), settings);
    }
    appliance.run("-c iscsi");
    EXPECT_EQ(lines_with(appliance.read(ietd_conf), "Target"), targets);
    EXPECT_TRUE(has(appliance.read(ietd_conf), "\n\n#Disk200\n"));
}

TEST(Iscsi, NamesTargetsByTheWholeHostNameAndKeepsSecretsPrivate) {
    Appliance appliance;
    appliance.host = "nas.example.net";
    appliance.eth0 = "02:00:5e:10:00:ab,192.0.2.10/24";
    std::filesystem::resize_file(appliance.at("/dev/md1"), 5'000'000'000);  // a hole
    EXPECT_TRUE(has(appliance.run("-c iscsi").out, "\n02:00:5E:10:00:AB\nfile:/etc/ietd.conf\n"));
    EXPECT_TRUE(has(appliance.read(ietd_conf),
                    "Target  iqn.2008-09.com.quarvane:nas.example.net-02005E1000AB:mail\n"));
    struct stat status = {};
    stat(appliance.at(ietd_conf).c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0600);
    chmod(appliance.at(ietd_conf).c_str(), 0640);
    appliance.run("-c iscsi");
    stat(appliance.at(ietd_conf).c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0640);
}
