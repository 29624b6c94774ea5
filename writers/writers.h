// The writers: one for each service, each rewriting the files of its service whole.
//
// A writer loads its inputs, writes its files in place and releases what it has loaded. A missing
// input is reported by its loader and does not stop the writer; a malformed one is read as far as
// it goes, without a word. Write errors on an open file are ignored. Returns 0; or -1 when a file
// could not be opened (make_iscsi_conf: 0).
#pragma once

int make_samba_conf();    // /etc/samba/smb.conf, /etc/pam_smb.conf
int make_proftpd_conf();  // /etc/proftpd/proftpd.conf, /etc/pam.d/ftp
int make_atalk_conf();    // /etc/atalk/AppleVolumes.default, /etc/pam.d/netatalk, afpd.conf
int make_syslog_conf();   // /etc/syslog.conf
int make_iscsi_conf();    // /etc/ietd.conf, /etc/initiators.allow, /etc/initiators.deny
int make_nfs_exports();   // /etc/exports
