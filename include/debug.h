// The trace level of the run and the traces that it rules.
#pragma once

// 0 by default; set by "-d N" for the actions that follow on the command line.
extern int debug;

// Prints to standard output, as printf does, when `debug` is at least `level`.
void trace(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
