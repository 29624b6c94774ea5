// tavrogen: writes the service configurations of the appliance and answers its scripts' queries.
#include "cmd/actions.h"
#include "conf/text.h"
#include "du/sub_du.h"
#include "include/debug.h"

#include <fcntl.h>
#include <unistd.h>

// Fills the places of standard streams that the caller has closed with a descriptor that takes
// no output: else the first file opened for writing would get its place, and every message.
static void guard_standard_streams() {
    for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor)
        if (fcntl(descriptor, F_GETFD) == -1)
            open("/", O_PATH);
}

int main(int argc, char** argv) {
    guard_standard_streams();
    if (argc == 1) {
        usage();
        return -1;
    }
    int result = -1;  // of the last action that has run
    int option = 0;
    while ((option = getopt(argc, argv, "b:c:d:i:km:p:suv")) != -1) {
        switch (option) {
            case 'b':
                result = dir_use(optarg);
                break;
            case 'c':
                result = write_service(optarg, result);
                break;
            case 'd':
                debug = to_int(optarg);
                break;
            case 'i':
                result = print_ipaddr(optarg);
                break;
            case 'm':
                result = print_hwaddr(optarg);
                break;
            default:  // Kept: so are -k, -p, -s, -u and -v, which the option string knows.
                banner();
                usage();
                break;
        }
    }
    return result;
}
