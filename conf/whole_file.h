// The bytes of a whole file, on the heap.
#pragma once

#include "base/heap.h"

#include <stddef.h>
#include <string_view>

class WholeFile {
  public:
    // Reads an open file to its end, once. Returns false if reading fails, if memory runs out, or
    // if the file has more than `limit` bytes.
    bool read(int file, size_t limit);

    // Never NULL, also if nothing has been read: memcpy() must not get NULL.
    std::string_view bytes() const { return bytes_ ? std::string_view(bytes_.get(), size_) : ""; }

  private:
    HeapString bytes_;
    size_t size_ = 0;
};

// Removes the first line from *text, which is not empty. Returns it without its newline.
std::string_view take_line(std::string_view* text);
