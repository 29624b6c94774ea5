// How the writers open and fill the files that they write.
#pragma once

#include "conf/owners.h"

#include <string_view>

// Opens a configuration file to be written anew and announces it on standard output; reports a
// failure on standard error and gives NULL.
Stream open_conf(const char* path);

// Writes fixed lines as they stand.
inline void put(FILE* out, std::string_view lines) {
    fwrite(lines.data(), 1, lines.size(), out);
}
