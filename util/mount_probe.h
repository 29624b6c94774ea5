// Asks the kernel's mount table what is mounted where.
#pragma once

// The codes of the file systems whose disks the writers treat as read-only.
enum { fs_fat = 4, fs_ntfs = 5 };

// Looks a mount point up in /proc/mounts. Returns 1 and stores the code of its file system type
// when a known type is mounted there; or 0, with code 0 for an unknown type, and with the code as
// it was when the mount point is not in the table or its line has no third field. The first line
// that contains the mount point counts. Kept: it may contain it in a longer path or in the name of
// the device, where one expects the second field to be compared.
int isMounted(const char* mount_point, int* type);
