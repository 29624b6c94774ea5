// Reads the NFS settings.
#include "conf/conf_file.h"
#include "conf/load_config.h"
#include "conf/vantor_bin.h"

int load_nfs_info(NFS_INFO* info) {
    *info = {};
    const SettingsCache cache;
    LoadConfFileString("/etc/korvel/nfs_info", "nfs_networkaddress", info->nfs_networkaddress);
    LoadConfFileString("/etc/korvel/nfs_info", "nfs_subnetmask", info->nfs_subnetmask);
    return 0;
}
