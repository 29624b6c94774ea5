// Asks the kernel's mount table what is mounted where.
#include "util/mount_probe.h"

#include "conf/vantor_bin.h"
#include "include/debug.h"

#include <stdio.h>
#include <string.h>

static constexpr struct {
    const char* name;
    size_t compared;  // leading bytes, the terminator included where the whole type must match
    int code;
} file_systems[] = {
    {"xfs", 3, 1},  // and all that begins so
    {"ext3", 5, 2},       {"ext2", 5, 3},     {"vfat", 5, fs_fat}, {"msdos", 6, fs_fat},
    {"ntfs", 5, fs_ntfs}, {"reiserfs", 9, 6}, {"jfs", 4, 7},
};

int isMounted(const char* mount_point, int* type) {
    trace(1, "%s>%s\n", "isMounted", mount_point);
    char line[256];
    if (!grep_file("/proc/mounts", mount_point, line, sizeof line))
        return 0;
    trace(1, "%s found.\n", "isMounted");

    // The third field of "device mount_point type options" (fstab(5)).
    const char* blank = strchr(line, ' ');
    if (blank != nullptr)
        blank = strchr(blank + 1, ' ');
    if (blank == nullptr)
        return 0;
    char name[16];  // a longer type is cut
    snprintf(name, sizeof name, "%.*s", static_cast<int>(strcspn(blank + 1, " ")), blank + 1);
    trace(1, "format:%s\n", name);

    for (const auto& row : file_systems) {
        if (strncmp(name, row.name, row.compared) != 0)
            continue;
        trace(1, " (%s)\n", row.name);
        *type = row.code;
        return 1;
    }
    printf("unknown fs_type [%s]\n", name);
    *type = 0;
    return 0;
}
