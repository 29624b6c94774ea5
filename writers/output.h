// How the writers open and fill the files that they write.
#pragma once

#include "conf/owners.h"

#include <initializer_list>
#include <string_view>

// Opens a configuration file to be written anew and announces it on standard output; reports a
// failure on standard error and gives NULL.
Stream open_conf(const char* path);

// Writes a configuration file by write(out) and closes it. Returns 0; or -1 when it cannot be
// opened.
template <class Write>
int write_conf(const char* path, Write write) {
    const Stream out = open_conf(path);
    if (!out)
        return -1;
    write(out.get());
    return 0;
}

// Writes fixed lines as they stand.
inline void put(FILE* out, std::string_view lines) {
    fwrite_unlocked(lines.data(), 1, lines.size(), out);
}

// Writes texts one behind the other: for the lines of every share, where a format would take
// several times as long.
void put_all(FILE* out, std::initializer_list<std::string_view> texts);
