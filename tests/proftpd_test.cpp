// The FTP server.
#include "tests/appliance.h"

#include <cstdlib>
#include <cstring>

static const std::string proftpd_conf = "/etc/proftpd/proftpd.conf";

TEST(Proftpd, NamesTheMembersOfTheGroupsThatItHasRead) {
    const std::string name60(60, 'n');
    const std::string members(39999 - strlen("a:x:1:\n"), 'm');
    const struct {
        std::string behaviour, groups, members;
    } rows[] = {
        {"in the order of the share; no member leaves a comma", "b:x:1:m:b\na:x:1:\n", ",m:b,"},
        {"a last line without newline is rejected", "a:x:1:ma\nb:x:2:mb", "ma,"},
        {"a rejected first line is overwritten", "bad\nx:y\nx:y:z\na:x:1:ma\nb:x:2:mb\n", "ma,mb,"},
        {"a rejected line costs the last group", "a:x:1:ma\nb:x:2:mb\n\nc:x:3:mc\n", "ma,mc,"},
        {"but not at the end", "a:x:1:ma\nb:x:2:mb\nbad\n", "ma,mb,"},
        {"two rejected lines cost two groups", "a:x:1:ma\nb:x:2:mb\nbad\n\nc:x:3:mc\n", "mc,"},
        {"the head is cleared, and filled again", "a:x:1:ma\n\n\n\nb:x:2:mb\nc:x:3:mc\n", "mb,mc,"},
        {"or stays cleared", "a:x:1:ma\n\n\n", ""},
        {"a name is cut to 49 bytes, an ID to 9", name60 + ":x:1234567890123:mn\n", "mn,"},
        {"the longest line", "a:x:1:" + members + "\n", members + ","},
        {"a longer line is rejected, and so is its rest",
         "b:x:2:mb\na:x:1:x" + members + "\nc:x:3:mc\n", "mc,"},
        {"no groups", "", ""},
    };
    Appliance appliance;
    appliance.write("usbshareinfo", "");
    appliance.write("shareinfo", Share{"s", "", "@a,@b,,c," + name60.substr(0, 49)}.line());
    for (const auto& row : rows) {
        appliance.write("/etc/group", row.groups);
        appliance.run("-c proftpd");
        EXPECT_EQ(part(appliance.read(proftpd_conf), "    AllowUser ", "  </Limit>"),
                  "    AllowUser " + row.members + "nobody\n  </Limit>")
            << row.behaviour;
    }
    appliance.write("shareinfo", Share{"s"}.line());
    appliance.run("-c proftpd");
    EXPECT_TRUE(has(appliance.read(proftpd_conf), "    AllowUser admin,guest,\n"));
}

TEST(Proftpd, ShowsTheVolumesByTheirStates) {
    Appliance appliance;
    appliance.change("diskinfo",
                     "array1=jbod;array2=raid10;disk1=normal;disk2=array2;disk3;disk4=x");
    appliance.run("-c proftpd");
    appliance.expect_files("volumes-arrays");
    appliance.change("diskinfo", "array1;array2;disk1;disk2;disk4");
    appliance.run("-c proftpd");
    appliance.expect_files("volumes-disks");
}

TEST(Proftpd, ClosesWithTheBlocksThatTheSettingsAskFor) {
    const std::string off = expected("off" + proftpd_conf);
    const std::string tls = off.substr(off.find("\n<IfModule mod_tls.c>"));
    EXPECT_EQ(tls.size(), 407);
    const struct {
        std::string mode, firmware, shares, end;
    } rows[] = {
        {"off", "VANTOR_CONFIG_SSLFTP=1x\n", open_share("s"), "</Anonymous>\n" + tls},
        {"off", "VANTOR_CONFIG_SSLFTP=0\n", open_share("s"), "</Anonymous>\n"},
        {"off", "VANTOR_CONFIG_SSLFTP=2\n", open_share("s"), "</Anonymous>\n"},
        {"off", "", open_share("s"), "</Anonymous>\n"},
        // Without shares the file ends with the anonymous section; there is none in a domain.
        {"off", "VANTOR_CONFIG_SSLFTP=1\n", "", "</Anonymous>\n"},
        {"on", "VANTOR_CONFIG_SSLFTP=1\n", "", "</Directory>\n\n" + tls},
    };
    Appliance appliance;
    for (const auto& row : rows) {
        appliance.change("info", "domain=" + row.mode);
        appliance.write("/etc/vantor_expansion_firmware", row.firmware);
        appliance.write("shareinfo", row.shares);
        const Outcome run = appliance.run("-d 10 -c proftpd");
        EXPECT_TRUE(appliance.read(proftpd_conf).ends_with(row.end)) << row.mode << row.firmware;
        EXPECT_EQ(has(run.out, "\nno share folder\n"), row.shares.empty());
    }
}

TEST(Proftpd, HidesTheMsdfsRootUnderMnt) {
    Appliance appliance;
    appliance.change("info", "info_visible=off");
    for (const std::string path : {"/mnt/array1/dfs", "/mntx/share", "/mn", "/srv/mnt", ""}) {
        appliance.change("msdfs", "msdfs_function=off;msdfs_root_path=" + path);
        appliance.run("-c proftpd");
        const std::string text = appliance.read(proftpd_conf);
        const std::string block = "<Directory " + path + ">\n    HideNoAccess on\n";
        EXPECT_EQ(has(text, "\n" + block + "  <Limit"), path.starts_with("/mnt")) << path;
        EXPECT_EQ(has(text, "\n  " + block + "    <Limit"), path.starts_with("/mnt")) << path;
        for (const auto* info :
             {"\n<Directory /mnt/info>\n    Hide", "\n  <Directory /mnt/info>\n    Hide"})
            EXPECT_TRUE(has(text, info));
    }
}

// Debian's server checks the example, without what its build does not carry.
TEST(Proftpd, IsUnderstoodByTheServer) {
    if (system("command -v proftpd >/dev/null") != 0)
        return missing("proftpd");
    Appliance appliance({"examples/appliance"});
    appliance.run("-c proftpd");
    const std::string file = appliance.at(proftpd_conf);
    const std::string command =
        "sed -i -e '/^Charset\\(Local\\|Remote\\) /d' -e 's,</Limit READ>,</Limit>,' " + file +
        " && proftpd -t -c " + file + " >" + file + ".err 2>&1";
    EXPECT_EQ(system(command.c_str()), 0) << appliance.read(proftpd_conf + ".err");
}
