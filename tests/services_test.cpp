// What the services have in common: whole files, traces, USB disks, failures.
#include "tests/appliance.h"

#include <sstream>
#include <vector>

TEST(AllServices, WriteWholeFilesInEveryMode) {
    for (const std::string mode : {"off", "on", "ad", "server", "share"}) {
        Appliance appliance;
        appliance.change("info", "domain=" + mode);
        const std::string others = mode == "off" ? " -c syslog -c iscsi -c nfs" : "";
        EXPECT_EQ(appliance.run("-c samba -c proftpd -c atalk" + others).status, 0);
        appliance.expect_files(mode);
        appliance.change("info", "local_auth=on");
        EXPECT_EQ(appliance.run("-c samba -c proftpd -c atalk").status, 0);
        appliance.expect_files(mode + "-local");
    }
}

TEST(AllServices, WriteTheExample) {
    Appliance appliance({"examples/appliance"});
    appliance.host = "morvista-nas.example.net";
    appliance.eth0 = "02:00:5e:10:00:01,192.0.2.10/24";
    EXPECT_EQ(appliance.run("-c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs").status, 0);
    appliance.expect_files("example");
}

TEST(AllServices, WriteEveryKindOfAccessList) {
    for (const std::string mode : {"off", "on"}) {
        Appliance appliance({"tests/appliance", "tests/access"});
        appliance.change("info", "domain=" + mode);
        EXPECT_EQ(appliance.run("-c samba -c proftpd -c atalk").status, 0);
        appliance.expect_files("access-" + mode);
    }
}

TEST(AllServices, TakeListsOfThousandsOfNames) {
    std::string groups, names, shaped, members;
    for (int i = 0; i < 3000; ++i) {
        const std::string name = "g" + std::to_string(i);
        groups += name + ":x:1:u" + name + "\n";
        names += name + ",";
        shaped += (i == 0 ? " = @" : ",@") + name;
        members += "u" + name + ",";
    }
    Appliance appliance;
    appliance.write("/etc/group", groups);
    appliance.write("shareinfo", Share{"many", "", names}.line());
    appliance.run("-c samba -c proftpd");
    EXPECT_TRUE(has(appliance.read("/etc/samba/smb.conf"), "valid users" + shaped + "\n"));
    EXPECT_TRUE(has(appliance.read("/etc/proftpd/proftpd.conf"),
                    "Group  " + names + "\n    AllowUser " + members + "nobody\n"));
}

TEST(AllServices, AreTraced) {
    for (const std::string arguments : {"-d 3 -c samba", "-d 10 -c proftpd", "-d 1 -c atalk",
                                        "-d 1 -c syslog", "-d 1 -c iscsi", "-d 3 -c nfs"}) {
        Appliance appliance;
        EXPECT_EQ(masked(appliance.run(arguments).out),
                  expected("traces/" + arguments.substr(arguments.rfind(' ') + 1)));
    }
}

TEST(AllServices, GoOnWithoutAnyInput) {
    const std::string services = "-d 1 -c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs";
    const std::string unopened = "Can't Open : /etc/korvel/shareinfo\n";
    Appliance appliance;
    for (const auto* path : {"/etc/korvel", "/proc", "/tmp", "/etc/group"})
        appliance.obstruct(path);
    appliance.remove("/etc/vantor_expansion_firmware");
    auto run = appliance.run(services);
    EXPECT_EQ(masked(run.out), expected("traces/no-inputs"));
    EXPECT_TRUE(run.err.starts_with(unopened + "Can't Open : /etc/korvel/usbshareinfo\n"));
    // A folder opens, and reads as an empty file.
    for (const auto* name : {"info", "diskinfo", "msdfs", "nfs_info", "shareinfo"})
        appliance.obstruct(name);
    run = appliance.run(services);
    EXPECT_EQ(masked(run.out), expected("traces/no-inputs"));
    EXPECT_FALSE(has(run.err, unopened));
}

