// What the program does when its surroundings fail it: no memory, no room, no permission, files
// that are not what they should be, hostile settings, an end in the middle.
#include "tests/appliance.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <linux/capability.h>
#include <map>
#include <regex>
#include <sched.h>
#include <set>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using std::string;

// All that the services have written.
static std::map<string, string> outputs(const Appliance& appliance) {
    std::map<string, string> texts;
    for (const auto& entry : fs::recursive_directory_iterator(appliance.at("/etc"))) {
        const string path = "/" + entry.path().lexically_relative(appliance.at("/")).string();
        const bool is_input = std::regex_search(path, std::regex("/korvel/|/\\.|/group|/vantor"));
        if (entry.is_regular_file() && !is_input)
            texts[path] = appliance.read(path);
    }
    return texts;
}

// Whole to its end, and without the text that printf makes of a missing one.
static bool is_valid(const string& path, const string& text) {
    const bool is_marked = path == "/etc/samba/smb.conf" || has(path, "AppleVolumes");
    const bool ends_well = text.ends_with(is_marked ? "\n#####END#####\n" : "\n");
    return text.empty() || (ends_well && !has(text, "(null)"));
}

// What may be said of a failed allocation, or of a file that for want of memory does not open.
static const struct {
    const char* text;
    int status;
} messages[] = {
    {"", 0},  // nothing: the run does without
    {"Can't allocate memory\n", 0},
    {"get_words_with_allocate:memory allocate fail.", 0},
    {"utils VntSambaFormatShaper (453)>calloc failed.\n", 0},
    {"Can't Open : /etc/", 0},
    {"cannot open 2nd directory: /mnt/", 0},
    {"can't allocate memory\n", 255},
    {"cannot open directory: /mnt\n", 255},
    {"cannot open /etc/", 255},
    {"cannnot open /etc/", 255},
};

