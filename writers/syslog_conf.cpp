// Writes /etc/syslog.conf: the local log files, and what is forwarded to a log host.
#include "base/messages.h"
#include "base/output.h"
#include "conf/load_config.h"
#include "writers/writers.h"

static constexpr char local_files[] =
    "*.info;cron.none;user.none;local6.none\t/var/log/messages\n"
    "cron.*\t-/var/log/cron\n"
    "*.emerg\t*\n"
    "local0.*\t/var/log/morvista.log\n"
    "local6.=info\t-/var/log/file.smb\n"
    "local7.*\t-/var/log/backup.log\n";

int make_syslog_conf() {
    static constexpr char path[] = "/etc/syslog.conf";
    SYS_INFO info;
    load_info(&info);
    Output out(path);
    if (!out) {
        // Kept: "cannnot" is spelt so, and an open file is not announced, unlike in other writers.
        complain("cannnot open %s\n", path);
        return -1;
    }
    put(out, local_files);
    if (info.syslog_forward && info.forward_system)
        put(out, "local0.*\t@", info.syslog_forward_target, "\n");
    if (info.syslog_forward && info.forward_file_smb)
        put(out, "local6.=info\t@", info.syslog_forward_target, "\n");
    return 0;
}
