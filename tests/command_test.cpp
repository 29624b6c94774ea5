// The command line, the address queries and the directory listing.
#include "tests/appliance.h"

#include <cstring>
#include <numeric>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

static const std::string usage =
    "usage\n"
    " tavrogen -b DIR       : output under DIR directories.\n"
    " tavrogen -i interface : output ip address .\n"
    " tavrogen -m interface : output mac address .\n"
    " tavrogen -c <samba|proftpd|atalk|syslog|iscsi|nfs> : make configration files.\n";
static const std::string help = "Morvista/Quarvane utility 1.10, Sep 15 2008\n" + usage;

TEST(Command, AnswersAndLeavesTheStatusOfItsLastAction) {
    Appliance appliance;
    appliance.eth0 = "02:00:5e:10:00:ab,192.0.2.10/24";
    const std::string nfs = appliance.run("-c nfs").out;
    appliance.obstruct("/etc/syslog.conf");
    const std::string syslog = appliance.run("-c syslog").out;
    const struct {
        std::string arguments;
        int status;
        std::string out, err = "";
    } rows[] = {
        {"", 255, usage},
        {"-v", 255, help},
        {"-k -d 2 -s -u -p x", 255, help + help + help + help},
        {"-x", 255, help, "tavrogen: invalid option -- 'x'\n"},
        {"-c", 255, help, "tavrogen: option requires an argument -- 'c'\n"},
        {"-c nfsx -c NFS", 255, "optarg:nfsx\noptarg:NFS\n"},
        {"-i eth0", 0, "192.0.2.10\n"},
        {"-m eth0", 0, "02:00:5E:10:00:AB\n"},
        {"-i lo", 255, "IPADDRS_lo=error\n"},
        {"-m eth9", 255, "MACADRS_eth9=error\n"},
        {"-m eth0:tail", 0, "02:00:5E:10:00:AB\n"},  // a label, as the kernel has it
        {"-m eth0:a-longer-tail", 255, "MACADRS_eth0:a-longer-tail=error\n"},
        {"-m eth0 -c foo -v -d 0", 0, "02:00:5E:10:00:AB\noptarg:foo\n" + help},
        {"-c syslog -c nfs", 0, syslog + nfs, "cannnot open /etc/syslog.conf\n"},
        {"-c nfs -c syslog", 255, nfs + syslog, "cannnot open /etc/syslog.conf\n"},
        {"-d -1 -c nfs", 0, "optarg:nfs\n"},
        {"-d 1x -d x -c nfs -d 1", 0, nfs},
    };
    for (const auto& row : rows) {
        const Outcome run = appliance.run(row.arguments);
        EXPECT_EQ(run.status, row.status) << row.arguments;
        EXPECT_EQ(run.out, row.out) << row.arguments;
        EXPECT_EQ(run.err, row.err) << row.arguments;
    }
}

TEST(Command, WritesWholeFilesWhenItsOutputIsClosed) {
    Appliance appliance;
    EXPECT_EQ(appliance.run("-c samba -c syslog -c nfs", false).status, 0);
    for (const std::string path : {"/etc/samba/smb.conf", "/etc/syslog.conf", "/etc/exports"})
        EXPECT_EQ(appliance.read(path), expected("off" + path));
}

// The lines of a listing, which come in the order of the directory, sorted.
static std::string sorted(const std::string& text) {
    std::istringstream stream(text);
    std::multiset<std::string> lines;
    for (std::string line; getline(stream, line);)
        lines.insert(line + "\n");
    return std::accumulate(lines.begin(), lines.end(), std::string());
}

TEST(Listing, ShowsTheFoldersUnderADirectoryAndThenTheDirectory) {
    Appliance appliance;
    const std::string longest(250 - strlen("/long/"), 'n');
    fs::create_directories(appliance.at("/long/" + longest + "/folder"));
    for (const std::string path : {"/mnt/a/b", "/mnt/a/c", "/mnt/a/lost+found", "/mnt/a/spool",
                                   "/mnt/a/spools", "/mnt/empty"})
        fs::create_directories(appliance.at(path));
    appliance.write("/mnt/a/file", "");
    fs::create_symlink("b", appliance.at("/mnt/a/link"));
    fs::create_symlink("nowhere", appliance.at("/mnt/a/broken"));
    const struct {
        std::string arguments;
        int status;
        std::string out, err = "";
    } rows[] = {
        {"-b /mnt/a", 0, "\t/mnt/a\n\t/mnt/a/b\n\t/mnt/a/c\n\t/mnt/a/link\n\t/mnt/a/spools\n"},
        {"-b /mnt/", 0, "\t/mnt/\n\t/mnt//a\n\t/mnt//empty\n"},
        {"-b /mnt/none", 255, "", "cannot open directory: /mnt/none\n"},
        // The working directory has changed when the second pass opens a relative path.
        {"-b mnt", 0, "\tmnt\n\tmnt/a\n\tmnt/empty\n",
         "cannot open 2nd directory: mnt/a\ncannot open 2nd directory: mnt/empty\n"},
        {"-b /mnt -b empty", 0, "\t/mnt\n\t/mnt/a\n\t/mnt/empty\n\tempty\n"},
        {"-d 1 -b /mnt", 0,
         "\t/mnt\n\t/mnt/a\n\t/mnt/empty\ndir_use in sub_du: found 2 directories.\n"
         "dir_use in sub_du: found a.\ndir_use in sub_du: found empty.\n"
         "dir_use in sub_du: seach /mnt.\n"},
        // A path of more than 254 bytes is left out.
        {"-b /long/" + longest, 0, "\t/long/" + longest + "\n"},
    };
    for (const auto& row : rows) {
        const Outcome run = appliance.run(row.arguments);
        EXPECT_EQ(run.status, row.status) << row.arguments;
        EXPECT_EQ(sorted(run.out), row.out) << row.arguments;
        EXPECT_EQ(sorted(run.err), row.err) << row.arguments;
    }
    const std::string root = appliance.run("-b /").out;
    EXPECT_TRUE(has(root, "\t/mnt\n") && root.ends_with("\t/\n")) << root;
}
