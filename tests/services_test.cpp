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
    std::string groups, names, shaped;
    for (int i = 0; i < 3000; ++i) {
        const std::string name = "name" + std::to_string(i);
        groups += name + ":x:1:user" + std::to_string(i) + "\n";
        names += name + ",";
        shaped += ",@" + name;
    }
    Appliance appliance;
    appliance.write("/etc/group", groups);
    appliance.write("shareinfo", Share{"many", "", names}.line());
    EXPECT_EQ(appliance.run("-c samba -c atalk -c proftpd").status, 0);
    EXPECT_TRUE(has(appliance.read("/etc/samba/smb.conf"), "users = " + shaped.substr(1) + "\n"));
    EXPECT_TRUE(has(appliance.read("/etc/atalk/AppleVolumes.default"),
                    " allow:" + shaped.substr(1) + "\n"));
    const std::string ftp = appliance.read("/etc/proftpd/proftpd.conf");
    EXPECT_TRUE(has(ftp, "AllowGroup  " + names + "\n    AllowUser user0,"));
    EXPECT_TRUE(has(ftp, ",user2999,nobody\n"));
}

TEST(AllServices, AreTraced) {
    const struct {
        std::string service, level, err;
    } rows[] = {{"samba", "3", ""},
                {"proftpd", "10", ""},
                {"atalk", "1", ""},
                {"syslog", "1", ""},
                {"iscsi", "1", "# [duplex] [finder] [finderpass] \n"},
                {"nfs", "3", ""}};
    for (const auto& row : rows) {
        Appliance appliance;
        const Outcome run = appliance.run("-d " + row.level + " -c " + row.service);
        EXPECT_EQ(masked(run.out), expected("traces/" + row.service));
        EXPECT_EQ(run.err, row.err);
    }
}

TEST(AllServices, GoOnWithoutAnyInput) {
    const std::string services = "-d 1 -c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs";
    Appliance appliance;
    for (const auto* path : {"/etc/korvel", "/proc", "/tmp"})
        appliance.obstruct(path);
    for (const auto* path : {"/etc/group", "/etc/vantor_expansion_firmware"})
        appliance.remove(path);
    Outcome run = appliance.run(services);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(masked(run.out), expected("traces/no-inputs"));
    const std::string unopened = "Can't Open : /etc/korvel/shareinfo\n";
    EXPECT_TRUE(run.err.starts_with(unopened + "Can't Open : /etc/korvel/usbshareinfo\n"));

    // A folder opens, and reads as an empty file.
    for (const auto* name : {"info", "diskinfo", "msdfs", "nfs_info", "shareinfo"})
        appliance.obstruct(name);
    run = appliance.run(services);
    EXPECT_EQ(masked(run.out), expected("traces/no-inputs"));
    EXPECT_FALSE(has(run.err, unopened));
}

