// What the program does when its surroundings fail it: no room, no permission, odd files, streams
// that nobody reads, hostile settings, another run at the same time.
#include "tests/faults/outputs.h"
#include "tests/private_mounts.h"
#include "tests/root.h"

#include <algorithm>
#include <csignal>
#include <regex>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using std::string;

static const string smb_conf = "/etc/samba/smb.conf";

// Shares for files of some size.
static string many_shares(int count) {
    string list;
    for (int i = 0; i < count; ++i)
        list += Share{"share" + std::to_string(i), "alice,bob", "staff"}.line();
    return list;
}

TEST(Faults, OddFilesAreReportedOrReadAsEmptyAndNeverWaitedFor) {
    static const auto link = [](const fs::path& target, const fs::path& place) {
        fs::remove(place);
        fs::create_symlink(target, place);
    };
    static const auto make_pipe = [](const fs::path& place) {
        fs::remove(place);
        mkfifo(place.c_str(), 0666);
    };
    const string exports = Root().texts("-c nfs").at("exports");
    const string no_exports = "cannot open /etc/exports\n";
    const string no_shares = "Can't Open : /etc/korvel/shareinfo\n";
    const struct {
        string behaviour, arguments;
        void (*disturb)(Root&);
        int status;
        string err;
        string written = "";  // to /etc/exports, if it is opened
    } rows[] = {
        {"a link to nowhere is written through", "-c nfs",
         [](Root& root) { link("new", root.at("/etc/exports")); }, 0, "", exports},
        {"a link into a missing folder", "-c nfs",
         [](Root& root) { link("no/dir", root.at("/etc/exports")); }, 255, no_exports},
        {"a link to itself", "-c nfs", [](Root& root) { link("exports", root.at("/etc/exports")); },
         255, no_exports},
        {"the folder of an output is missing", "-c samba -c nfs",
         [](Root& root) { fs::remove_all(root.at("/etc/samba")); }, 0,
         "cannot open /etc/samba/smb.conf\n", exports},
        {"a pipe in the place of a list", "-c nfs",
         [](Root& root) { make_pipe(root.at("shareinfo")); }, 0, ""},
        {"a pipe in the place of a keyed file", "-c nfs",
         [](Root& root) { make_pipe(root.at("nfs_info")); }, 0, "",
         std::regex_replace(exports, std::regex(" .*\\("), " /(")},
        {"a list that links to nowhere", "-c nfs",
         [](Root& root) { link("nothing", root.at("shareinfo")); }, 0, no_shares},
        {"a list that may not be read", "-c nfs",
         [](Root& root) { fs::permissions(root.at("shareinfo"), fs::perms::none); }, 0, no_shares},
        {"an output that may not be written", "-c nfs",
         [](Root& root) {
             root.write("/etc/exports", "");
             fs::permissions(root.at("/etc/exports"), fs::perms::owner_read);
         },
         255, no_exports},
        {"a read-only disk", "-c samba",
         [](Root& root) {
             mount("tmpfs", root.at("/etc/samba").c_str(), "tmpfs", MS_RDONLY, nullptr);
         },
         255, "cannot open /etc/samba/smb.conf\n"},
    };
    ASSERT_TRUE(enter_private_mounts());
    for (const auto& row : rows) {
        Root root;
        row.disturb(root);
        const Outcome run = root.run(row.arguments, "rights=0");
        EXPECT_EQ(run.status, row.status) << row.behaviour;
        EXPECT_EQ(run.err, row.err) << row.behaviour;
        if (run.status == 0)
            expect_same(row.behaviour, row.arguments + "\n", "/etc/exports", row.written,
                        root.read("/etc/exports"));
        umount(root.at("/etc/samba").c_str());
    }
}

TEST(Faults, AFullDiskLeavesAnEmptyFile) {
    ASSERT_TRUE(enter_private_mounts());
    Root root;
    const fs::path samba = root.at("/etc/samba");
    ASSERT_EQ(mount("tmpfs", samba.c_str(), "tmpfs", 0, "nr_blocks=1"), 0);
    root.write("/etc/samba/other", "x");
    EXPECT_EQ(root.run("-c samba").status, 0);
    EXPECT_EQ(root.read(smb_conf), "");
    EXPECT_EQ(root.read("/etc/pam_smb.conf"), "\n");
    umount(samba.c_str());
}

// Write errors on an open file are ignored; a file is emptied first and then written in place.
TEST(Faults, AFileIsCutWhereTheWritingEndsAndTheNextRunMendsIt) {
    const string whole = Root().texts("-c samba").at("smb.conf");
    Root root;
    root.write(smb_conf, whole + whole);
    EXPECT_EQ(root.run("-c samba", "size=1000").status, 0);
    EXPECT_EQ(root.read(smb_conf), whole.substr(0, 1000));
    EXPECT_EQ(root.read("/etc/pam_smb.conf"), "\n");
    EXPECT_EQ(root.run("-c samba").status, 0);
    EXPECT_EQ(root.read(smb_conf), whole);
}

TEST(Faults, AListThatHasBeenCutGivesItsWholeLines) {
    Root root;
    const string whole = open_share("a") + open_share("b") + open_share("c");
    root.write("shareinfo.vfs", "a<><><>1\nb<><><>1\nc<><><>1\n");
    for (size_t size = 0; size <= whole.size(); size += 11) {
        root.write("shareinfo", whole.substr(0, size));
        EXPECT_EQ(root.run("-c samba -c proftpd -c atalk -c nfs").status, 0);
        const auto lines = static_cast<size_t>(std::count(&whole[0], &whole[size], '\n'));
        const string exports = root.read("/etc/exports");
        EXPECT_TRUE(lines == 0 || has(exports, "/mnt/array1/" + string("?abc").substr(lines, 1)));
        for (const auto& [path, text] : outputs(root))
            EXPECT_EQ(fault_in(path, text), "") << path << " of a list of bytes: " << size;
    }
}

