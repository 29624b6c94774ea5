// tavrogen-access: the report in its forms, the difference of two, and whom it knows.
#include "tests/access/companions.h"

#include <sys/resource.h>

namespace {

// An appliance of few people, with the given lines for its share list.
struct Appliance : Root {
    explicit Appliance(const std::string& shares) {
        write("/etc/passwd",
              "alice:x:1001:500::/:/bin/sh\nbob:x:1002:500::/:/bin/sh\n"
              "carol:x:1003:600::/:/bin/sh\n");
        write("/etc/group", "staff:x:500:\nstudio:x:600:\nfinance:x:700:alice\n");
        write("shareinfo", shares);
        write("usbshareinfo", "");
        write("msdfs", "");
        std::filesystem::create_directories(at("/mnt"));
    }
};

// The share line with other switches for SMB, AppleTalk and FTP.
std::string served_by(const Share& share, const std::string& switches) {
    std::string line = share.line();
    return line.replace(line.find("<>1<>1<>1<>0"), 10, "<>" + switches);
}

// What some lines of Python print of the report.
std::string from_json(const Root& root, const std::string& arguments, const std::string& lines) {
    const std::string script = "import json, sys\nreport = json.load(sys.stdin)\n" + lines;
    return access(root, arguments + " | python3 -c " + quoted(script)).out;
}

}  // namespace

TEST(Report, ShowsWhoMayDoWhat) {
    std::string crowd = "staff:x:500:bob\ncrew:x:800:", lists = "user9";
    for (int number = 1; number < 6; ++number) {
        crowd += "user" + std::to_string(number) + ",";
        lists += ",user" + std::to_string(number);
    }
    const std::string a = "a  /mnt/array1/a\n    SMB, ";
    const struct {
        std::string rule, shares, info, report;
    } rows[] = {
        {"one line for the services that agree", Share{"a", "alice", "studio", "bob"}.line(), "",
         a + "FTP, AppleTalk  alice carol rw, bob r\n"},
        {"all, and guests", open_share("a"), "",
         a + "FTP, AppleTalk  everyone rw, without an account rw\n"},
        {"what differs", Share{"a", "alice"}.line() + Share{"my files", "bob"}.line(), "",
         "my files  /mnt/array1/my files\n    SMB                  bob rw\n"
         "  ! FTP                  everyone r, without an account r\n"},
        {"in the file for nobody, and not in it", served_by({"a", "bob"}, "0<>1<>0"), "",
         "a  /mnt/array1/a\n    FTP                  nobody\n    AppleTalk            bob rw\n"
         "    SMB                  not served\n"},
        {"a service that does not start comes first",
         Share{"a", "bob"}.line() + Share{"spool", "bob"}.line(), "",
         "FTP does not start: /etc/proftpd/proftpd.conf:"},
        {"and gives no share", Share{"a", "bob"}.line() + Share{"spool", "bob"}.line(), "",
         a + "AppleTalk       bob rw\n    FTP                  does not start\n"},
        {"groups of a domain", Share{"a", "", "OFFICE+sales"}.line(), "domain=ad",
         a + "FTP, AppleTalk  group OFFICE+sales rw\n"},
        {"who may only upload", Share{"a", "", "staff", "", "finance"}.line(), "domain=ad",
         "  ! FTP                  bob w, alice r\n"},
        {"a service that knows no guests takes nothing from them", open_share("a"), "domain=ad",
         "    FTP, AppleTalk       everyone rw\n"},
        {"a group for its members", Share{"a", lists}.line(), "", "user9 rw, group crew rw\n"},
        {"a volume that ends in a slash", Share{"a", "bob", "", "", "", 0, 1, "array1/"}.line(), "",
         a + "AppleTalk       bob rw\n  ! FTP                  everyone r, without an account r\n"},
        {"shares below have rights of their own", Share{"a", "bob"}.line(), "",
         "--- No shares, but reachable\n/mnt\n"
         "    FTP                  everyone r, without an account r, shares below excepted\n"},
        {"names of any length stand in line", Share{"camera", "bob"}.line() + open_share("a"),
         "hidden", "    SMB [camera$], FTP, AppleTalk bob rw\n"},
        {"short ones, too", Share{"camera", "bob"}.line() + open_share("a"), "hidden",
         "    SMB, FTP, AppleTalk           everyone rw, without an account rw\n"},
    };
    for (const auto& row : rows) {
        Appliance root(row.shares);
        if (has(row.rule, "members"))
            root.write("/etc/group", crowd + "\n"), root.remove("/etc/passwd");
        if (row.info == "hidden")
            root.write("shareinfo.hidden", "camera<>off<>\n");
        else if (!row.info.empty())
            root.change("info", row.info);
        const std::string report = access(root, "--planned").out;
        const std::string& wanted = row.report;
        EXPECT_TRUE(has(row.rule, "first") ? report.starts_with(wanted) : has(report, wanted))
            << row.rule << "\n"
            << report;
    }
}

