// The iSCSI target: ietd.conf, initiators.allow and initiators.deny.
#include "tests/root.h"

#include <sys/stat.h>

using std::string;
using namespace std::string_literals;

TEST(Iscsi, TakesTheDisksThatTheVolumeListKnows) {
    const auto list = [](const string& text) { return file("/tmp/pvlistconfig", text); };
    const string long_path = "/dev/" + string(50, 'd');
    const Change disk = keys("iscsi_disks1", "iscsi_device2_path_lun0=" + long_path);
    const Change there = file(long_path, "");
    const auto with = [&](const string& behaviour, const string& text) {
        return Case{behaviour, {disk, there, list(text)}};
    };
    const auto logical = [](const string& path) {
        return Case{"a logical volume needs no list: " + path,
                    {keys("iscsi_disks1", "iscsi_device2_path_lun0=" + path), file(path, ""),
                     no("/tmp/pvlistconfig")}};
    };
    const string at200(200, 'x');
    expect_effects(
        "volume-list", {"small"}, "-d 1 -c iscsi",
        {
            with("a listed disk", long_path + "<>vg\n"),
            with("a line of 255 bytes without a separator", at200 + long_path),
            with("a line of 254 bytes and its newline", at200.substr(1) + long_path + "\n"),
            with("a line of 255 bytes, then one with a field",
                 at200 + long_path + "\n" + long_path + "<>vg\n"),
            with("a path across byte 255 is not seen", at200 + "x" + long_path + "<>vg\n"),
            with("a path right after byte 255", at200 + string(55, 'x') + long_path + "<>vg\n"),
            with("a line of 300 bytes ends in a field",
                 long_path + string(200, 'x') + "<>" + string(40, 'y') + "\n"),
            with("a separator across byte 255",
                 string(199, 'x') + long_path + "<>" + string(40, 'y') + "\n"),
            with("a lone < is a separator, too", long_path + "<xvg\n"),
            with("only the first line counts", long_path + "\n" + long_path + "<>vg\n"),
            with("a longer path counts", long_path + "2<>vg\n"),
            with("a newline is a field", long_path + "<>\n"),
            with("no field", long_path + "<>"),
            with("a NUL byte ends a line", "x\0"s + long_path + "<>vg\n"),
            with("nothing of a line is left after the NUL of the next",
                 "a<>b<>c<>d<>e<>f\n" + "\0"s + "\n" + long_path + "\n"),
            logical("/dev/lvm_vg/d"),
            logical("/srv/lvm_d"),
            logical("/lvm_/d"),
            logical("/dev/vg_lvm/d"),
            logical("/dev/lvmvg/d"),
            logical("/dev/xlvm_/d"),
            {"a disk that is not there", {no("/dev/md1")}},
            {"a disk that is a folder", {folder("/dev/md1")}},
            {"a disk whose link leads nowhere",
             {{"/dev/md1", "(a link to nowhere)",
               [](Root& root, const Change& it) {
                   root.remove(it.file);
                   std::filesystem::create_symlink("nowhere", root.at(it.file));
               }}}},
        });
}

TEST(Iscsi, WritesTheLinesThatADiskAsksFor) {
    const auto disk = [](const string& settings) {
        return Case{settings, {keys("iscsi_disks1", settings)}};
    };
    const string device = "iscsi_device", zero = device + "0_", two = device + "2_";
    const Change others =
        file("iscsi_disks11", zero + "target=no\n" + zero + "path_lun0=/dev/md1\n");
    expect_effects("iscsi", {"small"}, "-d 1 -c iscsi",
                   {
                       disk(zero + "available=off"),
                       disk(zero + "authtype=duplex"),
                       disk(zero + "authtype=no"),
                       disk(zero + "ip_restrict=off"),
                       disk(zero + "ip_restrict=Off"),
                       disk(zero + "MaxConnections=0"),
                       disk(zero + "MaxConnections=-1"),
                       disk(zero + "MaxXmitDataSegmentLength=0"),
                       disk(zero + "MaxConnections=99999999999"),
                       disk(zero + "Wthreads=-99999999999"),
                       disk(zero + "target="),
                       disk(zero + "path_lun0="),
                       disk(two + "available=ON"),
                       disk(two + "IncomingUser_name=a;" + two + "IncomingUser_password=b"),
                       disk(two + "OutgoingUser_name=a;" + two + "OutgoingUser_password=b"),
                       disk(two + "ip_restrict=off;" + two + "initiators.allow=x"),
                       disk(two + "MaxConnections=7;" + two + "HeaderDigest=7"),
                       disk(device + "19_target=t;" + device + "19_path_lun0=/dev/md1;" + device +
                            "19_available=on"),
                       disk(device + "20_target=t;" + device + "20_path_lun0=/dev/md1;" + device +
                            "20_available=on"),
                       {"there is no eleventh file", {others}},
                       {"no file of disks", {no("iscsi_disks1")}},
                   });
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
