// tavrogen-access and tavrogen-lint on whole appliances: what they print, and whom they know.
#include "tests/root.h"

#include <fstream>
#include <sys/resource.h>
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

// The example appliance as its last run left it.
struct Example : Root {
    Example() : Root({"examples/appliance", "tests/expected/example"}) {}
};

}  // namespace

TEST(Access, ShowsWhoMayDoWhat) {
    const Example example;
    expect_recorded("the report", "examples/appliance", "example.access", access(example).out);
    EXPECT_EQ(part(access(example, "bob dave").out, "archive", "not served\n"),
              "archive  /mnt/disk4/archive\n"
              "    SMB, FTP             bob dave r\n"
              "  ! NFS                  192.0.2.0/255.255.255.0 rw, whoever the user\n"
              "    AppleTalk            not served\n");
}

TEST(Access, ReadsTheFilesAsTheyStand) {
    Example example;
    std::string text = example.read("/etc/samba/smb.conf");
    const std::string listed = "valid users = bob,@studio,alice,@finance\n";
    ASSERT_TRUE(has(text, listed));
    text.replace(text.find(listed), listed.size(), "valid users = bob, dave\n");
    // By a link that holds inside the root alone, as on the root.
    example.remove("/etc/samba");
    example.write("/srv/samba/smb.conf", text);
    std::filesystem::create_symlink("/../srv/samba", example.at("/etc/samba"));
    example.remove("/etc/exports");
    EXPECT_EQ(part(access(example).out, "accounts", "not served\n"),
              "accounts  /mnt/array1/accounts\n"
              "    SMB                  dave rw, bob r\n"
              "  ! FTP                  alice rw, bob carol erika r\n"
              "    AppleTalk            not served\n");
    EXPECT_FALSE(has(access(example).out, "NFS"));
}

TEST(Access, ShowsWhoGainsAndWhoLoses) {
    const Example before;
    Example after;
    const std::string since = "--before '" + before.at("/").string() + "'";
    EXPECT_EQ(access(after, since).out, "");
    std::string conf = after.read("/etc/proftpd/proftpd.conf");
    const std::string denied = "    DenyUser bob\n    DenyGroup studio\n";
    ASSERT_TRUE(has(conf, denied));
    conf.replace(conf.find(denied), denied.size(), "    AllowUser bob\n");
    after.write("/etc/proftpd/proftpd.conf", conf);
    after.write("/etc/exports", "/mnt/disk4/archive 192.0.2.9(ro)\n");
    const Outcome outcome = access(after, since);
    EXPECT_EQ(outcome.out,
              "More access:\n"
              "bob: accounts over FTP: read -> read and write\n"
              "192.0.2.9: archive over NFS: nothing -> read\n"
              "Less access:\n"
              "192.0.2.0/255.255.255.0: archive over NFS: read and write -> nothing\n"
              "192.0.2.0/255.255.255.0: projects over NFS: read and write -> nothing\n"
              "192.0.2.0/255.255.255.0: public over NFS: read and write -> nothing\n");
    EXPECT_EQ(outcome.status, 1);
}

TEST(Access, KnowsThePeople) {
    const std::string lists = Share{"a", "NORTH+ivan, all", "staff", "alice smith,#x", ""}.line();
    const std::string groups = "staff:x:500:bob\nmain:x:600:\nshort:x\n";
    const std::string passwd =
        "root:x:0:0::/:/bin/sh\nnews:x:9:9::/:/bin/sh\nshort:x:1\n"
        "ftpd:x:120:120::/:/usr/sbin/nologin\nnobody:x:65534:1::/:/bin/sh\n"
        "carol:x:1000:600::/:/bin/false\nbob:x:501:999::/:/bin/sh\n";
    const struct {
        std::string passwd, domain, people;
    } rows[] = {
        {"", "off", "NORTH+ivan: alice smith: bob:staff "},
        {passwd, "off", "bob:staff carol:main "},
        {passwd, "ad", "NORTH+ivan: bob:staff carol:main "},
    };
    for (const auto& row : rows) {
        Root root;
        root.write("shareinfo", lists);
        root.write("usbshareinfo", "");
        root.write("/etc/group", groups);
        if (!row.passwd.empty())
            root.write("/etc/passwd", row.passwd);
        root.change("info", "domain=" + row.domain);
        const std::string names =
            "import json, sys\n"
            "for one in json.load(sys.stdin)[\"people\"]:\n"
            " print(one[\"name\"], \",\".join(one[\"groups\"]), sep=\":\", end=\" \")";
        EXPECT_EQ(access(root, "--json | python3 -c '" + names + "'").out, row.people);
    }
}

