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
static const string eth0 = "02:00:5e:10:00:01,192.0.2.10/24";

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
        root.host = row.name == "example" ? "morvista-nas.example.net" : host;
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
    std::vector<Case> rows;
    for (const string path :
         {"shareinfo", "usbshareinfo", "info", "diskinfo", "msdfs", "offlinefile",
          "shareinfo.hidden", "shareinfo.vfs", "nfs_info", "iscsi_info", "iscsi_disks1",
          "/etc/group", "/proc/mounts", "/tmp/pvlistconfig", "/etc/vantor_expansion_firmware"})
        for (const string verb : {"no ", "folder "})
            rows.push_back({verb + path, "   " + verb + path + "\n"});
    Cases({"small"}, "-d 1 " + every).expect(rows, "expected/inputs");
    rows.clear();
    for (const auto& [service, paths] : std::map<string, std::vector<string>>{
             {"samba", {"/etc/samba/smb.conf", "/etc/pam_smb.conf"}},
             {"proftpd", {"/etc/proftpd/proftpd.conf", "/etc/pam.d/ftp"}},
             {"atalk",
              {"/etc/atalk/AppleVolumes.default", "/etc/pam.d/netatalk", "/etc/atalk/afpd.conf"}},
             {"syslog", {"/etc/syslog.conf"}},
             {"iscsi", {"/etc/ietd.conf", "/etc/initiators.allow", "/etc/initiators.deny"}},
             {"nfs", {"/etc/exports"}}})
        for (const string& path : paths)
            rows.push_back({service + " cannot open " + path,
                            "   tavrogen -d 1 -c " + service + "\n   folder " + path + "\n"});
    Cases({"small"}, "").expect(rows, "expected/outputs");
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

// The files under tests/cases: one for each service, and more for what several of them read.
class CaseFile : public testing::TestWithParam<string> {};

TEST_P(CaseFile, ChangesTheOutcomeAsItSays) {
    expect_case_file(GetParam());
}

static std::vector<string> case_files() {
    std::vector<string> names;
    for (const auto& entry : std::filesystem::directory_iterator(SOURCE_FOLDER "/tests/cases"))
        names.push_back(entry.path().filename());
    return names;
}

INSTANTIATE_TEST_SUITE_P(Of, CaseFile, testing::ValuesIn(case_files()), [](const auto& file) {
    return std::regex_replace(file.param, std::regex("-"), "_");
});
