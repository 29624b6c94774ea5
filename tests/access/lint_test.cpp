// tavrogen-lint on whole appliances: what it prints.
#include "tests/root.h"

#include <sys/wait.h>

namespace {

// Runs a shell command line; what it prints, on both streams.
Outcome shell(const std::string& command) {
    FILE* pipe = popen(("{ " + command + "; } 2>&1").c_str(), "r");
    Outcome outcome;
    char piece[4096];
    while (const size_t got = fread(piece, 1, sizeof piece, pipe))
        outcome.out.append(piece, got);
    outcome.status = WEXITSTATUS(pclose(pipe));
    return outcome;
}

Outcome access(const Root& root, const std::string& arguments = "") {
    return shell(ACCESS " --root '" + root.at("/").string() + "' " + arguments);
}

Outcome lint(const Root& root, const std::string& arguments = "") {
    return shell(LINT " --root '" + root.at("/").string() + "' " + arguments);
}

// The example appliance after a run.
struct Example : Root {
    Example() : Root("examples/appliance") {
        host = "morvista-nas.example.net";
        eth0 = "02:00:5e:10:00:01,192.0.2.10/24";
        run("-c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs");
    }
};

}  // namespace

TEST(Lint, FindsNothingInSoundSettings) {
    EXPECT_EQ(lint(Root()).out, "");
    EXPECT_EQ(lint(Example()).out, "");
}

// What each service makes of odd values is tested beside its reader. Here: worst first, one
// finding for one cause, and the choice of them.
TEST(Lint, NamesTheWorstFirstAndEachCauseOnce) {
    Root root;
    root.change("info", "syslog_forward=on;syslog_forward_target=");
    root.write("shareinfo", Share{"docs", "bob"}.line() + Share{"my files", "bob"}.line());
    const Outcome all = lint(root);
    EXPECT_EQ(all.status, 1);
    const std::string blank = lines_with(all.out, "/etc/korvel/shareinfo:2: ");
    EXPECT_TRUE(has(blank, "shareinfo:2: FTP, AppleTalk: exposes: my files: ")) << all.out;
    EXPECT_TRUE(has(blank, "has a blank, rename it without blanks\n")) << all.out;
    EXPECT_TRUE(all.out.starts_with(blank));
    EXPECT_EQ(part(blank, "\n", "\n"), "") << "one cause, several findings";
    EXPECT_TRUE(has(all.out, "\n/etc/korvel/info:24: syslog: breaks: ")) << all.out;
    EXPECT_EQ(lint(root, "--at-least exposes").out, blank);
    root.write("shareinfo", Share{"docs", "bob"}.line());
    EXPECT_EQ(lint(root, "--at-least stops").status, 0);
    EXPECT_EQ(lint(root, "--at-least looks").status, 1);
}

