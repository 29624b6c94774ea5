// The Windows file-sharing server: smb.conf and pam_smb.conf.
#include "tests/root.h"

using std::string;

TEST(Samba, ShowsWhatItsSettingsSay) {
    string links;
    for (int link = 1; link <= 120; ++link)
        links += "msdfs_link" + std::to_string(link) + "_name=x;";
    const auto usb = [](const Share& share) { return file("usbshareinfo", share.line()); };
    expect_effects(
        "samba", {"small"}, "-d 1 -c samba",
        {
            {"links end at number 99", {keys("msdfs", links)}},
            {"a root that is a link leads to the first of many",
             {keys("msdfs",
                   "msdfs_root_as_link=on;msdfs_link2_name=b;msdfs_link3_name=c;"
                   "msdfs_link3_unc1=\\\\c\\c")}},
            {"a link of one byte leads nowhere",
             {keys("msdfs", "msdfs_root_as_link=on;msdfs_link1_unc1=\\")}},
            {"USB lists are written as they stand", {usb({"u", "N+a", "b,@s", "c,d", "@e,f"})}},
            {"a USB list of users ends in a comma", {usb({"u", "N+a"})}},
            {"so does one of readers", {usb({.name = "u", .ro_users = "a,b"})}},
            {"USB groups alone", {usb({.name = "u", .rw_groups = "t", .ro_groups = "s"})}},
            {"a USB share for nobody", {usb({"u"})}},
            {"USB shares have side lists, but no policy",
             {file("shareinfo.hidden", "stick<>off<>\n"), file("offlinefile", "stick<>on<>x<>\n"),
              file("shareinfo.vfs", "stick<>off<>on<>\ncard<>on<>on<>\n")}},
            {"an empty name finds the empty records",
             {file("shareinfo", open_share("")), no("offlinefile"), file("shareinfo.hidden", "\n"),
              file("shareinfo.vfs", "<>on<>on<>1\n")}},
            {"the test share is shown in server mode alone", {keys("info", "domain=server")}},
            {"of four names of a list, the first counts",
             {file("offlinefile", "a<>on<>1<>\npub<>on<>2<>\nb<>on<>3<>\npub<>on<>4<>\n")},
             "-c samba"},
        });
}

TEST(Samba, TakesTheHostNameUpToItsDot) {
    for (const auto& [host, name] :
         {std::pair<string, string>{"a-host-name-of-twenty.example.net", "a-host-name-of-twen"},
          {"nas", "nas"},
          {"n.a.s", "n"}}) {
        Root root;
        root.host = host;
        root.run("-c samba");
        EXPECT_EQ(lines_with(root.read("/etc/samba/smb.conf"), "    netbios"),
                  "    netbios name = " + name + "\n");
    }
    // Kept: without its key, local_auth goes by the host name.
    Root root;
    root.host = "on";
    root.change("info", "local_auth;domain=on");
    root.run("-c samba");
    EXPECT_TRUE(has(root.read("/etc/samba/smb.conf"), "= guest winbind:ntdomain sam_ignored"));
}
