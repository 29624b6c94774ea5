// Notices, failures and traces on the standard streams.
#include "base/messages.h"

#include <stdarg.h>
#include <stdio.h>

int debug = 0;

void say(const char* format, ...) {
    va_list values;
    va_start(values, format);
    vprintf(format, values);
    va_end(values);
}

void complain(const char* format, ...) {
    va_list values;
    va_start(values, format);
    vfprintf(stderr, format, values);
    va_end(values);
}

void trace(int level, const char* format, ...) {
    if (debug < level)
        return;
    va_list values;
    va_start(values, format);
    vprintf(format, values);
    va_end(values);
}
