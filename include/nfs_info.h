// The NFS service: /etc/korvel/nfs_info.
#pragma once

// The one client network of all exports.
struct NFS_INFO {
    char nfs_networkaddress[32];
    char nfs_subnetmask[32];
};
