// What the program does when its surroundings fail it: calls that fail, no room, no permission, odd
// files, streams that nobody reads, hostile settings.
#include "tests/root.h"

#include <algorithm>
#include <fcntl.h>
#include <regex>
#include <sys/stat.h>

namespace fs = std::filesystem;
using std::string;
using Files = std::map<string, string>;

static const string every = "-c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs";
static const string smb_conf = "/etc/samba/smb.conf";

// All that the services have written, by path.
static Files written(const Root& root) {
    Files texts;
    for (const auto& entry : fs::recursive_directory_iterator(root.at("/etc"))) {
        const string path = "/" + entry.path().lexically_relative(root.at("/")).string();
        if (entry.is_regular_file() &&
            !std::regex_search(path, std::regex("/korvel/|/group|/vantor|/passwd")))
            texts[path] = root.read(path);
    }
    return texts;
}

// A run that begins without the files of the services, and what it writes.
static Files files_of_run(Root& root, const string& arguments, const string& limits = "",
                          const string& output = "", Outcome* outcome = nullptr) {
    for (const auto& file : written(root))
        root.remove(file.first);
    const Outcome ended = root.run(arguments, "seconds=20 " + limits, output);
    EXPECT_NE(ended.status, 142) << "waits: " << arguments;
    if (outcome != nullptr)
        *outcome = ended;
    return written(root);
}

static void expect_same_files(const string& behaviour, const string& input, const Files& expected,
                              const Files& seen) {
    for (const auto& [path, text] : expected)
        expect_same(behaviour, input + "\n", path, text,
                    seen.contains(path) ? seen.at(path) : "(no such file)");
    EXPECT_EQ(seen.size(), expected.size()) << behaviour;
}

static string many_shares(int count) {
    string list;
    for (int i = 0; i < count; ++i)
        list += Share{"share" + std::to_string(i), "alice,bob", "staff"}.line();
    return list;
}

// Runs of a build of the program whose calls fail (tests/failing_calls.cpp).
class FailingCalls : public testing::Test {
  protected:
    const string usual = environment("TAVROGEN_PROGRAM", PROGRAM);
    const int changed = setenv("TAVROGEN_PROGRAM", FAILING_PROGRAM, 1);  // before the root is made
    Root root;
    void TearDown() override { setenv("TAVROGEN_PROGRAM", usual.c_str(), 1); }

    Files run(const string& arguments, const string& fault, Outcome* outcome = nullptr) {
        setenv("FAIL", fault.c_str(), 1);
        Files files = files_of_run(root, arguments, "", "", outcome);
        unsetenv("FAIL");
        return files;
    }
};

TEST_F(FailingCalls, AFileIsReadUpToTheLineThatCannotBeRead) {
    for (const string path :
         {"/etc/korvel/info", "/etc/korvel/diskinfo", "/etc/korvel/shareinfo",
          "/etc/korvel/usbshareinfo", "/etc/korvel/offlinefile", "/etc/korvel/shareinfo.hidden",
          "/etc/korvel/shareinfo.vfs", "/etc/korvel/msdfs", "/etc/korvel/nfs_info",
          "/etc/korvel/iscsi_info", "/etc/korvel/iscsi_disks1", "/etc/group", "/proc/mounts",
          "/tmp/pvlistconfig"}) {
        const string text = root.read(path);
        for (size_t bytes = text.size();; bytes -= std::min(bytes, 3 + text.size() / 6)) {
            const string fault = "reading " + std::to_string(bytes) + " " + path;
            const size_t lines = text.substr(0, bytes).rfind('\n') + 1;
            string beginning = text.substr(0, lines);
            if (path == "/proc/mounts")  // a search fails whole
                beginning = "";
            root.write(path, beginning);
            Outcome usual, seen;
            Files files = run(every, "", &usual);
            root.write(path, text);
            const Files got = run(every, fault, &seen);
            const string rest = text.substr(lines, bytes - lines);
            if (got != files && has(rest, "=")) {  // of half a setting there may be an empty text
                root.write(path, beginning + rest.substr(0, rest.find('=')) + "=\n");
                files = run(every, "");
                root.write(path, text);
            }
            expect_same_files("half a line is no line", fault, files, got);
            EXPECT_EQ(seen.err, usual.err) << fault;
            if (bytes == 0 || HasFailure())
                break;
        }
    }
}

