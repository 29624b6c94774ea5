// Writes the anonymous section of proftpd.conf, in the order of the file.
#include "util/mount_probe.h"
#include "writers/output.h"
#include "writers/proftpd_sections.h"
#include "writers/share_access.h"

static constexpr char hidden_body[] =
    "    HideNoAccess on\n"
    "    <Limit ALL>\n"
    "      DenyAll\n"
    "    </Limit>\n"
    "  </Directory>\n";

static constexpr char read_only_body[] =
    "    <Limit WRITE>\n"
    "      DenyAll\n"
    "    </Limit>\n"
    "  </Directory>\n";

static constexpr char writable_body[] =
    "    <Limit WRITE>\n"
    "      AllowAll\n"
    "    </Limit>\n"
    "  </Directory>\n";

static void write_volume(FILE* out, const char* kind, int number, volume view) {
    // Kept: the first lines of the blocks are not indented.
    if (view == volume::hidden)
        fprintf(out, "<Directory /mnt/%s%d>\n%s\n", kind, number, hidden_body);
    if (view != volume::shown)
        return;
    fprintf(out, "<Directory /mnt/%s%d>\n%s\n", kind, number, read_only_body);
    fprintf(out, "<Directory /mnt/%s%d/spool>\n%s", kind, number, hidden_body);
    fprintf(out, "<Directory /mnt/%s%d/lost+found>\n%s\n", kind, number, hidden_body);
}

// Kept: two cursors. Whether there is a share at all, and whether it is read-only, is asked of
// the share that the user section has left over; all else of the shares from the first one on.
static void write_usb_disks(FILE* out, const SHARE_INFO* share, const SHARE_INFO* unused) {
    for (const char* mount_point : usb_disks) {
        if (unused == nullptr) {
            put_hidden_block(out, mount_point);
            continue;
        }
        fprintf(out, "  <Directory /mnt/%s>\n", share->volume);
        int fs_type = 0;
        if (share->ftp && isMounted(mount_point, &fs_type) && open_to_everyone(*share))
            put(out, read_only_on(*unused, fs_type) ? read_only_body : writable_body);
        else
            put(out, hidden_body);
        put(out, "\n");
        share = share->next;
    }
}

// Anonymous users never see a share with named users or groups.
static void write_shares(FILE* out, const SHARE_INFO* share) {
    for (; share != nullptr; share = share->next) {
        fprintf(out, "  <Directory /mnt/%s/%s>\n", share->volume, share->name);
        if (share->ftp && open_to_everyone(*share))
            put(out, share->read_only ? read_only_body : writable_body);
        else
            put(out, hidden_body);
        put(out, "\n");
    }
}

void write_anonymous_section(FILE* out, const proftpd_inputs& inputs, const SHARE_INFO* unused) {
    const SYS_INFO& info = inputs.info;
    put(out,
        "<Anonymous /mnt>\n"
        "  User guest\n"
        "  Group hdusers\n"
        "  UserAlias anonymous guest\n"
        "  <Limit All>\n"
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
    fprintf(out, "  <Directory /mnt/ram>\n%s\n", hidden_body);
    fprintf(out, "  <Directory /mnt/info>\n%s\n", info.info_visible ? read_only_body : hidden_body);
    if (const char* root = hidden_msdfs_root(inputs.msdfs))
        fprintf(out, "  <Directory %s>\n%s\n", root, hidden_body);
    fprintf(out, "  <Directory /mnt/authtest>\n%s\n", hidden_body);
    for (int number = 1; number <= 2; ++number)
        write_volume(out, "array", number, array_view(info, number));
    for (int number = 1; number <= 4; ++number)
        write_volume(out, "disk", number, disk_view(info, number));
    write_usb_disks(out, &inputs.usb_shares, unused);
    if (inputs.share_count != 0)
        write_shares(out, &inputs.shares);
    put(out, "</Anonymous>\n");
}
