// A file that is being written.
#pragma once

#include "base/os.h"

#include <string.h>
#include <string_view>

// Owns a file open for writing and collects its bytes in a buffer. The rest is written when it is
// closed, at the end of its scope.
//
// Write errors are ignored, and the first one ends the writing: what is in the file is a beginning
// of what was put. Where the file could not be opened, putting does nothing.
class Output {
  public:
    // Opens the file anew (open_output).
    // cppcheck-suppress uninitMemberVar // the buffer is filled before it is read
    explicit Output(const char* path, mode_t mode = 0666) : file_(open_output(path, mode)) {}
    ~Output() { flush(); }

    explicit operator bool() const { return file_ != -1; }

    void append(std::string_view text);
    void append(int number);  // in decimal
    // Inlined, so that the length of a literal is known to the compiler.
    [[gnu::always_inline]] void append(const char* text) { append({text, strlen(text)}); }

  private:
    void append_in_parts(std::string_view text);
    void flush();

    Descriptor file_;
    bool failed_ = false;
    size_t used_ = 0;
    char buffer_[32768];
};

// Puts texts and numbers, one after the other.
template <class... Parts>
[[gnu::always_inline]] inline void put(Output& out, const Parts&... parts) {
    (out.append(parts), ...);
}
