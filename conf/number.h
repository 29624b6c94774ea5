// How every number of the settings and of the command line is read.
#pragma once

#include <limits.h>
#include <stdlib.h>

// The number at the start of a text (leading blanks and a sign allowed, the rest ignored, a
// non-number gives 0), cut to the range of an int: so a 64-bit machine reads it as the 32-bit
// appliance does.
inline int to_int(const char* text, int base = 10) {
    const long value = strtol(text, nullptr, base);
    if (value > INT_MAX)
        return INT_MAX;
    return value < INT_MIN ? INT_MIN : static_cast<int>(value);
}
