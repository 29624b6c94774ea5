// tavrogen-lint: each finding, and that every name that it lets pass is read as one section.
#include "tests/root.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <sstream>

static std::string share(const std::string& name, const std::string& comment = "", int atalk = 1) {
    return name + "<>array1<>" + comment + "<>all<>all<>all<>all<>1<>" + std::to_string(atalk) +
           "<>1<>0<><>0<>0<>0<>0\n";
}

// Each row adds a fifth line to the share list, rewrites a list or changes a keyed file.
TEST(Lint, NamesWhatAServiceMisreads) {
    const std::string smb = "shareinfo:5: smb.conf: ", at = "] of /etc/korvel/";
    const std::string ftp = "shareinfo:5: proftpd.conf: ", path = ftp + "the path \"/mnt/array1/";
    const std::string backslash = "the backslash that ends ",
                      takes = " takes the next line with it";
    const std::string usb = "usbshareinfo:", disk = "the path \"/mnt/usbdisk2\" is also that of ";
    const struct {
        std::string file;
        std::string change;
        std::string findings;  // without the folder
    } rows[] = {
        {"", share("plain", "100% text"), ""},
        {"", share("a", "C:\\"), smb + backslash + "the comment" + takes},
        {"", share("a\\"), smb + backslash + "the path" + takes},
        {"", share("a", "for %U"), smb + "the comment has a % that begins a variable"},
        {"", share("Homes"), smb + "[Homes] is a section with a meaning of its own"},
        {"", share("Info"), smb + "[Info] merges with [info" + at + "info:24"},
        {"", share("DFS"), smb + "[DFS] merges with [dfs" + at + "msdfs:3"},
        {"", share("Stick"), smb + "[Stick] merges with [stick" + at + "usbshareinfo:1"},
        {"", share("docs$"), smb + "[docs$] merges with [docs$" + at + "shareinfo:2"},
        {"", share("PUB"), smb + "[PUB] merges with [pub" + at + "shareinfo:1"},
        {"", share("pub"),
         path + "pub\" is also that of /etc/korvel/shareinfo:1, which is fatal\n/etc/korvel/" +
             smb + "[pub] merges with [pub" + at + "shareinfo:1"},
        {"", share("a]"), smb + "the name \"a]\" ends at its ]"},
        {"", share("spool"), path + "spool\" is the appliance's own"},
        {"", share("my files"),
         path + "my files\" ends at its blank\n/etc/korvel/shareinfo:5: exports: "
                "the path of \"my files\" ends at its blank"},
        {"", share("a*"), path + "a*\" is a pattern"},
        {"", share("\"a"), "shareinfo:5: AppleVolumes.default: the name \"\"a\" ends at its quote"},
        {"", "\n", ftp + "the line is blank or short, and its newline is written"},
        {"", Share{"a", "b\\", "", "c,d\\"}.line(),
         smb + backslash + "the read list" + takes + "\n/etc/korvel/" + smb + backslash +
             "the valid users" + takes},
        {"", Share{"a", "bob", "WORK+c\\", "d"}.line(), ""},
        {"offlinefile", "pub<>on<>manual\\<>\n",
         "shareinfo:1: smb.conf: " + backslash + "the offline policy" + takes},
        {"usbshareinfo", "a<>b\\<>c<>d\\<>e<>f\\<>g\\<>1\n",
         usb + "1: smb.conf: " + backslash + "the path" + takes + "\n/etc/korvel/" + usb +
             "1: smb.conf: " + backslash + "the read list" + takes},
        {"usbshareinfo", "a<>usbdisk1\n",
         usb + "1: proftpd.conf: the line is short, and its newline is written"},
        {"usbshareinfo", open_share("a", 0, 1, "usbdisk1") + "\n",
         usb + "2: proftpd.conf: a USB share without a volume stands for /mnt itself"},
        {"usbshareinfo", open_share("a", 0, 1, "usbdisk2"),
         usb + "1: proftpd.conf: " + disk + "the missing line 2, which is fatal"},
        {"usbshareinfo", open_share("a", 0, 1, "usbdisk2") + open_share("b", 0, 1, "usbdisk2"),
         usb + "2: proftpd.conf: " + disk + "/etc/korvel/usbshareinfo:1, which is fatal"},
        {"msdfs", "msdfs_root_path=/\\",
         "msdfs:8: smb.conf: " + backslash + "msdfs_root_path" + takes},
        {"msdfs", "msdfs_root_as_link=on;msdfs_link1_unc1=\\\\a\\",
         "msdfs:8: smb.conf: " + backslash + "msdfs_link1_unc1" + takes},
        {"info", "string=a\\", "info:24: smb.conf: " + backslash + "string" + takes},
        {"info", "info_visible", "info: the key info_visible is missing, which counts as on"},
        {"info", "auth_test", ""},
        {"info", "domain=server;auth_test_folder=Pub",
         "shareinfo:1: smb.conf: [pub] merges with [Pub" + at + "info:24"},
        {"info", "syslog_forward_target", ""},
        {"info", "syslog_forward_target=;syslog_forward=on",
         "info:23: syslog.conf: messages are forwarded to no host"},
        {"nfs_info", "nfs_networkaddress=10.0",
         "nfs_info:2: exports: \"10.0\" is no network address"},
        {"nfs_info", "nfs_subnetmask=255.0.255.0",
         "nfs_info:2: exports: \"255.0.255.0\" is no network mask"},
        {"nfs_info", "nfs_subnetmask", "nfs_info: exports: \"\" is no network mask"},
        {"nfs_info", "nfs_subnetmask=24", ""},
    };
    for (const auto& row : rows) {
        Root root;
        root.write("shareinfo.vfs", "pub<>on<>on<>1\nmy files<>on<>on<>1\n");
        if (row.file.empty())
            root.write("shareinfo", root.read("shareinfo") + row.change);
        else if (row.change.ends_with('\n'))
            root.write(row.file, row.change);
        else
            root.change(row.file, row.change);
        const Outcome run = root.run("");
        EXPECT_EQ(run.out, row.findings.empty() ? "" : "/etc/korvel/" + row.findings + "\n");
        EXPECT_EQ(run.status, row.findings.empty() ? 0 : 1) << run.err;
    }
}

