// smb.conf read back: hand-written files by Samba's own rules, each row as smbd was seen to serve
// it, and what the lint says of settings that Samba misreads.
#include "tests/root.h"

namespace {

// The findings about SMB alone, without the folder of their files.
std::string smb_findings(const Root& appliance) {
    const std::string all = output_of(LINT " --root '" + appliance.at("/").string() + "'");
    std::string found;
    for (size_t at = 0; at < all.size(); at = all.find('\n', at) + 1) {
        const std::string line = all.substr(at, all.find('\n', at) + 1 - at);
        if (has(part(line, ": ", ": "), "SMB"))
            found += line.substr(sizeof "/etc/korvel/" - 1);
    }
    return found;
}

Root& with_people(Root& appliance) {
    appliance.write("/etc/passwd",
                    "alice:x:1001:500::/:/bin/sh\nbob:x:1002:100::/:/bin/sh\n"
                    "carol:x:1003:100::/:/bin/sh\n");
    appliance.write("/etc/group",
                    "staff:x:500:\nstudio:x:600:carol\nusers:x:100:\n"
                    "domain users:x:700:bob\n");
    return appliance;
}

std::string share_of(const std::string& user, const std::string& name,
                     const std::string& comment = "") {
    std::string line = Share{name, user}.line();
    const size_t volume = line.find("<>") + 2;
    const size_t at = line.find("<>", volume) + 2;
    return line.replace(at, line.find("<>", at) - at, comment);
}

}  // namespace

TEST(SmbConf, IsReadAsSambaReadsIt) {
    const std::string rest = "guest ok = no\nwritable = yes\n", none = "not served";
    const std::string a = "[a]\npath = /mnt/array1/a\n" + rest;
    const struct {
        std::string rule, text, rights;
    } rows[] = {
        {"no list", a, "everyone rw"},
        {"guests", a + "Guest OK = Yes\n", "everyone rw, without an account rw"},
        {"a list of none", a + "valid users =\n", "everyone rw"},
        {"a list of a comma", a + "valid users = ,\n", "nobody"},
        {"names without case", a + "VALIDUSERS = ALICE\n", "alice rw"},
        {"separators", a + "valid users = alice;bob\tcarol\n", "everyone rw"},
        {"quotes keep blanks", a + "valid users = \"alice bob\",carol\n", "carol rw"},
        {"a group by its name alone is nobody", a + "valid users = staff\n", "nobody"},
        {"groups", a + "valid users = @staff +studio\n", "alice carol rw"},
        {"groups of NIS", a + "valid users = &staff\n", "nobody"},
        {"groups with case", a + "valid users = @STAFF\n", "nobody"},
        {"the group of all accounts", a + "valid users = @None\n", "everyone rw"},
        {"a variable", a + "valid users = %U\n", "everyone rw"},
        {"the primary group", a + "valid users = @%G\n", "everyone rw"},
        {"an identifier", a + "valid users = s-1-1-0\n", "everyone rw"},
        {"a group has no identifier", a + "valid users = @S-1-1-0\n", "nobody"},
        {"only + is no separator of domains", a + "valid users = NAS+alice\n", "nobody"},
        {"a domain",
         "netbios name = NAS\nwinbind separator = +\n" + a + "valid users = nas+alice\n",
         "alice rw"},
        {"who may read", a + "read list = @users\n", "alice rw, bob carol r"},
        {"who is denied", a + "invalid users = alice, mail\n", "bob carol rw"},
        {"guests are nobody", a + "guest ok = yes\nvalid users = nobody\n",
         "without an account rw"},
        {"[global] counts for later sections", "[Glo bal]\nvalid users = bob\n" + a, "bob rw"},
        {"and not for those before", a + "[globals]\nvalid users = bob\n", "everyone rw"},
        {"sections of one name", "[a]\npath = /x\n[A]\nread list = bob\n" + a,
         "alice carol rw, bob r"},
        {"a section that had no path when it ended", "[a]\n" + a, none},
        {"letters beyond ASCII", "[\u01c5]\nvalid users = bob\n[\u0416]\npath = /x\n[\u0436]\n" + a,
         "everyone rw"},
        {"a line goes on", a + "valid users = alice, \\ \n  bob\n", "alice bob rw"},
        {"over a blank line", a + "valid users = alice\\\\\n\n,bob\n", "alice bob rw"},
        {"a comment does not", a + "# \\\nvalid users = alice\n", "alice rw"},
        {"behind a header", "[a] \\\nguest ok = yes\npath = /mnt/array1/a\n" + rest, "everyone rw"},
        {"a line without a value", a + "valid users\n", "everyone rw"},
        {"blanks in a path", "[a]\npath = /mnt/array1/x  y\n", none},
        {"parts of a path", "[a]\npath = \"/mnt//array1/x/.././a\"\n", "everyone r"},
        {"marks for a path", "[a]\npath = \"\"\n", none},
        {"variables of a path", "[a]\npath = /mnt/array1/%S\n", none},
        {"a folder for each", "[a]\npath = /mnt/array1/%u\n", none},
        {"printers", "[Printers]\npath = /mnt/array1/a\n", none},
        {"the server's own", "[ipc$]\npath = /mnt/array1/a\n", none},
    };
    for (const auto& row : rows) {
        Root appliance;
        with_people(appliance).write("shareinfo", share_of("alice", "a"));
        appliance.write("/etc/samba/smb.conf", "[global]\n" + row.text);
        const std::string report = output_of(ACCESS " --root '" + appliance.at("/").string() + "'");
        const std::string told = "a  /mnt/array1/a\n    SMB                  " + row.rights + "\n";
        EXPECT_TRUE(has(report, told)) << row.rule << "\n" << report;
    }
}

