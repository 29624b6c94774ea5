// Writes the share sections of smb.conf, in the order of the file.
#include "writers/samba_shares.h"

#include "base/c_string.h"
#include "util/mount_probe.h"
#include "writers/share_access.h"

namespace {

// A vfs record with both switches off decides nothing: a later record or the share itself does.
bool decides(const SHARE_VFS& vfs) {
    return vfs.trash || vfs.audit;
}

constexpr char recycle_options[] =
    "    recycle:repository = trashbox\n"
    "    recycle:keeptree = 1\n"
    "    recycle:versions = 1\n"
    "    recycle:directory_mode = 777\n";

constexpr char audit_options[] =
    "    audit:facility = LOCAL6\n"
    "    audit:priority = INFO\n";

}  // namespace

int write_share_header(Output& out, const char* name, const HiddenSearch& hidden_list) {
    const SHARE_HIDDEN* hidden = hidden_list.find(name);
    put(out, "[", name, hidden && !hidden->enabled ? "$]\n" : "]\n");
    return 0;
}

int write_share_vfs(Output& out, const char* name, unsigned char trashbox,
                    const VfsSearch& vfs_list) {
    const SHARE_VFS* vfs = vfs_list.find(name);
    const bool recycle = vfs != nullptr ? vfs->trash : trashbox;
    const bool audit = vfs != nullptr && vfs->audit;
    if (recycle || audit)
        put(out, recycle && audit ? "    vfs objects = recycle, audit\n"
                 : recycle        ? "    vfs objects = recycle\n"
                                  : "    vfs objects = audit\n");
    if (recycle)
        put(out, recycle_options);
    if (audit)
        put(out, audit_options);
    return 0;
}

