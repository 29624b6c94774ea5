// Writes the anonymous section of proftpd.conf, in the order of the file.
#include "util/mount_probe.h"
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

static void write_anonymous_volume(Output& out, const char* kind, int number, visibility seen) {
    // Kept: the first lines are not indented, unlike those of the fixed blocks and the shares.
    if (seen == visibility::hidden)
        put(out, "<Directory /mnt/", kind, number, ">\n", anonymous_hidden_body, "\n");
    if (seen != visibility::listed)
        return;
    put(out, "<Directory /mnt/", kind, number, ">\n", anonymous_read_only_body, "\n");
    // Kept: no empty line follows the spool block; one follows every other block.
    put(out, "<Directory /mnt/", kind, number, "/spool>\n", anonymous_hidden_body);
    put(out, "<Directory /mnt/", kind, number, "/lost+found>\n", anonymous_hidden_body, "\n");
}

// Kept: the third USB share decides whether the USB disks are shown at all, and whether they are
// read-only, where one expects each disk's own share to decide. The disk's share decides the rest.
static void write_anonymous_usb_disks(Output& out, const SHARE_INFO* share,
                                      const SHARE_INFO* third_usb_share) {
    for (const char* mount_point : usb_mount_points) {
        if (third_usb_share == nullptr) {
            put_hidden_block(out, mount_point);
            continue;
        }
        put(out, "  <Directory /mnt/", share->volume, ">\n");
        int fs_type = 0;
        if (share->ftp && isMounted(mount_point, &fs_type) && open_to_everyone(*share))
            put(out, read_only_on(*third_usb_share, fs_type) ? anonymous_read_only_body
                                                             : anonymous_writable_body);
        else
            put(out, anonymous_hidden_body);
        put(out, "\n");
        share = share->next;  // where there is a third share, there are two before it
    }
}

// Anonymous users never see a share with named users or groups.
static void write_anonymous_shares(Output& out, const SHARE_INFO* share) {
    for (; share != nullptr; share = share->next) {
        put(out, "  <Directory /mnt/", share->volume, "/", share->name, ">\n");
        if (share->ftp && open_to_everyone(*share))
            put(out, share->read_only ? anonymous_read_only_body : anonymous_writable_body);
        else
            put(out, anonymous_hidden_body);
        put(out, "\n");
    }
}

void write_anonymous_section(Output& out, const proftpd_inputs& inputs,
                             const SHARE_INFO* third_usb_share) {
    const SYS_INFO& info = inputs.info;
    put(out,
        "<Anonymous /mnt>\n"
        "  User guest\n"
        "  Group hdusers\n"
        "  UserAlias anonymous guest\n"
        "  <Limit All>\n"  // Kept: this is "All", while all other blocks say "ALL".
        "    IgnoreHidden on\n"
        "  </Limit>\n"
        "  <Limit READ>\n"
        "  </Limit READ>\n"  // Kept: the closing tag carries the word READ.
        "  <Limit WRITE>\n"
        "    DenyAll\n"
        "  </Limit>\n"
        "  <Limit SITE_CHMOD>\n"
        "    DenyAll\n"
        "  </Limit>\n"
        "\n");
    put(out, "  <Directory /mnt/ram>\n", anonymous_hidden_body, "\n");
    put(out, "  <Directory /mnt/info>\n",
        info.info_visible ? anonymous_read_only_body : anonymous_hidden_body, "\n");
    if (const char* root = hidden_msdfs_root(inputs.msdfs))
        put(out, "  <Directory ", root, ">\n", anonymous_hidden_body, "\n");
    put(out, "  <Directory /mnt/authtest>\n", anonymous_hidden_body, "\n");
    for (int number = 1; number <= 2; ++number)
        write_anonymous_volume(out, "array", number, array_visibility(info, number));
    for (int number = 1; number <= 4; ++number)
        write_anonymous_volume(out, "disk", number, disk_visibility(info, number));
    write_anonymous_usb_disks(out, &inputs.usb_shares, third_usb_share);
    if (inputs.share_count != 0)
        write_anonymous_shares(out, &inputs.shares);
    put(out, "</Anonymous>\n");
}