TEST(SmbLint, NamesWhatSambaMisreads) {
    const std::string a = share_of("alice", "a"), bob = share_of("bob", "b"), none = "";
    const std::string open = open_share("open"), stops = "Samba does not start";
    const struct {
        std::string shares, file, change;
        std::string place, who, cause;  // of the one finding
    } rows[] = {
        {a + bob + open + Share{"c/d", "alice, bob", "staff,"}.line(), none, none, none, none,
         none},
        {share_of("alice", "100%", "it's 5%, \"x\" too") + share_of("bob", "\u0421") +
             share_of("bob", "\u04c0") + share_of("bob", "\u04cf"),
         none, none, none, none, none},
        // Lists.
        {Share{"a", ""}.line(), none, none, "shareinfo:1: SMB, AppleTalk: exposes: a: SMB",
         "everyone may write", "all four lists are empty"},
        {Share{"a", "alice,bob", "", "%U"}.line(), none, none,
         "shareinfo:1: SMB: ", "carol may read, alice, bob may not write", "\"%U\" has a %"},
        {Share{"a", "", "domain users"}.line(), none, none, "shareinfo:1: SMB",
         "bob may not read or write", "\"domain users\" has a blank"},
        // Names.
        {share_of("alice", "x\\y"), none, none,
         "shareinfo:1: SMB, FTP: exposes: x\\y: ", "SMB: alice may not read or write", "has a \\"},
        {a + share_of("bob", "A"), none, none, "shareinfo:2: SMB: exposes: a: ", "bob may write",
         "the name \"A\" is also that of /etc/korvel/shareinfo:1"},
        {share_of("alice", "glo bal") + open_share("x") + bob, none, none, "shareinfo:1: SMB",
         "bob", "a meaning of its own for the name \"glo bal\""},
        {share_of("alice", "IPC$"), none, none, "shareinfo:1: SMB: breaks: IPC$: ",
         "only alice can list the shares", "a meaning of its own"},
        {share_of("alice", "printers"), none, none,
         "shareinfo:1: SMB: breaks: printers: ", "alice may not", "a meaning of its own"},
        {share_of("alice", "homes"), none, none,
         "shareinfo:1: SMB: looks: homes: ", "everyone's own share", "a meaning of its own"},
        {share_of("alice", "two  blanks"), none, none, "shareinfo:1: SMB", "two  blanks",
         "has a blank"},
        {share_of("alice", "..") + bob, none, none, "shareinfo:1: SMB", "alice gets into b", ""},
        {share_of("alice", "\xff"), none, none, "shareinfo:1: SMB", "no client can list the shares",
         "no UTF-8"},
        // Comments.
        {share_of("alice", "a", "a\\"), none, none, "shareinfo:1: SMB: breaks: a: ",
         "alice may not read or write", "the comment: it ends in a backslash"},
        {share_of("alice", "a", "for %U"), none, none,
         "shareinfo:1: SMB: looks: a: ", "clients read", "a variable of Samba's"},
        {share_of("alice", "a", std::string(98, 'x') + "\u00e9"), none, none,
         "shareinfo:1: SMB: breaks: a: ", "no client can list the shares", "99 bytes"},
        // All else.
        {share_of("alice", "") + open, none, none, "shareinfo:1: SMB", stops, "the name is empty"},
        {a, "offlinefile", "a<>on<>none<>", "offlinefile:1: SMB: stops: a: ", stops,
         "no offline policy \"none\""},
        {a, "info", "string=\"", "info:", "the server's description", "a quotation mark"},
        {a, "msdfs", "msdfs_function=on\nmsdfs_root_name=\n", "msdfs:2: SMB: stops: ", stops,
         "the name is empty"},
        {a, "msdfs", "msdfs_function=on\nmsdfs_root_name=dfs\nmsdfs_root_path=/mnt/array1\n",
         "msdfs:3: SMB, FTP: exposes: dfs: ", "anyone without an account gets into a",
         "the root of DFS is the folder"},
        {a, "msdfs",
         "msdfs_function=on\nmsdfs_root_as_link=on\nmsdfs_root_name=d\nmsdfs_link1_name=l\n",
         "msdfs:3: SMB: breaks: d: ", "everyone may not read", "neither a folder nor a target"},
        {a, "msdfs",
         "msdfs_function=on\nmsdfs_root_as_link=on\nmsdfs_root_name=d\nmsdfs_link1_name=l\n"
         "msdfs_link1_unc1=\\\\x\\y\\\n",
         "msdfs:5: SMB: breaks: ", "info: everyone may not", "ends in a backslash"},
    };
    for (const auto& row : rows) {
        Root appliance;
        with_people(appliance).write("shareinfo", row.shares);
        if (row.file == "info")
            appliance.change("info", row.change);
        else if (!row.file.empty())
            appliance.write(row.file, row.change);
        const std::string found = smb_findings(appliance);
        EXPECT_TRUE(has(found, row.place) && has(found, row.who) && has(found, row.cause) &&
                    (!row.place.empty() || found.empty()))
            << row.place << "\n"
            << row.who << "\n"
            << row.cause << "\n"
            << found;
    }
}