TEST(Lint, HasAStatusForTrouble) {
    Root root;
    EXPECT_EQ(root.run("-h").status, 2);
    root.remove("msdfs");
    EXPECT_EQ(root.run("").status, 0);
    root.obstruct("shareinfo");
    EXPECT_EQ(root.run("").status, 2);
}

// The lines that a command prints, sorted by their bytes.
static std::vector<std::string> sorted_lines(const std::string& command) {
    FILE* pipe = popen((command + " | LC_ALL=C sort").c_str(), "r");
    std::vector<std::string> lines;
    char line[256];
    while (fgets(line, sizeof line, pipe) != nullptr)
        lines.emplace_back(line, strlen(line) - 1);
    pclose(pipe);
    return lines;
}

TEST(Lint, LetsPassNamesThatAreReadAsOneSectionEach) {
    std::vector<std::string> names = {"#a",  ";a",   "=",  "a=b",  "100%",  "-",
                                      "~",   "$",    "a$", "{}",   "(a)",   "a,b",
                                      "\\a", "[a",   "'",  "a\"b", "|",     "+",
                                      "###", "日本", "@a", "`a`",  "École", std::string(59, 'n')};
    const auto awkward = static_cast<long>(names.size());
    names.insert(names.end(), {"école", "ЖУК", "жук", "Ｔ", "ｔ"});  // Samba knows their case
    std::mt19937 random(2008);
    while (names.size() < 400) {
        std::string& name = names.emplace_back(1 + random() % 8, '<');
        for (char& byte : name)
            while (byte == '<' || byte == '>')
                byte = static_cast<char>(' ' + random() % 95);
    }
    Root root;
    root.change("info", "info_visible=off;domain=on");
    root.change("msdfs", "msdfs_function=off;msdfs_root_path=");
    root.write("usbshareinfo", "");
    const auto lint = [&] {
        std::string list;
        for (const auto& name : names)
            list += share(name, "", 0);
        root.write("shareinfo", list);
        return root.run("").out;
    };
    std::istringstream findings(lint());
    for (std::string finding; getline(findings, finding);)
        names[std::stoul(finding.substr(finding.find(':') + 1)) - 1].clear();
    EXPECT_EQ(std::count(names.begin(), names.begin() + awkward, ""), 0);
    std::erase(names, "");
    EXPECT_GT(names.size(), 250U);
    EXPECT_EQ(lint(), "");

    setenv("TAVROGEN_PROGRAM", TAVROGEN, 1);
    EXPECT_EQ(root.run("-c samba -c proftpd").status, 0);
    unsetenv("TAVROGEN_PROGRAM");
    if (sorted_lines("(command -v testparm; command -v proftpd)").size() < 2) {
        ASSERT_EQ(getenv("CI"), nullptr) << "testparm or proftpd is not installed";
        GTEST_SKIP() << "testparm or proftpd is not installed";
    }
    std::vector<std::string> sections = {"[global]"};
    std::vector<std::string> paths = {"/mnt/array1/lost+found", "/mnt/array1/spool"};
    for (const auto& name : names) {
        sections.push_back("[" + name + "]");
        paths.push_back("/mnt/array1/" + name);
    }
    std::sort(sections.begin(), sections.end());
    std::sort(paths.begin(), paths.end());
    const std::string etc = root.at("/etc").string();
    EXPECT_EQ(sorted_lines("testparm -s " + etc + "/samba/smb.conf 2>&1 | grep -a '^\\['"),
              sections);
    // Without the lines that the server refuses, whatever the names are.
    EXPECT_EQ(sorted_lines("cd " + etc +
                           "/proftpd; sed -i '/^Charset/d' proftpd.conf;"
                           "proftpd -t -d 5 -c $PWD/proftpd.conf 2>&1 |"
                           "sed -n 's,^[^</]*: *\\(/mnt/array1/\\),\\1,p'"),
              paths);
}
