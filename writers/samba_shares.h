// The share sections of smb.conf.
#pragma once

#include "include/msdfs_info.h"
#include "include/share_info.h"
#include "include/share_lists.h"
#include "include/sys_info.h"

#include <stdio.h>

// All that decides the share sections.
struct samba_inputs {
    SHARE_INFO shares;
    SHARE_INFO usb_shares;
    int usb_share_count;  // below 1: there are none
    SYS_INFO info;
    MSDFS_INFO msdfs;
    OFFLINE offline;
    SHARE_HIDDEN hidden;
    SHARE_VFS vfs;
};

// Writes all sections and the closing marker. The user and group lists of the share list are
// rewritten into the form that Samba reads.
void write_samba_shares(FILE* out, samba_inputs* inputs);