TEST(AllServices, ReportAnOutputThatCannotBeOpenedAndReleaseTheirInputs) {
    // A service, and its files in the order in which they are opened.
    const std::vector<std::vector<std::string>> rows = {
        {"samba", "/etc/samba/smb.conf", "/etc/pam_smb.conf"},
        {"proftpd", "/etc/proftpd/proftpd.conf", "/etc/pam.d/ftp"},
        {"atalk", "/etc/atalk/AppleVolumes.default", "/etc/pam.d/netatalk", "/etc/atalk/afpd.conf"},
        {"syslog", "/etc/syslog.conf"},
        {"iscsi", "/etc/ietd.conf", "/etc/initiators.allow", "/etc/initiators.deny"},
        {"nfs", "/etc/exports"},
    };
    for (const auto& row : rows)
        for (size_t obstructed = 1; obstructed < row.size(); ++obstructed) {
            Appliance appliance;
            appliance.obstruct(row[obstructed]);
            const Outcome run = appliance.run("-d 1 -c " + row[0]);
            EXPECT_EQ(run.status, row[0] == "iscsi" ? 0 : 255) << row[obstructed];
            EXPECT_EQ(lines_with(run.err, "cann"), (row[0] == "syslog" ? "cannnot" : "cannot") +
                                                       (" open " + row[obstructed]) + "\n");
            const std::string trace = expected("traces/" + row[0]);
            EXPECT_TRUE(run.out.ends_with(trace.substr(trace.rfind('\n', trace.size() - 2))))
                << run.out;
            // The two initiator files announce each other, and are written together.
            const bool deny = row[obstructed] == "/etc/initiators.deny";
            EXPECT_EQ(has(run.out, "file:" + row[obstructed] + "\n"), deny);
            for (size_t i = 1; i < row.size(); ++i)
                EXPECT_EQ(appliance.read(row[i]), i >= obstructed  ? "(no such file)"
                                                  : deny && i == 2 ? ""
                                                                   : expected("off" + row[i]));
        }
}

TEST(AllServices, NameTheCharactersOfACodePage) {
    Appliance appliance;
    std::istringstream rows(expected("code-pages"));
    for (std::string setting, charset, mac; rows >> setting >> charset >> mac;) {
        appliance.change("info", "codepage=" + setting);
        appliance.run("-c samba -c proftpd -c atalk");
        EXPECT_EQ(lines_with(appliance.read("/etc/samba/smb.conf"), "    dos charset"),
                  "    dos charset = " + charset + "\n");
        EXPECT_EQ(lines_with(appliance.read("/etc/proftpd/proftpd.conf"), "CharsetRemote"),
                  "CharsetRemote           " + charset + "\n");
        EXPECT_TRUE(has(appliance.read("/etc/atalk/AppleVolumes.default"),
                        " maccharset:MAC_" + mac + " volcharset"));
        EXPECT_TRUE(has(appliance.read("/etc/atalk/afpd.conf"), " -maccodepage MAC_" + mac + " "));
    }
}

// How a service shows a disk: '-' not at all, 'h' hidden, 'r' read-only, 'w' writable.
static char view(const std::string& block, const char* writable, const char* read_only) {
    if (block.empty() || has(block, "HideNoAccess"))
        return block.empty() ? '-' : 'h';
    return has(block, writable) == has(block, read_only) ? '?' : has(block, writable) ? 'w' : 'r';
}

