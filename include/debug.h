// The trace level of the run (base/messages.h).
#pragma once

// 0 by default; set by "-d N" for the actions that follow on the command line.
extern int debug;
