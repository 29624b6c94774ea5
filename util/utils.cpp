// String routines, the list shaper and the charset names.
#include "util/utils.h"

#include "base/c_string.h"
#include "base/messages.h"
#include "include/code_page.h"

#include <algorithm>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

int str_replace(char* text, const char* pattern, const char* replacement) {
    const size_t gap = strlen(pattern);
    const size_t filling = strlen(replacement);
    if (*pattern == '^') {
        memmove(text + filling, text, strlen(text) + 1);
        memcpy(text, replacement, filling);
        return 1;
    }
    if (gap < filling)  // Kept: scripts match this text, with its spelling.
        say("[waring! utils 187] this routine have a over flow probabirity.\n");
    if (gap == 0)
        return 1;

    size_t growth = 0;
    if (gap < filling)
        for (const char* at = text; (at = strstr(at, pattern)) != nullptr; at += gap)
            growth += filling - gap;
    // The text is first moved to the right by its growth, then copied back to its start: so writing
    // never overtakes reading.
    char* from = text + growth;
    if (growth != 0)
        memmove(from, text, strlen(text) + 1);
    char* to = text;
    while (char* match = strstr(from, pattern)) {
        const size_t kept = static_cast<size_t>(match - from);
        memmove(to, from, kept);
        memcpy(to + kept, replacement, filling);
        to += kept + filling;
        from = match + gap;
    }
    memmove(to, from, strlen(from) + 1);
    return 1;
}

int str_cut_sjis(char* text, int length) {
    if (length < 0 || strlen(text) <= static_cast<size_t>(length))
        return 1;
    int at = 0;
    while (at < length) {
        const auto byte = static_cast<unsigned char>(text[at]);
        const bool lead = (byte >= 0x81 && byte <= 0x9f) || (byte >= 0xe0 && byte <= 0xfc);
        at += lead ? 2 : 1;
    }
    if (at > length)
        text[length - 1] = ' ';
    text[length] = '\0';
    return 1;
}

char* str_duplicate(const char* text) {
    const size_t size = strlen(text) + 1;
    auto* copy = static_cast<char*>(malloc(size));
    if (copy != nullptr)
        memcpy(copy, text, size);
    return copy;
}

static bool is_mark(char byte) {
    return byte == '@' || byte == '"';
}

// Writes the items of a list into `to`, in the form of their kind.
static void shape_items(char* to, const char* from, int kind) {
    constexpr ptrdiff_t part_limit = 127;  // of a domain, and of a name in it
    const char* const start = to;
    for (;; ++from) {
        while (*from == ',' || is_mark(*from))
            ++from;
        if (*from == '\0')
            break;
        if (to != start)
            *to++ = ',';
        if (kind == group_list)
            *to++ = '@';
        char* part = to;
        while (*from != '\0' && *from != ',' && *from != '+') {
            *to = *from++;
            to += is_mark(*to) ? 0 : 1;
        }
        if (*from == '+') {
            to = stpcpy(std::min(to, part + part_limit), "+\"");
            part = to;
            while (*++from != '\0' && *from != ',') {
                *to = *from;
                to += is_mark(*to) ? 0 : 1;
            }
            to = stpcpy(std::min(to, part + part_limit), "\"");
        }
        if (*from == '\0')
            break;
    }
    *to = '\0';
}

int VntSambaFormatShaper(char** list, int kind) {
    if (*list == nullptr || !is_set(*list) || (kind != user_list && kind != group_list))
        return 1;
    // An item of one byte and its comma become five bytes at most.
    auto* shaped = static_cast<char*>(malloc(strlen(*list) * 5 / 2 + 3));
    if (shaped == nullptr) {
        // Kept: scripts match the number 453; it is not a line of this file.
        say("utils VntSambaFormatShaper (453)>calloc failed.\n");
        return 1;
    }
    shape_items(shaped, *list, kind);
    free(*list);
    *list = shaped;
    return 0;
}

const char* IconvCodeCharset(int codepage) {
    const char* charset = code_page_of(codepage).charset;
    say(">IconvCodeCharset CodePage=%d,charset=%s\n", codepage, charset);
    return charset;
}
