// Asks the kernel's mount table what is mounted where.
#include "util/mount_probe.h"

#include "base/c_string.h"
#include "base/messages.h"
#include "conf/vantor_bin.h"

#include <stdio.h>
#include <string.h>

static constexpr struct {
    const char* name;
    int code;
    bool whole;  // the type is exactly the name; else it begins with it
} file_systems[] = {
    {"xfs", 1, false},       {"ext3", 2, true},       {"ext2", 3, true},     {"vfat", fs_fat, true},
    {"msdos", fs_fat, true}, {"ntfs", fs_ntfs, true}, {"reiserfs", 6, true}, {"jfs", 7, true},
};

int isMounted(const char* mount_point, int* type) {
    trace(1, "isMounted>%s\n", mount_point);
    char line[256];
    if (!grep_file("/proc/mounts", mount_point, line, sizeof line))
        return 0;
    trace(1, "isMounted found.\n");

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
        const bool known =
            row.whole ? equal(name, row.name) : strncmp(name, row.name, strlen(row.name)) == 0;
        if (!known)
            continue;
        trace(1, " (%s)\n", row.name);
        *type = row.code;
        return 1;
    }
    say("unknown fs_type [%s]\n", name);
    *type = 0;
    return 0;
}
