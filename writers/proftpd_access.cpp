// Writes the user section of proftpd.conf, in the order of the file: the access rules of all
// directories for users with an account.
#include "conf/name_search.h"
#include "conf/owners.h"
#include "conf/text.h"
#include "include/debug.h"
#include "util/mount_probe.h"
#include "util/utils.h"
#include "writers/output.h"
#include "writers/proftpd_sections.h"
#include "writers/share_access.h"

#include <initializer_list>
#include <string.h>

static constexpr char hidden_body[] =
    "    HideNoAccess on\n"
    "  <Limit ALL>\n"
    "    DenyAll\n"
    "  </Limit>\n"
    "</Directory>\n";

static constexpr char read_only_body[] =
    "  <Limit WRITE>\n"
    "    DenyAll\n"
    "  </Limit>\n"
    "</Directory>\n";

static constexpr char writable_body[] =
    "  <Limit WRITE>\n"
    "    AllowAll\n"
    "  </Limit>\n"
    "</Directory>\n";

void put_hidden_block(FILE* out, const char* path) {
    fprintf(out, "<Directory %s>\n%s\n", path, hidden_body);
}

void put_read_only_block(FILE* out, const char* path) {
    fprintf(out, "<Directory %s>\n%s\n", path, read_only_body);
}

visibility array_visibility(const SYS_INFO& info, int number) {
    if (info.array_state[number - 1] == 0)
        return visibility::hidden;
    // Kept: asks about the disk that has the number of the array.
    const int disk = info.disk_state[number - 1];
    return disk >= 1 && disk <= 5 ? visibility::listed : visibility::unmentioned;
}

visibility disk_visibility(const SYS_INFO& info, int number) {
    switch (info.disk_state[number - 1]) {
        case 0:
        case 2:
        case 3:
            return visibility::hidden;
        case 1:
            return visibility::listed;
        default:
            return visibility::unmentioned;
    }
}

const char* hidden_msdfs_root(const MSDFS_INFO& msdfs) {
    // Kept: four characters decide, so /mntx is hidden, too.
    const bool hidden = msdfs.root != nullptr && strncmp(msdfs.root->path, "/mnt", 4) == 0;
    return hidden ? msdfs.root->path : nullptr;
}

