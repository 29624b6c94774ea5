// The actions of the command line that are not a writer or the directory scan.
#include "cmd/actions.h"

#include "conf/text.h"
#include "conf/vantor_bin.h"
#include "writers/writers.h"

#include <arpa/inet.h>
#include <stdio.h>

static constexpr char version[] = "1.10";
static constexpr char build_date[] = "Sep 15 2008";

void banner() {
    printf("Morvista/Quarvane utility %s, %s\n", version, build_date);
}

void usage() {
    puts("usage");
    puts(" tavrogen -b DIR       : output under DIR directories.");
    puts(" tavrogen -i interface : output ip address .");
    puts(" tavrogen -m interface : output mac address .");
    puts(" tavrogen -c <samba|proftpd|atalk|syslog|iscsi|nfs> : make configration files.");
}

static constexpr struct {
    const char* name;
    int (*write)();
} services[] = {
    {"samba", make_samba_conf},   {"proftpd", make_proftpd_conf}, {"atalk", make_atalk_conf},
    {"syslog", make_syslog_conf}, {"iscsi", make_iscsi_conf},     {"nfs", make_nfs_exports},
};

int write_service(const char* name, int result_so_far) {
    printf("optarg:%s\n", name);
    for (const auto& service : services)
        if (equal(name, service.name))
            return service.write();
    return result_so_far;
}

int print_hwaddr(const char* interface) {
    unsigned char mac[6];
    if (Netdev_GetHwAddr(interface, mac) != 0) {
        printf("MACADRS_%s=error\n", interface);
        return -1;
    }
    printf("%02X:%02X:%02X:%02X:%02X:%02X\n", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return 0;
}

int print_ipaddr(const char* interface) {
    in_addr address;
    if (Netdev_GetIpAddr(interface, reinterpret_cast<unsigned char*>(&address)) != 0) {
        printf("IPADDRS_%s=error\n", interface);
        return -1;
    }
    puts(inet_ntoa(address));
    return 0;
}
