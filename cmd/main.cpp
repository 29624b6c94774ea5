// tavrogen: writes the service configurations of the appliance and answers its scripts' queries.
#include "base/c_string.h"
#include "cmd/actions.h"
#include "du/sub_du.h"
#include "include/debug.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

// Opens a descriptor that takes no output for each standard stream that the caller has closed.
// Otherwise the first file to be written would become standard output and get every message.
static void guard_standard_streams() {
    for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor)
        if (fcntl(descriptor, F_GETFD) == -1)
            open("/", O_PATH);
}

int main(int argc, char** argv) {
    guard_standard_streams();
    // A reader that goes away costs messages only; a limit on file size cuts what is written.
    // Neither ends the run.
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
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
            default:  // Kept: the reserved options print the usage, too, as an unknown one does.
                banner();
                usage();
                break;
        }
    }
    return result;
}
