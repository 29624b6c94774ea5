// The settings file that a wrapper asks: on disk, or loaded and indexed.
#pragma once

#include "base/name_index.h"
#include "conf/whole_file.h"

class SettingsFile {
  public:
    // Keeps `path` itself, not a copy, and reads nothing. Converts from a path, so that the wrappers
    // take either.
    SettingsFile(const char* path) : path_(path) {}

    // Reads the file and indexes its keys, for a loader that asks for many: on ten files of twenty
    // iSCSI disks that takes a fifth of the instructions. If the file is larger than 16 MiB or
    // cannot be read to its end, or memory runs out, each find() still reads the file.
    void load();

    const char* path() const { return path_; }

    // As get_StringbyKey. Without load() it reads the file from the front, without the heap.
    int find(const char* key, char* value, int size) const;

  private:
    bool index_keys();

    const char* path_;
    bool loaded_ = false;
    WholeFile file_;
    NameIndex<char> values_;  // where the first value of each key begins
};
