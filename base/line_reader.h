// The lines of a file.
#pragma once

#include "base/os.h"

#include <string.h>

// Reads the lines of a file as fgets(3) does into an area of `line_size` bytes: a line keeps its
// newline, the last one may lack it, and a longer line comes in several pieces of `line_size` - 1
// bytes. A NUL does not end a line; the bytes after it stand in the area.
//
// The `spare` bytes after the line are zero: a caller's cursor may run past the line's end.
template <int line_size, int spare>
class LineReader {
  public:
    // cppcheck-suppress uninitMemberVar // the areas are filled before they are read
    explicit LineReader(const char* path) : file_(open_input(path)) {}

    // False when the file could not be opened.
    explicit operator bool() const { return file_ != -1; }

    // The next line, which stays until the next call; NULL at the end of the file, and when the
    // file cannot be read.
    const char* next() {
        size_t length = 0;
        bool whole = false;
        while (!whole && length < line_size - 1) {
            if (at_ == end_ && !fill())
                break;
            size_t part = end_ - at_;
            if (part > line_size - 1 - length)
                part = line_size - 1 - length;
            if (const void* newline = memchr(chunk_ + at_, '\n', part)) {
                part = static_cast<size_t>(static_cast<const char*>(newline) - chunk_) + 1 - at_;
                whole = true;
            }
            memcpy(line_ + length, chunk_ + at_, part);
            at_ += part;
            length += part;
        }
        memset(line_ + length, 0, 1 + spare);
        return length == 0 || failed_ ? nullptr : line_;
    }

  private:
    // Reads more bytes; false when there are none.
    bool fill() {
        const ssize_t got = read(file_, chunk_, sizeof chunk_);
        failed_ = got < 0;
        at_ = 0;
        end_ = got > 0 ? static_cast<size_t>(got) : 0;
        return got > 0;
    }

    Descriptor file_;
    bool failed_ = false;
    size_t at_ = 0;
    size_t end_ = 0;
    char chunk_[32768];
    char line_[line_size + spare];
};
