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
