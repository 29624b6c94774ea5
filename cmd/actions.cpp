// The actions of the command line that are not a writer or the directory scan.
#include "cmd/actions.h"

#include "base/messages.h"
#include "base/os.h"
#include "base/text.h"
#include "util/netdev.h"
#include "writers/writers.h"

#include <arpa/inet.h>

static constexpr char version[] = "1.10";
static constexpr char build_date[] = "Sep 15 2008";

void banner() {
    say("Morvista/Quarvane utility %s, %s\n", version, build_date);
}

void usage() {
    say("usage\n");
    say(" tavrogen -b DIR       : output under DIR directories.\n");
    say(" tavrogen -i interface : output ip address .\n");
    say(" tavrogen -m interface : output mac address .\n");
    say(" tavrogen -c <samba|proftpd|atalk|syslog|iscsi|nfs> : make configration files.\n");
}

static constexpr struct {
    const char* name;
    int (*write)();
} services[] = {
    {"samba", make_samba_conf},   {"proftpd", make_proftpd_conf}, {"atalk", make_atalk_conf},
    {"syslog", make_syslog_conf}, {"iscsi", make_iscsi_conf},     {"nfs", make_nfs_exports},
};

int write_service(const char* name, int result_so_far) {
    say("optarg:%s\n", name);
    for (const auto& service : services) {
        if (!equal(name, service.name))
            continue;
        // Runs take turns, from before the settings are read: so a file is one run's alone, and
        // that of the later settings. A run that hangs holds the others up for these seconds only.
        const Descriptor turn(lock_folder("/etc/korvel", 10));
        return service.write();
    }
    return result_so_far;
}

int print_hwaddr(const char* interface) {
    unsigned char mac[6];
    if (Netdev_GetHwAddr(interface, mac) != 0) {
        say("MACADRS_%s=error\n", interface);
        return -1;
    }
    say("%02X:%02X:%02X:%02X:%02X:%02X\n", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return 0;
}

int print_ipaddr(const char* interface) {
    in_addr address;
    if (Netdev_GetIpAddr(interface, reinterpret_cast<unsigned char*>(&address)) != 0) {
        say("IPADDRS_%s=error\n", interface);
        return -1;
    }
    say("%s\n", inet_ntoa(address));
    return 0;
}
