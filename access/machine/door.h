// Runs the program's own writers in memory.
#pragma once

#include "access/machine/model.h"

namespace tavrogen::access {

// What a run of all writers on that machine would write: paths and bytes. Files that could not be
// opened there are written, too. Not for two threads at once.
std::map<std::string, std::string> run_writers(const Machine& on);

// The same for one service.
std::map<std::string, std::string> run_writers(const Machine& on, Service service);

// What the writers look for and cannot open: paths, and the values of errno.
std::map<std::string, int> missing_inputs(const Machine& on);

}  // namespace tavrogen::access