TEST_F(FailingCalls, WhatComesInPiecesOrLaterIsWhole) {
    Outcome usual, seen;
    const Files files = run(every, "", &usual);
    for (const string fault :
         {"interrupted 0", "stepwise 1", "stepwise 3", "leased 0 /etc/korvel/"}) {
        expect_same_files("nothing is lost", fault, files, run(every, fault, &seen));
        EXPECT_EQ(seen.out + seen.err, usual.out + usual.err) << fault;
    }
}

TEST_F(FailingCalls, NothingIsWrittenAfterAWriteThatFailed) {
    root.write("shareinfo", many_shares(300));
    const Files files = run(every, "");
    for (int number = 1; number < 20; ++number) {
        Outcome outcome;
        for (const auto& [path, text] : run(every, "writing " + std::to_string(number), &outcome))
            EXPECT_TRUE(files.at(path).starts_with(text)) << path << " after write " << number;
        EXPECT_EQ(outcome.status, 0);
    }
}

// True where a file goes on to its end, and each block of it is closed.
static bool is_well_formed(const string& path, const string& text) {
    const auto count = [&](const string& word) {
        size_t times = 0;
        for (size_t at = 0; (at = text.find(word, at)) != text.npos; ++at)
            ++times;
        return times;
    };
    const bool is_marked = path == smb_conf || has(path, "AppleVolumes");
    return (text.empty() || text.ends_with(is_marked ? "\n#####END#####\n" : "\n")) &&
           count("<Directory") == count("</Directory") && count("<Limit") == count("</Limit") &&
           count("<Anonymous") == count("</Anonymous") && !has(text, "(null)");
}

TEST_F(FailingCalls, EachAllocationMayFail) {
    static const std::regex known(
        "[Cc]an't allocate memory\n|get_words_with_allocate:memory allocate fail\\..*\n|"
        ">get_words(_with_allocate)?:src is NULL\\.\n|"
        "utils VntSambaFormatShaper \\(453\\)>calloc failed\\.\n|cannot open .*directory: .*\n");
    root.change("info", "domain=server");
    root.change("msdfs", "msdfs_link2_name=b");
    for (const auto* file : {"shareinfo.vfs", "shareinfo.hidden", "offlinefile"})
        root.write(file, root.read(file) + "a<>on<>x<>0\nb<>on<>x<>0\n");
    for (const auto* folder : {"/mnt/a", "/mnt/b"})
        fs::create_directories(root.at(folder));
    for (const string arguments : {"-c samba", "-c proftpd", "-c atalk", "-c syslog", "-c iscsi",
                                   "-c nfs", "-b /mnt", "-m eth0"}) {
        Outcome usual, seen;
        // A search of these tables may fail silently: the output is that of a run without the line.
        std::set<Files> complete;
        for (const string gone : {"/none", "/mnt/usbdisk1", "/mnt/usbdisk2", "md1", "md2"}) {
            const string table = gone[0] == '/' ? "/proc/mounts" : "/tmp/pvlistconfig";
            const string text = root.read(table);
            root.write(table, std::regex_replace(text, std::regex(gone), ""));
            complete.insert(run(arguments, ""));
            root.write(table, text);
        }
        run(arguments, "", &usual);
        const auto said = lines_of(usual.out + usual.err);
        for (int number = 1;; ++number) {
            const string fault = "allocation " + std::to_string(number);
            SCOPED_TRACE(arguments + ", " + fault);
            root.remove("/failed");
            const Files files = run(arguments, fault, &seen);
            if (!fs::exists(root.at("/failed")))
                break;
            bool is_told = false;
            for (const string& line : lines_of(seen.out + seen.err)) {
                const bool is_new = std::find(said.begin(), said.end(), line) == said.end();
                EXPECT_TRUE(!is_new || std::regex_match(line, known)) << line;
                is_told = is_told || is_new;
            }
            EXPECT_TRUE(is_told || complete.contains(files)) << "without a word";
            for (const auto& [path, text] : files)
                EXPECT_TRUE(is_well_formed(path, text)) << path << "\n" << text;
        }
    }
}

