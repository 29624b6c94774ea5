// String routines, the list shaper and the charset names.
#include "util/utils.h"

#include "base/heap_text.h"
#include "base/messages.h"
#include "base/text.h"
#include "include/code_page.h"

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
    if (gap < filling)
        say("[waring! utils 187] this routine have a over flow probabirity.\n");  // Kept: as it is.
    if (gap == 0)
        return 1;

    size_t growth = 0;
    if (gap < filling)
        for (const char* at = text; (at = strstr(at, pattern)) != nullptr; at += gap)
            growth += filling - gap;
    // Read from the text moved to the right by the growth, write from its start: the writing
    // never overtakes the reading.
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

// Takes the marks of an earlier shaping out of a list, in place.
static void delete_marks(char* list) {
    char* to = list;
    for (const char* at = list; *at != '\0'; ++at)
        if (*at != '@' && *at != '"')
            *to++ = *at;
    *to = '\0';
}

// Appends at most the first 127 bytes of a text; returns the end, which is not terminated.
static char* append_part(char* to, const char* text, size_t length) {
    const size_t kept = length < 127 ? length : 127;
    memcpy(to, text, kept);
    return to + kept;
}

int VntSambaFormatShaper(char** list, int kind) {
    if (*list == nullptr || !is_set(*list) || (kind != user_list && kind != group_list))
        return 1;
    constexpr size_t marks = 3;  // of one item: the "@" and two quotes
    size_t size = strlen(*list) + 1 + marks;
    for (const char* at = *list; *at != '\0'; ++at)
        size += *at == ',' ? marks : 0;
    auto* end = static_cast<char*>(malloc(size));
    if (end == nullptr) {
        say("utils VntSambaFormatShaper (453)>calloc failed.\n");  // Kept: the number, too.
        return 1;
    }
    const Text items(*list);
    *list = end;

    delete_marks(items.get());
    *end = '\0';
    const char* comma = "";
    for_each_item(items.get(), [&](const char* item) {
        end = stpcpy(end, comma);
        end = stpcpy(end, kind == group_list ? "@" : "");
        const char* plus = strchr(item, '+');
        if (plus == nullptr) {
            end = stpcpy(end, item);
        } else {
            end = append_part(end, item, static_cast<size_t>(plus - item));
            end = stpcpy(end, "+\"");
            end = append_part(end, plus + 1, strlen(plus + 1));
            end = stpcpy(end, "\"");
        }
        comma = ",";
    });
    return 0;
}

const char* IconvCodeCharset(int codepage) {
    const char* charset = code_page_of(codepage).charset;
    say(">IconvCodeCharset CodePage=%d,charset=%s\n", codepage, charset);
    return charset;
}
