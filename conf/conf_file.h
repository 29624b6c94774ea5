// The settings wrappers: typed lookups in keyed settings files, with one message for a miss.
//
// A lookup returns 0 (LoadConfFileOnOff: 0 or 1). If the key is missing or the file cannot be read,
// it prints "WRAPPER:key=[KEY] not found in FILE." to standard output, returns -1 and leaves the
// destination. If reading fails inside a value, a text is empty.
//
// A `file` is a path, which is read for that one key without the heap; or what a loader that asks
// for many keys has loaded.
#pragma once

#include "conf/settings_file.h"

#include <stddef.h>

// Reads a text, cut to `size` - 1 bytes.
int LoadConfFileString(const SettingsFile& file, const char* key, char* value, int size);

// Reads a decimal number (base/c_string.h), from at most 127 bytes.
int LoadConfFileInt(const SettingsFile& file, const char* key, int* value);

// Reads the low 8 bits of a decimal number.
int LoadConfFileChar(const SettingsFile& file, const char* key, unsigned char* value);

// Returns 1 if the value is exactly "on", 0 for any other value, -1 if the key is missing.
int LoadConfFileOnOff(const SettingsFile& file, const char* key);

// Stores a value (set_StringbyKey) and reports the outcome on standard output. Returns 0 or -1.
int SaveConfFileString(const char* file, const char* key, const char* value);

// Reads a text into a fixed area, whose size is the limit.
template <size_t size>
int LoadConfFileString(const SettingsFile& file, const char* key, char (&value)[size]) {
    return LoadConfFileString(file, key, value, static_cast<int>(size));
}
