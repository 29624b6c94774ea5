// Writes the share sections of smb.conf, in the order of the file.
#include "writers/samba_shares.h"

#include "conf/name_search.h"
#include "conf/record_chain.h"
#include "util/mount_probe.h"
#include "util/utils.h"
#include "writers/output.h"
#include "writers/share_access.h"

namespace {

using HiddenSearch = NameSearch<SHARE_HIDDEN, &SHARE_HIDDEN::name>;
using OfflineSearch = NameSearch<OFFLINE, &OFFLINE::name>;
using VfsSearch = NameSearch<SHARE_VFS, &SHARE_VFS::name>;

constexpr char recycle_block[] =
    "    vfs objects = recycle\n"
    "    recycle:repository = trashbox\n"
    "    recycle:keeptree = 1\n"
    "    recycle:versions = 1\n"
    "    recycle:directory_mode = 777\n";

constexpr char audit_block[] =
    "    vfs objects = audit\n"
    "    audit:facility = LOCAL6\n"
    "    audit:priority = INFO\n";

constexpr char recycle_audit_block[] =
    "    vfs objects = recycle, audit\n"
    "    recycle:repository = trashbox\n"
    "    recycle:keeptree = 1\n"
    "    recycle:versions = 1\n"
    "    recycle:directory_mode = 777\n"
    "    audit:facility = LOCAL6\n"
    "    audit:priority = INFO\n";

void write_share_header(FILE* out, const char* name, const HiddenSearch& hidden_list) {
    const SHARE_HIDDEN* hidden = hidden_list.find(name);
    fprintf(out, hidden && !hidden->enabled ? "[%s$]\n" : "[%s]\n", name);
}

void write_share_vfs(FILE* out, const SHARE_INFO& share, const VfsSearch& vfs_list) {
    if (const SHARE_VFS* vfs = vfs_list.find(share.name))
        put(out, !vfs->trash ? audit_block : vfs->audit ? recycle_audit_block : recycle_block);
    else if (share.trashbox)
        put(out, recycle_block);
}

void write_comment(FILE* out, const SHARE_INFO& share, bool read_only) {
    fprintf(out, read_only ? "    comment = %s(Read Only)\n" : "    comment = %s\n", share.comment);
}

void write_msdfs_root(FILE* out, MSDFS_INFO* msdfs) {
    fprintf(out, "[%s]\n", msdfs->root->name);
    put(out,
        "    comment = Quarvane DFS folder\n"
        "    browsable = Yes\n"
        "    printable = No\n"
        "    writable = No\n"
        "    guest ok = Yes\n");
    if (!msdfs->root_as_link) {
        fprintf(out, "    path = %s\n", msdfs->root->path);
        put(out, "    msdfs root = Yes\n");
        return;
    }
    while (msdfs->links->prev != nullptr)
        msdfs->links = msdfs->links->prev;
    put(out, "    msdfs root = Yes\n");
    // The first of the two backslashes of the path is left out; a missing path is all zero.
    fprintf(out, "    msdfs proxy = %s\n", msdfs->links->unc1 + 1);
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

void write_usb_access(FILE* out, const SHARE_INFO& share) {
    if (open_to_everyone(share)) {
        put(out, "    guest ok = yes\n");
        return;
    }
    const auto with_comma = [out](const char* list) {
        if (*list != '\0')
            fprintf(out, "%s,", list);
    };
    put(out, "    valid users = ");
    with_comma(share.ro_users);
    with_comma(share.ro_groups);
    with_comma(share.rw_users);  // Kept: a comma also where nothing follows.
    fprintf(out, "%s\n", share.rw_groups);
    if (*share.ro_users == '\0' && *share.ro_groups == '\0')
        return;
    put(out, "    read list = ");
    with_comma(share.ro_users);
    fprintf(out, "%s\n", share.ro_groups);
}

void write_usb_share(FILE* out, const SHARE_INFO& share, bool read_only,
                     const HiddenSearch& hidden_list, const VfsSearch& vfs_list) {
    write_share_header(out, share.name, hidden_list);
    write_comment(out, share, read_only);
    fprintf(out, "    path = /mnt/%s\n", share.volume);
    put(out,
        "    browsable = yes\n"
        "    printable = no\n");
    put(out, read_only ? "    writable = no\n" : "    writable = yes\n");
    write_usb_access(out, share);
    put(out,
        "    force create mode = 666\n"
        "    force directory mode = 777\n"
        "    csc policy = disable\n");
    write_share_vfs(out, share, vfs_list);
}

void write_usb_shares(FILE* out, const SHARE_INFO* share, const HiddenSearch& hidden_list,
                      const VfsSearch& vfs_list) {
    for (const char* mount_point : usb_disks) {
        int fs_type = 0;
        if (share->smb && isMounted(mount_point, &fs_type))
            write_usb_share(out, *share, read_only_on(*share, fs_type), hidden_list, vfs_list);
        share = share->next;
        if (share == nullptr)
            break;
    }
}

void write_test_share(FILE* out, const SYS_INFO& info) {
    fprintf(out, "[%s]\n", info.auth_test_folder);
    put(out,
        "    comment = Quarvane authentication test folder\n"
        "    path = /mnt/authtest\n"
        "    browsable = yes\n"
        "    printable = no\n"
        "    writable = no\n"
        "    guest ok = no\n"
        "    csc policy = disable\n");
}

void write_access(FILE* out, SHARE_INFO* share, const SYS_INFO& info) {
    if (open_to_everyone(*share)) {
        put(out, info.sec_share ? "    guest ok = no\n"
                                  "    username = admin\n"
                                  "    valid users = admin\n"
                                : "    guest ok = yes\n");
        return;
    }
    put(out, "    valid users = ");
    const char* comma = "";
    const auto write_shaped = [&](char** list, int kind) {
        if (**list == '\0')
            return;
        VntSambaFormatShaper(list, kind);
        fprintf(out, "%s%s", comma, *list);
        comma = ",";
    };
    write_shaped(&share->ro_users, user_list);
    write_shaped(&share->ro_groups, group_list);
    write_shaped(&share->rw_users, user_list);
    write_shaped(&share->rw_groups, group_list);
    put(out, "\n");
    if (*share->ro_users == '\0' && *share->ro_groups == '\0')
        return;
    // Kept: the comma stands before the groups also where there are no users.
    fprintf(out, "    read list = %s%s%s\n", share->ro_users, *share->ro_groups ? "," : "",
            share->ro_groups);
}

void write_share(FILE* out, SHARE_INFO* share, const SYS_INFO& info,
                 const HiddenSearch& hidden_list, const OfflineSearch& offline_list,
                 const VfsSearch& vfs_list) {
    write_share_header(out, share->name, hidden_list);
    write_comment(out, *share, share->read_only);
    fprintf(out, "    path = /mnt/%s/%s\n", share->volume, share->name);
    put(out,
        "    browsable = yes\n"
        "    printable = no\n");
    put(out, share->read_only ? "    writable = no\n" : "    writable = yes\n");
    write_access(out, share, info);
    put(out,
        "    force create mode = 666\n"
        "    force directory mode = 777\n");
    if (const OFFLINE* offline = offline_list.find(share->name))
        fprintf(out, "    csc policy = %s\n", offline->enabled ? offline->policy : "disable");
    write_share_vfs(out, *share, vfs_list);
    fprintf(out, "###%s###\n", share->name);
}

}  // namespace

void write_samba_shares(FILE* out, samba_inputs* inputs) {
    const SYS_INFO& info = inputs->info;
    const HiddenSearch hidden_list(&inputs->hidden, &SHARE_HIDDEN::next, 3,
                                   "shareinfo_hidden(name):");
    const OfflineSearch offline_list(&inputs->offline, &OFFLINE::next, 3, "offline(name):");
    const VfsSearch vfs_list(&inputs->vfs, &SHARE_VFS::next, 3, "shareinfo_vfs(name):",
                             [](const SHARE_VFS& vfs) { return vfs.trash || vfs.audit; });

    if (inputs->msdfs.enabled)
        write_msdfs_root(out, &inputs->msdfs);
    if (info.info_visible)
        put(out, utilities_share);
    if (inputs->usb_share_count >= 1)
        write_usb_shares(out, &inputs->usb_shares, hidden_list, vfs_list);
    if (info.sec_server && info.auth_user_auto_add && info.auth_test)
        write_test_share(out, info);
    for (SHARE_INFO* share = &inputs->shares; share != nullptr; share = share->next)
        if (share->smb)
            write_share(out, share, info, hidden_list, offline_list, vfs_list);
    put(out, "#####END#####\n");
}
