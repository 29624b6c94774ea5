// What several writers ask of a share and its access lists.
#include "writers/share_access.h"

#include "base/c_string.h"
#include "util/mount_probe.h"
#include "util/utils.h"

#include <initializer_list>

static bool all_lists_are(const SHARE_INFO& share, const char* text) {
    for (const char* list : {share.rw_users, share.rw_groups, share.ro_users, share.ro_groups})
        if (!equal(list, text))
            return false;
    return true;
}

bool open_to_everyone(const SHARE_INFO& share) {
    return all_lists_are(share, "all");
}

bool has_no_lists(const SHARE_INFO& share) {
    return all_lists_are(share, "");
}

bool read_only_on(const SHARE_INFO& share, int fs_type) {
    return share.read_only != 0 || fs_type == fs_fat || fs_type == fs_ntfs;
}

int shape_share_lists(SHARE_INFO* share) {
    VntSambaFormatShaper(&share->ro_users, user_list);
    VntSambaFormatShaper(&share->ro_groups, group_list);
    VntSambaFormatShaper(&share->rw_users, user_list);
    VntSambaFormatShaper(&share->rw_groups, group_list);
    return 0;
}
