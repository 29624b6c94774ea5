// How each key and each field of a list is read, one changed at a time.
#include "tests/root.h"

using std::string;

static const string every = "-c proftpd -c atalk -c nfs -d 1 -c samba -c iscsi -d 0 -c syslog";

// A case for each line of the keyed files, from its file and its text.
static std::vector<Case> for_each_setting(Case (*make)(const string& name, const string& line)) {
    std::vector<Case> rows;
    const Root root;
    for (const string name :
         {"info", "diskinfo", "msdfs", "nfs_info", "iscsi_info", "iscsi_disks1"})
        for (const string& line : lines_of(root.read(name)))
            rows.push_back(make(name, line.substr(0, line.size() - 1)));
    return rows;
}

TEST(Settings, HaveADefaultWhereTheirKeyIsMissing) {
    const auto rows = for_each_setting([](const string& name, const string& line) {
        const string key = line.substr(0, line.find('='));
        return Case{"without " + key, "   set " + name + " " + key + "\n"};
    });
    Cases({"small"}, every).expect(rows, "expected/missing-keys");
}

TEST(Settings, AreComparedWhole) {
    const auto rows = for_each_setting([](const string& name, const string& line) {
        return Case{line + "1", "   set " + name + " " + line + "1\n"};
    });
    Cases({"small"}, every).expect(rows, "expected/other-values");
}

TEST(Settings, AreReadFieldByFieldFromLists) {
    std::vector<Case> rows;
    const Root root;
    for (const string name :
         {"shareinfo", "usbshareinfo", "offlinefile", "shareinfo.hidden", "shareinfo.vfs"}) {
        const auto lines = lines_of(root.read(name));
        for (size_t number = 0; number < 2; ++number) {
            const string& line = lines[number];
            for (size_t at = 0, end = 0, field = 1; (end = line.find("<>", at)) != line.npos;
                 at = end + 2, ++field) {
                const string value = line.substr(at, end - at);
                for (const string& other :
                     {string(value.empty() ? "more" : ""), value == "1" ? "256" : value + "1"}) {
                    string input = "   write " + name + "\n";
                    for (size_t i = 0; i < lines.size(); ++i)
                        input +=
                            "     " + (i != number ? lines[i]
                                                   : line.substr(0, at) + other + line.substr(end));
                    rows.push_back({name + ":" + std::to_string(number + 1) + " field " +
                                        std::to_string(field) + " is \"" + other + "\"",
                                    input});
                }
            }
        }
    }
    Cases({"small"}, every).expect(rows, "expected/fields");
}

// The settings file is read piece by piece, wherever the pieces end.
TEST(Settings, AreFoundInAFileOfAnyLength) {
    Root base;
    const string info = base.read("info");
    base.run(every);
    const string smb_conf = base.read("/etc/samba/smb.conf");
    const size_t domain = info.find("domain=");
    for (const size_t piece : {4096, 65536, 131072})
        for (const size_t early : {0, 1, 3, 6, 7, 8, 10}) {
            Root root;
            root.write("info", "#" + string(piece - domain - early - 2, '=') + "\n" + info);
            root.run(every);
            expect_same("a setting may lie across the end of a piece of a large file",
                        "byte " + std::to_string(piece) + " is " + std::to_string(early) +
                            " bytes into domain=off\n",
                        "/etc/samba/smb.conf", smb_conf, root.read("/etc/samba/smb.conf"));
        }
}
