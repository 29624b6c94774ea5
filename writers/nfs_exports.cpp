// Writes /etc/exports from the share list, the vfs side list and the NFS settings.
#include "base/c_string.h"
#include "base/record_chain.h"
#include "conf/load_config.h"
#include "writers/name_search.h"
#include "writers/write_conf.h"
#include "writers/writers.h"

static bool exports(const SHARE_VFS& vfs) {
    return to_int(vfs.nfs, 0) == 1;
}

static void write_exports(Output& out, const SHARE_INFO* shares, SHARE_VFS* vfs_list,
                          const NFS_INFO& nfs) {
    // Any record that says 1 exports the share; the order of the search shows only in the trace.
    const NameSearch<SHARE_VFS, &SHARE_VFS::name> exported(last_of(vfs_list), &SHARE_VFS::prev, 3,
                                                           "shareinfo_vfs(name):", exports);
    for (const SHARE_INFO* share = shares; share != nullptr; share = share->next)
        if (exported.find(share->name))
            put(out, "/mnt/", share->volume, "/", share->name, " ", nfs.nfs_networkaddress, "/",
                nfs.nfs_subnetmask,
                "(rw,sync,all_squash,anonuid=99,anongid=99,no_subtree_check)\n");
}

int make_nfs_exports() {
    NFS_INFO nfs;
    SHARE_INFO shares;
    SHARE_VFS vfs_list;
    load_nfs_info(&nfs);
    load_shareinfo(&shares);
    load_shareinfo_vfs(&vfs_list);

    const int result = write_conf(
        "/etc/exports", [&](Output& out) { write_exports(out, &shares, &vfs_list, nfs); });

    close_shareinfo(&shares);
    close_shareinfo_vfs(&vfs_list);
    return result;
}