TEST(UsbDisks, AreServedByTheirPlaceInTheListWhileMounted) {
    const auto share = [](const char* name, int read_only = 0, int served = 1) {
        return open_share(name, read_only, served, std::string("usbdisk") + name[1]);
    };
    const auto mounts = [](const std::string& first, const std::string& second) {
        return "/dev/a /mnt/usbdisk1 " + first + "\n/dev/b /mnt/usbdisk2 " + second + "\n";
    };
    const std::string both = mounts("ext3 rw 0 0", "xfs_x rw 0 0");
    const std::string two = share("u1") + share("u2");
    const std::string note = "unknown fs_type [";
    const struct {
        std::string shares, mounts, samba, ftp, anonymous, notes = "";
    } rows[] = {
        {"", both, "--", "hh", "hh"},
        {share("u1"), both, "w-", "wh", "hh"},
        {two, mounts("ext2 rw", "xfs"), "ww", "ww", "hh"},
        {share("u1", 1) + share("u2"), both, "rw", "rw", "hh"},
        {share("u1", 0, 0) + share("u2"), both, "-w", "hw", "hh"},
        {share("u1", 0, 0) + share("u2"), "/dev/a /mnt/usbdisk1 jfs\n", "--", "hh", "hh"},
        // With three shares and more, the anonymous section goes by the third share's mode.
        {two + share("u3"), both, "ww", "ww", "ww"},
        {two + share("u3", 1) + share("u4"), both, "ww", "ww", "rr"},
        {share("u1", 1, 0) + share("u2", 1) + share("u3"), both, "-r", "hr", "hw"},
        {two + share("u3"), mounts("vfat rw", "ext4 rw"), "r-", "rh", "rh", note + "ext4]\n"},
        {two, mounts("ntfs", "msdos rw"), "rr", "rr", "hh"},
        {two, mounts("jfs rw", "reiserfs"), "ww", "ww", "hh"},
        {two, mounts("vfat16x", " rw"), "--", "hh", "hh", note + "vfat16x]\n" + note + "]\n"},
        {two, "x /mnt/usbdisk1 sixteen-letters-\ny /mnt/usbdisk2\n", "--", "hh", "hh",
         note + "sixteen-letters]\n"},
        // The first line that names the disk counts, and its first 255 bytes.
        {two, "/dev/a /mnt/usbdisk10 ntfs\n" + both, "rw", "rw", "hh"},
        {two, "/" + std::string(300, 'd') + both, "-w", "hw", "hh"},
        {two, std::string(231, 'd') + mounts("ntfs", "x"), "--", "hh", "hh",
         note + "ntf]\n" + note + "x]\n"},
    };
    Appliance appliance;
    appliance.write("shareinfo", "");
    for (const auto& row : rows) {
        appliance.write("usbshareinfo", row.shares);
        appliance.write("/proc/mounts", row.mounts);
        const std::string out = appliance.run("-c samba -c atalk -c proftpd").out;
        EXPECT_EQ(lines_with(part(out, "optarg:samba", "optarg:"), note), row.notes) << row.mounts;
        const std::string smb = appliance.read("/etc/samba/smb.conf");
        const std::string volumes = appliance.read("/etc/atalk/AppleVolumes.default");
        const std::string conf = appliance.read("/etc/proftpd/proftpd.conf");
        const std::string anonymous = conf.substr(conf.find("<Anonymous"));
        std::string views[4];
        for (const std::string disk : {"1", "2"}) {
            const std::string directory = "<Directory /mnt/usbdisk" + disk + ">\n";
            views[0] +=
                view(part(smb, "[u" + disk + "]\n", "force"), "writable = yes", "(Read Only)\n");
            views[1] += view(part(volumes, "usbdisk" + disk + " ", "\n"), "\"\n", " options:ro\n");
            views[2] += view(part(conf, directory, "</Directory>"), "AllowAll", "DenyAll");
            views[3] += view(part(anonymous, directory, "</Directory>"), "AllowAll", "DenyAll");
        }
        EXPECT_EQ(views[0] + views[1], row.samba + row.samba) << row.shares << row.mounts;
        EXPECT_EQ(views[2] + views[3], row.ftp + row.anonymous) << row.shares << row.mounts;
        EXPECT_FALSE(has(smb + volumes, "u3"));
    }
}
