// tavrogen-lint on what the FTP server misreads: who is hit, and the setting that is to blame.
#include "tests/root.h"

#include <algorithm>
#include <stdio.h>

namespace {

// The findings about FTP, without the folder of their files.
std::string ftp_findings(const Root& root) {
    FILE* pipe = popen((LINT " --root '" + root.at("/").string() + "'").c_str(), "r");
    std::string all;
    char piece[4096];
    while (const size_t got = fread(piece, 1, sizeof piece, pipe))
        all.append(piece, got);
    pclose(pipe);
    std::string found;
    for (size_t at = 0; at < all.size(); at = all.find('\n', at) + 1) {
        const std::string line = all.substr(at, all.find('\n', at) + 1 - at);
        if (has(part(line, ": ", ": "), "FTP"))
            found += line.substr(sizeof "/etc/korvel/" - 1);
    }
    return found;
}

// A share that one user may write.
std::string share_of(const std::string& user, const std::string& name,
                     const std::string& volume = "array1") {
    Share share = {name, user};
    share.volume = volume;
    return share.line();
}

}  // namespace

TEST(FtpLint, NamesWhatTheServerMisreads) {
    const std::string open = open_share("open"), carol = "shareinfo:2: FTP: exposes: ";
    const std::string all_read = "anyone without an account may read, admin, bob, carol, dave";
    const std::string alice = share_of("alice", "a"), none = "";
    const std::string stops = "the FTP server does not start for anybody", own = "rules of its own";
    const struct {
        std::string shares, file, change;
        std::string place, who, cause;  // of the one finding
    } rows[] = {
        {alice + Share{"b", "alice, bob", "staff", "carol"}.line() + open, none, none, none, none,
         none},
        {share_of("ALICE,\",@", "a"), none, none, none, none, none},
        // Lists.
        {Share{"a", "carol", "", "!bob"}.line(), none, none, "shareinfo:1: FTP: exposes: a: ",
         "admin, alice, dave may read, carol may not write", "\"!bob\" has a !"},
        {share_of(",", "a"), none, none,
         "shareinfo:1: FTP: exposes: a: ", "bob, carol, dave may write", "\",\" names nobody"},
        {share_of("alice bob", "a"), none, none,
         "shareinfo:1: FTP: exposes: a: ", "alice, bob may write", "has a blank"},
        {Share{"a", "a", "", "regex"}.line(), none, none, "shareinfo:1: FTP: exposes: a: ",
         "admin, alice, carol, dave may read", "\"regex\" is a word of the server's own"},
        {Share{"a", "", "finance,staff"}.line(), none, none, "shareinfo:1: FTP: breaks: a: ",
         "dave may not read or write", "staff is the primary group of dave"},
        {Share{"a", "dave", "", "", "staff,finance"}.line(), none, none,
         "shareinfo:1: FTP: exposes: a: ", "dave may write", "staff is the primary group of dave"},
        {Share{"a", "", "staff,finance"}.line(), "info", "domain=ad",
         "shareinfo:1: FTP: breaks: a: ", "bob, dave may not read or write",
         "only members of all the groups of a line"},
        {Share{"a", "bob", "", "", "staff,finance"}.line(), "info", "domain=ad",
         "shareinfo:1: FTP: exposes: a: ", "bob may write, dave may not read",
         "only members of all the groups of a line"},
        {alice + share_of(" ", "b"), none, none, "shareinfo:2: FTP: stops: b: ", stops,
         "\" \" names nobody"},
        {alice + Share{"b", "", "@"}.line(), none, none, "shareinfo:2: FTP: stops: b: ", stops,
         "names nobody"},
        {alice + share_of("#alice", "b"), none, none, "shareinfo:2: FTP: stops: b: ", stops,
         "has a #"},
        {alice + share_of("alice\\", "b"), none, none, "shareinfo:2: FTP: stops: b: ", stops,
         "has a \\"},
        {alice + Share{"b", "", "crew"}.line(), none, none, "shareinfo:2: FTP: stops: b: ", stops,
         "make a line of over 4096 bytes"},
        // Paths.
        {open + share_of("alice", "a b"), none, none, carol + "a b: ", all_read, "has a blank"},
        {open + share_of("alice", "a\\b"), none, none, carol + "a\\b: ", all_read, "has a \\"},
        {open + share_of("alice", "[x"), none, none, carol + "[x: ", all_read, "has a ["},
        {open + share_of("alice", "%{env:HOME}"), none, none, carol, all_read, "has a %"},
        {open + share_of("alice", "%u"), none, none,
         carol + "%u: ", "admin, bob, carol, dave may read", "has a %"},
        {open + share_of("alice", "."), none, none, carol, all_read, "is not that of one folder"},
        {open + share_of("alice", "a", "array1/"), none, none, carol, all_read,
         "the volume \"array1/\" is not that of one folder"},
        {open_share("s*") + share_of("alice", "sx"), none, none, "shareinfo:1: FTP: exposes: sx: ",
         "anyone without an account may write", "the name \"s*\" has a *"},
        {share_of("alice", "") + open, none, none,
         "shareinfo:1: FTP: breaks: open: ", "carol, dave may not read", "the name is empty"},
        {open_share("a", 0, 1, "array2"), none, none,
         "shareinfo:1: FTP: breaks: a: ", "may not read: ", "the volume array2 is off"},
        {open + share_of("bob", "spool"), none, none, "shareinfo:2: FTP: stops: spool: ", stops,
         own},
        {open + open, none, none, "shareinfo:2: FTP: stops: open: ", stops,
         "its folder is also that of /etc/korvel/shareinfo:1"},
        {open + share_of("bob", "a", "array1 "), none, none, "shareinfo:2: FTP: stops: a: ", stops,
         "the volume \"array1 \" has a blank"},
        {open + "\n" + alice, none, none, "shareinfo:2: FTP: stops: line 2: ", stops,
         "blank or short"},
        {open + "x<>array1\n", none, none, "shareinfo:2: FTP: stops: x: ", stops, "blank or short"},
        {open, "usbshareinfo", open_share("stick", 0, 1, "array1"),
         "usbshareinfo:1: FTP: stops: ", stops, "the volume \"array1\" is not that of a USB disk"},
        {open, "msdfs", "msdfs_root_path=/mnt/info", "msdfs:8: FTP: stops: the DFS root: ", stops,
         own},
        {open, "msdfs", "msdfs_root_path=/mnt/array1/spool",
         "msdfs:8: FTP: stops: the DFS root: ", stops, own},
        // What the settings do not say.
        {open + alice, "info", "anonyftp=off", "info:24: FTP: exposes: open: ",
         "anyone without an account may use it over FTP", "the switch anonyftp"},
        {open + alice, "/mnt/array1/private/file", "\n",
         "shareinfo: FTP: exposes: /mnt/array1/private: ",
         "everyone may read, also without an account", "the folder is no share"},
    };
    for (const auto& row : rows) {
        Root root;
        std::string crew = "crew:x:502:worker";
        for (int number = 100; number < 700; ++number)
            crew += ",worker" + std::to_string(number);
        root.write("/etc/group",
                   "hdusers:x:100:admin,guest,alice\nstaff:x:500:alice,bob\n"
                   "finance:x:501:alice\n" +
                       crew + "\n");
        std::string passwd = "dave:x:1000:500::/:/bin/sh\n";
        for (const std::string name : {"admin", "guest", "alice", "bob", "carol"})
            passwd += name + ":x:1000:101::/:/bin/sh\n";
        root.write("/etc/passwd", passwd);
        root.write("usbshareinfo", "");
        const std::string by_all = "<>1<>1<>1<>", by_ftp_alone = "<>0<>0<>1<>";
        std::string shares = row.shares;
        for (size_t at = 0; (at = shares.find(by_all, at)) != std::string::npos;)
            shares.replace(at, by_all.size(), by_ftp_alone);
        root.write("shareinfo", shares);
        if (row.change.ends_with('\n'))
            root.write(row.file, row.change);
        else if (!row.change.empty())
            root.change(row.file, row.change);
        const std::string found = ftp_findings(root);
        const std::string what = row.shares + row.change + "\n" + found;
        EXPECT_TRUE(found.starts_with(row.place)) << what;
        EXPECT_TRUE(has(found, row.who)) << what;
        EXPECT_TRUE(has(found, row.cause)) << what;
        EXPECT_EQ(std::count(found.begin(), found.end(), '\n'), row.place.empty() ? 0 : 1) << what;
    }
}
