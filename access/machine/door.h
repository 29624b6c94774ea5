// Runs the program's own writers in memory: Machine::after_run().
#pragma once

#include "access/machine/machine.h"

namespace tavrogen::access {

// What the writers look for and cannot open: paths, and the values of errno. Not for two threads
// at once.
std::map<std::string, int> missing_inputs(const Machine& on);

}  // namespace tavrogen::access
