// Notices, failures and traces on the standard streams. Notices and traces go to standard output,
// failures to standard error. Write errors are ignored: a message that cannot be written is lost.
#pragma once

#include "include/debug.h"

// Print as printf does, to standard output and to standard error.
void say(const char* format, ...) __attribute__((format(printf, 1, 2)));
void complain(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Prints to standard output if `debug` is at least `level`. trace(0, ...) is a notice that a
// negative level silences; say() always prints.
void trace(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
