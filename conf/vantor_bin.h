// The appliance's support library: keyed settings files, a search in a file, and the addresses of
// network interfaces.
//
// A keyed settings file holds one `key=value` a line. The key is matched exactly from the start
// of the line; the value is all that follows the first '=' up to the newline, taken as it stands:
// no quoting, no trimming, no comments. The first line with the key wins. Lines may be of any
// length; the last one may lack its newline.
//
// Mind the two senses of success: the lookup and the search return nonzero, the others 0.
#pragma once

// Looks `key` up in the settings file `path` and copies its value into `value`, an area of `size`
// bytes, cut to fit and terminated. Returns 1; or 0 if the key is not there or the file cannot be
// read: then the area is as it was, or an empty text if the reading fails inside the value. Reads
// the file from the front, without the heap.
int get_StringbyKey(const char* path, const char* key, char* value, int size);

// Stores `value` under `key` in the settings file `path`: in the first line of that key, else in
// a new last line; a missing file is created, for its owner alone. All other lines keep their
// bytes. The file is replaced in one step, with its mode and owner, by a synced temporary file
// beside it; a symbolic link stays one. A second hard link keeps the old content, and extended
// attributes are lost. Nothing is locked: of two processes that store at once, one may undo what
// the other has stored.
//
// Returns 0; or -1, with the file as it was and nothing left beside it, also for what is not a
// regular file, for a link to nothing and for a pair that could not be read back: a newline in it,
// or a '=' in the key.
int set_StringbyKey(const char* path, const char* key, const char* value);

// Copies the first line of the file `path` that contains `text` into `line`, an area of `size`
// bytes, without its newline, cut to fit and terminated. Returns 1; or 0 if no line matches, the
// file cannot be read or memory runs out. Lines may be of any length.
int grep_file(const char* path, const char* text, char* line, int size);

// Writes the hardware address (6 bytes, as transmitted) of a network interface (netdevice(7)).
// Returns 0; or -1 if there is no such interface, or its name does not fit the kernel's field.
int Netdev_GetHwAddr(const char* interface, unsigned char* address);

// Writes the IPv4 address (4 bytes, network byte order) of a network interface. Returns 0; or -1
// as above, or if the interface has no IPv4 address.
int Netdev_GetIpAddr(const char* interface, unsigned char* address);
