// The sections of proftpd.conf that decide who may see and write what.
#pragma once

#include "include/group_info.h"
#include "include/msdfs_info.h"
#include "include/share_info.h"
#include "include/sys_info.h"

#include <stdio.h>

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

// The two blocks for a directory that stand at the top level of the file.
void put_hidden_block(FILE* out, const char* path);
void put_read_only_block(FILE* out, const char* path);

// What users are to see of the directory of an array or disk (numbers from 1): nothing, or its
// shares but not the system's own folders; or no block says, for states
// that no loader stores.
enum class visibility { hidden, listed, unmentioned };
visibility array_visibility(const SYS_INFO& info, int number);
visibility disk_visibility(const SYS_INFO& info, int number);

// The path of the MSDFS root, or NULL when it is not to be hidden.
const char* hidden_msdfs_root(const MSDFS_INFO& msdfs);

// Writes the section for users with an account. Returns the USB share behind those that it has
// used, which the anonymous section asks about: the third one, or NULL.
const SHARE_INFO* write_user_section(FILE* out, const proftpd_inputs& inputs);

// Writes the section for anonymous users.
void write_anonymous_section(FILE* out, const proftpd_inputs& inputs, const SHARE_INFO* leftover);
