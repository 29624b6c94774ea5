// What several writers ask of a share and its access lists.
#pragma once

#include "include/share_info.h"

// Where the two USB disks are mounted. The first record of the USB share list stands for the first
// disk and the second for the second one. Kept: their volume fields are ignored here, and so is
// every record after the second.
inline constexpr const char* usb_mount_points[] = {"/mnt/usbdisk1", "/mnt/usbdisk2"};

// True if all four access lists are exactly "all".
bool open_to_everyone(const SHARE_INFO& share);

// True if all four access lists are empty.
bool has_no_lists(const SHARE_INFO& share);

// True if the share or the file system of its USB disk (util/mount_probe.h) is read-only.
bool read_only_on(const SHARE_INFO& share, int fs_type);

// Rewrites the four access lists of a share into the form that Samba and the AppleTalk server read
// (util/utils.h). Returns 0.
int shape_share_lists(SHARE_INFO* share);
