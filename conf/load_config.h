// The loaders of every settings source and the release of what they have loaded.
//
// The head record of a chain is the caller's: a loader zeroes it and hangs heap records on it,
// the close function frees these and every heap string, and leaves the head. Close a chain after
// every load, also after a failed one. Traces, missing keys (conf/conf_file.h) and failures
// of the tokenizer (conf/list_words.h) go to standard output, all other failures to standard error.
#pragma once

#include "include/group_info.h"
#include "include/iscsi_info.h"
#include "include/msdfs_info.h"
#include "include/nfs_info.h"
#include "include/share_info.h"
#include "include/side_lists.h"
#include "include/sys_info.h"

// Read a share list. Return the number of lines. Each is one record; one of more than 39,999 bytes
// is several. If memory for an access list runs out, the list ends before that line. Return -1 if
// the file cannot be opened or memory for the line or for a record runs out. A head that no line
// has filled is all zero.
int load_shareinfo_file(const char* path, SHARE_INFO* head);
int load_shareinfo(SHARE_INFO* head);     // /etc/korvel/shareinfo
int load_usbshareinfo(SHARE_INFO* head);  // /etc/korvel/usbshareinfo
void close_shareinfo(SHARE_INFO* head);

// Prints one line a record to standard output, from the given record on; for the debugger.
void dump_shareinfo(const SHARE_INFO* share);

// Read the side lists of the shares, with the same results; closed from any record of the chain.
int load_offlinefile(OFFLINE* head);            // /etc/korvel/offlinefile
int load_shareinfo_hidden(SHARE_HIDDEN* head);  // /etc/korvel/shareinfo.hidden
int load_shareinfo_vfs(SHARE_VFS* head);        // /etc/korvel/shareinfo.vfs
void close_offlinefile(OFFLINE* record);
void close_shareinfo_hidden(SHARE_HIDDEN* record);
void close_shareinfo_vfs(SHARE_VFS* record);

// Reads the appliance-wide settings. Always returns 0: a missing key leaves its default.
int load_info(SYS_INFO* info);

// Reads the state of array `index` + 1. Returns 0; or -1 for an index other than 0 and 1.
int load_diskinfo_array(SYS_INFO* info, int index);

// Reads the MSDFS settings. Returns 0; or -1 if memory runs out, with what was built so far.
int load_msdfsinfo(MSDFS_INFO* msdfs);
void close_msdfsinfo(MSDFS_INFO* msdfs);

// Reads /etc/group into a chain on `head` and stores the number of accepted lines in `count`. Zero
// the head first: it is released even after a failure. Returns 0, or -1: the file cannot be opened
// or there is no memory for a line (head and count are untouched), or memory runs out later (head
// has the groups so far).
int load_groupinfo(GROUP_INFO* head, int* count);
void close_groupinfo(GROUP_INFO* head);

// As close_groupinfo, but without its traces.
void release_groupinfo(GROUP_INFO* head);

// Reads the service-wide iSCSI settings. Always returns 0: a missing key leaves its field empty.
int load_iscsi_info(ISCSI_INFO* info);

// Reads the iSCSI disks of all ten disk files. Returns 1; or -1 if memory runs out, with the disks
// read so far. If head->target is empty, skip the head: there is no disk, or its target key is
// empty.
int load_iscsi_disks(ISCSI_DISKS* head);
void close_iscsi_disks(ISCSI_DISKS* head);

// Returns the number of the firmware's switch for FTP over TLS; 0 if it is missing.
int load_ssl_ftp();

// Reads the NFS settings. Always returns 0: a missing key leaves its field empty.
int load_nfs_info(NFS_INFO* info);
