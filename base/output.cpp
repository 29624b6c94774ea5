// A file that is being written.
#include "base/output.h"

#include <charconv>
#include <errno.h>
#include <string.h>

void Output::append(std::string_view text) {
    while (text.size() > sizeof buffer_ - used_) {
        const size_t room = sizeof buffer_ - used_;
        memcpy(buffer_ + used_, text.data(), room);
        used_ += room;
        text.remove_prefix(room);
        flush();
    }
    memcpy(buffer_ + used_, text.data(), text.size());
    used_ += text.size();
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
