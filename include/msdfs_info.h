// The MSDFS root and its links: /etc/korvel/msdfs.
#pragma once

// The share that is the MSDFS root.
struct MSDFS_ROOT {
    char name[60];
    char path[256];
};

// One numbered link of the root.
struct MSDFS_LINK {
    unsigned char enabled;
    char name[60];
    char unc1[256];  // target: two backslashes, server, backslash, share
    MSDFS_LINK* prev;
    MSDFS_LINK* next;
};

// The MSDFS service.
struct MSDFS_INFO {
    unsigned char enabled;
    unsigned char root_as_link;  // the root share is itself a link
    MSDFS_ROOT* root;            // heap, owned
    MSDFS_LINK* links;           // heap chain, owned; the last record after loading
};
