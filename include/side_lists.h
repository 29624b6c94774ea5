// The side lists of the shares: /etc/korvel/offlinefile, shareinfo.hidden and shareinfo.vfs.
#pragma once

// The offline-files policy of one share: a line of /etc/korvel/offlinefile.
struct OFFLINE {
    char name[60];
    unsigned char enabled;
    char policy[32];  // the value for "csc policy"
    char reserved[5][16];
    OFFLINE* prev;
    OFFLINE* next;
};

// Whether one share is shown in browse lists: a line of /etc/korvel/shareinfo.hidden.
struct SHARE_HIDDEN {
    char name[60];
    unsigned char enabled;  // set: shown
    char reserved[6][16];
    SHARE_HIDDEN* prev;
    SHARE_HIDDEN* next;
};

// Recycle bin, audit and NFS of one share: a line of /etc/korvel/shareinfo.vfs.
struct SHARE_VFS {
    char name[60];
    unsigned char trash;
    unsigned char audit;
    char nfs[16];  // the export switch: a number, 1 exports the share
    char reserved[4][16];
    SHARE_VFS* prev;
    SHARE_VFS* next;
};
