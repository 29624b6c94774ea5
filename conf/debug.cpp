// The trace level of the run and the traces that it rules.
#include "include/debug.h"

#include <stdarg.h>
#include <stdio.h>

int debug = 0;

void trace(int level, const char* format, ...) {
    if (debug < level)
        return;
    va_list values;
    va_start(values, format);
    vprintf(format, values);
    va_end(values);
}
