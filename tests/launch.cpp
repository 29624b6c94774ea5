// Starts a program as `tavrogen` inside the sandbox, after some of these options:
//   close=DESCRIPTOR   close a standard stream
//   size=BYTES         no file may grow further
//   files=COUNT        so many descriptors at most
//   stack=BYTES        so large a stack at most
//   seconds=COUNT      it is killed when it runs longer
//   rights=0           the permissions of files hold for root, too
#include <linux/capability.h>
#include <stdlib.h>
#include <string.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

int main(int, char** argv) {
    while (**++argv != '/') {
        const char* const equals = strchr(*argv, '=');
        const std::string_view option(*argv, static_cast<size_t>(equals - *argv));
        const int number = atoi(equals + 1);
        const auto most = static_cast<rlim_t>(number);
        const rlimit limit = {most, most};
        if (option == "close")
            close(number);
        if (option == "size")
            setrlimit(RLIMIT_FSIZE, &limit);
        if (option == "files") {
            closefrom(3);  // those that the test has inherited
            setrlimit(RLIMIT_NOFILE, &limit);
        }
        if (option == "stack")
            setrlimit(RLIMIT_STACK, &limit);
        if (option == "seconds")
            alarm(static_cast<unsigned>(number));
        if (option == "rights")
            for (const int capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH})
                prctl(PR_CAPBSET_DROP, capability);
    }
    const char* const path = *argv;
    if (strcmp(path, "/program") == 0)
        *argv = const_cast<char*>("tavrogen");
    execv(path, argv);
    return 125;
}
