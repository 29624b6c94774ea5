// Owners of streams and heap text, and how streams are opened.
#pragma once

#include <memory>
#include <stdio.h>
#include <stdlib.h>
#include <sys/types.h>

struct close_stream {
    void operator()(FILE* stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, close_stream>;

struct free_text {
    void operator()(char* text) const { free(text); }
};
using Text = std::unique_ptr<char[], free_text>;

// Opens a file for reading; NULL on failure, with errno set. Does not wait for a writer: a FIFO
// that nobody writes to is an empty file.
Stream open_input(const char* path);

// Opens a file for writing and truncates it in place, creating it with `mode` (less the umask)
// when it is not there; NULL on failure, with errno set. Does not wait for a reader: a FIFO
// that nobody reads from is a failure.
Stream open_output(const char* path, mode_t mode = 0666);
