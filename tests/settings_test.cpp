// How each key and each field of a list is read, one changed at a time.
#include "tests/root.h"

using std::string;
using namespace std::string_literals;

static const string every = "-c proftpd -c atalk -c nfs -d 1 -c samba -c iscsi -d 0 -c syslog";
static const char* const keyed_files[] = {"info",     "diskinfo",   "msdfs",
                                          "nfs_info", "iscsi_info", "iscsi_disks1"};

static string joined(const std::vector<string>& fields) {
    string line;
    for (const string& field : fields)
        line += (&field == &fields[0] ? "" : "<>") + field;
    return line;
}

TEST(Settings, HaveADefaultWhereTheirKeyIsMissing) {
    std::vector<Case> cases;
    Root root;
    for (const string name : keyed_files)
        for (const string& line : lines_of(root.read(name))) {
            const string key = line.substr(0, line.find('='));
            cases.push_back({"without " + name + " " + key, {keys(name, key)}});
        }
    expect_effects("missing-keys", {"small"}, every, cases);
}

TEST(Settings, AreComparedWhole) {
    std::vector<Case> cases;
    Root root;
    for (const string name : keyed_files)
        for (const string& line : lines_of(root.read(name))) {
            const string value = line.substr(0, line.size() - 1) + "1";
            cases.push_back({name + " " + value, {keys(name, value)}});
        }
    expect_effects("other-values", {"small"}, every, cases);
}

TEST(Settings, AreWhatTheirWordsSay) {
    std::vector<Case> cases;
    const auto add = [&](const string& name, const string& settings) {
        cases.push_back({name + " " + settings, {keys(name, settings)}});
    };
    for (const string settings : {"domain=On",
                                  "domain=Share",
                                  "domain=Server",
                                  "domain=serve",
                                  "domain=",
                                  "local_auth=ON",
                                  "local_auth=ad;domain",
                                  "anonyftp_mode=write",
                                  "anonyftp_mode=read/write",
                                  "anonyftp_mode=",
                                  "codepage=write;anonyftp_mode",
                                  "mtu=0",
                                  "mtu=4096",
                                  "mtu=-256",
                                  "mtu= 1",
                                  "mtu=x",
                                  "mtu=0x10",
                                  "wins=",
                                  "string=\x80\xff=#x ",
                                  "info_visible=off",
                                  "info_visible=On",
                                  "wg="})
        add("info", settings);
    for (const string settings : {"auth_test=off", "auth_user_auto_add=off", "auth_test",
                                  "auth_user_auto_add", "auth_test_folder=", "auth_server="})
        add("info", "domain=server;" + settings);
    for (const string settings :
         {"array1=jbod",      "array1=raid0",   "array1=raid5",       "array1=raid10",
          "array1=RAID1",     "array2=raid1",   "array2=jbod",        "disk1=array2",
          "disk1=normal",     "disk2=array2",   "disk4=array2",       "disk3=array1",
          "disk1=x",          "disk3=Normal",   "disk1=normal;disk2", "disk2=array2;disk3;disk4",
          "usb_disk1=normal", "usb_disk2=ext3", "usb_disk1",          "usb_disk1=ext3;usb_disk2"})
        add("diskinfo", settings);
    for (const string settings :
         {"msdfs_function=off", "msdfs_function=On", "msdfs_root_as_link=on",
          "msdfs_root_as_link=on;msdfs_link1_unc1", "msdfs_root_as_link=on;msdfs_link1_name",
          "msdfs_root_as_link=on;msdfs_link1_name=", "msdfs_root_path=/mntx/share",
          "msdfs_root_path=/mn", "msdfs_root_path=/srv/mnt", "msdfs_link2_name=south",
          "msdfs_link4_name=west"})
        add("msdfs", settings);
    for (const string settings :
         {"iscsi_authtype=no", "iscsi_authtype=", "iscsi_authtype=chap", "iscsi_authtype=simplex",
          "iscsi_IncomingUser_password=", "iscsi_OutgoingUser_name=",
          "iscsi_authtype=simplex;iscsi_IncomingUser_name="})
        add("iscsi_info", settings);
    expect_effects("words", {"small"}, every, cases);
}

