// What the services have in common: whole files and streams in every mode, traces, odd inputs.
#include "tests/root.h"

#include <regex>

using std::string;

static const string every = "-c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs";

TEST(AllServices, WriteWholeFilesInEveryMode) {
    for (const string mode : {"off", "on", "ad", "server", "share"})
        for (const string local : {"off", "on"}) {
            Root root;
            root.change("info", "domain=" + mode + ";local_auth=" + local);
            root.expect_outcome("domain=" + mode + " local_auth=" + local, every,
                                "modes/" + mode + (local == "on" ? "-local" : ""));
            if (HasFailure())
                return;
        }
}

static const string host = "nineteen-letters-on.example.net";
static const string eth0 = "02:00:5e:10:00:0a,192.0.2.10/24";

TEST(AllServices, WriteWholeFilesFromRichSettings) {
    const struct {
        string behaviour, name;
        Root::Models models;
        string settings = "";  // of info, on top
        string level = "0";
    } rows[] = {
        {"the example", "example", {"examples/appliance"}},
        {"every kind of access list", "access", {"small", "access"}},
        {"access lists in a domain", "access-domain", {"small", "access"}, "domain=on", "3"},
        {"side lists", "sides", {"small", "sides"}},
        {"side lists, searched in the open", "sides-traced", {"small", "sides"}, "", "3"},
        {"exports", "exports", {"small", "exports"}},
        {"exports, searched in the open", "exports-traced", {"small", "exports"}, "", "3"},
        {"every kind of disk", "disks", {"small", "disks"}},
        {"values as long as their fields", "exact", {"small", "exact"}, "", "1"},
        {"the same in a domain", "exact-domain", {"small", "exact"}, "domain=ad", "1"},
    };
    for (const auto& row : rows) {
        Root root(row.models);
        root.host = host;
        root.eth0 = eth0;
        root.change("info", row.settings);
        root.expect_outcome(row.behaviour, "-d " + row.level + " " + every, row.name);
        if (HasFailure())
            return;
    }
}

TEST(AllServices, CutValuesThatAreOneByteTooLong) {
    static const std::regex long_value("[^<>=:\n]{9,}(?=[<:\n])");
    for (const string mode : {"", "-domain"}) {
        Root root({"small", "exact"});
        root.host = host;
        root.eth0 = eth0;
        for (const string file : {"info", "shareinfo", "usbshareinfo", "offlinefile", "msdfs",
                                  "shareinfo.hidden", "shareinfo.vfs", "nfs_info", "iscsi_info",
                                  "iscsi_disks1", "/etc/group", "/etc/vantor_expansion_firmware"})
            root.write(file, std::regex_replace(root.read(file), long_value, "$&1"));
        root.change("info", mode.empty() ? "" : "domain=ad");
        root.expect_outcome("a value that is too long is cut", "-d 1 " + every, "exact" + mode);
    }
}

TEST(AllServices, AreTracedByLevel) {
    for (const string service : {"samba", "proftpd", "atalk", "syslog", "iscsi", "nfs"}) {
        Root root;
        auto before = root.gather("-1", "-d -1 -c " + service);
        string text = "== what level -1 says\n" + root.run("-d -1 -c " + service).out;
        for (const string level : {"0", "1", "2", "3", "9", "10", "11"}) {
            const auto seen = root.gather(level, "-d " + level + " -c " + service);
            text += "== what level " + level + " adds\n" + difference(before, seen, 0);
            before = seen;
        }
        expect_recorded("the level of each trace", "tavrogen -d N -c " + service,
                        "traces/" + service, text);
        if (HasFailure())
            return;
    }
}

