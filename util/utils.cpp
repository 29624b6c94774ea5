// String routines, the list shaper and the charset names.
#include "util/utils.h"

#include "conf/owners.h"
#include "include/code_page.h"

#include <stdio.h>
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
        puts("[waring! utils 187] this routine have a over flow probabirity.");  // Kept: as it is.
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
    auto* copy = static_cast<char*>(calloc(size, 1));
    if (copy != nullptr)
        memcpy(copy, text, size);
    return copy;
}

static int out_of_memory() {
    puts("utils VntSambaFormatShaper (453)>calloc failed.");  // Kept: the number, too.
    return 1;
}

int VntSambaFormatShaper(char** list, int kind) {
    if (*list == nullptr || **list == '\0' || (kind != user_list && kind != group_list))
        return 1;
    const Text copy(str_duplicate(*list));
    if (!copy)
        return out_of_memory();
    str_replace(copy.get(), "@", "");
    str_replace(copy.get(), "\"", "");

    const size_t mark = kind == group_list ? 1 : 0;
    size_t size = strlen(copy.get()) + 1;
    for_each_item(copy.get(),
                  [&](const char* item) { size += mark + (strchr(item, '+') != nullptr ? 2 : 0); });
    auto* shaped = static_cast<char*>(realloc(*list, size));
    if (shaped == nullptr)
        return out_of_memory();
    *list = shaped;

    *shaped = '\0';
    const char* comma = "";
    for_each_item(copy.get(), [&](const char* item) {
        const char* prefix = mark != 0 ? "@" : "";
        const char* plus = strchr(item, '+');
        if (plus == nullptr)
            shaped += sprintf(shaped, "%s%s%s", comma, prefix, item);
        else
            shaped +=
                sprintf(shaped, "%s%s%.*s+\"%.127s\"", comma, prefix,
                        plus - item < 127 ? static_cast<int>(plus - item) : 127, item, plus + 1);
        comma = ",";
    });
    return 0;
}

const char* IconvCodeCharset(int codepage) {
    const char* charset = code_page_of(codepage).charset;
    printf(">IconvCodeCharset CodePage=%d,charset=%s\n", codepage, charset);
    return charset;
}
