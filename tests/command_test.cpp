// The command line, the address queries and the directory listing.
#include "tests/root.h"

#include <algorithm>
#include <cstring>

namespace fs = std::filesystem;
using std::string;

// A run and all that is to be seen of it.
struct Run {
    string behaviour, arguments;
    int status;
    string out, err = "";
};

// `arrange` stands for an order of lines that the program does not decide.
static void expect_runs(Root& root, const std::vector<Run>& runs,
                        string (*arrange)(const string&)) {
    const auto shown = [&](int status, const string& out, const string& err) {
        return "status " + std::to_string(status) + "\nstandard output:\n" + arrange(out) +
               "standard error:\n" + arrange(err);
    };
    for (const auto& run : runs) {
        const Outcome seen = root.run(run.arguments);
        expect_same(run.behaviour, "tavrogen " + run.arguments + "\n", "streams and status",
                    shown(run.status, run.out, run.err), shown(seen.status, seen.out, seen.err));
    }
}

static const string usage =
    "usage\n"
    " tavrogen -b DIR       : output under DIR directories.\n"
    " tavrogen -i interface : output ip address .\n"
    " tavrogen -m interface : output mac address .\n"
    " tavrogen -c <samba|proftpd|atalk|syslog|iscsi|nfs> : make configration files.\n";
static const string help = "Morvista/Quarvane utility 1.10, Sep 15 2008\n" + usage;

TEST(Command, AnswersAndLeavesTheStatusOfItsLastAction) {
    Root root;
    root.eth0 = "02:00:5e:10:00:0b,192.0.2.10/24";
    const string nfs = root.run("-c nfs").out;
    root.obstruct("/etc/syslog.conf");
    const string syslog = root.run("-c syslog").out;
    const string unopened = "cannnot open /etc/syslog.conf\n";
    const string fifteen = "-m eth0:0123456789", sixteen = fifteen + "a";
    expect_runs(
        root,
        {
            {"no argument", "", 255, usage},
            {"a reserved option", "-v", 255, help},
            {"each reserved option", "-k -d 2 -s -u -p x", 255, help + help + help + help},
            {"an unknown option", "-x", 255, help, "tavrogen: invalid option -- 'x'\n"},
            {"a missing argument", "-c", 255, help,
             "tavrogen: option requires an argument -- 'c'\n"},
            {"unknown services", "-c nfsx -c NFS -c nf -c ''", 255,
             "optarg:nfsx\noptarg:NFS\noptarg:nf\noptarg:\n"},
            {"the end of the options", "-- -c nfs", 255, ""},
            {"an address", "-i eth0", 0, "192.0.2.10\n"},
            {"a hardware address, with its zeros", "-m eth0", 0, "02:00:5E:10:00:0B\n"},
            {"the loopback interface has neither here", "-i lo", 255, "IPADDRS_lo=error\n"},
            {"a missing interface", "-m eth9 -i ''", 255, "MACADRS_eth9=error\nIPADDRS_=error\n"},
            {"a label, as the kernel has it", "-m eth0:tail", 0, "02:00:5E:10:00:0B\n"},
            {"a name of 15 bytes", fifteen, 0, "02:00:5E:10:00:0B\n"},
            {"a name of 16 bytes is too long", sixteen, 255, "MACADRS_eth0:0123456789a=error\n"},
            {"what runs no action leaves the status", "-m eth0 -c foo -v -d 0", 0,
             "02:00:5E:10:00:0B\noptarg:foo\n" + help},
            {"a later success", "-c syslog -c nfs", 0, syslog + nfs, unopened},
            {"a later failure", "-c nfs -c syslog", 255, nfs + syslog, unopened},
            {"below level 0, nothing is said of files", "-d -1 -c nfs", 0, "optarg:nfs\n"},
            {"levels are decimal", "-d 0x2 -c nfs -d 1", 0, nfs},
            {"levels: letters after a number", "-d ' -1x' -c nfs", 0, "optarg:nfs\n"},
            {"levels: as the 32-bit appliance reads them", "-d -4294967296 -c nfs", 0,
             "optarg:nfs\n"},
        },
        [](const string& text) { return text; });
}

TEST(Listing, ShowsTheFoldersUnderADirectoryAndThenTheDirectory) {
    Root root;
    const string name(200, 'n');  // for paths of 254 and 255 bytes
    const string fits = "/long/" + name + "/" + string(47, 'f');
    for (const string& path :
         {fits, fits + "f", string("/mnt/a/b"), string("/mnt/a/c/d"), string("/mnt/a/lost+found"),
          string("/mnt/a/spool"), string("/mnt/a/spools"), string("/mnt/a/.hidden"),
          string("/mnt/empty")})
        fs::create_directories(root.at(path));
    root.write("/mnt/a/file", "");
    fs::create_symlink("b", root.at("/mnt/a/link"));
    fs::create_symlink("nowhere", root.at("/mnt/a/broken"));
    const string trace = "dir_use in sub_du: ";
    expect_runs(
        root,
        {
            {"folders and links to folders, but not the system's own", "-b /mnt/a", 0,
             "\t/mnt/a/.hidden\n\t/mnt/a/b\n\t/mnt/a/c\n\t/mnt/a/link\n\t/mnt/a/spools\n\t/mnt/a\n"},
            {"a slash at the end stays", "-b /mnt/", 0, "\t/mnt//a\n\t/mnt//empty\n\t/mnt/\n"},
            {"a missing directory", "-d 1 -b /mnt/none", 255, trace + "seach /mnt/none.\n",
             "cannot open directory: /mnt/none\n"},
            {"a file", "-b /mnt/a/file", 255, "", "cannot open directory: /mnt/a/file\n"},
            {"an empty directory, traced", "-d 1 -b /mnt/empty", 0,
             trace + "seach /mnt/empty.\n" + trace + "found 0 directories.\n\t/mnt/empty\n"},
            {"the second pass opens a relative path inside the directory", "-b mnt", 0,
             "\tmnt/a\n\tmnt/empty\n\tmnt\n",
             "cannot open 2nd directory: mnt/a\ncannot open 2nd directory: mnt/empty\n"},
            {"the directory stays the current one", "-b /mnt -b empty", 0,
             "\t/mnt/a\n\t/mnt/empty\n\t/mnt\n\tempty\n"},
            {"traces", "-d 1 -b /mnt", 0,
             trace + "seach /mnt.\n" + trace + "found a.\n" + trace + "found empty.\n" + trace +
                 "found 2 directories.\n\t/mnt/a\n\t/mnt/empty\n\t/mnt\n"},
            {"a path of 255 bytes is left out", "-b /long/" + name, 0,
             "\t" + fits + "\n\t/long/" + name + "\n"},
        },
        [](const string& text) {  // folders come in the order of the directory
            auto lines = lines_of(text);
            std::sort(lines.begin(), lines.end());
            string sorted;
            for (const string& line : lines)
                sorted += line;
            const bool ends = text.starts_with('\t') || text.starts_with("dir");
            return sorted + (ends ? "ends in " + lines_of(text).back() : "");
        });
    const string all = root.run("-b /").out;
    EXPECT_TRUE(has(all, "\t/mnt\n") && all.ends_with("\t/\n")) << all;
}
