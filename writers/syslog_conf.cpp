// Writes /etc/syslog.conf: the local log files, and what is forwarded to a log host.
#include "conf/load_config.h"
#include "writers/output.h"
#include "writers/writers.h"

#include <stdio.h>

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
    const Stream out = open_output(path);
    if (!out) {
        fprintf(stderr, "cannnot open %s\n", path);  // Kept: the spelling, and no line at success.
        return -1;
    }
    put(out.get(), local_files);
    if (info.syslog_forward && info.forward_system)
        fprintf(out.get(), "local0.*\t@%s\n", info.syslog_forward_target);
    if (info.syslog_forward && info.forward_file_smb)
        fprintf(out.get(), "local6.=info\t@%s\n", info.syslog_forward_target);
    return 0;
}