TEST(Faults, EachAllocationMayFail) {
    setenv("TAVROGEN_PROGRAM", FAILING_PROGRAM, 1);
    Appliance appliance;
    appliance.change("info", "domain=server");
    for (const auto* file : {"shareinfo.vfs", "shareinfo.hidden", "offlinefile"})    // long enough
        appliance.write(file, appliance.read(file) + "a<>on<>x<>0\nb<>on<>x<>0\n");  // for a table
    for (const auto* folder : {"/mnt/a", "/mnt/b"})
        fs::create_directories(appliance.at(folder));
    const auto run_anew = [&](const string& arguments) {
        for (const auto& output : outputs(appliance))
            appliance.remove(output.first);
        return appliance.run(arguments);
    };

    const struct {
        string arguments;
        std::set<int> said;  // of the messages
    } rows[] = {
        {"-c samba", {1, 2, 3}}, {"-c proftpd", {1, 2}}, {"-c atalk", {1, 2, 3}}, {"-c syslog", {}},
        {"-c iscsi", {1}},       {"-c nfs", {1, 2}},     {"-b /mnt", {5, 6, 7}},
    };
    for (const auto& row : rows) {
        // A file that is left out without a word counts as without the line that it is read for.
        std::set<std::map<string, string>> complete;
        for (const string gone : {"/none", "/mnt/usbdisk1", "/mnt/usbdisk2", "md1", "md2"}) {
            const string file = gone[0] == '/' ? "/proc/mounts" : "/tmp/pvlistconfig";
            const string text = appliance.read(file);
            appliance.write(file, std::regex_replace(text, std::regex(gone), ""));
            run_anew(row.arguments);
            complete.insert(outputs(appliance));
            appliance.write(file, text);
        }
        std::set<int> said;
        for (int allocation = 1;; ++allocation) {
            appliance.remove("/failed");
            setenv("FAIL_ALLOCATION", std::to_string(allocation).c_str(), 1);
            const Outcome run = run_anew(row.arguments);
            unsetenv("FAIL_ALLOCATION");
            if (!fs::exists(appliance.at("/failed")))
                break;
            int message = std::size(messages) - 1;
            while (!has("\n" + run.err + run.out, messages[message].text))
                --message;
            said.insert(message);
            SCOPED_TRACE(row.arguments + " " + std::to_string(allocation) + run.err + run.out);
            EXPECT_EQ(run.status, row.arguments == "-c iscsi" ? 0 : messages[message].status);
            EXPECT_TRUE(message != 0 || complete.contains(outputs(appliance)));
            for (const auto& [path, text] : outputs(appliance))
                EXPECT_TRUE(is_valid(path, text)) << path;
        }
        said.erase(0);
        EXPECT_EQ(said, row.said) << row.arguments;
    }
    unsetenv("TAVROGEN_PROGRAM");
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
    const string exports = expected("off/etc/exports");
    const string no_exports = "cannot open /etc/exports\n";
    const string no_shares = "Can't Open : /etc/korvel/shareinfo\n";
    const struct {
        string arguments;
        void (*disturb)(Appliance&);
        int status;
        string err;
        string written = "";  // to /etc/exports, if it is opened
        bool needs_root = false;
    } rows[] = {
        {"-c nfs", [](auto& root) { link("new", root.at("/etc/exports")); }, 0, "", exports},
        {"-c nfs", [](auto& root) { link("no/dir", root.at("/etc/exports")); }, 255, no_exports},
        {"-c nfs", [](auto& root) { link("exports", root.at("/etc/exports")); }, 255, no_exports},
        {"-c nfs", [](auto& root) { make_pipe(root.at("/etc/exports")); }, 255, no_exports},
        {"-c samba -c nfs", [](auto& root) { fs::remove_all(root.at("/etc/samba")); }, 0,
         "cannot open /etc/samba/smb.conf\n", exports},
        {"-c nfs", [](auto& root) { make_pipe(root.at("shareinfo")); }, 0, ""},
        {"-c nfs", [](auto& root) { make_pipe(root.at("nfs_info")); }, 0, "",
         std::regex_replace(exports, std::regex(" .*\\("), " /(")},
        {"-c nfs", [](auto& root) { link("nothing", root.at("shareinfo")); }, 0, no_shares},
        // An ordinary user, a read-only disk.
        {"-c nfs", [](auto& root) { chmod(root.at("shareinfo").c_str(), 0); }, 0, no_shares, "",
         true},
        {"-c nfs",
         [](auto& root) {
             root.write("/etc/exports", "");
             chmod(root.at("/etc/exports").c_str(), 0444);
         },
         255, no_exports, "", true},
        {"-c samba",
         [](auto& root) {
             mount("tmpfs", root.at("/etc/samba").c_str(), "tmpfs", MS_RDONLY, nullptr);
         },
         255, "cannot open /etc/samba/smb.conf\n", "", true},
    };
    if (geteuid() == 0) {
        ASSERT_EQ(unshare(CLONE_NEWNS), 0);
        ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
        for (const int capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH})
            prctl(PR_CAPBSET_DROP, capability);
    }
    for (const auto& row : rows) {
        if (row.needs_root && geteuid() != 0)
            continue;
        Appliance appliance;
        row.disturb(appliance);
        const Outcome run = appliance.run(row.arguments);
        SCOPED_TRACE(row.arguments + " " + row.err);
        EXPECT_EQ(run.status, row.status);
        EXPECT_EQ(run.err, row.err);
        EXPECT_TRUE(run.status != 0 || appliance.read("/etc/exports") == row.written);
        umount(appliance.at("/etc/samba").c_str());
    }
}

TEST(Faults, AFullDiskLeavesAnEmptyFile) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root mounts";
    ASSERT_EQ(unshare(CLONE_NEWNS), 0);
    ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
    Appliance appliance;
    const fs::path samba = appliance.at("/etc/samba");
    ASSERT_EQ(mount("tmpfs", samba.c_str(), "tmpfs", 0, "nr_blocks=1"), 0);
    appliance.write("/etc/samba/other", "x");
    EXPECT_EQ(appliance.run("-c samba").status, 0);
    EXPECT_EQ(appliance.read("/etc/samba/smb.conf"), "");
    EXPECT_EQ(appliance.read("/etc/pam_smb.conf"), expected("off/etc/pam_smb.conf"));
    umount(samba.c_str());
}

TEST(Faults, AListThatHasBeenCutGivesItsWholeLines) {
    Appliance appliance;
    const string whole = open_share("a") + open_share("b") + open_share("c");
    appliance.write("shareinfo.vfs", "a<><><>1\nb<><><>1\nc<><><>1\n");
    for (size_t size = 0; size <= whole.size(); size += 7) {
        appliance.write("shareinfo", whole.substr(0, size));
        EXPECT_EQ(appliance.run("-c samba -c nfs").status, 0);
        const auto lines = static_cast<size_t>(std::count(&whole[0], &whole[size], '\n'));
        const string exports = appliance.read("/etc/exports");
        EXPECT_TRUE(lines == 0 || has(exports, "/mnt/array1/" + string("?abc").substr(lines, 1)));
        for (const auto& [path, text] : outputs(appliance))
            EXPECT_TRUE(is_valid(path, text)) << path << size;
    }
}

