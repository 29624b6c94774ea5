// What the program prints. Standard output takes its notices and traces, standard error its
// failures. Write errors are ignored: a message that cannot be written is lost.
#pragma once

#include "include/debug.h"

// Print as printf does, to standard output and to standard error.
void say(const char* format, ...) __attribute__((format(printf, 1, 2)));
void complain(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Prints to standard output when `debug` is at least `level`.
void trace(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
