// Helpers for C strings: empty, equal, number.
#pragma once

#include <limits.h>
#include <stdlib.h>
#include <string.h>

inline bool is_set(const char* text) {
    return *text != '\0';
}

inline bool equal(const char* left, const char* right) {
    return strcmp(left, right) == 0;
}

// The number at the start of a text: leading blanks and a sign are allowed, the rest is ignored, a
// non-number gives 0. Clamped to the range of an int, so that a 64-bit machine agrees with the
// 32-bit appliance.
inline int to_int(const char* text, int base = 10) {
    const long value = strtol(text, nullptr, base);
    if (value > INT_MAX)
        return INT_MAX;
    return value < INT_MIN ? INT_MIN : static_cast<int>(value);
}
