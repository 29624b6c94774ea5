// The only door to the system's files and to the host's name.
#include "base/os.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>

// Only the opening must not wait; reading and writing may.
static int open_without_waiting(const char* path, int flags, mode_t mode) {
    const int descriptor = open(path, flags | O_NONBLOCK | O_CLOEXEC, mode);
    if (descriptor != -1)
        fcntl(descriptor, F_SETFL, 0);
    return descriptor;
}

int open_input(const char* path) {
    return open_without_waiting(path, O_RDONLY, 0);
}

int open_output(const char* path, mode_t mode) {
    return open_without_waiting(path, O_WRONLY | O_CREAT | O_TRUNC, mode);
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
    constexpr timespec pause = {0, 5'000'000};
    constexpr int pauses_a_second = 200;
    // Asked again and again, since a wait inside flock() has no end.
    for (int pauses = seconds * pauses_a_second; folder != -1 && pauses > 0; --pauses) {
        if (flock(folder, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK)
            break;
        nanosleep(&pause, nullptr);
    }
    return folder;
}
