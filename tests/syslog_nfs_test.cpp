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
        {item + "file_ftp<>file_iscsi<>file_smb", samba},
        {item, ""},
        {item + "file_smb<>bogus", samba, unknown},
        {item + "<>system", "", unknown},
        {item + "system<><>file_smb", system, unknown},
        {item + "systemd;syslog_forward", system,
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
    for (const std::string name : {"settings-server", "settings-unknown", "settings-missing"}) {
        Appliance appliance({"tests/appliance", ("tests/" + name).c_str()});
        EXPECT_EQ(appliance.run("-d 1 -c syslog").out, expected("traces/" + name));
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
        appliance.run("-c nfs");
        EXPECT_EQ(appliance.read("/etc/exports"), expected("off/etc/exports"));
    }
}

TEST(Nfs, ExportsToNobodyWithoutANetwork) {
    Appliance appliance;
    appliance.write("nfs_info", "nfs_networkaddress\nnfs_subnetmask_=1\n");
    EXPECT_TRUE(has(appliance.run("-c nfs").out, "[nfs_subnetmask] not found in"));
    EXPECT_TRUE(appliance.read("/etc/exports").starts_with("/mnt/array1/pub /(rw,sync,"));
}
