// The sections of proftpd.conf that decide who may see and write what.
#pragma once

#include "base/output.h"
#include "include/group_info.h"
#include "include/msdfs_info.h"
#include "include/share_info.h"
#include "include/sys_info.h"

// All that decides the sections.
struct proftpd_inputs {
    SHARE_INFO shares;
    int share_count;  // 0: there are none
    SHARE_INFO usb_shares;
    int usb_share_count;  // below 1: there are none
    SYS_INFO info;
    GROUP_INFO groups;
    MSDFS_INFO msdfs;
};

// The two blocks for a directory that stand at the top level of the file. Nothing is written to an
// output that is not open.
void put_hidden_block(Output& out, const char* path);
void put_read_only_block(Output& out, const char* path);

// What users see of the directory of an array or disk (numbers from 1).
// hidden: nothing. listed: its shares, not spool and lost+found. unmentioned: no block at all
// (states that no loader stores).
enum class visibility { hidden, listed, unmentioned };
visibility array_visibility(const SYS_INFO& info, int number);
visibility disk_visibility(const SYS_INFO& info, int number);

// The path of the MSDFS root, or NULL if it is not to be hidden.
const char* hidden_msdfs_root(const MSDFS_INFO& msdfs);

// Writes the section for users with an account. Returns the third record of the USB share list, or
// NULL if there is none.
const SHARE_INFO* write_user_section(Output& out, const proftpd_inputs& inputs);

// Writes the section for anonymous users, which asks the third USB share whether the USB disks are
// shown and read-only.
void write_anonymous_section(Output& out, const proftpd_inputs& inputs,
                             const SHARE_INFO* third_usb_share);
