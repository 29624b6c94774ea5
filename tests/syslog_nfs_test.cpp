// The system log, the NFS exports, and the settings and lists that both stand on.
#include "tests/appliance.h"

TEST(Syslog, ForwardsTheChosenFacilities) {
    const std::string item = "syslog_forward_item=";
    const std::string system = "local0.*\t@10.0.0.5\n";
    const std::string samba = "local6.=info\t@10.0.0.5\n";
    const std::string unknown =
        "load_info in load_config: syslog forward item include unknown value.\n";
    const struct {
        std::string change, forwarded, notes = "";
    } rows[] = {
        {"syslog_forward=on", system + samba},
        {item + "file_smb<>system", system + samba},
        {item + "file_ftp", ""},
        {item + "file_ftp<>file_iscsi<>file_smb", samba},
        {item + "systemd", system},
        {item, ""},
        {item + "file_smb<>bogus", samba, unknown},
        {item + "<>system", "", unknown},
        {item + "system<>", system, unknown},
        {item + "system<><>file_smb", system, unknown},
        {item + "system;syslog_forward", system,
         "LoadConfFileOnOff:key=[syslog_forward] not found in /etc/korvel/info.\n"},
        {"syslog_forward_target=", "local0.*\t@\n",
         "LoadConfFileOnOff:key=[syslog_forward] not found in /etc/korvel/info.\n"},
    };
    Appliance appliance;
    for (const auto& row : rows) {
        appliance.change("info", row.change);
        const Outcome run = appliance.run("-c syslog");
        EXPECT_EQ(run.out, "optarg:syslog\nload_info ItemValue = off\n" + row.notes) << row.change;
        EXPECT_EQ(appliance.read("/etc/syslog.conf"),
                  expected("off/etc/syslog.conf") + row.forwarded)
            << row.change;
    }
}

TEST(Settings, DecideAsTheyStandAndOnTheValueBeforeWhereTheyAreMissing) {
    const struct {
        std::string trace, info, disks;
    } rows[] = {
        {"traces/settings-server", "domain=server;anonyftp_mode=write",
         "array1=jbod;array2=raid10;disk3;disk4=array2;usb_disk1=normal;usb_disk2"},
        {"traces/settings-unknown",
         "domain=Server;anonyftp_mode=read/write;syslog_forward_item=systemd<>x",
         "array1=raid0;array2=raid5;disk1;disk2=array2;disk3;disk4=Normal;usb_disk1;"
         "usb_disk2=Normal"},
        {"traces/settings-missing",
         "local_auth=ad;domain;codepage=write;anonyftp_mode;syslog_forward_item",
         "array1=RAID1;array2;disk1;disk2;disk3;disk4;usb_disk1;usb_disk2"},
    };
    for (const auto& row : rows) {
        Appliance appliance;
        appliance.change("info", row.info);
        appliance.change("diskinfo", row.disks);
        EXPECT_EQ(appliance.run("-d 1 -c syslog").out, expected(row.trace));
    }
}

TEST(Nfs, ExportsTheSharesThatAVfsLineSwitchesOn) {
    Appliance appliance({"tests/appliance", "tests/exports"});
    for (const auto* arguments : {"-c nfs", "-d 3 -c nfs"}) {
        EXPECT_EQ(appliance.run(arguments).status, 0);
        appliance.expect_files("exports");
    }
}

TEST(Nfs, ReadsLinesOfAnyLength) {
    const std::string longest(39999, 'x');
    const std::string brackets(39999, '<');
    Appliance appliance;
    for (const std::string& line : {longest, brackets, brackets + longest + "\n", longest + "\n"}) {
        appliance.write("shareinfo", line + open_share("pub"));
        appliance.write("shareinfo.vfs", line + "pub<><><>1<>\n");
        EXPECT_EQ(appliance.run("-c nfs").status, 0);
        EXPECT_EQ(appliance.read("/etc/exports"), expected("off/etc/exports"));
    }
}

TEST(Nfs, GoesOnWithoutANetwork) {
    Appliance appliance;
    appliance.write("nfs_info", "nfs_networkaddress\nnfs_subnetmask_=1\n");
    EXPECT_EQ(appliance.run("-c nfs").out,
              "optarg:nfs\n"
              "LoadConfFileString:key=[nfs_networkaddress] not found in /etc/korvel/nfs_info.\n"
              "LoadConfFileString:key=[nfs_subnetmask] not found in /etc/korvel/nfs_info.\n"
              "file:/etc/exports\n");
    EXPECT_EQ(appliance.read("/etc/exports"),
              "/mnt/array1/pub /(rw,sync,all_squash,anonuid=99,anongid=99,no_subtree_check)\n");
}
