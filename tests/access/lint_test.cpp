// tavrogen-lint: what it finds and what it prints.
#include "tests/access/companions.h"

#include <algorithm>
#include <fstream>

namespace {

// The example appliance after a run.
struct Example : Root {
    Example() : Root("examples/appliance") {
        host = "morvista-nas.example.net";
        eth0 = "02:00:5e:10:00:01,192.0.2.10/24";
        run("-c samba -c proftpd -c atalk -c syslog -c iscsi -c nfs");
    }
};

// The pieces of a text between a separator.
std::vector<std::string> pieces(const std::string& text, const std::string& separator) {
    std::vector<std::string> found = {""};
    for (size_t at = 0; at < text.size(); ++at) {
        if (text.compare(at, separator.size(), separator) == 0)
            found.emplace_back(), at += separator.size() - 1;
        else
            found.back() += text[at];
    }
    return found;
}

// The share line of a row of `findings`, by FTP alone where that is asked about.
std::string share_line(const std::string& row, bool by_ftp_alone) {
    if (row.empty() || has(row, "<>"))
        return row + "\n";
    std::vector<std::string> fields = pieces(row, "~");
    fields.resize(7);
    if (fields[1] == "all" && fields[2].empty())
        std::fill_n(fields.begin() + 1, 4, "all");
    std::string line =
        fields[0] + "<>" + (fields[5].empty() ? "array1" : fields[5]) + "<>" + fields[6];
    for (int list = 1; list <= 4; ++list)
        line += "<>" + fields[list];
    return line + (by_ftp_alone ? "<>0<>0<>1" : "<>1<>1<>1") + "<>0<><>0<>0<>0<>0\n";
}

}  // namespace

TEST(Lint, FindsNothingInSoundSettings) {
    EXPECT_EQ(lint(Root()).out, "");
    EXPECT_EQ(lint(Example()).out, "");
}

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

// Each row of `findings`, on an appliance of its own.
TEST(Lint, FindsWhatServicesMisread) {
    std::string service, passwd, groups, row;
    std::ifstream rows(SOURCE_FOLDER "/tests/access/findings");
    while (std::getline(rows, row)) {
        std::vector<std::string> columns = pieces(row, "|");
        if (columns.size() < 3 || row.starts_with("# "))
            continue;
        for (std::string& column : columns)
            column = unescaped(column);
        if (columns[0].starts_with("== ")) {
            service = columns[0].substr(3), passwd = columns[1], groups = columns[2];
            continue;
        }
        Root root;
        root.write("/etc/passwd", passwd);
        root.write("/etc/group", groups);
        root.write("usbshareinfo", "");
        std::string shares;
        for (const std::string& share : pieces(columns[0], " & "))
            shares += share_line(share, service == "FTP");
        if (!columns[0].empty())
            root.write("shareinfo", shares);
        for (const std::string& change : pieces(columns[1], " & ")) {
            const size_t colon = change.find(": ");
            if (change.ends_with('\n'))
                root.write(change.substr(0, colon), change.substr(colon + 2));
            else if (!change.empty())
                root.change(change.substr(0, colon), change.substr(colon + 2));
        }
        std::vector<std::string> found = lines_of(lint(root).out);
        std::erase_if(found, [&](const std::string& line) {
            return service != "any" && !has(part(line, ": ", ": "), service);
        });
        const bool told = std::any_of(found.begin(), found.end(), [&](const std::string& line) {
            const std::vector<std::string> parts = pieces(columns[2], " & ");
            return std::all_of(parts.begin(), parts.end(),
                               [&](const std::string& words) { return has(line, words); });
        });
        EXPECT_EQ(told, !columns[2].empty()) << row << "\n" << testing::PrintToString(found);
        EXPECT_LE(found.size(), service == "FTP" && told ? 1 : found.size()) << row;
    }
    EXPECT_EQ(service, "any") << "not read to its end";
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
