// The groups of the system: /etc/group.
#pragma once

// One group: a line of /etc/group, without the password.
struct GROUP_INFO {
    char GroupName[50];
    char GroupID[10];  // as text
    char* GroupUser;   // heap, owned, or NULL: the comma-separated members
    GROUP_INFO* prev;
    GROUP_INFO* next;
};
