// The share sections of smb.conf.
#pragma once

#include "base/output.h"
#include "include/msdfs_info.h"
#include "include/share_info.h"
#include "include/side_lists.h"
#include "include/sys_info.h"
#include "writers/name_search.h"

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

using HiddenSearch = NameSearch<SHARE_HIDDEN, &SHARE_HIDDEN::name>;
using OfflineSearch = NameSearch<OFFLINE, &OFFLINE::name>;
using VfsSearch = NameSearch<SHARE_VFS, &SHARE_VFS::name>;

// Writes the first line of a section: "[NAME]", or "[NAME$]" for a share that is hidden. Returns 0.
int write_share_header(Output& out, const char* name, const HiddenSearch& hidden_list);

// Writes the lines for the recycle bin and the audit of a share, if any. The vfs list decides, else
// the share's own `trashbox`. Returns 0.
int write_share_vfs(Output& out, const char* name, unsigned char trashbox,
                    const VfsSearch& vfs_list);

// Writes all sections and the closing marker. The user and group lists of the share list are
// rewritten into the form that Samba reads.
void write_samba_shares(Output& out, samba_inputs* inputs);
