// How streams are opened.
#include "conf/owners.h"

#include <fcntl.h>
#include <unistd.h>

static Stream open_stream(const char* path, int flags, mode_t mode, const char* stdio_mode) {
    const int descriptor = open(path, flags | O_NONBLOCK | O_CLOEXEC, mode);
    if (descriptor == -1)
        return nullptr;
    fcntl(descriptor, F_SETFL, 0);  // only the opening must not wait
    Stream stream(fdopen(descriptor, stdio_mode));
    if (!stream)
        close(descriptor);
    return stream;
}

Stream open_input(const char* path) {
    return open_stream(path, O_RDONLY, 0, "r");
}

Stream open_output(const char* path, mode_t mode) {
    return open_stream(path, O_WRONLY | O_CREAT | O_TRUNC, mode, "w");
}
