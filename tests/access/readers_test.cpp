// Hand-written files of Samba and AppleTalk read back: each row for Samba as smbd was seen to serve it.
#include "tests/access/companions.h"

namespace {

// What the report says of a share when a service has that file.
void expect_rights(const std::string& rule, const std::string& rights, const std::string& file,
                   const std::string& text) {
    Root root;
    root.write("/etc/passwd",
               "alice:x:1001:500::/:/bin/sh\nbob:x:1002:100::/:/bin/sh\n"
               "carol:x:1003:100::/:/bin/sh\n");
    root.write("/etc/group", "staff:x:500:\nstudio:x:600:carol\nusers:x:100:\n");
    root.write("shareinfo", open_share("a"));
    root.write("/etc/atalk/afpd.conf", "- -uamlist uams_guest.so,uams_dhx.so\n");
    root.write(file, text);
    const std::string report = access(root).out;
    EXPECT_TRUE(has(report, "a  /mnt/array1/a\n    " + rights + "\n")) << rule << "\n" << report;
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
    for (const auto& row : rows)
        expect_rights(row.rule, "SMB                  " + row.rights, "/etc/samba/smb.conf",
                      "[global]\n" + row.text);
}

TEST(AppleVolumes, AreReadAsTheServerReadsThem) {
    const struct {
        std::string rule, volumes, rights;
    } rows[] = {
        {"no list", " a", "everyone rw, without an account rw"},
        {"read only", " a options:noadouble,RO", "everyone r, without an account r"},
        {"users and groups, the primary one too", " a allow:bob,@staff", "alice bob rw"},
        {"not by the last list of a kind only", " a allow:bob allow:alice", "alice rw"},
        {"who is listed to read", " a allow:@users,@staff rolist:carol", "alice bob rw, carol r"},
        {"who is not listed to write", " a allow:bob,carol rwlist:bob", "bob rw, carol r"},
        {"who is denied", " a allow:bob,carol deny:carol", "bob rw"},
        {"a list of no names", " a allow:,,", "everyone rw, without an account rw"},
        {"an option without a value", " a allow: deny:", "everyone rw, without an account rw"},
        {"a blank ends a list", " b allow:alice bob a", "alice rw"},
        {"quotes anywhere keep blanks", " a allow:x\",y z,\"bob", "bob rw"},
        {"an unclosed quote loses its word", " a allow:bob \"deny:bob", "bob rw"},
        {"a backslash joins lines", " a allow:bob\\\n,carol", "bob carol rw"},
        {"a return ends a line", " a allow:bob\r,carol", "bob rw"},
        {"a default", " a\n", "everyone rw, without an account rw"},
        {"a twin of another case", " a allow:bob\n/mnt/array1/b A allow:bob,carol", "bob rw"},
        {"a longer list than any word", " a allow:bob," + std::string(4100, 'x'),
         "everyone rw, without an account rw"},
        {"a variable", "$u a", "not served"},
        {"comments", "\n#/mnt/array1/a a", "everyone rw, without an account rw"},
    };
    for (const auto& row : rows)
        expect_rights(row.rule, "AppleTalk            " + row.rights,
                      "/etc/atalk/AppleVolumes.default",
                      ":DEFAULT: options:usedots\n/mnt/array1/a" + row.volumes + "\n");
}
