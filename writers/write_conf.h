// Opens, announces and writes one generated file.
#pragma once

#include "base/messages.h"
#include "base/output.h"

// Writes the file `path` anew by write(out). Standard output announces it, unless the trace level
// is negative. Returns 0; or -1 if it cannot be opened, which standard error says.
template <class Write>
int write_conf(const char* path, Write write) {
    Output out(path);
    if (!out) {
        complain("cannot open %s\n", path);
        return -1;
    }
    trace(0, "file:%s\n", path);
    write(out);
    return 0;
}
