// Reads /etc/korvel/nfs_info.
#include "conf/conf_file.h"
#include "conf/load_config.h"

int load_nfs_info(NFS_INFO* info) {
    *info = {};
    SettingsFile file("/etc/korvel/nfs_info");
    file.load();
    LoadConfFileString(file, "nfs_networkaddress", info->nfs_networkaddress);
    LoadConfFileString(file, "nfs_subnetmask", info->nfs_subnetmask);
    return 0;
}
