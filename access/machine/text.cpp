// Texts as they can be shown.
#include "access/machine/text.h"

#include "access/machine/model.h"

#include <algorithm>
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

std::vector<std::string> words_of(const std::string& text, const char* between) {
    std::vector<std::string> words;
    for (size_t at = text.find_first_not_of(between); at < text.size();) {
        const size_t end = std::min(text.find_first_of(between, at), text.size());
        words.push_back(text.substr(at, end - at));
        at = text.find_first_not_of(between, end);
    }
    return words;
}

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

std::string listed(const std::vector<std::string>& texts, size_t most) {
    std::string words;
    for (size_t number = 0; number < texts.size() && number < most; ++number)
        words += (number > 0 ? ", " : "") + texts[number];
    return texts.size() > most ? words + " and " + std::to_string(texts.size() - most) + " others"
                               : words;
}

std::string plain_path(const std::string& path) {
    std::string plain;
    for (const std::string& part : words_of(path, "/"))
        if (part == "..")
            plain.resize(plain.empty() ? 0 : plain.rfind('/'));
        else if (part != ".")
            plain.append("/").append(part);
    return plain.empty() ? "/" : plain;
}

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
