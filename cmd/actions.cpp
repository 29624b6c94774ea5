// The actions of -c, -i and -m, the banner and the usage.
#include "cmd/actions.h"

#include "base/c_string.h"
#include "base/messages.h"
#include "conf/vantor_bin.h"
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
    say(" tavrogen -c <");
    for (const service& row : services)
        say(&row == services ? "%s" : "|%s", row.name);
    say("> : make configration files.\n");  // Kept: scripts match this text, with its spelling.
}

int write_service(const char* name, int result_so_far) {
    say("optarg:%s\n", name);
    for (const service& row : services)
        if (equal(name, row.name))
            return row.write();
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
