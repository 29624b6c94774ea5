// A file that is being written.
#include "base/output.h"

#include <algorithm>
#include <charconv>
#include <errno.h>
#include <string.h>

void Output::append(std::string_view text) {
    if (text.size() > sizeof buffer_ - used_)
        return append_in_parts(text);
    char* const end = buffer_ + used_;
    used_ += text.size();
    memcpy(end, text.data(), text.size());
}

// Puts a text that the buffer has no room for.
void Output::append_in_parts(std::string_view text) {
    while (!text.empty()) {
        if (used_ == sizeof buffer_)
            flush();
        const size_t part = std::min(text.size(), sizeof buffer_ - used_);
        memcpy(buffer_ + used_, text.data(), part);
        used_ += part;
        text.remove_prefix(part);
    }
}

void Output::append(int number) {
    char digits[12];
    const char* end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    append(std::string_view(digits, static_cast<size_t>(end - digits)));
}

void Output::flush() {
    const char* at = buffer_;
    while (used_ > 0 && file_ != -1 && !failed_) {
        const ssize_t written = write(file_, at, used_);
        if (written > 0) {
            at += written;
            used_ -= static_cast<size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            failed_ = true;
        }
    }
    used_ = 0;
}
