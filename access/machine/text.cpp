// Takes texts apart, and makes them fit to be shown.
#include "access/machine/text.h"

#include <algorithm>
#include <unistd.h>

namespace tavrogen::access {

unsigned take_letter(std::string_view* text) {
    const auto byte_at = [&](size_t at) { return static_cast<unsigned char>((*text)[at]); };
    const unsigned lead = byte_at(0);
    const size_t length = lead < 0x80 ? 1 : lead < 0xc0 ? 0 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    if (length == 0 || lead >= 0xf8 || text->size() < length)
        return no_letter;
    unsigned letter = length == 1 ? lead : lead & (0x7fU >> length);
    for (size_t at = 1; at < length; ++at) {
        if ((byte_at(at) & 0xc0) != 0x80)
            return no_letter;
        letter = letter << 6 | (byte_at(at) & 0x3fU);
    }
    constexpr unsigned smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (letter < smallest[length])
        return no_letter;
    text->remove_prefix(length);
    return letter;
}

bool is_unicode(unsigned letter) {
    return letter <= 0x10ffff && (letter < 0xd800 || letter >= 0xe000);
}

namespace {

// Controls, C1 included, and what turns the direction of the text that follows.
bool is_control(unsigned letter) {
    return letter < ' ' || (letter >= 127 && letter < 160) || letter == 0x061c ||
           (letter >= 0x200e && letter <= 0x200f) || (letter >= 0x2028 && letter <= 0x202e) ||
           (letter >= 0x2066 && letter <= 0x2069);
}

// Puts a text together from what `show` makes of each letter's bytes; a byte that is none is one
// by itself.
template <class Show>
std::string shown_by(const std::string& text, Show show) {
    std::string shown;
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view from = rest;
        unsigned letter = take_letter(&rest);
        if (!is_unicode(letter)) {
            letter = no_letter;
            rest = from.substr(1);
        }
        shown += show(letter, std::string(from.substr(0, from.size() - rest.size())));
    }
    return shown;
}

}  // namespace

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

std::vector<std::string> fields_of(const std::string& line) {
    constexpr std::string_view ends("<>\0", 3);
    std::vector<std::string> fields;
    for (size_t at = 0; at < line.size();) {
        const size_t end = std::min(line.find_first_of(ends, at), line.size());
        fields.push_back(line.substr(at, end - at));
        at = end + 2;
    }
    return fields;
}

std::vector<std::string> names_in(const std::string& list) {
    std::vector<std::string> names;
    for (size_t at = 0; at < list.size();) {
        const size_t comma = std::min(list.find(',', at), list.size());
        const size_t first = std::min(list.find_first_not_of(" \t", at), comma);
        const size_t last = list.find_last_not_of(" \t", comma - (comma > first));
        if (first < comma)
            names.push_back(list.substr(first, last + 1 - first));
        at = comma + 1;
    }
    return names;
}

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

void append(std::string* list, const std::string& item, const char* between) {
    *list += (list->empty() ? "" : between) + item;
}

std::string listed(const std::vector<std::string>& texts, size_t most) {
    std::string words;
    for (size_t number = 0; number < texts.size() && number < most; ++number)
        words += (number > 0 ? ", " : "") + texts[number];
    return texts.size() > most ? words + " and " + std::to_string(texts.size() - most) + " others"
                               : words;
}

std::string as_utf8(const std::string& text) {
    return shown_by(text, [](unsigned letter, const std::string& bytes) {
        return letter == no_letter ? "\uFFFD" : bytes;
    });
}

std::string without_controls(const std::string& text) {
    return shown_by(text, [](unsigned letter, const std::string& bytes) {
        return letter == no_letter || is_control(letter) ? "\uFFFD" : bytes;
    });
}

std::string printable(const std::string& text, FILE* out) {
    const bool to_terminal = isatty(fileno(out)) != 0;
    return shown_by(text, [&](unsigned letter, const std::string& bytes) {
        if (letter != '\n' && (!to_terminal || (letter != no_letter && !is_control(letter))))
            return bytes;
        std::string escapes;
        for (const char byte : bytes) {
            char escape[8];
            snprintf(escape, sizeof escape, "\\%03o", static_cast<unsigned char>(byte));
            escapes += escape;
        }
        return escapes;
    });
}

std::string plain_path(const std::string& path) {
    std::string plain;
    for (size_t at = 0; at < path.size();) {
        const size_t end = std::min(path.find('/', at), path.size());
        const std::string part = path.substr(at, end - at);
        at = end + 1;
        if (part == "..")
            plain.resize(plain.empty() ? 0 : plain.rfind('/'));
        else if (!part.empty() && part != ".")
            plain += '/' + part;
    }
    return plain.empty() ? "/" : plain;
}

}  // namespace tavrogen::access
