// Writes /etc/ietd.conf, /etc/initiators.allow and /etc/initiators.deny.
#include "base/c_string.h"
#include "base/messages.h"
#include "base/os.h"
#include "base/output.h"
#include "conf/load_config.h"
#include "conf/vantor_bin.h"
#include "conf/volume_list.h"
#include "writers/writers.h"

#include <stdio.h>
#include <string.h>

namespace {

// The naming authority of all targets: year and month of registration, and the reversed domain
// name (RFC 3720, 3.2.6.3.1).
constexpr char naming_authority[] = "iqn.2008-09.com.quarvane";

// What the names of all targets begin with.
struct target_prefix {
    char text[400];
};

// Asks for the host name and the MAC address, and prints the address to standard output.
target_prefix load_target_prefix() {
    char host[256];
    unsigned char mac[6] = {};
    get_host_name(host, sizeof host);  // Kept: its domain is part of it, unlike in smb.conf.
    if (Netdev_GetHwAddr("eth0", mac) == 0)
        say("%02X:%02X:%02X:%02X:%02X:%02X\n", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    target_prefix prefix;
    snprintf(prefix.text, sizeof prefix.text, "%s:%s-%02X%02X%02X%02X%02X%02X", naming_authority,
             host, mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return prefix;
}

// The two pairs of name and password for CHAP.
struct chap_users {
    const char* incoming_name;
    const char* incoming_password;
    const char* outgoing_name;
    const char* outgoing_password;
};

void write_chap(Output& out, const char* indent, const char* authtype, const chap_users& users) {
    const bool duplex = equal(authtype, "duplex");
    if ((duplex || equal(authtype, "simplex")) && is_set(users.incoming_name) &&
        is_set(users.incoming_password))
        put(out, indent, "IncomingUser ", users.incoming_name, " ", users.incoming_password, "\n");
    if (duplex && is_set(users.outgoing_name) && is_set(users.outgoing_password))
        put(out, indent, "OutgoingUser ", users.outgoing_name, " ", users.outgoing_password, "\n");
}

// True if a disk has all that a target needs.
bool has_target(const ISCSI_DISKS& disk) {
    return is_set(disk.target) && is_set(disk.path_lun0);
}

// True if a disk is to become a target in /etc/ietd.conf.
bool is_exported(const ISCSI_DISKS& disk) {
    // Kept: device 0 is exported without a switch; every other device needs it.
    if ((disk.device_number != 0 && !equal(disk.available, "on")) || !has_target(disk))
        return false;
    if (!is_there(disk.path_lun0)) {
        complain("cannot open %s\n", disk.path_lun0);
        return false;
    }
    return volume_listed(disk.path_lun0) || strstr(disk.path_lun0, "/lvm_") != nullptr;
}

void write_text(Output& out, const char* name, const char* value) {
    if (is_set(value))
        put(out, "    ", name, " ", value, "\n");
}

void write_number(Output& out, const char* name, int value) {
    if (value > 0)
        put(out, "    ", name, " ", value, "\n");
}

void write_target(Output& out, const ISCSI_DISKS& disk, const target_prefix& prefix) {
    put(out, "Target  ", prefix.text, ":", disk.target, "\n");
    write_chap(out, "    ", disk.authtype,
               {disk.IncomingUser_name, disk.IncomingUser_password, disk.OutgoingUser_name,
                disk.OutgoingUser_password});
    // Kept: this line is not indented, unlike the parameters around it.
    put(out, "Lun 0 Path=", disk.path_lun0, ",Type=blockio\n");
    write_text(out, "Alias", disk.alias);
    write_text(out, "HeaderDigest", disk.HeaderDigest);
    write_text(out, "DataDigest", disk.DataDigest);
    write_number(out, "MaxConnections", disk.MaxConnections);
    write_text(out, "InitialR2T", disk.InitialR2T);
    write_text(out, "ImmediateData", disk.ImmediateData);
    write_number(out, "MaxRecvDataSegmentLength", disk.MaxRecvDataSegmentLength);
    // Kept: MaxConnections decides about this line, where one expects the line's own value to.
    if (disk.MaxConnections > 0)
        put(out, "    MaxXmitDataSegmentLength ", disk.MaxXmitDataSegmentLength, "\n");
    write_number(out, "MaxBurstLength", disk.MaxBurstLength);
    write_number(out, "FirstBurstLength", disk.FirstBurstLength);
    write_number(out, "MaxOutstandingR2T", disk.MaxOutstandingR2T);
    write_number(out, "Wthreads", disk.Wthreads);
    write_number(out, "QueuedCommands", disk.QueuedCommands);
}

void write_ietd(Output& out, const ISCSI_INFO& info, const ISCSI_DISKS* disks,
                const target_prefix& prefix) {
    put(out, "#iSCSI global configuration\n");
    // Kept: the message shows the password and ends in a blank.
    complain("# [%s] [%s] [%s] \n", info.iscsi_authtype, info.iscsi_IncomingUser_name,
             info.iscsi_IncomingUser_password);
    write_chap(out, "", info.iscsi_authtype,
               {info.iscsi_IncomingUser_name, info.iscsi_IncomingUser_password,
                info.iscsi_OutgoingUser_name, info.iscsi_OutgoingUser_password});
    put(out, "\n");
    int targets = 0;
    for (const ISCSI_DISKS* disk = disks; disk != nullptr; disk = disk->next) {
        if (!is_exported(*disk))
            continue;
        put(out, "\n#Disk", ++targets, "\n");
        write_target(out, *disk, prefix);
    }
}

void write_initiators(Output& allow, Output& deny, const ISCSI_DISKS* disks,
                      const target_prefix& prefix) {
    for (const ISCSI_DISKS* disk = disks; disk != nullptr; disk = disk->next) {
        if (!has_target(*disk))
            continue;
        say("iscsi_device_initiators_allow %s\n", disk->initiators_allow);
        const bool unrestricted =
            !is_set(disk->initiators_allow) || equal(disk->ip_restrict, "off");
        put(allow, prefix.text, ":", disk->target, " ",
            unrestricted ? "ALL" : disk->initiators_allow, "\n");
        put(deny, prefix.text, ":", disk->target, " ALL\n");
    }
}

// Reports a file that could not be opened on standard error.
bool is_open(const Output& out, const char* path) {
    if (!out)
        complain("cannot open %s\n", path);
    return static_cast<bool>(out);
}

bool write_ietd_file(const ISCSI_INFO& info, const ISCSI_DISKS* disks,
                     const target_prefix& prefix) {
    static constexpr char path[] = "/etc/ietd.conf";
    Output out(path, 0600);  // it holds passwords
    if (!is_open(out, path))
        return false;
    trace(0, "file:%s\n", path);
    write_ietd(out, info, disks, prefix);
    return true;
}

void write_initiator_files(const ISCSI_DISKS* disks, const target_prefix& prefix) {
    static constexpr char allow_path[] = "/etc/initiators.allow";
    static constexpr char deny_path[] = "/etc/initiators.deny";
    Output allow(allow_path);
    if (!is_open(allow, allow_path))
        return;
    trace(0, "file:%s\n", deny_path);  // Kept: each of the two files announces the other one.
    Output deny(deny_path);
    if (!is_open(deny, deny_path))
        return;
    trace(0, "file:%s\n", allow_path);
    write_initiators(allow, deny, disks, prefix);
}

}  // namespace

int make_iscsi_conf() {
    ISCSI_INFO info;
    ISCSI_DISKS disks;
    load_iscsi_info(&info);
    load_iscsi_disks(&disks);

    const target_prefix prefix = load_target_prefix();
    if (write_ietd_file(info, &disks, prefix))
        write_initiator_files(&disks, prefix);

    close_iscsi_disks(&disks);
    return 0;  // Kept: a file that could not be opened does not count, where one expects -1.
}