TEST(Report, ReadsTheFilesAsTheyStand) {
    Appliance root(Share{"a", "alice"}.line());
    EXPECT_TRUE(access(root, "").out.starts_with("no service has a file here: --planned shows "));
    EXPECT_EQ(root.run("-c samba -c proftpd -c atalk").status, 0);
    // By a link that holds inside the root alone, as on the root.
    std::string text = root.read("/etc/samba/smb.conf");
    text.replace(text.find("users = alice\n"), 14, "users = bob, carol\n    force user = bob\n");
    root.remove("/etc/samba");
    root.write("/srv/samba/smb.conf", text);
    std::filesystem::create_symlink("/../srv/samba", root.at("/etc/samba"));
    const std::string report = access(root, "").out;
    EXPECT_TRUE(has(report, "not shown: NFS (no /etc/exports), iSCSI (no /etc/ietd.conf)\n"));
    EXPECT_TRUE(has(report,
                    "a  /mnt/array1/a\n    SMB                  bob carol rw\n"
                    "  ! FTP, AppleTalk       alice rw\n"))
        << report;
    EXPECT_TRUE(has(report, "/etc/samba/smb.conf:")) << report;
    EXPECT_TRUE(has(report, ": not understood; what follows may be wrong\n")) << report;
    EXPECT_TRUE(has(access(root, "--planned").out, "    SMB, FTP, AppleTalk  alice rw\n"));
}

TEST(Report, ShowsWhoGainsAndWhoLoses) {
    const std::string docs = Share{"docs", "alice"}.line();
    const auto on = [](const std::string& volume, const std::string& user) {
        return Share{"docs", user, "", "", "", 0, 1, volume}.line();
    };
    const struct {
        std::string rule, before, after, info, lines;
    } rows[] = {
        {"nobody", docs, docs, "", ""},
        {"over each service", docs, Share{"docs", "alice,bob"}.line(), "",
         "More access:\nbob: docs over SMB: nothing -> read and write\n"
         "bob: docs over FTP: nothing -> read and write\n"
         "bob: docs over AppleTalk: nothing -> read and write\n"},
        {"a name on two volumes", on("array1", "alice") + on("disk3", "alice,bob"),
         on("array1", "alice,bob") + on("disk3", "alice,bob"), "",
         "More access:\nbob: docs (/mnt/array1/docs) over FTP: nothing -> read and write\n"},
        {"a share that moves", on("array1", "alice"), on("disk3", "alice"), "",
         "\nalice: docs (/mnt/array1/docs) over SMB: read and write -> nothing\n"},
        {"reading for uploading", Share{"docs", "", "", "", "finance,staff"}.line(),
         Share{"docs", "", "staff", "", "finance"}.line(), "domain=ad",
         "bob: docs over FTP: nothing -> upload\n"},
    };
    for (const auto& row : rows) {
        Appliance before(row.before), after(row.after);
        for (Root* root : {static_cast<Root*>(&before), static_cast<Root*>(&after)}) {
            if (!row.info.empty())
                root->change("info", row.info);
            root->run("-c samba -c proftpd -c atalk");
        }
        const Outcome outcome = access(after, "--before '" + before.at("/").string() + "'");
        EXPECT_TRUE(has(outcome.out, row.lines)) << row.rule << "\n" << outcome.out;
        EXPECT_EQ(outcome.out.empty(), row.lines.empty()) << row.rule << "\n" << outcome.out;
        EXPECT_EQ(outcome.status, row.lines.empty() ? 0 : 1) << row.rule;
    }
}