TEST(AllServices, ReportAnOutputThatCannotBeOpenedAndReleaseTheirInputs) {
    const struct {
        std::string service;
        std::vector<std::string> files;  // in the order in which they are opened
        std::string last;                // the end of the trace
        int status = 255;
        std::string message = "cannot open ";
    } rows[] = {
        {"samba", {"/etc/samba/smb.conf", "/etc/pam_smb.conf"}, "close shareinfo_vfs.\n"},
        {"proftpd", {"/etc/proftpd/proftpd.conf", "/etc/pam.d/ftp"}, "close shareinfo.\n"},
        {"atalk",
         {"/etc/atalk/AppleVolumes.default", "/etc/pam.d/netatalk", "/etc/atalk/afpd.conf"},
         "close shareinfo.\n"},
        {"syslog", {"/etc/syslog.conf"}, "usb_disk2 is none.\n", 255, "cannnot open "},
        {"iscsi",
         {"/etc/ietd.conf", "/etc/initiators.allow", "/etc/initiators.deny"},
         "close iscsidisks.\n",
         0},
        {"nfs", {"/etc/exports"}, "close shareinfo_vfs.\n"},
    };
    for (const auto& row : rows)
        for (const auto& obstructed : row.files) {
            Appliance appliance;
            appliance.obstruct(obstructed);
            const Outcome run = appliance.run("-d 1 -c " + row.service);
            EXPECT_EQ(run.status, row.status) << obstructed;
            EXPECT_EQ(lines_with(run.err, "cann"), row.message + obstructed + "\n");
            EXPECT_TRUE(run.out.ends_with(row.last)) << obstructed << "\n" << run.out;
            // The two initiator files announce each other, and are written together.
            const bool deny = obstructed == "/etc/initiators.deny";
            EXPECT_EQ(has(run.out, "file:" + obstructed + "\n"), deny);
            bool before = true;
            for (const auto& file : row.files) {
                before = before && file != obstructed;
                EXPECT_EQ(appliance.read(file), !before ? "(no such file)"
                                                : deny && file == "/etc/initiators.allow"
                                                    ? ""
                                                    : expected("off" + file))
                    << obstructed;
            }
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
static char samba_view(const std::string& text, const std::string& name) {
    const std::string share = part(text, "[" + name + "]\n", "force");
    const bool marked = has(share, "(Read Only)\n");
    if (share.empty())
        return '-';
    return has(share, "    writable = yes\n") == marked ? '?' : marked ? 'r' : 'w';
}
static char atalk_view(const std::string& text, const std::string& name) {
    const std::string line = part(text, "\"" + name + "\"", "\n");
    return line.empty() ? '-' : has(line, " options:ro\n") ? 'r' : 'w';
}
static char ftp_view(const std::string& text, const std::string& disk) {
    const std::string block = part(text, "<Directory /mnt/" + disk + ">\n", "</Directory>\n");
    return block.empty() ? '-' : has(block, "HideNo") ? 'h' : has(block, "AllowAll") ? 'w' : 'r';
}

TEST(UsbDisks, AreServedByTheirPlaceInTheListWhileMounted) {
    const auto share = [](const char* name, int read_only = 0, int served = 1) {
        return Share{name,   "all", "all",
                     "all",  "all", read_only,
                     served, 0,     std::string("usbdisk") + name[1]}
            .line();
    };
    const auto mounts = [](const std::string& first, const std::string& second) {
        return "/dev/a /mnt/usbdisk1 " + first + "\n/dev/b /mnt/usbdisk2 " + second + "\n";
    };
    const std::string both = mounts("ext3 rw 0 0", "xfs_x rw 0 0");
    const std::string two = share("u1") + share("u2");
    const struct {
        std::string shares, mounts;
        std::string samba;  // and AppleTalk
        std::string ftp, anonymous;
        std::string note = "";
    } rows[] = {
        {"", both, "--", "hh", "hh"},
        {share("u1"), both, "w-", "wh", "hh"},
        {two, both, "ww", "ww", "hh"},
        {share("u1", 1) + share("u2"), both, "rw", "rw", "hh"},
        {share("u1", 0, 0) + share("u2"), both, "-w", "hw", "hh"},
        {share("u1", 0, 0) + share("u2"), "/dev/a /mnt/usbdisk1 ext3 rw\n", "--", "hh", "hh"},
        // With three shares and more, the anonymous section goes by the third share's mode.
        {two + share("u3"), both, "ww", "ww", "ww"},
        {two + share("u3", 1) + share("u4"), both, "ww", "ww", "rr"},
        {share("u1", 1, 0) + share("u2", 1) + share("u3"), both, "-r", "hr", "hw"},
        {two + share("u3"), mounts("vfat rw", "ext4 rw"), "r-", "rh", "rh",
         "unknown fs_type [ext4]\n"},
        {two + Share{"u3", "a"}.line(), "", "--", "hh", "hh"},
        {two, mounts("ntfs", "msdos rw"), "rr", "rr", "hh"},
        {two, mounts("ext2 rw", "reiserfs"), "ww", "ww", "hh"},
        {two, mounts("jfs rw", "xfs"), "ww", "ww", "hh"},
        {two, mounts("vfat16x rw", " rw"), "--", "hh", "hh",
         "unknown fs_type [vfat16x]\nunknown fs_type []\n"},
        {two, mounts("sixteen-letters- rw", "").erase(40), "--", "hh", "hh",
         "unknown fs_type [sixteen-letters]\n"},
        // The first line that names the disk counts, and its first 255 bytes.
        {two, "/dev/a /mnt/usbdisk10 ntfs\n" + both, "rw", "rw", "hh"},
        {two, "/" + std::string(300, 'd') + both, "-w", "hw", "hh"},
        {two, std::string(231, 'd') + mounts("ntfs rw", "none"), "--", "hh", "hh",
         "unknown fs_type [ntf]\nunknown fs_type [none]\n"},
    };
    Appliance appliance;
    appliance.write("shareinfo", "");
    for (const auto& row : rows) {
        appliance.write("usbshareinfo", row.shares);
        appliance.write("/proc/mounts", row.mounts);
        const std::string out = appliance.run("-c samba -c atalk -c proftpd").out;
        EXPECT_EQ(lines_with(part(out, "optarg:samba", "optarg:"), "unknown"), row.note)
            << row.mounts;
        const std::string smb = appliance.read("/etc/samba/smb.conf");
        const std::string volumes = appliance.read("/etc/atalk/AppleVolumes.default");
        const std::string conf = appliance.read("/etc/proftpd/proftpd.conf");
        const std::string users = conf.substr(0, conf.find("<Anonymous"));
        const std::string anonymous = conf.substr(users.size());
        const auto views = [](auto view, const std::string& text, const std::string& name) {
            return std::string({view(text, name + "1"), view(text, name + "2")});
        };
        EXPECT_EQ(views(samba_view, smb, "u"), row.samba) << row.shares << row.mounts;
        EXPECT_EQ(views(atalk_view, volumes, "u"), row.samba) << row.shares << row.mounts;
        EXPECT_EQ(views(ftp_view, users, "usbdisk"), row.ftp) << row.shares << row.mounts;
        EXPECT_EQ(views(ftp_view, anonymous, "usbdisk"), row.anonymous) << row.shares << row.mounts;
        EXPECT_FALSE(has(smb + volumes, "u3"));
    }
}
