// What the services have written, and whether it can be read.
#pragma once

#include "tests/root.h"

#include <map>

// All that the services have written, by path.
std::map<std::string, std::string> outputs(const Root& root);

// What is wrong with the form of such a file: it does not go on to its end, a block is left open
// or closed twice, or a text was missing where printf wrote it. Empty: nothing is.
std::string fault_in(const std::string& path, const std::string& text);