TEST(Faults, ClosedAndFullStandardStreamsLoseOnlyTheirMessages) {
    for (const string streams :
         {"<&- >&- 2>&-", ">&- 2>&-", ">/dev/null 2>&-", ">/dev/full 2>/dev/full"}) {
        Appliance appliance;
        EXPECT_EQ(appliance.run("-d 11 -c samba -c iscsi -c nfs " + streams + " #").status, 0);
        for (const string path : {"/etc/samba/smb.conf", "/etc/ietd.conf", "/etc/exports"})
            EXPECT_EQ(appliance.read(path), expected("off" + path)) << streams;
    }
}

// Write errors on an open file are ignored; a file is emptied first and then written in place.
TEST(Faults, AFileIsCutWhereTheWritingEnds) {
    const string whole = expected("off/etc/samba/smb.conf");
    const struct {
        const char* behaviour;
        void (*on_limit)(int);
        int status;
        string pam_smb;
    } rows[] = {
        {"no more room", SIG_IGN, 0, expected("off/etc/pam_smb.conf")},
        {"a limit on file size", SIG_DFL, 0, expected("off/etc/pam_smb.conf")},
    };
    for (const auto& row : rows) {
        Appliance appliance;
        appliance.write("/etc/samba/smb.conf", whole + whole);
        signal(SIGXFSZ, row.on_limit);
        rlimit limit;
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit little = {1000, limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &little);
        const int status = appliance.run("-c samba").status;
        setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(status, row.status) << row.behaviour;
        EXPECT_EQ(appliance.read("/etc/samba/smb.conf"), whole.substr(0, 1000)) << row.behaviour;
        EXPECT_EQ(appliance.read("/etc/pam_smb.conf"), row.pam_smb) << row.behaviour;
        appliance.run("-c samba");
        EXPECT_EQ(appliance.read("/etc/samba/smb.conf"), whole) << "the next run mends it";
    }
}

// Settings are data.
TEST(Faults, NoValueAddsALineToAFile) {
    // Every byte that a value may hold, at first those that mean something to a service or to
    // printf, for the fields that keep few. As a number or a switch it reads as "x" does.
    string hostile = "x%s\r%n\\n\v\f;#\"[";
    for (char byte = 1; byte != 0; ++byte)
        hostile += string("\n<>:").find(byte) == string::npos ? string(1, byte) : "";
    const std::regex of_key("=(.*)");
    const std::regex of_list("(?:^|\n|<>|:)([^<:\n]*)");
    const std::regex decides("on|off|[01]|ad|server|duplex");
    for (const string mode : {"server", "ad"}) {
        Appliance appliance;
        appliance.change("info", "syslog_forward=on;domain=" + mode);
        appliance.change("iscsi_disks1", "iscsi_device0_authtype=duplex");
        for (const string file :
             {"info", "diskinfo", "msdfs", "nfs_info", "iscsi_info", "iscsi_disks1", "shareinfo",
              "usbshareinfo", "offlinefile", "shareinfo.vfs", "shareinfo.hidden", "/etc/group"}) {
            const string text = appliance.read(file);
            const auto count_lines = [&](const string& other, bool everywhere) {
                string changed = text;
                for (std::sregex_iterator
                         value(text.begin(), text.end(), has(text, "=") ? of_key : of_list),
                     end;
                     value != end; ++value)
                    if (everywhere || !std::regex_match(value->str(1), decides))
                        changed.replace(value->position(1) + changed.size() - text.size(),
                                        value->length(1), other);
                appliance.write(file, changed);
                appliance.run("-c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs");
                std::map<string, long> lines;
                for (const auto& [path, output] : outputs(appliance))
                    lines[path] = std::ranges::count(output, '\n');
                return lines;
            };
            for (const bool everywhere : {false, true})
                EXPECT_EQ(count_lines(hostile, everywhere), count_lines("x", everywhere)) << file;
            appliance.write(file, text);
        }
    }
}
