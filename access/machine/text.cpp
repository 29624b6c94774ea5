// Texts as they can be shown.
#include "access/machine/model.h"

#include <unistd.h>

namespace tavrogen::access {

namespace {

// The length of the UTF-8 letter at the start of a text; 0 when there is none.
size_t letter_length(std::string_view text) {
    const auto byte = [&](size_t at) {
        return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
    };
    const auto follows = [&](size_t at) { return (byte(at) & 0xc0) == 0x80; };
    const unsigned first = byte(0);
    if (first < 0x80)
        return 1;
    if (first >= 0xc2 && first < 0xe0 && follows(1))
        return 2;
    const bool three = first >= 0xe0 && first < 0xf0 && follows(1) && follows(2);
    if (three && (first != 0xe0 || byte(1) >= 0xa0) && (first != 0xed || byte(1) < 0xa0))
        return 3;
    const bool four = first >= 0xf0 && first < 0xf5 && follows(1) && follows(2) && follows(3);
    if (four && (first != 0xf0 || byte(1) >= 0x90) && (first != 0xf4 || byte(1) < 0x90))
        return 4;
    return 0;
}

}  // namespace

std::string as_utf8(const std::string& text) {
    std::string valid;
    for (size_t at = 0; at < text.size();) {
        const size_t length = letter_length(std::string_view(text).substr(at));
        valid += length > 0 ? text.substr(at, length) : "\uFFFD";
        at += length > 0 ? length : 1;
    }
    return valid;
}

std::string printable(const std::string& text, FILE* out) {
    const bool to_terminal = isatty(fileno(out)) != 0;
    std::string shown;
    for (const char byte : text) {
        const unsigned value = static_cast<unsigned char>(byte);
        if (byte != '\n' && (!to_terminal || (value >= ' ' && value != 127))) {
            shown += byte;
            continue;
        }
        char escape[8];
        snprintf(escape, sizeof escape, "\\%03o", value);
        shown += escape;
    }
    return shown;
}

}  // namespace tavrogen::access