TEST(Faults, LimitsAndLostMessagesChangeNoFile) {
    const struct {
        string behaviour, limits, redirections = "", output = "";
    } rows[] = {
        {"two descriptors", "files=5"},
        {"a small stack", "stack=131072"},
        {"no standard stream", "close=0 close=1 close=2"},
        {"no standard output", "close=1"},
        {"neither output nor error", "close=1 close=2"},
        {"full standard streams", "", " >/dev/full 2>/dev/full"},
        {"head reads one line", "", "", "| head -n 1 >/dev/null"},
        {"nobody reads what is said in error", "", " 2>&1", "| true"},
        {"standard output may grow no further", "size=40000"},
    };
    Root root;
    root.write("shareinfo", many_shares(60));
    const Files usual = files_of_run(root, "-d 11 " + every);
    for (const auto& row : rows) {
        const string arguments = "-d 11 " + every + row.redirections;
        expect_same_files(row.behaviour, row.limits + row.redirections + row.output, usual,
                          files_of_run(root, arguments, row.limits, row.output));
    }
}

static void link(const fs::path& target, const fs::path& place) {
    fs::remove(place);
    fs::create_symlink(target, place);
}

static void make_pipe(const fs::path& place) {
    fs::remove(place);
    mkfifo(place.c_str(), 0666);
}

// Anybody may hold one open in /tmp.
static void hold_pipe(const fs::path& place) {
    make_pipe(place);
    open(place.c_str(), O_RDWR);
}

TEST(Faults, OddFilesAreReportedOrReadAsEmpty) {
    Root usual;
    usual.run("-c nfs");
    const string exports = usual.read("/etc/exports"), no_exports = "cannot open /etc/exports\n";
    const string no_shares = "Can't Open : /etc/korvel/shareinfo\n";
    const struct {
        string behaviour;
        void (*disturb)(Root&);
        int status;
        string err, exports;
    } rows[] = {
        {"a link to nowhere is written through",
         [](Root& root) { link("new", root.at("/etc/exports")); }, 0, "", exports},
        {"a link into a missing folder",
         [](Root& root) { link("no/dir", root.at("/etc/exports")); }, 255, no_exports, ""},
        {"a pipe in the place of a list", [](Root& root) { hold_pipe(root.at("shareinfo")); }, 0,
         "", ""},
        {"a pipe in the place of a keyed file", [](Root& root) { make_pipe(root.at("nfs_info")); },
         0, "", std::regex_replace(exports, std::regex(" .*\\("), " /(")},
        {"a list that may not be read",
         [](Root& root) { fs::permissions(root.at("shareinfo"), fs::perms::none); }, 0, no_shares,
         ""},
        {"an output that may not be written",
         [](Root& root) {
             root.write("/etc/exports", "");
             fs::permissions(root.at("/etc/exports"), fs::perms::owner_read);
         },
         255, no_exports, ""},
    };
    for (const auto& row : rows) {
        Root root;
        row.disturb(root);
        const Outcome run = root.run("-c nfs", "seconds=20 rights=0");
        EXPECT_EQ(run.status, row.status) << row.behaviour;
        EXPECT_EQ(run.err, row.err) << row.behaviour;
        EXPECT_EQ(run.status == 0 ? root.read("/etc/exports") : "", row.exports) << row.behaviour;
    }
}

TEST(Faults, AnOutputWaitsForItsReader) {
    Root root;
    root.write("shareinfo", many_shares(1000));
    const string whole = files_of_run(root, "-c samba").at(smb_conf);
    ASSERT_GT(whole.size(), 2U << 16) << "what a pipe holds";
    make_pipe(root.at(smb_conf));
    root.run("-c samba", "seconds=20",
             ">/dev/null & sleep 0.3; timeout 20 cat " + quoted(root.at(smb_conf)) + " >" +
                 quoted(root.at("/read")) + "; wait");
    EXPECT_TRUE(root.read("/read") == whole) << root.read("/read").size();
}

TEST(Faults, NoDescriptorIsLeftOpen) {
    Root root;
    fs::create_directories(root.at("/mnt/a"));
    root.obstruct("/etc/exports");
    string arguments;
    for (int i = 0; i < 30; ++i)
        arguments += " -b /mnt -b /none " + every + " -i lo";
    const Outcome usual = root.run(arguments), limited = root.run(arguments, "files=20");
    EXPECT_EQ(limited.status, usual.status);
    EXPECT_EQ(limited.err, usual.err);
    EXPECT_EQ(limited.out.size(), usual.out.size());
}
