// Asks the kernel's mount table what is mounted where.
#pragma once

// The codes of the file systems whose disks the writers treat as read-only.
enum { fs_fat = 4, fs_ntfs = 5 };

// Looks for the first line of /proc/mounts that contains `mount_point`. Returns 1 and stores the
// code of its file system. Returns 0 with code 0 for an unknown type; with the code unchanged if no
// line matches or the line has no third field. Kept: the line may contain the mount point in a
// longer path or in the name of the device, where one expects the second field to be compared.
int isMounted(const char* mount_point, int* type);
