// The support library's addresses of network interfaces. An object file of its own, so that the
// companions can link other bodies.
#include "conf/vantor_bin.h"

#include "base/os.h"

#include <net/if.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

// Asks the kernel for one address of an interface.
static bool ask_interface(const char* interface, unsigned long request, ifreq* answer) {
    *answer = {};
    if (strlen(interface) >= sizeof answer->ifr_name)
        return false;
    strcpy(answer->ifr_name, interface);
    const Descriptor probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return probe != -1 && ioctl(probe, request, answer) == 0;
}

int Netdev_GetHwAddr(const char* interface, unsigned char* address) {
    ifreq answer;
    if (!ask_interface(interface, SIOCGIFHWADDR, &answer))
        return -1;
    memcpy(address, answer.ifr_hwaddr.sa_data, 6);
    return 0;
}

int Netdev_GetIpAddr(const char* interface, unsigned char* address) {
    ifreq answer;
    if (!ask_interface(interface, SIOCGIFADDR, &answer))
        return -1;
    sockaddr_in inet;
    memcpy(&inet, &answer.ifr_addr, sizeof inet);
    memcpy(address, &inet.sin_addr, 4);
    return 0;
}
