// The AppleTalk file server: AppleVolumes.default, afpd.conf and its PAM file.
#include "tests/root.h"

using std::string;

TEST(Atalk, ShowsWhatItsSettingsSay) {
    const auto share = [](const Share& share) { return file("shareinfo", share.line()); };
    const auto mode = [](const string& domain, const string& wg) {
        return keys("info", "domain=" + domain + ";wg=" + wg);
    };
    const Share members = {"a", "OFFICE+bob,bob,OFFICE+OFFICE+x", "OFFICE+g", "OFFICE2+c",
                           "office+d"};
    expect_effects(
        "atalk", {"small"}, "-c atalk",
        {
            {"the own domain is taken off each account", {share(members), mode("on", "OFFICE")}},
            {"in an Active Directory, too", {share(members), mode("ad", "OFFICE")}},
            {"an external server's stays", {share(members), mode("server", "OFFICE")}},
            {"without a name, every plus sign goes", {share(members), mode("on", "")}},
            {"the domain is not said without lists", {share({"a"}), mode("on", "OFFICE")}},
            {"readers alone", {share({.name = "a", .ro_users = "u", .read_only = 1})}},
            {"reading groups alone", {share({.name = "a", .ro_groups = "g"})}},
            {"writing groups alone", {share({.name = "a", .rw_groups = "g", .read_only = 1})}},
            {"a group that is called all", {share({"a", "", "all", "", "all"})}},
            {"shares are not shown by the switch of the service", {keys("info", "atalk=off")}},
        });
}
