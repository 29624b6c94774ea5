// Reads the NFS settings.
#include "conf/conf_file.h"
#include "conf/load_config.h"

int load_nfs_info(NFS_INFO* info) {
    *info = {};
    const SettingsFile file("/etc/korvel/nfs_info");
    LoadConfFileString(file, "nfs_networkaddress", info->nfs_networkaddress);
    LoadConfFileString(file, "nfs_subnetmask", info->nfs_subnetmask);
    return 0;
}
