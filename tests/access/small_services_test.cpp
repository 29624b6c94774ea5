// The readers of the services that no peer in Debian can be asked about: AppleTalk and iSCSI; and
// what the lint says of values that it takes for odd there.
#include "tests/root.h"

namespace {

Outcome shell(const std::string& command) {
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    Outcome outcome;
    char piece[4096];
    while (const size_t got = fread(piece, 1, sizeof piece, pipe))
        outcome.out.append(piece, got);
    outcome.status = pclose(pipe);
    return outcome;
}

// The findings that are about a service.
std::string findings(const Root& root, const std::string& service) {
    const std::string all = shell(LINT " --root '" + root.at("/").string() + "'").out;
    std::string found;
    for (size_t at = 0; at < all.size(); at = all.find('\n', at) + 1) {
        const std::string line = all.substr(at, all.find('\n', at) + 1 - at);
        if (has(line.substr(0, line.find(": ", line.find(": ") + 2)), service))
            found += line;
    }
    return found;
}

constexpr char passwd[] =
    "alice:x:1001:500::/:/bin/sh\nbob:x:1002:600::/:/bin/sh\ncarol:x:1003:600::/:/bin/sh\n";
constexpr char groups[] = "staff:x:500:\nothers:x:600:carol\n";

}  // namespace

TEST(AppleVolumes, AreReadAsTheServerReadsThem) {
    const struct {
        std::string rule, volumes, rights;
    } rows[] = {
        {"no list", " a", "everyone rw, without an account rw"},
        {"read only", " a options:noadouble,RO", "everyone r, without an account r"},
        {"users and groups, the primary one too", " a allow:bob,@staff", "alice bob rw"},
        {"not by the last list of a kind only", " a allow:bob allow:alice", "alice rw"},
        {"who is listed to read", " a allow:@others,@staff rolist:carol", "alice bob rw, carol r"},
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
    for (const auto& row : rows) {
        Root root;
        root.write("/etc/passwd", passwd);
        root.write("/etc/group", groups);
        root.write("shareinfo", open_share("a"));
        root.write("/etc/atalk/AppleVolumes.default",
                   ":DEFAULT: options:usedots\n/mnt/array1/a" + row.volumes + "\n");
        root.write("/etc/atalk/afpd.conf", "- -uamlist uams_guest.so,uams_dhx.so\n");
        const std::string report = shell(ACCESS " --root '" + root.at("/").string() + "'").out;
        const std::string line = "    AppleTalk            ";
        EXPECT_EQ(part(report, line, "\n"), line + row.rights + "\n") << row.rule << "\n" << report;
    }
}

TEST(AppleVolumes, OddSharesAreNamed) {
    const struct {
        std::string shares, finding;  // of the last line
    } rows[] = {
        {Share{"a", "alice"}.line(), ""},
        {Share{"my files", "alice"}.line(),
         "alice may not read or write, the volume is /mnt/array1/my"},
        {Share{"$c", "alice"}.line(),
         "the volume is /mnt/array1/(varies): the name \"$c\" has a $"},
        {Share{"a-name-of-more-than-27-bytes", "alice"}.line(),
         "looks: a-name-of-more-than-27-bytes: its name is shown as \"a-name-of-more-than-27-byte\": "
         "the name \"a-name-of-more-than-27-bytes\" has more than 27 bytes"},
        {Share{"a", "alice"}.line() + Share{"A", "alice,bob"}.line(),
         "exposes: a: SMB: bob may write, alice may not read or write; A: AppleTalk: "
         "alice may not read or write: the name \"A\" is also that of /etc/korvel/shareinfo:1"},
        {Share{"a"}.line(),
         "anyone without an account may write, everyone may write: all four lists are empty"},
        {Share{"a", "alice,,"}.line() + Share{"b", ","}.line(), "exposes: b: "},
        {Share{"a", "alice", "staff\\"}.line() + Share{"b", "bob"}.line(),
         "exposes: b: bob may not read or write; a: bob may write, alice may not read or write: "
         "the groups who may write: "},
        {"a<>array1\n" + open_share("b"), ""},
        {"a<><><>all<>all<>all<>all<>0<>1\n",
         "shareinfo:1: AppleTalk: exposes: \"a\": the volume is /mnt//a: the line has no volume"},
    };
    for (const auto& row : rows) {
        Root root;
        root.write("/etc/passwd", passwd);
        root.write("/etc/group", groups);
        root.write("usbshareinfo", "");
        root.write("shareinfo", row.shares);
        const std::string found = findings(root, "AppleTalk");
        EXPECT_EQ(found.empty(), row.finding.empty()) << row.shares << found;
        EXPECT_TRUE(has(found, row.finding)) << row.shares << found;
    }
}

TEST(IscsiTargets, OddValuesAreNamed) {
    const std::string disk = "iscsi_device0_", name = "iscsi_IncomingUser_";
    const std::string refused = "breaks: target mail: the right password is refused: ";
    const struct {
        std::string file, change, finding;
    } rows[] = {
        {"iscsi_info", "iscsi_authtype=no", ""},
        {"iscsi_info", name + "name=the finder",
         "exposes: the search for targets: \"the\" may log in with the password \"finder\": "},
        {"iscsi_info", name + "password=", "anyone may log in without a password"},
        {"iscsi_disks1", disk + "IncomingUser_name= ",
         "exposes: target mail: anyone may log in without a password: "
         "the CHAP user has a blank"},
        {"iscsi_disks1", disk + "IncomingUser_password=two words",
         refused + "the CHAP password has a blank"},
        {"iscsi_disks1", disk + "IncomingUser_password=" + std::string(32, 'x'),
         refused + "the CHAP password is cut after 31 bytes"},
        {"iscsi_disks1", disk + "target=two words",
         "exposes: target two words: every initiator may use it, it is called iqn."},
        {"iscsi_disks1", disk + "target=two words;" + disk + "ip_restrict=off",
         "breaks: target two words: it is called iqn."},
        {"iscsi_disks1", disk + "target=tab\there",
         "exposes: target tab\there: every initiator may use it, it is called iqn."},
        {"iscsi_disks1", disk + "target=BUILD",
         "; target build: it is not served: the name is also that of another target"},
        {"iscsi_disks1", disk + "initiators.allow=10.0.0.0/8,[fd00::1]/64,fd00::2, ALL,x", ""},
        {"iscsi_disks1", disk + "initiators.allow=10.0.0.7 10.0.0.8",
         "breaks: target mail: 10.0.0.7 10.0.0.8 may not use it: "},
        {"iscsi_disks1", disk + "initiators.allow=10.0.0.7,host,10.0.0.8",
         "breaks: target mail: host, 10.0.0.8 may not use it: "},
        {"iscsi_disks1", disk + "initiators.allow=all", "all may not use it: "},
    };
    for (const auto& row : rows) {
        Root root;
        root.change(row.file, row.change);
        const std::string found = findings(root, "iSCSI");
        EXPECT_EQ(found.empty(), row.finding.empty()) << row.change << "\n" << found;
        EXPECT_TRUE(has(found, row.finding)) << row.change << "\n" << found;
    }
}