TEST(ReportByTools, KnowsThePeople) {
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
        Appliance root(lists);
        root.write("/etc/group", groups);
        root.remove("/etc/passwd");
        if (!row.passwd.empty())
            root.write("/etc/passwd", row.passwd);
        root.change("info", "domain=" + row.domain);
        EXPECT_EQ(
            from_json(root, "--json",
                      "for one in report[\"people\"]:\n"
                      " print(one[\"name\"], \",\".join(one[\"groups\"]), sep=\":\", end=\" \")"),
            row.people);
    }
}

TEST(ReportByTools, SaysTheSameInJson) {
    Appliance root(Share{"a", "\u009b,alice", "OFFICE+sales"}.line());
    root.write("/etc/hostname", "nas\n");
    root.change("info", "domain=ad");
    const std::string asks =
        "print(report[\"appliance\"], report[\"planned\"], report[\"missing\"])\n"
        "share = report[\"folders\"][0]\nsmb = share[\"rights\"][0]\n"
        "print(share[\"folder\"], smb[\"people\"], smb[\"groups\"], smb[\"guests\"])";
    EXPECT_EQ(from_json(root, "--planned --json", asks),
              "nas True []\n/mnt/array1/a {'alice': 'write'} {'OFFICE+sales': 'write'} none\n");
}

TEST(ReportByTools, WritesValidPages) {
    const std::string odd = open_share("&\"\x1b\u202e\xe9\xc3\xa9") + Share{"spool", "bob"}.line();
    std::string crowd = "alice:x:1001:500::/:/bin/sh\n", each;
    for (int number = 0; number < 70; ++number) {
        const std::string name = "user" + std::to_string(number);
        crowd += name + ":x:" + std::to_string(2000 + number) + ":900::/:/bin/sh\n";
        each += Share{"of " + name, name}.line();
    }
    const struct {
        std::string rule, shares, page;
    } rows[] = {
        {"a service that does not start comes first", odd, "</p>\n<p class=\"stop\">FTP does not"},
        {"odd names", odd, "<b>&amp;\"\uFFFD\uFFFD\uFFFD\u00e9</b>"},
        {"people who may do the same", odd, "<th scope=\"col\" class=\"person\">alice<br>and 70 "},
        {"words where there are too many columns", each, "others</td>|>user7 rw</td>"},
        {"what is not looked at", odd, "<h2>What is not looked at</h2>"},
    };
    for (const auto& row : rows) {
        Appliance root(row.shares);
        root.write("/etc/passwd", crowd);
        root.write("/etc/hostname", "nas<1>\n");
        const std::string page = "'" + root.at("/page.html").string() + "'";
        EXPECT_EQ(access(root, "--planned --html " + page).out, "");
        EXPECT_EQ(output_of("tidy -q -e " + page + " 2>&1"), "") << row.rule;
        const std::string text = root.read("/page.html");
        EXPECT_TRUE(has(text, row.page.substr(row.page.find('|') + 1))) << row.rule << text;
        EXPECT_TRUE(has(text, "<h1>Who may do what on nas&lt;1&gt;</h1>\n<p>As tavrogen would "));
        EXPECT_FALSE(has(text, "http"));
    }
}

