// A file that is being written.
#pragma once

#include "base/os.h"

#include <string.h>
#include <string_view>

// Owns a file open for writing and collects its bytes in a buffer. The rest is written when it is
// closed, at the end of its scope.
//
// Write errors are not reported. After the first one nothing more is written, so the file holds
// the beginning of what was put. If the file is not open, put() does nothing.
class Output {
  public:
    // Opens the file anew (open_output).
    // cppcheck-suppress uninitMemberVar // the other constructor says why
    explicit Output(const char* path, mode_t mode = 0666) : Output(open_output(path, mode)) {}
    // Takes over an open file.
    // cppcheck-suppress uninitMemberVar // the buffer is filled before it is read
    explicit Output(int file) : file_(file) {}
    ~Output() { flush(); }

    explicit operator bool() const { return file_ != -1; }

    void append(std::string_view text);
    void append(int number);  // in decimal
    void append(const char* text) { append({text, strlen(text)}); }

    // Writes what is in the buffer. Returns false if something could not be written until now.
    bool flush();

  private:
    void append_in_parts(std::string_view text);

    Descriptor file_;
    bool failed_ = false;
    size_t used_ = 0;
    char buffer_[16384];
};

// Puts texts and numbers, one after the other.
template <class... Parts>
void put(Output& out, const Parts&... parts) {
    (out.append(parts), ...);
}
