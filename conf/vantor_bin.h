// The appliance's support library: keyed settings files.
//
// A keyed settings file holds one `key=value` a line. The key is matched exactly from the start
// of the line; the value is all that follows the first '=' up to the newline, taken as it stands:
// no quoting, no trimming, no comments. The first line with the key wins. Lines may be of any
// length; the last one may lack its newline.
//
// Mind the two senses of success: the lookup returns nonzero, the store 0.
#pragma once

#include "base/heap_text.h"
#include "base/name_index.h"

#include <stddef.h>

// A settings file as it stands when the object is made: for a loader that asks for many keys in a
// row. It owns the file's bytes and an index of its keys. Where memory runs out for them, or the
// file cannot be read to its end, each lookup reads the file anew from the front, without the heap.
class SettingsFile {
  public:
    // Keeps `path` itself, not a copy. A file that cannot be opened has no keys.
    explicit SettingsFile(const char* path);

    const char* path() const { return path_; }

    // As get_StringbyKey.
    int find(const char* key, char* value, int size) const;

  private:
    static bool has_key(const char& line, std::string_view key);
    bool read_whole();
    bool index_lines();

    const char* path_;
    Text bytes_;
    size_t size_ = 0;
    NameIndex<char, has_key> lines_;  // the first line of each key
    bool indexed_;
};

// Looks `key` up in the settings file `path` and copies its value into `value`, an area of `size`
// bytes, cut to fit and terminated. Returns 1; or 0 when the key is not there or the file cannot
// be read: then the area is as it was, unless the reading fails inside the value.
int get_StringbyKey(const char* path, const char* key, char* value, int size);

// Stores `value` under `key` in the settings file `path`: in the first line of that key, else in
// a new last line; a file that is not there is created, for its owner alone. All other lines keep
// their bytes. The file is replaced in one step, with its mode and owner, through a synced
// temporary file beside it; a symbolic link stays one. A second hard link keeps the old content,
// and extended attributes are lost. Two processes that store at once take turns (lock_folder).
//
// Returns 0; or -1, with the file as it was, also for what is not a regular file, for a link to
// nothing and for a pair that could not be read back: a newline in it, or a '=' in the key.
int set_StringbyKey(const char* path, const char* key, const char* value);