// The cause is what heals: of two that suffice the later one, of two oddities the one that counts.
TEST(Lint, NamesTheCauseThatHeals) {
    const std::string a = Share{"a", "alice"}.line(), none = "";
    const struct {
        std::string rule, shares, file, change, finding;
    } rows[] = {
        {"an unknown user", a + Share{"b", "alice,alcie"}.line(), none, none,
         "shareinfo:2: settings: breaks: b: \"alcie\" gets nothing: the users who may write: there "
         "is no account \"alcie\", name one that there is, or take it out\n"},
        {"an unknown group", Share{"a", "alice", "stuff"}.line(), none, none,
         "shareinfo:1: settings: breaks: a: \"stuff\" gets nothing: "},
        {"\"all\" in two lists", Share{"a", "all", "all"}.line(), none, none,
         "\"all\" counts only in all four lists at once, write it into all four or into none\n"},
        {"no volume", a + "b<><><>all<>all<>all<>all<>1<>1<>1<>0<><>0<>0<>0<>0\n", none, none,
         "settings: no service can serve it"},
        {"a key that is missing counts as on", a, "info", "info_visible",
         "/etc/korvel/info: SMB: exposes: info: everyone may read /mnt/info, also without an "
         "account: the key info_visible is missing, which counts as on, write info_visible=off\n"},
        {"the later one of two of a name", a + Share{"A", "bob"}.line(), none, none,
         "shareinfo:2: SMB: exposes: a: bob may write, alice may not read or write: the name \"A\" "
         "is also that of /etc/korvel/shareinfo:1, rename one of them\n"},
        {"a blank, not what it leads to", Share{" a", "bob"}.line(), "/mnt/array1/ a/file", "\n",
         "the name \" a\" has a blank, rename it without blanks\n"},
        {"a blank and the length beside it",
         Share{"accounts of the year 2007 and 2008", "alice"}.line(), none, none,
         "2008\" has a blank; the name \"accounts of the year 2007 and 2008\" has more than 27 bytes, "
         "rename it without blanks; take a shorter one\n"},
        {"bytes of another code page are no backslash", Share{"\x83\\", "alice"}.line(), none, none,
         "is no UTF-8, rename it, at most 59 bytes long\n"},
        {"two groups in a domain, not the name of one", Share{"a", "", "R&D,staff"}.line(), "info",
         "domain=ad", "in a domain, the server lets in only members of all the groups of a line"},
        {"the mask of the other kind of address", a, "nfs_info",
         "nfs_networkaddress=10.0.0.0;nfs_subnetmask=64", "\"64\" is no network mask"},
    };
    for (const auto& row : rows) {
        Root root;
        root.write("/etc/passwd", "alice:x:1001:100::/:/bin/sh\nbob:x:1002:100::/:/bin/sh\n");
        root.write("/etc/group", "users:x:100:alice,bob\nstaff:x:500:alice\nR&D:x:501:alice,bob\n");
        root.write("usbshareinfo", "");
        root.write("shareinfo", row.shares);
        root.write("shareinfo.vfs", "a<>on<>on<>1<><><><>\n");
        if (row.change.ends_with('\n'))
            root.write(row.file, row.change);
        else if (!row.change.empty())
            root.change(row.file, row.change);
        const std::string found = lint(root).out;
        EXPECT_TRUE(has(found, row.finding)) << row.rule << "\n" << found;
    }
}

TEST(Lint, ReadsOnlyWhatItCanRead) {
    const struct {
        const char *make, *says;
    } rows[] = {
        {"rm -f iscsi_disks4; mkdir iscsi_disks4", "iscsi_disks4: Is a directory\n"},
        {"rm msdfs; ln -s msdfs msdfs", "msdfs: Too many levels of symbolic links\n"},
        {"rm msdfs; mkfifo msdfs", "msdfs: not a regular file\n"},
        {"rm ../group; mkdir ../group", "/etc/group: Is a directory\n"},
    };
    for (const auto& row : rows) {
        Root root;
        root.write("/etc/group", "");
        shell("cd " + root.at("shareinfo").parent_path().string() + " && " + row.make);
        const Outcome outcome = lint(root);
        EXPECT_EQ(outcome.status, 2) << row.make;
        EXPECT_TRUE(has(outcome.out, row.says)) << row.make << "\n" << outcome.out;
    }
}

TEST(Lint, HasAStatusForTrouble) {
    Root root;
    const struct {
        std::string arguments, says;
        int status;
    } rows[] = {
        {"--help", "usage: tavrogen-lint", 0},
        {"--version >/dev/full", "tavrogen-lint: standard output: No space left", 2},
        {"--at-least all", "no effect is called all", 2},
        {"--at-least", "usage: tavrogen-lint", 2},
        {"word", "usage: tavrogen-lint", 2},
        {"--root ''", "--root needs a folder", 2},
    };
    for (const auto& row : rows) {
        const Outcome outcome = lint(root, row.arguments);
        EXPECT_EQ(outcome.status, row.status) << row.arguments;
        EXPECT_TRUE(has(outcome.out, row.says)) << row.arguments << "\n" << outcome.out;
    }
    root.remove("msdfs");
    EXPECT_EQ(lint(root).status, 0);
    root.obstruct("msdfs");
    EXPECT_EQ(lint(root).out,
              "tavrogen-lint: cannot read " + root.at("msdfs").string() + ": Is a directory\n");
    root.remove("msdfs");
    root.remove("shareinfo");
    EXPECT_EQ(lint(root).status, 2);
}

// The companions run the program's writers in memory: the result must be that of a real run.
TEST(Lint, WritesNothing) {
    Example example;
    const auto picture = [&] {
        return shell("cd " + example.at("/").string() +
                     " && find . -printf '%p %i %s %T@\\n' | sort")
            .out;
    };
    const std::string before = picture();
    lint(example);
    access(example);
    EXPECT_EQ(picture(), before);
}
