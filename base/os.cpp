// The only door to the system's files and to the host's name.
#include "base/os.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>

// Lets reading and writing wait, where only the opening must not.
static int let_wait(int descriptor) {
    if (descriptor != -1)
        fcntl(descriptor, F_SETFL, 0);
    return descriptor;
}

int open_input(const char* path) {
    return let_wait(open_settings(path));
}

int open_settings(const char* path) {
    return open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

int open_output(const char* path, mode_t mode) {
    constexpr int anew = O_WRONLY | O_CREAT | O_TRUNC;
    return let_wait(open(path, anew | O_NONBLOCK | O_CLOEXEC, mode));
}

bool is_there(const char* path) {
    struct stat status;
    return stat(path, &status) == 0;
}

void get_host_name(char* name, size_t size) {
    if (gethostname(name, size) == -1)
        name[0] = '\0';
    name[size - 1] = '\0';  // a name that is cut need not be terminated
}

int lock_folder(const char* path, int seconds) {
    const int folder = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const time_t deadline = now.tv_sec + seconds;
    // Asked again and again, since a wait inside flock() has no end.
    while (folder != -1 && flock(folder, LOCK_EX | LOCK_NB) == -1 && errno == EWOULDBLOCK &&
           now.tv_sec < deadline) {
        constexpr timespec pause = {0, 5'000'000};
        nanosleep(&pause, nullptr);
        clock_gettime(CLOCK_MONOTONIC, &now);
    }
    return folder;
}
