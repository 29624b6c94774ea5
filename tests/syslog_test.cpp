// The system logger: syslog.conf.
#include "tests/root.h"

using std::string;

TEST(Syslog, ForwardsTheChosenFacilities) {
    const auto items = [](const string& value) {
        return Case{"items: " + value,
                    {keys("info", "syslog_forward=on;syslog_forward_item=" + value)}};
    };
    expect_effects(
        "syslog", {"small"}, "-d 1 -c syslog",
        {
            items("system"),
            items("file_smb<>system"),
            items("file_ftp<>file_iscsi<>file_smb"),
            items(""),
            items("file_smb<>bogus"),
            items("<>system"),
            items("system<><>file_smb"),
            items("systemd"),
            items("file_smbx<>sys"),
            items("system<>"),
            items("system<"),
            items("system<xfile_smb"),
            items("System"),
            items("file_iscs<>file_iscsi"),
            items("system>file_smb<>file_ftp"),
            items("x<>system<>x<>file_smb"),
            {"forwarding without a target",
             {keys("info", "syslog_forward=on;syslog_forward_target=")}},
            {"without its key, forwarding is on", {keys("info", "syslog_forward")}},
            {"forwarding is off unless it is on", {keys("info", "syslog_forward=On")}},
            {"without items, the mode of anonymous users counts for one",
             {keys("info", "syslog_forward=on;syslog_forward_item;anonyftp_mode=system")}},
        });
}
