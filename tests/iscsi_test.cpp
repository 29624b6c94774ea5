// The iSCSI target.
#include "tests/appliance.h"

#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <vector>

static const std::string ietd_conf = "/etc/ietd.conf";
static const std::string prefix = "iqn.2008-09.com.quarvane:appliance-000000000000:";

// The names of the targets, in order.
static std::string targets(const Appliance& appliance) {
    std::istringstream lines(lines_with(appliance.read(ietd_conf), "Target  "));
    std::string names;
    for (std::string line; getline(lines, line);)
        names += line.substr(line.rfind(':') + 1) + " ";
    return names;
}

TEST(Iscsi, ExportsTheDisksThatAreSwitchedOnAndHaveAVolume) {
    const std::string list = "/dev/md1<>vg1\n/dev/md2<>vg2\n";
    const struct {
        std::string change, volumes, targets;
        std::string checks = "";  // outcomes of the volume check
        std::string err = "";
    } rows[] = {
        {"", list, "mail build ", "00"},
        {"iscsi_device0_available", list, "mail build ", "00"},
        {"iscsi_device0_available=off;iscsi_device2_available=off", list, "mail ", "0"},
        {"iscsi_device2_available=ON", list, "mail ", "0"},
        {"iscsi_device2_path_lun0", list, "mail ", "0"},
        {"iscsi_device0_path_lun0=;iscsi_device2_target=", list, ""},
        {"iscsi_device2_path_lun0=/dev/no", list, "mail ", "0", "cannot open /dev/no\n"},
        {"iscsi_device2_path_lun0=/dev/" + std::string(70, 'd'), list, "mail ", "0",
         "cannot open /dev/" + std::string(58, 'd') + "\n"},
        {"", "", "", "11"},
        {"", "/dev/md1<>\n/dev/md2<><>x\n", "mail ", "01"},  // the newline fills a field
        {"", "/dev/md1\n/dev/md2<>", "", "11"},
        {"", "x<>/dev/md1<>\nx/dev/md2x<>y<>\n/dev/md1<><>\n", "mail build ", "00"},
        // The first line that names the path counts, and its first 255 bytes.
        {"", "/dev/md1<><>\n/dev/md1<>vg<>\n", "", "11"},
        {"", "a<>vg<>" + std::string(300, 'a') + "\n/dev/md1\n/dev/md2\n", "", "11"},
        {"", "/dev/md1<" + std::string(300, 'a') + "<>/dev/md2<>b\n", "mail build ", "00"},
        {"iscsi_device2_path_lun0=/dev/lvm_vg/d", "", "build ", "11"},
        {"iscsi_device2_path_lun0=/dev/lvm_vg/d", "none", "build "},
    };
    for (const auto& row : rows) {
        Appliance appliance;
        appliance.write("/dev/lvm_vg/d", "");
        appliance.change("iscsi_disks1", row.change);
        appliance.write("/tmp/pvlistconfig", row.volumes);
        if (row.volumes == "none")
            appliance.remove("/tmp/pvlistconfig");
        const Outcome run = appliance.run("-c iscsi");
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(targets(appliance), row.targets) << row.change << row.volumes;
        EXPECT_EQ(lines_with(run.err, "cannot"), row.err) << row.change;
        std::string checks;
        for (const char outcome : row.checks)
            checks += std::string("checkpath ret = ") + outcome + "\n";
        EXPECT_EQ(lines_with(run.out, "checkpath ret"), checks) << row.change << row.volumes;
        // The access files list every disk that has a name and a path.
        const std::string deny = appliance.read("/etc/initiators.deny");
        EXPECT_EQ(has(deny, ":mail ALL\n"), !has(row.change, "device0_path_lun0"));
        EXPECT_EQ(has(deny, ":build ALL\n"), !has(row.change, "path_lun0;") &&
                                                 row.change != "iscsi_device2_path_lun0" &&
                                                 !has(row.change, "device2_target"));
    }
}

TEST(Iscsi, WritesTheUsersThatTheAuthenticationNeeds) {
    const struct {
        std::string type;
        std::vector<std::string> users;  // names and passwords, incoming and outgoing
        bool incoming, outgoing;
    } rows[] = {
        {"no", {"i", "p", "o", "q"}, false, false},
        {"", {"i", "p", "o", "q"}, false, false},
        {"chap", {"i", "p", "o", "q"}, false, false},
        {"simplex", {"i", "p", "o", "q"}, true, false},
        {"duplex", {"i", "p", "o", "q"}, true, true},
        {"duplex", {"i", "", "o", "q"}, false, true},
        {"duplex", {"", "p", "o", ""}, false, false},
        {"duplex", {"i", "p", "", "q"}, true, false},
    };
    for (const auto& [type, users, incoming, outgoing] : rows) {
        Appliance appliance;
        for (const std::string key : {"iscsi_", "iscsi_device0_"}) {
            const std::string file = key == "iscsi_" ? "iscsi_info" : "iscsi_disks1";
            appliance.change(file, key + "authtype=" + type);
            appliance.change(file, key + "IncomingUser_name=" + users[0]);
            appliance.change(file, key + "IncomingUser_password=" + users[1]);
            appliance.change(file, key + "OutgoingUser_name=" + users[2]);
            appliance.change(file, key + "OutgoingUser_password=" + users[3]);
        }
        EXPECT_EQ(appliance.run("-c iscsi").err,
                  "# [" + type + "] [" + users[0] + "] [" + users[1] + "] \n");
        const std::string text = appliance.read(ietd_conf);
        for (const std::string indent : {"", "    "}) {
            EXPECT_EQ(has(text, "\n" + indent + "IncomingUser i p\n"), incoming) << text;
            EXPECT_EQ(has(text, "\n" + indent + "OutgoingUser o q\n"), outgoing) << text;
        }
    }
}

