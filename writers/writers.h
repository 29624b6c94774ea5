// The writers: one for each service, each rewriting the files of its service whole.
//
// A writer loads its inputs, writes its files in place and releases what it has loaded. A missing
// input is reported by its loader and does not stop the writer; a malformed one is read as far as
// it goes, without a word. Write errors on an open file are ignored. Returns 0; or -1 if a file
// could not be opened (make_iscsi_conf: 0).
//
// Releases are written out: their traces have a fixed order, which is not the reverse of loading.
#pragma once

int make_samba_conf();
int make_proftpd_conf();
int make_atalk_conf();
int make_syslog_conf();
int make_iscsi_conf();
int make_nfs_exports();

// One service. To add one: write its writer, name its source file in CMakeLists.txt, and give it a
// row here; the usage, the preview and the companions follow.
struct service {
    const char* name;  // as -c takes it
    int (*write)();
    const char* files[4];  // at most 3 that it writes, in their order; NULL ends the list
};

inline constexpr service services[] = {
    {"samba", make_samba_conf, {"/etc/samba/smb.conf", "/etc/pam_smb.conf"}},
    {"proftpd", make_proftpd_conf, {"/etc/proftpd/proftpd.conf", "/etc/pam.d/ftp"}},
    {"atalk",
     make_atalk_conf,
     {"/etc/atalk/AppleVolumes.default", "/etc/pam.d/netatalk", "/etc/atalk/afpd.conf"}},
    {"syslog", make_syslog_conf, {"/etc/syslog.conf"}},
    {"iscsi", make_iscsi_conf, {"/etc/ietd.conf", "/etc/initiators.allow", "/etc/initiators.deny"}},
    {"nfs", make_nfs_exports, {"/etc/exports"}},
};
