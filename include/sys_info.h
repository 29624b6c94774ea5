// The appliance-wide settings: /etc/korvel/info, /etc/korvel/diskinfo and the host name.
#pragma once

// One appliance. An on/off member is 255 if its key is missing, and so counts as set.
struct SYS_INFO {
    char hostname[20];  // up to the first '.'
    char string[100];
    char wg[30];
    char pdc[64];
    char wins[20];
    unsigned char codepage;  // row of the code page table
    char anonyftp_folder[50];
    unsigned char array_state[2];     // 0 none, 1 jbod, 2 raid0, 3 raid1, 4 raid5, 5 raid10
    unsigned char disk_state[4];      // 1 a disk on its own, 2 member of array1, 3 of array2
    unsigned char usb_disk_state[2];  // 1 in use
    unsigned char mtu;         // low 8 bits of the number; other than 0: large socket buffers
    unsigned char sec_domain;  // "domain" is "on": member of a domain
    unsigned char printer_win;
    unsigned char atalk;
    unsigned char ftp;
    unsigned char anonyftp;
    unsigned char anonyftp_mode;  // 0 read only, 1 read/write
    unsigned char sec_ads;        // "domain" is "ad": member of an Active Directory
    char ad_dns[256];
    unsigned char sec_server;  // "domain" is "server": an external server authenticates
    unsigned char auth_dc_server;
    unsigned char auth_user_auto_add;
    unsigned char auth_test;
    char auth_server[64];
    char auth_test_folder[50];
    unsigned char sec_share;  // "domain" is "share"
    unsigned char syslog_forward;
    char syslog_forward_target[50];
    unsigned char forward_system;
    unsigned char forward_file_smb;
    unsigned char forward_file_ftp;
    unsigned char forward_file_iscsi;
    unsigned char info_visible;
    // 1 if the value is "on"; if the key is missing, 1 if the host name is "on"
    unsigned char local_auth;
};
