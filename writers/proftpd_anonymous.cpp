// Writes the anonymous section of proftpd.conf, in the order of the file.
#include "util/mount_probe.h"
#include "writers/output.h"
#include "writers/proftpd_sections.h"
#include "writers/share_access.h"

static constexpr char anonymous_hidden_body[] =
    "    HideNoAccess on\n"
    "    <Limit ALL>\n"
    "      DenyAll\n"
    "    </Limit>\n"
    "  </Directory>\n";

static constexpr char anonymous_read_only_body[] =
    "    <Limit WRITE>\n"
    "      DenyAll\n"
    "    </Limit>\n"
    "  </Directory>\n";

static constexpr char anonymous_writable_body[] =
    "    <Limit WRITE>\n"
    "      AllowAll\n"
    "    </Limit>\n"
    "  </Directory>\n";

static void write_anonymous_volume(FILE* out, const char* kind, int number, visibility seen) {
    // Kept: the first lines of the blocks are not indented.
    if (seen == visibility::hidden)
        fprintf(out, "<Directory /mnt/%s%d>\n%s\n", kind, number, anonymous_hidden_body);
    if (seen != visibility::listed)
        return;
    fprintf(out, "<Directory /mnt/%s%d>\n%s\n", kind, number, anonymous_read_only_body);
    // Kept: no empty line behind the spool block.
    fprintf(out, "<Directory /mnt/%s%d/spool>\n%s", kind, number, anonymous_hidden_body);
    fprintf(out, "<Directory /mnt/%s%d/lost+found>\n%s\n", kind, number, anonymous_hidden_body);
}

// Kept: two cursors. Whether there is a share at all, and whether it is read-only, is asked of
// the share that the user section has left over; all else of the shares from the first one on.
static void write_anonymous_usb_disks(FILE* out, const SHARE_INFO* share,
                                      const SHARE_INFO* leftover) {
    for (const char* mount_point : usb_mount_points) {
        if (leftover == nullptr) {
            put_hidden_block(out, mount_point);
            continue;
        }
        fprintf(out, "  <Directory /mnt/%s>\n", share->volume);
        int fs_type = 0;
        if (share->ftp && isMounted(mount_point, &fs_type) && open_to_everyone(*share))
            put(out, read_only_on(*leftover, fs_type) ? anonymous_read_only_body
                                                      : anonymous_writable_body);
        else
            put(out, anonymous_hidden_body);
        put(out, "\n");
        share = share->next;  // where there is a leftover, there are two before it
    }
}

// Anonymous users never see a share with named users or groups.
static void write_anonymous_shares(FILE* out, const SHARE_INFO* share) {
    for (; share != nullptr; share = share->next) {
        fprintf(out, "  <Directory /mnt/%s/%s>\n", share->volume, share->name);
        if (share->ftp && open_to_everyone(*share))
            put(out, share->read_only ? anonymous_read_only_body : anonymous_writable_body);
        else
            put(out, anonymous_hidden_body);
        put(out, "\n");
    }
}

void write_anonymous_section(FILE* out, const proftpd_inputs& inputs, const SHARE_INFO* leftover) {
    const SYS_INFO& info = inputs.info;
    put(out,
        "<Anonymous /mnt>\n"
        "  User guest\n"
        "  Group hdusers\n"
        "  UserAlias anonymous guest\n"
        "  <Limit All>\n"  // Kept: All, against ALL elsewhere.
        "    IgnoreHidden on\n"
        "  </Limit>\n"
        "  <Limit READ>\n"
        "  </Limit READ>\n"  // Kept: READ in the closing tag.
        "  <Limit WRITE>\n"
        "    DenyAll\n"
        "  </Limit>\n"
        "  <Limit SITE_CHMOD>\n"
        "    DenyAll\n"
        "  </Limit>\n"
        "\n");
    fprintf(out, "  <Directory /mnt/ram>\n%s\n", anonymous_hidden_body);
    fprintf(out, "  <Directory /mnt/info>\n%s\n",
            info.info_visible ? anonymous_read_only_body : anonymous_hidden_body);
    if (const char* root = hidden_msdfs_root(inputs.msdfs))
        fprintf(out, "  <Directory %s>\n%s\n", root, anonymous_hidden_body);
    fprintf(out, "  <Directory /mnt/authtest>\n%s\n", anonymous_hidden_body);
    for (int number = 1; number <= 2; ++number)
        write_anonymous_volume(out, "array", number, array_visibility(info, number));
    for (int number = 1; number <= 4; ++number)
        write_anonymous_volume(out, "disk", number, disk_visibility(info, number));
    write_anonymous_usb_disks(out, &inputs.usb_shares, leftover);
    if (inputs.share_count != 0)
        write_anonymous_shares(out, &inputs.shares);
    put(out, "</Anonymous>\n");
}