TEST(Settings, AreReadFieldByFieldFromLists) {
    std::vector<Case> cases;
    Root root;
    for (const string name :
         {"shareinfo", "usbshareinfo", "offlinefile", "shareinfo.hidden", "shareinfo.vfs"}) {
        const auto lines = lines_of(root.read(name));
        for (size_t number = 0; number < 2; ++number) {
            std::vector<string> fields;
            for (size_t at = 0, end = 0; end != string::npos; at = end + 2) {
                end = lines[number].find("<>", at);
                fields.push_back(lines[number].substr(at, end - at));
            }
            const auto add = [&](size_t field, const string& value) {
                auto changed = fields;
                changed[field] = value;
                auto other = lines;
                other[number] = joined(changed);
                string text;
                for (const string& line : other)
                    text += line;
                cases.push_back({name + ":" + std::to_string(number + 1) + " field " +
                                     std::to_string(field + 1) + " is \"" + value + "\"",
                                 {file(name, text)}});
            };
            for (size_t field = 0; field + 1 < fields.size(); ++field) {
                add(field, fields[field].empty() ? "more" : "");
                add(field, fields[field] == "1" ? "256" : fields[field] + "1");
            }
        }
    }
    expect_effects("fields", {"small"}, every, cases);
}

// The settings file is read piece by piece, wherever the pieces end.
TEST(Settings, AreFoundInAFileOfAnyLength) {
    Root base;
    const string info = base.read("info");
    base.run(every);
    const string smb_conf = base.read("/etc/samba/smb.conf");
    const size_t domain = info.find("domain=");
    for (const size_t piece : {4096, 65536, 131072})
        for (const size_t early : {0, 1, 3, 6, 7, 8, 10}) {
            Root root;
            root.write("info", "#" + string(piece - domain - early - 2, '=') + "\n" + info);
            root.run(every);
            expect_same("a setting may lie across the end of a piece of a large file",
                        "byte " + std::to_string(piece) + " is " + std::to_string(early) +
                            " bytes into domain=off\n",
                        "/etc/samba/smb.conf", smb_conf, root.read("/etc/samba/smb.conf"));
        }
}

TEST(Settings, AreTakenFromTheFirstLineOfTheirKey) {
    expect_effects(
        "keyed-lines", {"small"}, every,
        {
            {"the first of two lines",
             {file("nfs_info",
                   "nfs_networkaddress=1\nnfs_subnetmask=2\n"
                   "nfs_networkaddress=3\n")}},
            {"a comment and an empty line are no settings",
             {file("nfs_info", "#nfs_networkaddress=1\n\n\nnfs_networkaddress=2\n")}},
            {"nor is a longer key, a shorter one, one with a blank, or one without a value",
             {file("nfs_info",
                   "nfs_networkaddress2=1\nnfs_networkaddres=2\nnfs_networkaddress =3\n"
                   " nfs_networkaddress=4\nnfs_networkaddress\n")}},
            {"a value may hold everything but a newline",
             {file("nfs_info", "nfs_networkaddress==a b=#\t\"\x80\r\nnfs_subnetmask= 2 \n")}},
            {"the last line needs no newline",
             {file("nfs_info", "nfs_networkaddress=1\nnfs_subnetmask=2")}},
            {"an empty value", {file("nfs_info", "nfs_networkaddress=\nnfs_subnetmask=")}},
            {"a NUL byte ends a value",
             {file("nfs_info", "\0\nnfs_networkaddress=1\0002\nnfs_subnetmask=3\n"s)}},
            {"keys are told apart by case", {file("nfs_info", "NFS_networkaddress=1\n")}},
        });
}

