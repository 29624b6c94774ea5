// Writes /etc/exports from the share list, the vfs side list and the NFS settings.
#include "conf/load_config.h"
#include "conf/name_search.h"
#include "conf/text.h"
#include "conf/record_chain.h"
#include "writers/output.h"
#include "writers/writers.h"

#include <stdio.h>

static bool exports(const SHARE_VFS& vfs) {
    return to_int(vfs.nfs, 0) == 1;
}

static void write_exports(FILE* out, const SHARE_INFO* shares, SHARE_VFS* vfs_list,
                          const NFS_INFO& nfs) {
    // From the last record back: a later line goes before an earlier one, but does not undo it.
    const NameSearch<SHARE_VFS, &SHARE_VFS::name> exported(last_of(vfs_list), &SHARE_VFS::prev, 3,
                                                           "shareinfo_vfs(name):", exports);
    for (const SHARE_INFO* share = shares; share != nullptr; share = share->next)
        if (exported.find(share->name))
            fprintf(out,
                    "/mnt/%s/%s %s/%s(rw,sync,all_squash,anonuid=99,anongid=99,"
                    "no_subtree_check)\n",
                    share->volume, share->name, nfs.nfs_networkaddress, nfs.nfs_subnetmask);
}

int make_nfs_exports() {
    NFS_INFO nfs;
    SHARE_INFO shares;
    SHARE_VFS vfs_list;
    load_nfs_info(&nfs);
    load_shareinfo(&shares);
    load_shareinfo_vfs(&vfs_list);

    const int result =
        write_conf("/etc/exports", [&](FILE* out) { write_exports(out, &shares, &vfs_list, nfs); });

    close_shareinfo(&shares);
    close_shareinfo_vfs(&vfs_list);
    return result;
}
