// The NFS server: exports.
#include "tests/root.h"

using std::string;

TEST(Nfs, ExportsTheSharesThatAVfsLineSwitchesOn) {
    std::vector<Case> cases = {
        {"a later zero does not undo a one",
         {file("shareinfo.vfs", "pub<><><>1<>\npub<><><>0<>\n")}},
        {"two lines export once", {file("shareinfo.vfs", "pub<><><>1<>\npub<><><>1<>\n")}},
        {"names are compared whole",
         {file("shareinfo.vfs", "pu<><><>1<>\npub2<><><>1<>\nPub<><><>1<>\ndocs<><><>1<>\n")}},
        {"a share that no service serves is exported", {file("shareinfo.vfs", "quiet<><><>1<>\n")}},
        {"USB shares are not", {file("shareinfo.vfs", "stick<><><>1<>\n")}},
        {"a network of no settings", {file("nfs_info", "")}},
    };
    for (const string value : {"0x1", "0x01", "01", "001", "1abc", "on", "11", "0", "-1", " 1",
                               "+1", "0x", "010", "1 ", "4294967297"})
        cases.push_back(
            {"the switch " + value, {file("shareinfo.vfs", "pub<><><>" + value + "<>\n")}});
    expect_effects("nfs", {"small"}, "-d 3 -c nfs", cases);
    expect_effects("nfs-untraced", {"small"}, "-c nfs", {cases.begin(), cases.begin() + 5});
}
