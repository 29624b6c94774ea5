// The Windows file-sharing server.
#include "tests/appliance.h"

#include <cstdlib>
#include <regex>

static const std::string smb_conf = "/etc/samba/smb.conf";

TEST(Samba, TakesItsGlobalLinesFromTheSettings) {
    const struct {
        std::string setting, line;
    } rows[] = {
        {"mtu=0", "    socket options = TCP_NODELAY SO_RCVBUF=65536 SO_SNDBUF=65536\n"},
        {"mtu=4096", "SO_RCVBUF=65536 SO_SNDBUF=65536\n"},
        {"wins=", "    wins server = \n\n    workgroup = WORK\n"},
        {"wg=" + std::string(40, 'W'), "    workgroup = " + std::string(29, 'W') + "\n"},
        {"string=\x80\xff=#x ", "    server string = \x80\xff=#x \n"},
        {std::string("pdc=A\0B;domain=on", 17), "    password server = A\n"},
        // Without its key, the host name is the switch.
        {"local_auth", "    auth methods = guest sam winbind:ntdomain\n"},
    };
    Appliance appliance;
    appliance.host = "a-host-name-of-more-than-19.example.net";
    for (const auto& row : rows) {
        appliance.change("info", row.setting);
        appliance.run("-c samba");
        const std::string text = appliance.read(smb_conf);
        EXPECT_TRUE(has(text, row.line)) << row.setting << "\n" << text;
        EXPECT_EQ(lines_with(text, "    netbios"), "    netbios name = a-host-name-of-more\n");
    }
    appliance.host = "on";
    appliance.run("-c samba");
    EXPECT_TRUE(has(appliance.read(smb_conf), "= guest winbind:ntdomain sam_ignoredomain\n"));
}

TEST(Samba, ShowsItsOwnSharesByTheirSwitches) {
    const struct {
        std::string settings;
        bool test_share, add_user, info;
    } rows[] = {
        {"auth_test=off;info_visible=off", false, true, false},
        {"auth_user_auto_add=off;info_visible=ON", false, false, false},
        {"auth_test;auth_user_auto_add;info_visible", true, true, true},
    };
    for (const auto& row : rows) {
        Appliance appliance;
        appliance.change("info", "domain=server;" + row.settings);
        appliance.run("-c samba");
        const std::string text = appliance.read(smb_conf);
        EXPECT_EQ(has(text, "[authtest]\n"), row.test_share) << row.settings;
        EXPECT_EQ(has(text, "add user script"), row.add_user) << row.settings;
        EXPECT_EQ(has(text, "[info]\n"), row.info) << row.settings;
    }
}

TEST(Samba, FollowsTheSideLists) {
    Appliance appliance({"tests/appliance", "tests/sides"});
    for (const auto* arguments : {"-c samba", "-d 3 -c samba"}) {
        appliance.run(arguments);
        appliance.expect_files("sides");
    }
}

TEST(Samba, WritesTheListsOfUsbDisksAsTheyStand) {
    Appliance appliance;
    appliance.write("/proc/mounts", "/dev/a /mnt/usbdisk1 ext3\n");
    const std::pair<Share, std::string> rows[] = {
        {{.name = "u", .rw_groups = "b,@s"}, "    valid users = b,@s\n    force"},
        {{.name = "u", .rw_users = "N+a"}, "    valid users = N+a,\n    force"},
        {{.name = "u", .ro_users = "a,b"}, "    valid users = a,b,\n    read list = a,b,\n"},
        {{.name = "u", .rw_groups = "t", .ro_groups = "s"},
         "    valid users = s,t\n    read list = s\n"},
    };
    for (const auto& [share, lines] : rows) {
        appliance.write("usbshareinfo", share.line());
        appliance.run("-c samba");
        EXPECT_TRUE(has(part(appliance.read(smb_conf), "[u]", "###"), lines)) << lines;
    }
}

TEST(Samba, ServesTheMsdfsRoot) {
    const std::string head =
        "[dfs]\n    comment = Quarvane DFS folder\n    browsable = Yes\n    printable = No\n"
        "    writable = No\n    guest ok = Yes\n";
    const std::string proxy = head + "    msdfs root = Yes\n    msdfs proxy = ";
    const struct {
        std::string change, section;
    } rows[] = {
        {"msdfs_root_as_link", head + "    path = /mnt/array1/dfs\n    msdfs root = Yes\n[info]"},
        {"msdfs_root_as_link=on", proxy + "\\north\\files\n[info]"},
        {"msdfs_link1_unc1", proxy + "\n[info]"},
        {"msdfs_link1_unc1=\\\\x;msdfs_link1_name", proxy + "\n[info]"},
        {"msdfs_function=On", ""},
    };
    Appliance appliance;
    for (const auto& row : rows) {
        appliance.change("msdfs", row.change);
        appliance.run("-c samba");
        const std::string text = appliance.read(smb_conf);
        EXPECT_EQ(part(text, "[dfs]", "[info]"), row.section) << row.change;
        EXPECT_TRUE(has(text, row.section.empty() ? "host msdfs = no\n" : "host msdfs = Yes\n"));
    }
    for (int link = 1; link <= 120; ++link)
        appliance.change("msdfs", "msdfs_link" + std::to_string(link) + "_name=x");
    const std::string out = appliance.run("-d 1 -c samba").out;
    EXPECT_TRUE(has(out, "MSDFS link no.99 is enable.\n") && !has(out, "no.100"));
}

// Debian's checker reads the example and prints each section as it understands it.
TEST(Samba, IsUnderstoodByTestparm) {
    if (system("command -v testparm >/dev/null") != 0)
        return missing("testparm");
    Appliance appliance({"examples/appliance"});
    appliance.run("-c samba");
    const std::string file = appliance.at("/checked");
    const std::string command = "testparm -s " + appliance.at(smb_conf).string() + " </dev/null >" +
                                file + " 2>" + file + ".err";
    EXPECT_EQ(system(command.c_str()), 0);
    const std::string text = appliance.read("/checked");
    const std::regex others("\n(?!\\[|\tpath|\tvalid users|\tread )[^\n]*");
    EXPECT_EQ(std::regex_replace(text.substr(text.find("[branches]")), others, "") + "\n",
              expected("example.testparm"));
    // What today's version no longer knows.
    EXPECT_EQ(lines_with(appliance.read("/checked.err"), "Ignoring"),
              "Ignoring unknown parameter \"display charset\"\n"
              "Ignoring unknown parameter \"auth methods\"\n"
              "Ignoring unknown parameter \"password level\"\n");
}
