// Reading and writing that goes on after a signal (EINTR).
#pragma once

#include <errno.h>
#include <string_view>
#include <unistd.h>

// Reads up to `size` bytes into an area. Returns their number, 0 at the end of the file, or -1.
inline ssize_t read_some(int file, void* area, size_t size) {
    ssize_t got = -1;
    do
        got = read(file, area, size);
    while (got == -1 && errno == EINTR);
    return got;
}

// Writes all bytes, in several steps if necessary. Returns false at the first error.
inline bool write_all(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written > 0)
            bytes.remove_prefix(static_cast<size_t>(written));
        else if (written == 0 || errno != EINTR)
            return false;
    }
    return true;
}