TEST(Access, WritesValidPages) {
    if (shell("command -v tidy").status != 0)
        return missing("tidy");
    Example example;
    const std::string page = "'" + example.at("/page.html").string() + "'";
    const std::string odd = open_share("&\"\x1b\xe9\xc3\xa9") + Share{"x'", "eve"}.line();
    example.write("shareinfo", example.read("shareinfo") + odd);
    std::string crowd = example.read("/etc/group") + "crowd:x:700:";
    for (int number = 0; number < 60; ++number)
        crowd += "user" + std::to_string(number) + ',';
    example.write("/etc/group", crowd + "\n");
    example.run("-c samba -c proftpd -c atalk");
    for (const std::string users : {"", "alice bob"}) {
        EXPECT_EQ(access(example, users + " --html " + page).out, "");
        EXPECT_EQ(shell("tidy -q -e " + page).out, "");
        const std::string text = example.read("/page.html");
        EXPECT_TRUE(has(text, "<b>&amp;&quot;\uFFFD\uFFFD\u00e9</b>"));
        EXPECT_FALSE(has(text, "http"));
        EXPECT_EQ(has(text, " others</th>"), users.empty());
        EXPECT_TRUE(has(text, "<td class=\"free w d\" colspan="));
    }
    EXPECT_EQ(access(example, "--json | python3 -m json.tool | grep -c ufffd").out, "2\n");
}

TEST(Access, HasAStatusForTrouble) {
    Example example;
    const struct {
        std::string arguments, says;
        int status;
    } rows[] = {
        {"--help", "usage: tavrogen-access", 0},
        {"--version", "tavrogen-access 1.10\n", 0},
        {"--wrong", "usage: tavrogen-access", 2},
        {"mallory", "tavrogen-access: mallory: no such account\n", 2},
        {"--root /nowhere", "tavrogen-access: /nowhere/: no appliance", 2},
        {"--before /nowhere", "tavrogen-access: /nowhere/: no appliance", 2},
        {"--html /nowhere/page", "tavrogen-access: /nowhere/page: No such file", 2},
        {"--html /dev/full", "tavrogen-access: /dev/full: No space left", 2},
        {">/dev/full", "tavrogen-access: standard output: No space left", 2},
        {"--json >/dev/full", "tavrogen-access: standard output: No space left", 2},
    };
    for (const auto& row : rows) {
        const Outcome outcome = access(example, row.arguments);
        EXPECT_EQ(outcome.status, row.status) << row.arguments;
        EXPECT_TRUE(has(outcome.out, row.says)) << row.arguments << "\n" << outcome.out;
    }
    example.obstruct("/etc/exports");
    EXPECT_TRUE(has(access(example).out, "/etc/exports: Is a directory\n"));
}

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

TEST(Access, TakesAMomentForAThousandShares) {
    Root root;
    std::string groups, lists, passwd;
    for (int number = 0; number < 200; ++number) {
        const std::string name = "user" + std::to_string(number);
        passwd += name + ":x:" + std::to_string(1000 + number) + ":1000::/:/bin/sh\n";
        groups += "team" + std::to_string(number) + ":x:" + std::to_string(2000 + number) + ":" +
                  name + ",user" + std::to_string(number * 7 % 200) + "\n";
    }
    for (int number = 0; number < 1000; ++number) {
        const auto numbered = [&](const char* word, int factor) {
            return word + std::to_string(number * factor % 200);
        };
        lists +=
            Share{"share" + std::to_string(number), numbered("user", 3) + "," + numbered("user", 5),
                  numbered("team", 1), numbered("user", 7), numbered("@team", 9)}
                .line();
    }
    root.write("/etc/passwd", passwd);
    root.write("/etc/group", groups);
    root.write("shareinfo", lists);
    EXPECT_EQ(root.run("-c samba -c proftpd -c atalk -c nfs").status, 0);
    rusage before, after;
    getrusage(RUSAGE_CHILDREN, &before);
    const std::string report = access(root).out;
    getrusage(RUSAGE_CHILDREN, &after);
    EXPECT_EQ(part(report, "share999 ", "rw"),
              "share999  /mnt/array1/share999\n"
              "    SMB, FTP, AppleTalk  user195 user197 user199 rw");
#ifndef SANITIZED  // which takes many times as long
    timeval used;
    timersub(&after.ru_utime, &before.ru_utime, &used);
    EXPECT_LT(used.tv_sec, 2) << used.tv_usec;  // half a second, and room for a slow machine
#endif
}
