// The appliance's support library: keyed settings files, line search, network interfaces.
//
// A keyed settings file holds one `key=value` a line. The key is matched exactly from the start
// of the line; the value is all that follows the first '=' up to the newline, taken as it stands:
// no quoting, no trimming, no comments. The first line with the key wins. Lines may be of any
// length; the last one may lack its newline.
//
// Mind the two senses of success: the lookups return nonzero, the other operations 0.
#pragma once

// Looks `key` up in the settings file `path` and copies its value into `value`, an area of `size`
// bytes, cut to fit and terminated. Returns 1; or 0 when the key is not there or the file cannot
// be read: then the area is as it was, unless the reading fails inside the value. Reads the file
// once, front to back, up to the key, and allocates nothing.
int get_StringbyKey(const char* path, const char* key, char* value, int size);

// While one is in scope, the lookups cache the settings file that they have read last, where it
// has less than 64 KiB: for a loader that asks for many keys in a row. What another process changes
// in the file meanwhile is not seen.
class SettingsCache {
  public:
    SettingsCache();
    ~SettingsCache();
    SettingsCache(const SettingsCache&) = delete;
    SettingsCache& operator=(const SettingsCache&) = delete;
};

// Stores `value` under `key` in the settings file `path`: in the first line of that key, else in
// a new last line; a file that is not there is created, for its owner alone. All other lines keep
// their bytes. The file is replaced in one step, with its mode and owner, through a synced
// temporary file beside it; a symbolic link stays one. Returns 0; or -1, with the file as it was,
// also for a link to nothing and for a pair that could not be read back: a newline in it, or a
// '=' in the key.
int set_StringbyKey(const char* path, const char* key, const char* value);

// Copies the first line of the file `path` that contains `text` into `line`, an area of `size`
// bytes, without its newline, cut to fit and terminated. Returns 1; or 0 when no line matches or
// the file cannot be read.
int grep_file(const char* path, const char* text, char* line, int size);

// Writes the hardware address (6 bytes, as transmitted) of a network interface. Returns 0; or -1
// when there is no such interface, or its name does not fit the kernel's field (netdevice(7)).
int Netdev_GetHwAddr(const char* interface, unsigned char* address);

// Writes the IPv4 address (4 bytes, network byte order) of a network interface. Returns 0; or -1
// as above, or when the interface has no IPv4 address.
int Netdev_GetIpAddr(const char* interface, unsigned char* address);