namespace {

// The side lists, searched by the name of a share.
struct side_lists {
    HiddenSearch hidden;
    OfflineSearch offline;
    VfsSearch vfs;
};

void write_comment(Output& out, const SHARE_INFO& share, bool read_only) {
    put(out, "    comment = ", share.comment, read_only ? "(Read Only)\n" : "\n");
}

void write_msdfs_root(Output& out, const MSDFS_INFO& msdfs) {
    put(out, "[", msdfs.root->name, "]\n");
    put(out,
        "    comment = Quarvane DFS folder\n"
        "    browsable = Yes\n"
        "    printable = No\n"
        "    writable = No\n"
        "    guest ok = Yes\n");
    if (!msdfs.root_as_link) {
        put(out, "    path = ", msdfs.root->path, "\n");
        put(out, "    msdfs root = Yes\n");
        return;
    }
    const MSDFS_LINK* link = msdfs.links;
    while (link->prev != nullptr)
        link = link->prev;
    put(out, "    msdfs root = Yes\n");
    // unc1 + 1 leaves out one of the two backslashes. An empty path is all zero, so + 1 is safe.
    put(out, "    msdfs proxy = ", link->unc1 + 1, "\n");
}

constexpr char utilities_share[] =
    "[info]\n"
    "    comment = Quarvane Utilities\n"
    "    path = /mnt/info\n"
    "    browsable = yes\n"
    "    printable = no\n"
    "    writable = no\n"
    "    guest ok = yes\n"
    "    csc policy = disable\n";

void write_usb_access(Output& out, const SHARE_INFO& share) {
    if (open_to_everyone(share)) {
        put(out, "    guest ok = yes\n");
        return;
    }
    const auto with_comma = [&out](const char* list) {
        if (is_set(list))
            put(out, list, ",");
    };
    put(out, "    valid users = ");
    with_comma(share.ro_users);
    with_comma(share.ro_groups);
    with_comma(share.rw_users);  // Kept: the list ends in a comma if rw_groups is empty.
    put(out, share.rw_groups, "\n");
    if (!is_set(share.ro_users) && !is_set(share.ro_groups))
        return;
    put(out, "    read list = ");
    with_comma(share.ro_users);
    put(out, share.ro_groups, "\n");
}

void write_usb_share(Output& out, const SHARE_INFO& share, bool read_only,
                     const side_lists& lists) {
    write_share_header(out, share.name, lists.hidden);
    write_comment(out, share, read_only);
    put(out, "    path = /mnt/", share.volume,
        "\n"
        "    browsable = yes\n"
        "    printable = no\n",
        read_only ? "    writable = no\n" : "    writable = yes\n");
    write_usb_access(out, share);
    put(out,
        "    force create mode = 666\n"
        "    force directory mode = 777\n"
        "    csc policy = disable\n");
    write_share_vfs(out, share.name, share.trashbox, lists.vfs);
}

void write_usb_shares(Output& out, const SHARE_INFO* share, const side_lists& lists) {
    for (const char* mount_point : usb_mount_points) {
        int fs_type = 0;
        if (share->smb && isMounted(mount_point, &fs_type))
            write_usb_share(out, *share, read_only_on(*share, fs_type), lists);
        share = share->next;
        if (share == nullptr)
            break;
    }
}

void write_test_share(Output& out, const SYS_INFO& info) {
    put(out, "[", info.auth_test_folder, "]\n");
    put(out,
        "    comment = Quarvane authentication test folder\n"
        "    path = /mnt/authtest\n"
        "    browsable = yes\n"
        "    printable = no\n"
        "    writable = no\n"
        "    guest ok = no\n"
        "    csc policy = disable\n");
}

void write_access(Output& out, SHARE_INFO* share, const SYS_INFO& info) {
    if (open_to_everyone(*share)) {
        put(out, info.sec_share ? "    guest ok = no\n"
                                  "    username = admin\n"
                                  "    valid users = admin\n"
                                : "    guest ok = yes\n");
        return;
    }
    put(out, "    valid users = ");
    // Kept: a list that the shaper empties still has its comma, so ask which lists are set before
    // shaping.
    const bool named[] = {is_set(share->ro_users), is_set(share->ro_groups),
                          is_set(share->rw_users), is_set(share->rw_groups)};
    shape_share_lists(share);
    const char* const lists[] = {share->ro_users, share->ro_groups, share->rw_users,
                                 share->rw_groups};
    const char* comma = "";
    for (int i = 0; i < 4; ++i) {
        if (!named[i])
            continue;
        put(out, comma, lists[i]);
        comma = ",";
    }
    put(out, "\n");
    if (!is_set(share->ro_users) && !is_set(share->ro_groups))
        return;
    // Kept: the comma also stands before groups alone.
    put(out, "    read list = ", share->ro_users, is_set(share->ro_groups) ? "," : "",
        share->ro_groups, "\n");
}

void write_share(Output& out, SHARE_INFO* share, const SYS_INFO& info, const side_lists& lists) {
    const std::string_view name = share->name;
    write_share_header(out, share->name, lists.hidden);
    write_comment(out, *share, share->read_only);
    put(out, "    path = /mnt/", share->volume, "/", name,
        "\n"
        "    browsable = yes\n"
        "    printable = no\n",
        share->read_only ? "    writable = no\n" : "    writable = yes\n");
    write_access(out, share, info);
    put(out,
        "    force create mode = 666\n"
        "    force directory mode = 777\n");
    // Kept: a share that is not in the list has no line, where one expects "disable".
    if (const OFFLINE* offline = lists.offline.find(share->name))
        put(out, "    csc policy = ", offline->enabled ? offline->policy : "disable", "\n");
    write_share_vfs(out, share->name, share->trashbox, lists.vfs);
    put(out, "###", name, "###\n");
}

}  // namespace

void write_samba_shares(Output& out, samba_inputs* inputs) {
    const SYS_INFO& info = inputs->info;
    const side_lists lists = {
        {&inputs->hidden, &SHARE_HIDDEN::next, 3, "shareinfo_hidden(name):"},
        {&inputs->offline, &OFFLINE::next, 3, "offline(name):"},
        {&inputs->vfs, &SHARE_VFS::next, 3, "shareinfo_vfs(name):", decides},
    };

    if (inputs->msdfs.enabled)
        write_msdfs_root(out, inputs->msdfs);
    if (info.info_visible)
        put(out, utilities_share);
    if (inputs->usb_share_count >= 1)
        write_usb_shares(out, &inputs->usb_shares, lists);
    if (info.sec_server && info.auth_user_auto_add && info.auth_test)
        write_test_share(out, info);
    for (SHARE_INFO* share = &inputs->shares; share != nullptr; share = share->next)
        if (share->smb)
            write_share(out, share, info, lists);
    put(out, "#####END#####\n");
}
