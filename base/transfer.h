// Reading and writing that goes on after a signal (EINTR).
#pragma once

#include <string_view>
#include <sys/types.h>

// Reads up to `size` bytes into an area. Returns their number, 0 at the end of the file, or -1.
ssize_t read_some(int file, void* area, size_t size);

// Writes all bytes, in several steps if necessary. Returns false at the first error.
bool write_all(int file, std::string_view bytes);