// What reaches a terminal moves neither its cursor nor the direction of its letters.
TEST(Report, HidesControlsFromTerminals) {
    Appliance root(open_share("a\x1b[1m\u009b\u202e\x9bz"));
    EXPECT_TRUE(has(access(root, "--planned").out, "a\x1b[1m\u009b\u202e\x9bz  /mnt"));
    const std::string program = ACCESS " --planned --root " + quoted(root.at("/").string());
    EXPECT_TRUE(has(output_of("script -qec " + quoted(program) + " /dev/null"),
                    "a\\033[1m\\302\\233\\342\\200\\256\\233z  /mnt"));
}

TEST(Report, HasAStatusForTrouble) {
    Appliance root(open_share("a"));
    const struct {
        std::string arguments, says;
        int status;
    } rows[] = {
        {"--help", "usage: tavrogen-access", 0},
        {"--version", "tavrogen-access 1.10\n", 0},
        {"--html /dev/null --json", "{\n  \"appliance\": ", 0},
        {"--wrong", "usage: tavrogen-access", 2},
        {"mallory", "tavrogen-access: mallory: no such account\n", 2},
        {"--root ''", "tavrogen-access: --root: an empty name is no folder\n", 2},
        {"--root /nowhere", "tavrogen-access: /nowhere/: no appliance", 2},
        {"--before ''", "tavrogen-access: --before: an empty name is no folder\n", 2},
        {"--before /nowhere", "tavrogen-access: /nowhere/: no appliance", 2},
        {"--before / --json", "tavrogen-access: --before: its lines are text", 2},
        {"--html /nowhere/page", "tavrogen-access: /nowhere/page: No such file", 2},
        {"--html /dev/full", "tavrogen-access: /dev/full: No space left", 2},
        {">/dev/full", "tavrogen-access: standard output: No space left", 2},
        {"--json >/dev/full", "tavrogen-access: standard output: No space left", 2},
    };
    for (const auto& row : rows) {
        const Outcome outcome = access(root, row.arguments);
        EXPECT_EQ(outcome.status, row.status) << row.arguments;
        EXPECT_TRUE(has(outcome.out, row.says)) << row.arguments << "\n" << outcome.out;
    }
    root.obstruct("/etc/exports");
    EXPECT_TRUE(has(access(root, "").out, "/etc/exports: Is a directory\n"));
}

TEST(Report, TakesAMomentForAThousandShares) {
    const auto numbered = [](const char* word, int number) {
        return word + std::to_string(number % 200);
    };
    std::string groups, lists, passwd;
    for (int n = 0; n < 200; ++n) {
        passwd += numbered("user", n) + ":x:" + std::to_string(1000 + n) + ":1000::/:/bin/sh\n";
        groups += numbered("team", n) + ":x:" + std::to_string(2000 + n) + ":" +
                  numbered("user", n) + numbered(",user", n * 7) + "\n";
    }
    for (int n = 0; n < 1000; ++n)
        lists +=
            Share{"share" + std::to_string(n), numbered("user", n * 3) + numbered(",user", n * 5),
                  numbered("team", n), numbered("user", n * 7), numbered("@team", n * 9)}
                .line();
    Appliance root(lists);
    root.write("/etc/passwd", passwd);
    root.write("/etc/group", groups);
    rusage before, after;
    getrusage(RUSAGE_CHILDREN, &before);
    const std::string report = access(root, "--planned").out;
    getrusage(RUSAGE_CHILDREN, &after);
    EXPECT_EQ(part(report, "share999 ", "rw"),
              "share999  /mnt/array1/share999\n"
              "    SMB, FTP, AppleTalk  user195 user197 user199 rw");
#ifndef SANITIZED  // which takes many times as long
    timeval used;
    timersub(&after.ru_utime, &before.ru_utime, &used);
    EXPECT_LT(used.tv_sec, 2) << used.tv_usec;  // a quarter, and room for a slow machine
#endif
}
