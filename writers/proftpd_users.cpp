// Writes the user section of proftpd.conf, in the order of the file: the access rules of all
// directories for users with an account.
#include "base/c_string.h"
#include "base/heap.h"
#include "base/messages.h"
#include "base/output.h"
#include "util/mount_probe.h"
#include "util/utils.h"
#include "writers/name_search.h"
#include "writers/proftpd_sections.h"
#include "writers/share_access.h"

#include <initializer_list>
#include <stdio.h>
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

void put_hidden_block(Output& out, const char* path) {
    put(out, "<Directory ", path, ">\n", hidden_body, "\n");
}

void put_read_only_block(Output& out, const char* path) {
    put(out, "<Directory ", path, ">\n", read_only_body, "\n");
}

visibility array_visibility(const SYS_INFO& info, int number) {
    if (info.array_state[number - 1] == 0)
        return visibility::hidden;
    // Kept: the disk with the array's number decides, where one expects the array's own state to.
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
    // Kept: four characters are compared, so /mntx is hidden, too.
    const bool hidden = msdfs.root != nullptr && strncmp(msdfs.root->path, "/mnt", 4) == 0;
    return hidden ? msdfs.root->path : nullptr;
}

namespace {

// Rules name each group and then its members, so that access does not depend on the server's own
// group lookup.
struct group_members {
    bool listed;  // false in a domain, whose directory knows the groups
    NameSearch<GROUP_INFO, &GROUP_INFO::GroupName> search;
    const char* hdusers;  // the members of the administrators' group; NULL: there is none
};

// A plain walk: NameSearch would trace it.
const char* members_of_hdusers(const GROUP_INFO* group) {
    while (group != nullptr && !equal(group->GroupName, "hdusers"))
        group = group->next;
    return group != nullptr ? group->GroupUser : nullptr;
}

// One list of users and one of groups that have the same rights.
struct audience {
    const char* users;
    bool has_groups;    // the list in the settings is not empty
    HeapString groups;  // without the "@" marks; NULL if memory ran out
};

audience audience_of(const char* users, const char* groups) {
    audience people = {users, is_set(groups), HeapString(str_duplicate(groups))};
    if (people.groups)
        str_replace(people.groups.get(), "@", "");
    return people;
}

// Writes "AllowUser" or "DenyUser" with the members of all groups of the audiences.
void write_members(Output& out, const char* verb, std::initializer_list<const audience*> audiences,
                   const group_members& members) {
    if (!members.listed)
        return;
    put(out, "    ", verb, "User ");
    for (const audience* people : audiences) {
        for (char* name = people->groups.get(); *name != '\0';) {
            char* const end = name + strcspn(name, ",");
            const char separator = *end;
            *end = '\0';
            const GROUP_INFO* group = is_set(name) ? members.search.find(name) : nullptr;
            if (group != nullptr && group->GroupUser != nullptr) {
                trace(10, "%s user is %s\n", name, group->GroupUser);
                put(out, group->GroupUser, ",");
            }
            *end = separator;
            name = separator == '\0' ? end : end + 1;
        }
    }
    put(out, "nobody\n");
}

// Writes who is allowed or denied ("Allow" or "Deny"): users, groups, and the groups' members.
// Kept: a blank stands between the lists of two audiences, also where one of them is empty.
void write_rule(Output& out, const char* verb, std::initializer_list<const audience*> audiences,
                const group_members& members) {
    bool has_users = false;
    bool has_groups = false;
    for (const audience* people : audiences) {
        has_users |= is_set(people->users);
        has_groups |= people->has_groups;
    }
    if (has_users) {
        put(out, "    ", verb, "User");
        for (const audience* people : audiences)
            put(out, " ", people->users);
        put(out, "\n");
    }
    if (has_groups) {
        put(out, "    ", verb, "Group");
        for (const audience* people : audiences)
            put(out, " ", people->groups.get());
        put(out, "\n");
        write_members(out, verb, audiences, members);
    }
}

void write_administrators(Output& out, const group_members& members) {
    put(out, "    AllowUser admin,guest,");
    if (members.hdusers != nullptr)
        put(out, members.hdusers, ",");
    put(out, "\n");  // Kept: nothing follows the last comma.
}

void write_share_body(Output& out, const SHARE_INFO& share, bool read_only,
                      const group_members& members) {
    if (open_to_everyone(share)) {
        put(out, read_only ? read_only_body : writable_body);
        return;
    }
    const audience readers = audience_of(share.ro_users, share.ro_groups);
    const audience writers = audience_of(share.rw_users, share.rw_groups);
    if (!readers.groups || !writers.groups) {
        complain("Can't allocate memory\n");
        put(out, hidden_body);  // hides the share: nobody rather than the wrong people
        return;
    }

    put(out,
        "  <Limit ALL>\n"
        "    DenyAll\n");
    write_rule(out, "Allow", {&readers, &writers}, members);
    if (has_no_lists(share))
        write_administrators(out, members);
    put(out, "  </Limit>\n");

    put(out, "  <Limit READ>\n");
    write_rule(out, "Allow", {&readers}, members);
    put(out, "  </Limit>\n");

    put(out, "  <Limit WRITE>\n");
    if (read_only) {
        put(out, "    DenyAll\n");
    } else {
        put(out, "    Order deny,allow\n");
        write_rule(out, "Deny", {&readers}, members);
        write_rule(out, "Allow", {&writers}, members);
        if (has_no_lists(share))
            write_administrators(out, members);
        else if (!is_set(writers.users) && !writers.has_groups)
            put(out, "    DenyAll\n");
    }
    put(out,
        "  </Limit>\n"
        "</Directory>\n");
}

void write_volume(Output& out, const char* kind, int number, visibility seen) {
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

const SHARE_INFO* write_usb_disks(Output& out, const proftpd_inputs& inputs,
                                  const group_members& members) {
    const SHARE_INFO* share = inputs.usb_share_count < 1 ? nullptr : &inputs.usb_shares;
    for (const char* mount_point : usb_mount_points) {
        if (share == nullptr) {
            put_hidden_block(out, mount_point);
            continue;
        }
        trace(10, "folder : %s\n", share->volume);
        put(out, "<Directory /mnt/", share->volume, ">\n");
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

void write_shares(Output& out, const proftpd_inputs& inputs, const group_members& members) {
    if (inputs.share_count == 0) {
        trace(10, "no share folder\n");
        return;
    }
    for (const SHARE_INFO* share = &inputs.shares; share != nullptr; share = share->next) {
        trace(10, "folder : %s/%s\n", share->volume, share->name);
        put(out, "<Directory /mnt/", share->volume, "/", share->name, ">\n");
        if (share->ftp)
            write_share_body(out, *share, share->read_only, members);
        else
            put(out, hidden_body);
        put(out, "\n");
    }
}

}  // namespace

const SHARE_INFO* write_user_section(Output& out, const proftpd_inputs& inputs) {
    const SYS_INFO& info = inputs.info;
    const group_members members = {
        !info.sec_domain && !info.sec_ads,
        {&inputs.groups, &GROUP_INFO::next, 10, ""},
        members_of_hdusers(&inputs.groups),
    };
    put(out,
        "<Directory />\n"
        "  <Limit All>\n"  // Kept: this is "All", while all other blocks say "ALL".
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
    const SHARE_INFO* third_usb_share = write_usb_disks(out, inputs, members);
    write_shares(out, inputs, members);
    return third_usb_share;
}
