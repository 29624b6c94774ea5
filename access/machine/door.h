// Runs the program's own loaders, and its writers in memory: Machine::after_run().
#pragma once

#include "access/machine/machine.h"

namespace tavrogen::access {

// Lets the program's loaders read the settings of an appliance, as long as it is there. Not for two
// threads at once.
void load_from(const Machine& appliance);

// What the writers look for and cannot open: paths, and the values of errno. Not for two threads
// at once.
std::map<std::string, int> missing_inputs(const Machine& on);

}  // namespace tavrogen::access
