// The lines of a file.
#pragma once

#include "base/os.h"
#include "base/transfer.h"

#include <string.h>

// Reads the lines of a file as fgets(3) does into an area of `line_size` bytes. A line keeps its
// newline; the last one may lack it. A longer line comes in several pieces of `line_size` - 1
// bytes. A NUL does not end a line; the bytes after it stand in the area.
//
// The `spare` bytes after the line are zero: a caller's cursor may run past the line's end.
template <int line_size, int spare>
class LineReader {
  public:
    // Takes over an open file.
    // cppcheck-suppress uninitMemberVar // the areas are filled before they are read
    explicit LineReader(int file) : file_(file) {}

    // The next line, which stays until the next call. NULL at the end of the file, and if the file
    // cannot be read: a line of which only a part could be read is no line.
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
        return length == 0 || last_read_ == -1 ? nullptr : line_;
    }

  private:
    // Reads more bytes, unless the last reading found the end. Returns false if there are none.
    bool fill() {
        if (last_read_ > 0)
            last_read_ = read_some(file_, chunk_, sizeof chunk_);
        at_ = 0;
        end_ = last_read_ > 0 ? static_cast<size_t>(last_read_) : 0;
        return end_ != 0;
    }

    Descriptor file_;
    ssize_t last_read_ = 1;  // what read_some() returned; before the first time, not the end
    size_t at_ = 0;
    size_t end_ = 0;
    char chunk_[32768];
    char line_[line_size + spare];
};
