// The shared folders: /etc/korvel/shareinfo and /etc/korvel/usbshareinfo.
#pragma once

// One shared folder: a line of a share list.
struct SHARE_INFO {
    char name[60];
    char volume[16];  // directory under /mnt, such as array1
    char comment[100];
    // Heap, owned, of any length. NULL in a head that no line has filled, and if memory
    // ran out; then all the switches are 0.
    char* rw_users;  // users with read-write access, a comma list
    char* rw_groups;
    char* ro_users;  // users with read-only access
    char* ro_groups;
    char reserved_text[10];
    int reserved_value;
    unsigned char smb;
    unsigned char atalk;
    unsigned char ftp;
    unsigned char rsync;
    unsigned char read_only;
    unsigned char trashbox;  // a recycle bin where no vfs record says otherwise
    unsigned char reserved_flag;
    SHARE_INFO* prev;
    SHARE_INFO* next;
};