TEST(Settings, AreReadFromLinesOfAnyKind) {
    const string open = "<>all<>all<>all<>all<>1<>1<>1<>0<><>0<>0<>0<>0\n";
    const string longest(39999, 'x');
    const string brackets(39999, '<');
    expect_effects(
        "list-lines", {"small", "bare"}, every,
        {
            {"a blank line is a record", {file("shareinfo", "\n" + open_share("pub") + "\n")}},
            {"a line may be short", {file("shareinfo", "pub<>array1\n" + open_share("docs"))}},
            {"the last line needs no newline", {file("shareinfo", open_share("a") + "b<>v<>c")}},
            {"a lone < or > ends a field and takes the next byte with it",
             {file("shareinfo", "a<b<>c>>d<" + open + "e>x<>y>" + open)}},
            {"a NUL byte ends a line; the next one starts afresh",
             {file("shareinfo", "a\0<>v"s + open + "b<>v\n" + open_share("c"))}},
            {"nothing of a line is left after the NUL of the next",
             {file("shareinfo", open_share("abc") + "x\0y\nd<>w\n"s)}},
            {"bytes beyond ASCII", {file("shareinfo", open_share("\xff\x80\xe9"))}},
            {"a carriage return belongs to the last field",
             {file("shareinfo", open_share("a") + "b<>v\r\n")}},
            {"a line of 39,999 bytes", {file("shareinfo", longest + open_share("a"))}},
            {"a line of 39,999 brackets", {file("shareinfo", brackets + open_share("a"))}},
            {"a line of 39,998 bytes and its newline",
             {file("shareinfo", longest.substr(1) + "\n" + open_share("a"))}},
            {"a longer line goes on in the next record",
             {file("shareinfo", longest + open_share("a") + brackets + open_share("b"))}},
            {"a user list of 20,000 bytes",
             {file("shareinfo", Share{"a", longest.substr(19999)}.line() + open_share("b"))}},
            {"side lists have long lines, too",
             {file("shareinfo.vfs", longest + "pub<>on<>on<>1<>\n"),
              file("offlinefile", brackets + longest + "\npub<>on<>x<>\n"),
              file("shareinfo.hidden", longest + "\n" + brackets + "pub<>off<>\n")}},
            {"numbers: signs, blanks, letters, overflow",
             {file("shareinfo",
                   "a<>v<>c<>all<>all<>all<>all<>-1<> 1<>1x<>0<><>x<>256<>0<>0\n"
                   "b<>v<>c<>all<>all<>all<>all<>+1<>0x1<>257<>0<><>-256<>1 <>0<>0\n"
                   "c<>v<>c<>all<>all<>all<>all<>9999999999<>\t1<>01<>0<><>1.9<>-0<>"
                   "0<>0\n")}},
            {"of one name, each line is a share",
             {file("shareinfo", open_share("a") + open_share("a", 1))}},
            {"only whole words are all, and all four",
             {file("shareinfo", Share{"a", "all", "all", "all", "All"}.line() +
                                    Share{"b", "all", "all", "all", "all "}.line() +
                                    Share{"c", "all", "all", "all", "al"}.line() +
                                    Share{"d", "", "all", "all", "all"}.line() +
                                    Share{"e", "all", "", "all", "all"}.line() +
                                    Share{"f", "all", "all", "", "all"}.line())}},
            {"one list alone",
             {file("shareinfo", Share{.name = "a", .rw_users = "u"}.line() +
                                    Share{.name = "b", .rw_groups = "g"}.line() +
                                    Share{.name = "c", .ro_users = "u"}.line() +
                                    Share{.name = "d", .ro_groups = "g"}.line() +
                                    Share{.name = "e"}.line()),
              file("usbshareinfo", Share{.name = "f", .ro_groups = "g"}.line() +
                                       Share{.name = "g", .rw_users = "u"}.line())}},
            {"shares in a domain",
             {keys("info", "domain=on"),
              file("shareinfo", Share{"a", "WORK+u", "g"}.line() + open_share("b"))}},
            {"shares in share mode",
             {keys("info", "domain=share"),
              file("shareinfo", open_share("a", 1) + Share{"b", "u"}.line())}},
        });
}
