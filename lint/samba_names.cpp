// How Samba compares the names of sections.
#include "lint/samba_names.h"

// Upper-case letters: every `step`-th one from `first` to `last`; `offset` leads to the lower case.
static constexpr struct {
    unsigned first;
    unsigned last;
    unsigned step;
    unsigned offset;
} upper_case[] = {
    {'A', 'Z', 1, 32},     {0xc0, 0xd6, 1, 32},   {0xd8, 0xde, 1, 32},   {0x100, 0x12e, 2, 1},
    {0x132, 0x136, 2, 1},  {0x139, 0x147, 2, 1},  {0x14a, 0x176, 2, 1},  {0x179, 0x17d, 2, 1},
    {0x391, 0x3a9, 1, 32}, {0x400, 0x40f, 1, 80}, {0x410, 0x42f, 1, 32}, {0xff21, 0xff3a, 1, 32},
};

static unsigned lower_case(unsigned letter) {
    for (const auto& row : upper_case)
        if (letter >= row.first && letter <= row.last && (letter - row.first) % row.step == 0)
            return letter + row.offset;
    return letter;
}

// The number of bytes of the character that begins with `lead`: 1 to 3; 1 for every other byte.
static int length_of(unsigned char lead) {
    return lead >= 0xe0 && lead < 0xf0 ? 3 : lead >= 0xc2 && lead < 0xe0 ? 2 : 1;
}

void fold_case(char* text) {
    while (*text != '\0') {
        const auto lead = static_cast<unsigned char>(*text);
        const int length = length_of(lead);
        unsigned letter = length == 1 ? lead : lead & (length == 2 ? 0x1fU : 0x0fU);
        int read = 1;
        for (; read < length && (text[read] & 0xc0) == 0x80; ++read)
            letter = letter << 6 | (static_cast<unsigned char>(text[read]) & 0x3fU);
        if (read < length || (length == 1 && lead >= 0x80)) {
            ++text;  // not UTF-8
            continue;
        }
        letter = lower_case(letter);
        for (int at = length - 1; at > 0; --at, letter >>= 6)
            text[at] = static_cast<char>(0x80 | (letter & 0x3f));
        *text = static_cast<char>(length == 1 ? letter : (length == 2 ? 0xc0 : 0xe0) | letter);
        text += length;
    }
}
