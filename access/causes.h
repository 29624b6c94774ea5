// Finds the settings that cause what the services do otherwise than meant: a cause is what heals
// it, so that each cure is tried before it is told.
#pragma once

#include "access/services/judge.h"

namespace tavrogen::access {

struct Finding {
    std::string file;  // the file to edit
    int line = 0;      // 0: the file as a whole
    Cause cause;
    Differences effects;

    Effect effect() const;  // the worst
};

// All findings, worst first. Those of one cause in several services are one.
std::vector<Finding> find_causes(const Machine& machine);

}  // namespace tavrogen::access