TEST(AllServices, MakeDoWithoutAFileAndReportWhatTheyCannotWrite) {
    const auto korvel = [](const string& name) { return "/etc/korvel/" + name; };
    std::vector<Case> cases;
    for (const string& path :
         {korvel("shareinfo"), korvel("usbshareinfo"), korvel("info"), korvel("diskinfo"),
          korvel("msdfs"), korvel("offlinefile"), korvel("shareinfo.hidden"),
          korvel("shareinfo.vfs"), korvel("nfs_info"), korvel("iscsi_info"), korvel("iscsi_disks1"),
          string("/etc/group"), string("/proc/mounts"), string("/tmp/pvlistconfig"),
          string("/etc/vantor_expansion_firmware")}) {
        cases.push_back({path + " is missing", {no(path)}});
        cases.push_back({path + " is a folder", {folder(path)}});
    }
    expect_effects("inputs", {"small"}, "-d 1 " + every, cases);
    cases.clear();
    for (const string path :
         {"/etc/samba/smb.conf", "/etc/pam_smb.conf", "/etc/proftpd/proftpd.conf", "/etc/pam.d/ftp",
          "/etc/atalk/AppleVolumes.default", "/etc/pam.d/netatalk", "/etc/atalk/afpd.conf",
          "/etc/syslog.conf", "/etc/ietd.conf", "/etc/initiators.allow", "/etc/initiators.deny",
          "/etc/exports"})
        for (const string service : {"samba", "proftpd", "atalk", "syslog", "iscsi", "nfs"})
            if (has(path, service == "samba"     ? "smb"
                          : service == "proftpd" ? "ftp"
                          : service == "iscsi"   ? "i"
                          : service == "nfs"     ? "exports"
                                                 : service))
                cases.push_back({path + " cannot be opened by " + service,
                                 {folder(path)},
                                 "-d 1 -c " + service});
    expect_effects("outputs", {"small"}, "", cases);
}

// One line for each setting: what becomes of it in every file that names the characters.
TEST(AllServices, NameTheCharactersOfACodePage) {
    string text;
    for (const string setting :
         {"CP932",     "unknown",   "cp1251",     "CP437",     "CP936",  "CP949",  "CP950",
          "CP775",     "CP850",     "CP852",      "CP857",     "CP860",  "CP1250", "CP1251",
          "CP1252",    "CP1253",    "CP1254",     "CP1255",    "CP1256", "CP1257", "ISO8859_1",
          "ISO8859_2", "ISO8859_9", "ISO8859_13", "ISO8859_15"}) {
        Root root;
        root.change("info", "codepage=" + setting);
        string all = root.run("-c samba -c proftpd -c atalk").out;
        for (const auto* path : {"/etc/samba/smb.conf", "/etc/proftpd/proftpd.conf",
                                 "/etc/atalk/AppleVolumes.default", "/etc/atalk/afpd.conf"})
            all += root.read(path);
        static const std::regex name(
            "CodePage=\\S*|dos charset = \\S*|CharsetRemote +\\S*|MAC_\\S*");
        text += setting;
        for (std::sregex_iterator found(all.begin(), all.end(), name), end; found != end; ++found)
            text += " | " + found->str();
        text += "\n";
    }
    expect_recorded("each code page has its names", "codepage=...", "code-pages", text);
}

TEST(AllServices, TakeListsOfThousandsOfNames) {
    string groups, names, shaped, members;
    for (int i = 0; i < 3000; ++i) {
        const string name = "g" + std::to_string(i);
        groups += name + ":x:1:u" + name + "\n";
        names += name + ",";
        shaped += (i == 0 ? " = @" : ",@") + name;
        members += "u" + name + ",";
    }
    Root root;
    root.write("/etc/group", groups);
    root.write("shareinfo", Share{"many", "", names}.line());
    root.run("-c samba -c proftpd");
    EXPECT_TRUE(has(root.read("/etc/samba/smb.conf"), "valid users" + shaped + "\n"));
    EXPECT_TRUE(has(root.read("/etc/proftpd/proftpd.conf"),
                    "Group  " + names + "\n    AllowUser " + members + "nobody\n"));
}