// Each disk file lacks one parameter of device 0, and gives it to device 2, in vain.
TEST(Iscsi, SharesTheSessionParametersOfDevice0) {
    Appliance appliance;
    const std::string settings = appliance.read("iscsi_disks1");
    std::string targets = expected("off" + ietd_conf);
    targets.erase(targets.find("\n#Disk1"));
    int file = 0, disk = 0;
    for (const std::string name : {"HeaderDigest", "DataDigest", "InitialR2T", "ImmediateData",
                                   "MaxConnections", "MaxRecvDataSegmentLength", "MaxBurstLength",
                                   "FirstBurstLength", "MaxOutstandingR2T", "Wthreads"}) {
        const std::string disks = "iscsi_disks" + std::to_string(++file);
        appliance.write(disks, settings);
        appliance.change(disks, "iscsi_device0_" + name + (file % 2 ? "=" : "") +
                                    ";iscsi_device2_" + name + "=7");
        std::string rest = expected("off" + ietd_conf);
        rest.erase(0, rest.find("\n#Disk1"));
        rest = std::regex_replace(rest, std::regex("    " + name + " .*\n"), "");
        if (name == "MaxConnections")  // on which another line depends
            rest = std::regex_replace(rest, std::regex("    MaxXmit.*\n"), "");
        for (const auto* number : {"1", "2"})
            rest.replace(rest.find("Disk" + std::string(number) + "\n") + 4, 1,
                         std::to_string(++disk));
        targets += rest;
    }
    appliance.run("-c iscsi");
    EXPECT_EQ(appliance.read(ietd_conf), targets);
}

TEST(Iscsi, ReadsNumbersAndCutsTexts) {
    Appliance appliance;
    for (const auto* setting : {"MaxXmitDataSegmentLength", "alias", "Wthreads=-8",
                                "QueuedCommands", "MaxBurstLength=9x", "InitialR2T=twelve-letters"})
        appliance.change("iscsi_disks1", std::string("iscsi_device0_") + setting);
    appliance.run("-c iscsi");
    EXPECT_EQ(
        part(appliance.read(ietd_conf), ",Type", "#Disk2"),
        ",Type=blockio\n    HeaderDigest CRC32C,None\n    DataDigest None\n"
        "    MaxConnections 1\n    InitialR2T twelve-lett\n    ImmediateData No\n"
        "    MaxRecvDataSegmentLength 8192\n    MaxXmitDataSegmentLength 0\n"
        "    MaxBurstLength 9\n    FirstBurstLength 65536\n    MaxOutstandingR2T 2\n\n#Disk2");
}

TEST(Iscsi, FindsTenFilesOfTwentyDevices) {
    Appliance appliance;
    std::string names;
    for (int file = 1; file <= 11; ++file) {
        std::string settings;
        for (int device = 19; device >= 0; --device) {
            const std::string key = "iscsi_device" + std::to_string(device) + "_";
            settings += key + "target=" + std::to_string(file) + "-" + std::to_string(device) +
                        "\n" + key + "path_lun0=/dev/md1\n" + key + "available=on\n";
        }
        if (file == 3)  // without its device 0, a file is empty
            settings.erase(settings.find("iscsi_device0_target"));
        for (int device = 0; device < 20 && file != 3 && file != 11; ++device)
            names += std::to_string(file) + "-" + std::to_string(device) + " ";
        appliance.write("iscsi_disks" + std::to_string(file), settings);
    }
    EXPECT_EQ(appliance.run("-c iscsi").status, 0);
    EXPECT_EQ(targets(appliance), names);
    EXPECT_TRUE(has(appliance.read(ietd_conf), "\n\n#Disk180\n"));

    for (int file = 1; file <= 10; ++file)
        appliance.remove("iscsi_disks" + std::to_string(file));
    appliance.run("-c iscsi");
    EXPECT_EQ(appliance.read(ietd_conf),
              "#iSCSI global configuration\nIncomingUser finder "
              "finderpass\nOutgoingUser keeper keeperpass\n\n");
    EXPECT_EQ(appliance.read("/etc/initiators.allow") + appliance.read("/etc/initiators.deny"), "");
}

TEST(Iscsi, RestrictsADiskToItsInitiators) {
    const struct {
        std::string change, mail, build;
    } rows[] = {
        {"iscsi_device0_ip_restrict=on", "10.0.0.7, 10.0.0.8", "ALL"},
        {"iscsi_device2_initiators.allow=x", "10.0.0.7, 10.0.0.8", "x"},
        {"iscsi_device2_ip_restrict=off;iscsi_device0_ip_restrict", "10.0.0.7, 10.0.0.8", "x"},
        {"iscsi_device0_ip_restrict=off", "ALL", "ALL"},
    };
    Appliance appliance;
    for (const auto& row : rows) {
        appliance.change("iscsi_disks1", row.change);
        appliance.run("-c iscsi");
        EXPECT_EQ(appliance.read("/etc/initiators.allow"),
                  prefix + "mail " + row.mail + "\n" + prefix + "build " + row.build + "\n");
        EXPECT_EQ(appliance.read("/etc/initiators.deny"),
                  prefix + "mail ALL\n" + prefix + "build ALL\n");
    }
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
