// The iSCSI target: /etc/korvel/iscsi_info and /etc/korvel/iscsi_disks1 to iscsi_disks10.
#pragma once

// The service-wide settings.
struct ISCSI_INFO {
    char iscsi_service[6];
    char iscsi_IncomingUser_name[256];  // the initiator authenticates with it
    char iscsi_IncomingUser_password[32];
    char iscsi_OutgoingUser_name[256];  // the target answers with it
    char iscsi_OutgoingUser_password[32];
    char iscsi_authtype[16];  // "no", "simplex" or "duplex"
};

// One disk: the keys of one device number in a disk file.
struct ISCSI_DISKS {
    char target[256];    // last part of the target's name
    char path_lun0[64];  // block device or file exported as LUN 0
    char alias[256];
    char IncomingUser_name[256];
    char IncomingUser_password[32];
    char OutgoingUser_name[256];
    char OutgoingUser_password[32];
    char initiators_allow[256];
    char HeaderDigest[12];
    char DataDigest[12];
    char available[12];  // "on": exported
    int MaxConnections;
    char InitialR2T[12];
    char ImmediateData[12];
    int MaxRecvDataSegmentLength;
    int MaxXmitDataSegmentLength;
    int MaxBurstLength;
    int FirstBurstLength;
    int MaxOutstandingR2T;
    int Wthreads;
    int QueuedCommands;
    char authtype[16];     // "no", "simplex" or "duplex"
    int device_number;     // 0 to 19
    char ip_restrict[16];  // "off": open to every initiator
    ISCSI_DISKS* prev;
    ISCSI_DISKS* next;
};
