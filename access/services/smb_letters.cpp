// How Samba compares names: its table of letters, and which bytes it takes for letters.
#include "access/services/smb_conf.h"

namespace tavrogen::access::smb {

namespace {

// Upper-case letters, in order: every `step`-th one from `first` to `last`; `offset` leads to the
// lower case.
constexpr struct {
    unsigned first;
    unsigned last;
    unsigned step;
    int offset;
} upper_case[] = {
#include "access/services/smb_letters.inc"
};

unsigned lower_case(unsigned letter) {
    for (const auto& row : upper_case) {
        if (letter < row.first)
            break;
        if (letter <= row.last && (letter - row.first) % row.step == 0)
            return letter + static_cast<unsigned>(row.offset);
    }
    return letter;
}

void put_letter(unsigned letter, std::string* text) {
    const int length = letter < 0x80 ? 1 : letter < 0x800 ? 2 : letter < 0x10000 ? 3 : 4;
    if (length == 1) {
        *text += static_cast<char>(letter);
        return;
    }
    *text += static_cast<char>((0xf00U >> length & 0xffU) | letter >> (6 * (length - 1)));
    for (int at = length - 2; at >= 0; --at)
        *text += static_cast<char>(0x80U | (letter >> (6 * at) & 0x3fU));
}

}  // namespace

std::optional<std::string> fold(std::string_view name) {
    std::string folded;
    while (!name.empty()) {
        const unsigned letter = take_letter(&name);
        if (letter == no_letter)
            return {};
        put_letter(lower_case(letter), &folded);
    }
    return folded;
}

std::optional<std::string> fold_wish(std::string_view name) {
    auto folded = fold(name);
    constexpr std::string_view last_sigma = "\u03c2", sigma = "\u03c3";
    for (size_t at = 0; folded && (at = folded->find(last_sigma, at)) != std::string::npos;)
        folded->replace(at, last_sigma.size(), sigma);
    return folded;
}

bool is_utf8(std::string_view text) {
    while (!text.empty())
        if (!is_unicode(take_letter(&text)))
            return false;
    return true;
}

}  // namespace tavrogen::access::smb
