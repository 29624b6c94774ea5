// The settings wrappers: typed lookups in keyed settings files, with one message for a miss.
//
// Every lookup returns 0 (LoadConfFileOnOff: the switch) or, when the key is not there or the
// file cannot be read, prints "WRAPPER:key=[KEY] not found in FILE." to standard output and
// returns -1. The destination then is as it was, unless the reading fails inside the value: then
// a text holds the part that was read.
//
// A loader makes one SettingsFile for all its keys; a path instead reads the file for one key.
#pragma once

#include "conf/vantor_bin.h"

#include <stddef.h>

// Reads a text, cut to `size` - 1 bytes.
int LoadConfFileString(const SettingsFile& file, const char* key, char* value, int size);
int LoadConfFileString(const char* file, const char* key, char* value, int size);

// Reads a decimal number (base/text.h), from at most 127 bytes.
int LoadConfFileInt(const SettingsFile& file, const char* key, int* value);
int LoadConfFileInt(const char* file, const char* key, int* value);

// Reads the low 8 bits of a decimal number.
int LoadConfFileChar(const SettingsFile& file, const char* key, unsigned char* value);
int LoadConfFileChar(const char* file, const char* key, unsigned char* value);

// Returns 1 when the value is exactly "on", 0 for any other value, -1 when the key is missing.
int LoadConfFileOnOff(const SettingsFile& file, const char* key);
int LoadConfFileOnOff(const char* file, const char* key);

// Stores a value (set_StringbyKey) and reports the outcome on standard output. Returns 0 or -1.
int SaveConfFileString(const char* file, const char* key, const char* value);

// Reads a text into a fixed area, whose size is the limit.
template <class File, size_t size>
int LoadConfFileString(const File& file, const char* key, char (&value)[size]) {
    return LoadConfFileString(file, key, value, static_cast<int>(size));
}
