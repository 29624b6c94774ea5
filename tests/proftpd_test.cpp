// The FTP server: proftpd.conf and its PAM file.
#include "tests/root.h"

#include <cstring>

using std::string;
using namespace std::string_literals;

TEST(Proftpd, NamesTheMembersOfTheGroupsThatItHasRead) {
    const string name60(60, 'n');
    const string members(39999 - strlen("a:x:1:\n"), 'm');
    const auto groups = [](const string& text) { return file("/etc/group", text); };
    const Change nobody = file("shareinfo", Share{"s"}.line());
    expect_effects(
        "groups", {"small", "bare", "members"}, "-d 10 -c proftpd",
        {
            {"in the order of the share; no member leaves a comma",
             {groups("b:x:1:m:b\na:x:1:\n")}},
            {"a last line without newline is rejected", {groups("a:x:1:ma\nb:x:2:mb")}},
            {"a rejected first line is overwritten",
             {groups("bad\nx:y\nx:y:z\na:x:1:ma\nb:x:2:mb\n")}},
            {"a rejected line costs the last group", {groups("a:x:1:ma\nb:x:2:mb\n\nc:x:3:mc\n")}},
            {"but not at the end", {groups("a:x:1:ma\nb:x:2:mb\nbad\n")}},
            {"two rejected lines cost two groups",
             {groups("a:x:1:ma\nb:x:2:mb\nbad\n\nc:x:3:mc\n")}},
            {"the head is cleared, and filled again",
             {groups("a:x:1:ma\n\n\n\nb:x:2:mb\nc:x:3:mc\n")}},
            {"or stays cleared", {groups("a:x:1:ma\n\n\n")}},
            {"a name is cut to 49 bytes, an ID to 9", {groups(name60 + ":x:1234567890123:mn\n")}},
            {"a name of 49 bytes and one of 50", {groups(name60.substr(11) + ":x:1:m49\n")}},
            {"an ID of 9 bytes", {groups("a:x:123456789:ma\n")}},
            {"the longest line", {groups("a:x:1:" + members + "\n")}},
            {"a longer line is rejected, and so is its rest",
             {groups("b:x:2:mb\na:x:1:x" + members + "\nc:x:3:mc\n")}},
            {"the first group of a name counts", {groups("a:x:1:first\na:x:1:second\n")}},
            {"groups that nobody asks for", {groups("other:x:1:m\n")}},
            {"a share for nobody is the administrators'", {nobody}},
            {"administrators without their group", {nobody, groups("hdusers2:x:1:m\n")}},
            {"the first of the administrators' groups",
             {nobody,
              groups("hdusers2:x:1:no\nxhdusers:x:1:no\nhdusers:x:1:yes\nhdusers:x:1:no\n")}},
            {"administrators without members", {nobody, groups("hdusers:x:1:\n")}},
            {"administrators in a domain", {nobody, keys("info", "domain=ad")}},
            {"a NUL byte ends a line", {groups("a:x:1:m\0m\nb:x:2:mb\n"s)}},
        });
}

TEST(Proftpd, ShowsTheBlocksThatItsSettingsAskFor) {
    const auto firmware = [](const string& text) {
        return file("/etc/vantor_expansion_firmware", "VANTOR_CONFIG_SSLFTP" + text + "\n");
    };
    const Change no_shares = file("shareinfo", "");
    expect_effects(
        "proftpd", {"small"}, "-d 10 -c proftpd",
        {
            {"TLS: 1x is 1", {firmware("=1x")}},
            {"TLS: 0", {firmware("=0")}},
            {"TLS: 2", {firmware("=2")}},
            {"TLS: 257 is not cut to a byte", {firmware("=257")}},
            {"TLS: -1", {firmware("=-1")}},
            {"TLS: no such key", {firmware("_=1")}},
            {"without shares, no TLS after the anonymous section", {no_shares}},
            {"in a domain there is no anonymous section, and TLS without shares",
             {no_shares, keys("info", "domain=on")}},
            {"nor with an external server", {no_shares, keys("info", "domain=server")}},
            {"an array that is on, and whose disk is alone",
             {keys("diskinfo",
                   "array1=jbod;array2=raid10;disk1=normal;disk2=array2;disk3;disk4=x")}},
            {"no volume has a key", {file("diskinfo", "")}},
            {"an array without its disk", {keys("diskinfo", "array1;array2=raid0")}},
        });
}
