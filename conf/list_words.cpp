// The fields of a list line.
#include "conf/list_words.h"

#include "conf/text.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static size_t field_length(const char* cursor) {
    const char* end = cursor;
    while (*end != '\0' && *end != '<' && *end != '>')
        ++end;
    return static_cast<size_t>(end - cursor);
}

const char* get_words(const char* cursor, char* destination, int size) {
    if (cursor == nullptr) {
        puts(">get_words:src is NULL.");
        return nullptr;
    }
    const size_t length = field_length(cursor);
    if (size > 0) {
        const size_t room = static_cast<size_t>(size) - 1;
        const size_t kept = length < room ? length : room;
        memcpy(destination, cursor, kept);
        destination[kept] = '\0';
    }
    return cursor + length + 2;
}

const char* get_words_with_allocate(const char* cursor, char** target) {
    if (cursor == nullptr) {
        puts(">get_words_with_allocate:src is NULL.");
        return nullptr;
    }
    const size_t length = field_length(cursor);
    *target = static_cast<char*>(malloc(length + 1));
    if (*target == nullptr) {
        fputs("get_words_with_allocate:memory allocate fail.", stdout);  // Kept: no newline.
        return nullptr;
    }
    memcpy(*target, cursor, length);
    (*target)[length] = '\0';
    return cursor + length + 2;
}

const char* take(const char* cursor, int& member) {
    // Most numbers are one digit, for which the general way is long.
    if (cursor != nullptr && cursor[0] >= '0' && cursor[0] <= '9' && cursor[1] == '<') {
        member = cursor[0] - '0';
        return cursor + 3;
    }
    char digits[32] = "";
    cursor = take(cursor, digits);
    member = to_int(digits);
    return cursor;
}

const char* take(const char* cursor, unsigned char& member) {
    int number = 0;
    cursor = take(cursor, number);
    member = static_cast<unsigned char>(number);
    return cursor;
}

const char* take_switch(const char* cursor, unsigned char& member) {
    char word[16] = "";
    cursor = take(cursor, word);
    member = equal(word, "on");
    return cursor;
}
