// Asks the kernel's mount table what is mounted where.
#pragma once

// The file system types by which the writers decide: media that cannot be written reliably.
enum { fs_fat = 4, fs_ntfs = 5 };

// Looks a mount point up in /proc/mounts. Returns 1 and stores the code of its file system type
// when a known type is mounted there; or 0, with code 0 for an unknown type and the code as it
// was when the mount point is not in the table. The mount point is searched as a part of a line.
int isMounted(const char* mount_point, int* type);