namespace {

// The groups, for the lines that name their members one by one, so that access does not hang on
// the server's own lookup of groups.
struct group_members {
    bool written;  // not in a domain: its directory knows the groups
    NameSearch<GROUP_INFO, &GROUP_INFO::GroupName> search;
    const char* hdusers;  // the members of the administrators' group; NULL: there is none
};

// Found without the traces of a search.
const char* members_of_hdusers(const GROUP_INFO* group) {
    while (group != nullptr && !equal(group->GroupName, "hdusers"))
        group = group->next;
    return group != nullptr ? group->GroupUser : nullptr;
}

// Writes "AllowUser" or "DenyUser" with the members of all groups of the lists.
void write_members(FILE* out, const char* verb, std::initializer_list<char*> group_lists,
                   const group_members& members) {
    if (!members.written)
        return;
    fprintf(out, "    %sUser ", verb);
    for (char* list : group_lists)
        for_each_item(list, [&](const char* name) {
            const GROUP_INFO* group = members.search.find(name);
            if (group == nullptr || group->GroupUser == nullptr)
                return;
            trace(10, "%s user is %s\n", name, group->GroupUser);
            fprintf(out, "%s,", group->GroupUser);
        });
    put(out, "nobody\n");
}

void write_administrators(FILE* out, const group_members& members) {
    put(out, "    AllowUser admin,guest,");
    if (members.hdusers != nullptr)
        fprintf(out, "%s,", members.hdusers);
    put(out, "\n");  // Kept: the comma at the end.
}

// A copy of a group list without the "@" marks; NULL when memory runs out.
Text clean_groups(const char* list) {
    Text copy(str_duplicate(list));
    if (copy)
        str_replace(copy.get(), "@", "");
    return copy;
}

void write_share_body(FILE* out, const SHARE_INFO& share, bool read_only,
                      const group_members& members) {
    if (open_to_everyone(share)) {
        put(out, read_only ? read_only_body : writable_body);
        return;
    }
    const Text ro_groups = clean_groups(share.ro_groups);
    const Text rw_groups = clean_groups(share.rw_groups);
    if (!ro_groups || !rw_groups) {  // rather nobody than the wrong people
        fputs("Can't allocate memory\n", stderr);
        put(out, hidden_body);
        return;
    }
    const char* const ro_users = share.ro_users;
    const char* const rw_users = share.rw_users;
    const bool has_ro_groups = is_set(share.ro_groups);
    const bool has_rw_groups = is_set(share.rw_groups);

    put(out,
        "  <Limit ALL>\n"
        "    DenyAll\n");
    if (is_set(ro_users) || is_set(rw_users))
        fprintf(out, "    AllowUser %s %s\n", ro_users, rw_users);  // Kept: the blank, always.
    if (has_ro_groups || has_rw_groups) {
        fprintf(out, "    AllowGroup %s %s\n", ro_groups.get(), rw_groups.get());
        write_members(out, "Allow", {ro_groups.get(), rw_groups.get()}, members);
    }
    if (has_no_lists(share))
        write_administrators(out, members);
    put(out, "  </Limit>\n");

    put(out, "  <Limit READ>\n");
    if (is_set(ro_users))
        fprintf(out, "    AllowUser %s\n", ro_users);
    if (has_ro_groups) {
        fprintf(out, "    AllowGroup %s\n", ro_groups.get());
        write_members(out, "Allow", {ro_groups.get()}, members);
    }
    put(out, "  </Limit>\n");

    put(out, "  <Limit WRITE>\n");
    if (read_only) {
        put(out, "    DenyAll\n");
    } else {
        put(out, "    Order deny,allow\n");
        if (is_set(ro_users))
            fprintf(out, "    DenyUser %s\n", ro_users);
        if (has_ro_groups) {
            fprintf(out, "    DenyGroup %s\n", ro_groups.get());
            write_members(out, "Deny", {ro_groups.get()}, members);
        }
        if (is_set(rw_users))
            fprintf(out, "    AllowUser %s\n", rw_users);
        if (has_rw_groups) {
            fprintf(out, "    AllowGroup %s\n", rw_groups.get());
            write_members(out, "Allow", {rw_groups.get()}, members);
        }
        if (has_no_lists(share))
            write_administrators(out, members);
        else if (!is_set(rw_users) && !has_rw_groups)
            put(out, "    DenyAll\n");
    }
    put(out,
        "  </Limit>\n"
        "</Directory>\n");
}

void write_volume(FILE* out, const char* kind, int number, visibility seen) {
    char path[64];
    const auto under = [&](const char* folder) {
        snprintf(path, sizeof path, "/mnt/%s%d%s", kind, number, folder);
        return path;
    };
    if (seen == visibility::hidden)
        put_hidden_block(out, under(""));
    if (seen != visibility::listed)
        return;
    put_read_only_block(out, under(""));
    put_hidden_block(out, under("/spool"));
    put_hidden_block(out, under("/lost+found"));
}

const SHARE_INFO* write_usb_disks(FILE* out, const proftpd_inputs& inputs,
                                  const group_members& members) {
    const SHARE_INFO* share = inputs.usb_share_count < 1 ? nullptr : &inputs.usb_shares;
    for (const char* mount_point : usb_mount_points) {
        if (share == nullptr) {
            put_hidden_block(out, mount_point);
            continue;
        }
        trace(10, "folder : %s\n", share->volume);
        fprintf(out, "<Directory /mnt/%s>\n", share->volume);
        int fs_type = 0;
        if (share->ftp && isMounted(mount_point, &fs_type))
            write_share_body(out, *share, read_only_on(*share, fs_type), members);
        else
            put(out, hidden_body);
        put(out, "\n");
        share = share->next;
    }
    return share;
}

void write_shares(FILE* out, const proftpd_inputs& inputs, const group_members& members) {
    if (inputs.share_count == 0) {
        trace(10, "no share folder\n");
        return;
    }
    for (const SHARE_INFO* share = &inputs.shares; share != nullptr; share = share->next) {
        trace(10, "folder : %s/%s\n", share->volume, share->name);
        fprintf(out, "<Directory /mnt/%s/%s>\n", share->volume, share->name);
        if (share->ftp)
            write_share_body(out, *share, share->read_only, members);
        else
            put(out, hidden_body);
        put(out, "\n");
    }
}

}  // namespace

const SHARE_INFO* write_user_section(FILE* out, const proftpd_inputs& inputs) {
    const SYS_INFO& info = inputs.info;
    const group_members members = {
        !info.sec_domain && !info.sec_ads,
        {&inputs.groups, &GROUP_INFO::next, 10, ""},
        members_of_hdusers(&inputs.groups),
    };
    put(out,
        "<Directory />\n"
        "  <Limit All>\n"  // Kept: All, against ALL elsewhere.
        "    IgnoreHidden on\n"
        "  </Limit>\n"
        "  <Limit WRITE>\n"
        "    DenyAll\n"
        "  </Limit>\n"
        "</Directory>\n"
        "\n"
        "<Limit SITE_CHMOD>\n"
        "  DenyAll\n"
        "</Limit>\n"
        "\n");
    if (info.info_visible)
        put_read_only_block(out, "/mnt/info");
    else
        put_hidden_block(out, "/mnt/info");
    if (const char* root = hidden_msdfs_root(inputs.msdfs))
        put_hidden_block(out, root);
    put(out, "## Hide folders\n");
    for (const char* path : {"/mnt/authtest", "/mnt/ram", "/mnt/rootfs1"})
        put_hidden_block(out, path);
    put(out, "####\n");
    for (int number = 1; number <= 2; ++number)
        write_volume(out, "array", number, array_visibility(info, number));
    for (int number = 1; number <= 4; ++number)
        write_volume(out, "disk", number, disk_visibility(info, number));
    const SHARE_INFO* leftover = write_usb_disks(out, inputs, members);
    write_shares(out, inputs, members);
    return leftover;
}