TEST(UsbDisks, AreServedByTheirPlaceInTheListWhileMounted) {
    const auto share = [](const char* name, int read_only = 0, int served = 1) {
        return open_share(name, read_only, served, string("usbdisk") + name[1]);
    };
    const auto mounts = [](const string& first, const string& second) {
        return file("/proc/mounts",
                    "/dev/a /mnt/usbdisk1 " + first + "\n/dev/b /mnt/usbdisk2 " + second + "\n");
    };
    const auto list = [](const string& lines) { return file("usbshareinfo", lines); };
    const Change both = mounts("ext3 rw 0 0", "xfs_x rw 0 0");
    const string two = share("u1") + share("u2");
    std::vector<Case> cases = {
        {"no share", {list(""), both}},
        {"one share", {list(share("u1")), both}},
        {"two shares", {list(two), both}},
        {"the first is read-only", {list(share("u1", 1) + share("u2")), both}},
        {"the second is read-only", {list(share("u1") + share("u2", 1)), both}},
        {"the first is not served", {list(share("u1", 0, 0) + share("u2")), both}},
        {"a share that is not served is not probed",
         {list(share("u1", 0, 0) + share("u2")), mounts("unknown", "unknown")}},
        {"the second disk is not mounted",
         {list(share("u1", 0, 0) + share("u2")), file("/proc/mounts", "a /mnt/usbdisk1 jfs\n")}},
        {"a third share shows both disks to anonymous users", {list(two + share("u3")), both}},
        {"the third share's mode is that of the anonymous view",
         {list(two + share("u3", 1) + share("u4")), both}},
        {"the mode of the first two is not",
         {list(share("u1", 1, 0) + share("u2", 1) + share("u3")), both}},
        {"the anonymous view goes by the file system, too",
         {list(two + share("u3")), mounts("vfat rw", "ext4 rw")}},
        {"the anonymous view hides a share that is not open to all",
         {list(Share{.name = "u1", .volume = "usbdisk1"}.line() + share("u2") + share("u3")),
          both}},
        {"the anonymous view hides a disk that is not mounted",
         {list(two + share("u3")), file("/proc/mounts", "")}},
        {"shares name their volume, not their disk",
         {list(open_share("u1", 0, 1, "usbdisk2") + open_share("u2", 0, 1, "other")), both}},
        {"the volume of the fourth share is not asked for",
         {list(share("u1") + "\n\n" + share("u4")), both}},
        {"the first line that names the disk counts",
         {file("/proc/mounts", "/dev/a /mnt/usbdisk10 ntfs\n/dev/a /mnt/usbdisk1 ext3\n")}},
        {"a line of the mount table may be long",
         {file("/proc/mounts", "/" + string(300, 'd') + "/dev/a /mnt/usbdisk1 ext3 rw\n")}},
        {"255 bytes of it count",
         {file("/proc/mounts", string(233, 'd') + " /mnt/usbdisk1 ntfs rw\n" + string(231, 'e') +
                                   " /mnt/usbdisk2 reiserfs rw\n")}},
        {"the last line needs no newline", {file("/proc/mounts", "a /mnt/usbdisk1 ext3")}},
        {"a line without a type is no mount",
         {file("/proc/mounts", "a /mnt/usbdisk1\na /mnt/usbdisk1 ext3\n/mnt/usbdisk2\n")}},
        {"a blank before the options ends the type", {mounts("ext3\trw", "ext2  rw")}},
        {"a type is cut to 15 bytes", {mounts("sixteen-letters-", "fifteen-letters")}},
    };
    expect_effects("usb-disks", {"small"}, "-d 1 -c samba -c atalk -c proftpd", cases);
    cases.clear();
    for (const string type :
         {"xfs",     "xfs2",     "xf",        "Xfs",    "ext3",  "ext3x",  "ext2",
          "ext2x",   "ext4",     "vfat",      "vfat16", "msdos", "msdosx", "ntfs",
          "ntfs-3g", "reiserfs", "reiserfs4", "jfs",    "jfs2",  ""})
        cases.push_back({"file system " + type, {mounts(type + " rw", "unknown rw")}});
    expect_effects("file-systems", {"small"}, "-d 1 -c samba", cases);
}