// What the services write while their messages go elsewhere, against what they write otherwise.
static void expect_whole_files(const string& behaviour, Root& root, const string& arguments,
                               const string& limits, const string& output = "") {
    const auto remove_all = [&] {
        for (const auto& output : outputs(root))
            root.remove(output.first);
    };
    remove_all();
    ASSERT_EQ(root.run(arguments).status, 0);
    const auto usual = outputs(root);
    remove_all();
    EXPECT_EQ(root.run(arguments, limits, output).status, 0) << behaviour;
    auto seen = outputs(root);
    for (const auto& [path, text] : usual)
        if (!testing::Test::HasFailure())
            expect_same(behaviour, arguments + " " + limits + output + "\n", path, text,
                        seen[path]);
    EXPECT_EQ(seen.size(), usual.size()) << behaviour;
}

TEST(Faults, StandardStreamsThatAreClosedOrFullLoseOnlyMessages) {
    const string every = "-d 11 -c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs -b /mnt";
    const struct {
        string behaviour, limits, redirections = "";
    } rows[] = {
        {"no standard stream", "close=0 close=1 close=2"},
        {"no standard output", "close=1"},
        {"no standard error", "close=2"},
        {"no standard input", "close=0"},
        {"neither output nor error", "close=1 close=2"},
        {"neither input nor output", "close=0 close=1"},
        {"full standard streams", "files=99", " >/dev/full 2>/dev/full"},
    };
    for (const auto& row : rows) {
        Root root;
        std::filesystem::create_directories(root.at("/mnt/a"));
        expect_whole_files(row.behaviour, root, every + row.redirections, row.limits);
    }
}

TEST(Faults, AReaderThatGoesAwayLosesOnlyMessages) {
    Root root;
    root.write("shareinfo", many_shares(60));
    string disks;
    for (int device = 0; device < 20; ++device) {
        const string key = "iscsi_device" + std::to_string(device) + "_";
        disks += key + "target=t\n" + key + "path_lun0=/dev/md1\n" + key + "available=on\n";
    }
    for (int file = 1; file <= 10; ++file)
        root.write("iscsi_disks" + std::to_string(file), disks);
    expect_whole_files("head reads some of many traces", root, "-d 3 -c samba", "",
                       "| head -n 10 >/dev/null");
    expect_whole_files("head reads one line", root, "-c iscsi", "", "| head -n 1 >/dev/null");
    expect_whole_files("nobody reads", root, "-c iscsi -c samba", "", "| true");
    expect_whole_files("nobody reads what is said in error", root, "-c iscsi", "files=99",
                       "2>&1 | true");
    expect_whole_files("the file of standard output may grow no further", root, "-d 3 -c samba",
                       "size=30000");
}

TEST(Faults, NoDescriptorIsLeftOpen) {
    Root root;
    fs::create_directories(root.at("/mnt/a"));
    root.obstruct("/etc/exports");
    string arguments;
    for (int i = 0; i < 30; ++i)
        arguments +=
            " -b /mnt -b /none -c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs -i lo";
    const Outcome usual = root.run(arguments), limited = root.run(arguments, "files=20");
    EXPECT_EQ(limited.status, usual.status);
    expect_same("each action closes what it has opened", "30 runs of everything\n",
                "standard error", usual.err, limited.err);
    EXPECT_EQ(limited.out.size(), usual.out.size());
}

// Settings are data.
TEST(Faults, NoValueAddsALineToAFile) {
    // Every byte that a value may hold, at first those that mean something to a service or to
    // printf, for the fields that keep few. As a number or a switch it reads as "x" does.
    string hostile = "x%s\r%n\\n\v\f;#\"[";
    for (unsigned char byte = 255; byte != 0; --byte)
        hostile += string("\n<>:").find(static_cast<char>(byte)) == string::npos
                       ? string(1, static_cast<char>(byte))
                       : "";
    const std::regex of_key("=(.*)");
    const std::regex of_list("(?:^|\n|<>|:)([^<:\n]*)");
    const std::regex decides("on|off|[01]|ad|server|duplex");
    for (const string mode : {"server", "ad"}) {
        Root root;
        root.change("info", "syslog_forward=on;domain=" + mode);
        root.change("iscsi_disks1", "iscsi_device0_authtype=duplex");
        for (const string file :
             {"info", "diskinfo", "msdfs", "nfs_info", "iscsi_info", "iscsi_disks1", "shareinfo",
              "usbshareinfo", "offlinefile", "shareinfo.vfs", "shareinfo.hidden", "/etc/group"}) {
            const string text = root.read(file);
            const auto count_lines = [&](const string& other, bool everywhere) {
                string changed = text;
                for (std::sregex_iterator
                         value(text.begin(), text.end(), has(text, "=") ? of_key : of_list),
                     end;
                     value != end; ++value)
                    if (everywhere || !std::regex_match(value->str(1), decides))
                        changed.replace(value->position(1) + changed.size() - text.size(),
                                        value->length(1), other);
                root.write(file, changed);
                root.run("-c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs");
                std::map<string, long> lines;
                for (const auto& [path, output] : outputs(root))
                    lines[path] = std::ranges::count(output, '\n');
                return lines;
            };
            for (const bool everywhere : {false, true})
                EXPECT_EQ(count_lines(hostile, everywhere), count_lines("x", everywhere)) << file;
            root.write(file, text);
        }
    }
}
