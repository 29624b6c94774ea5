// A file that is being written.
#include "base/output.h"

#include "base/transfer.h"

#include <algorithm>
#include <charconv>
#include <string.h>

void Output::append(std::string_view text) {
    if (text.size() > sizeof buffer_ - used_)
        return append_in_parts(text);
    char* const end = buffer_ + used_;
    used_ += text.size();
    memcpy(end, text.data(), text.size());
}

// Appends a text that does not fit into the rest of the buffer.
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

bool Output::flush() {
    if (file_ != -1 && !failed_)
        failed_ = !write_all(file_, {buffer_, used_});
    used_ = 0;
    return !failed_;
}
