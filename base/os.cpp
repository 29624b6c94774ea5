// Files and the host name.
#include "base/os.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

int open_input(const char* path) {
    const int file = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat status;
    if (file != -1 || errno != EWOULDBLOCK)
        return file;
    // Another user's file, or one that a link leads to, is not waited for: its owner could hold the
    // lease for long, or put a FIFO in its place.
    if (lstat(path, &status) == -1 || !S_ISREG(status.st_mode) || status.st_uid != geteuid()) {
        errno = EWOULDBLOCK;
        return -1;
    }
    return open(path, O_RDONLY | O_CLOEXEC);
}

int open_output(const char* path, mode_t mode) {
    return open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
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
