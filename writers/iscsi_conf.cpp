// Writes /etc/ietd.conf, /etc/initiators.allow and /etc/initiators.deny.
#include "conf/list_file.h"
#include "conf/list_words.h"
#include "conf/load_config.h"
#include "conf/text.h"
#include "conf/vantor_bin.h"
#include "include/debug.h"
#include "writers/output.h"
#include "writers/writers.h"

#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

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
    char host[256] = "";
    unsigned char mac[6] = {};
    gethostname(host, sizeof host);  // Kept: whole, with its domain.
    if (Netdev_GetHwAddr("eth0", mac) == 0)
        printf("%02X:%02X:%02X:%02X:%02X:%02X\n", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
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

void write_chap(FILE* out, const char* indent, const char* authtype, const chap_users& users) {
    const bool duplex = equal(authtype, "duplex");
    if ((duplex || equal(authtype, "simplex")) && is_set(users.incoming_name) &&
        is_set(users.incoming_password))
        fprintf(out, "%sIncomingUser %s %s\n", indent, users.incoming_name,
                users.incoming_password);
    if (duplex && is_set(users.outgoing_name) && is_set(users.outgoing_password))
        fprintf(out, "%sOutgoingUser %s %s\n", indent, users.outgoing_name,
                users.outgoing_password);
}

// True when the volume list names the path in a line whose second field is not empty.
bool volume_listed(const char* path) {
    const Stream list = open_input("/tmp/pvlistconfig");
    if (!list)
        return false;
    printf("checkpath %s\n", path);
    char area[256 + line_spare] = "";
    LineReader lines(list.get(), area, 256);
    const char* line = lines.next();
    while (line != nullptr && strstr(line, path) == nullptr)
        line = lines.next();
    char field[256] = "";
    if (line != nullptr)
        take(take(line, field), field);
    printf("checkpath ret = %d\n", is_set(field) ? 0 : 1);
    return is_set(field);
}

// True when a disk has all that a target needs.
bool has_target(const ISCSI_DISKS& disk) {
    return is_set(disk.target) && is_set(disk.path_lun0);
}

// True when a disk is to become a target in /etc/ietd.conf.
bool is_exported(const ISCSI_DISKS& disk) {
    // Kept: device 0 needs no switch.
    if ((disk.device_number != 0 && !equal(disk.available, "on")) || !has_target(disk))
        return false;
    struct stat status;
    if (stat(disk.path_lun0, &status) == -1) {
        fprintf(stderr, "cannot open %s\n", disk.path_lun0);
        return false;
    }
    return volume_listed(disk.path_lun0) || strstr(disk.path_lun0, "/lvm_") != nullptr;
}

void write_text(FILE* out, const char* name, const char* value) {
    if (is_set(value))
        fprintf(out, "    %s %s\n", name, value);
}

void write_number(FILE* out, const char* name, int value) {
    if (value > 0)
        fprintf(out, "    %s %d\n", name, value);
}

void write_target(FILE* out, const ISCSI_DISKS& disk, const target_prefix& prefix) {
    fprintf(out, "Target  %s:%s\n", prefix.text, disk.target);
    write_chap(out, "    ", disk.authtype,
               {disk.IncomingUser_name, disk.IncomingUser_password, disk.OutgoingUser_name,
                disk.OutgoingUser_password});
    // Kept: not indented.
    fprintf(out, "Lun 0 Path=%s,Type=blockio\n", disk.path_lun0);
    write_text(out, "Alias", disk.alias);
    write_text(out, "HeaderDigest", disk.HeaderDigest);
    write_text(out, "DataDigest", disk.DataDigest);
    write_number(out, "MaxConnections", disk.MaxConnections);
    write_text(out, "InitialR2T", disk.InitialR2T);
    write_text(out, "ImmediateData", disk.ImmediateData);
    write_number(out, "MaxRecvDataSegmentLength", disk.MaxRecvDataSegmentLength);
    if (disk.MaxConnections > 0)  // Kept: the line follows MaxConnections, not its own value.
        fprintf(out, "    MaxXmitDataSegmentLength %d\n", disk.MaxXmitDataSegmentLength);
    write_number(out, "MaxBurstLength", disk.MaxBurstLength);
    write_number(out, "FirstBurstLength", disk.FirstBurstLength);
    write_number(out, "MaxOutstandingR2T", disk.MaxOutstandingR2T);
    write_number(out, "Wthreads", disk.Wthreads);
    write_number(out, "QueuedCommands", disk.QueuedCommands);
}

void write_ietd(FILE* out, const ISCSI_INFO& info, const ISCSI_DISKS* disks,
                const target_prefix& prefix) {
    put(out, "#iSCSI global configuration\n");
    // Kept: the password, too, and the blank at the end.
    fprintf(stderr, "# [%s] [%s] [%s] \n", info.iscsi_authtype, info.iscsi_IncomingUser_name,
            info.iscsi_IncomingUser_password);
    write_chap(out, "", info.iscsi_authtype,
               {info.iscsi_IncomingUser_name, info.iscsi_IncomingUser_password,
                info.iscsi_OutgoingUser_name, info.iscsi_OutgoingUser_password});
    put(out, "\n");
    int targets = 0;
    for (const ISCSI_DISKS* disk = disks; disk != nullptr; disk = disk->next) {
        if (!is_exported(*disk))
            continue;
        fprintf(out, "\n#Disk%d\n", ++targets);
        write_target(out, *disk, prefix);
    }
}

void write_initiators(FILE* allow, FILE* deny, const ISCSI_DISKS* disks,
                      const target_prefix& prefix) {
    for (const ISCSI_DISKS* disk = disks; disk != nullptr; disk = disk->next) {
        if (!has_target(*disk))
            continue;
        printf("iscsi_device_initiators_allow %s\n", disk->initiators_allow);
        const bool unrestricted =
            !is_set(disk->initiators_allow) || equal(disk->ip_restrict, "off");
        fprintf(allow, "%s:%s %s\n", prefix.text, disk->target,
                unrestricted ? "ALL" : disk->initiators_allow);
        fprintf(deny, "%s:%s ALL\n", prefix.text, disk->target);
    }
}

// Opens one of the three files; reports a failure on standard error.
Stream open_reported(const char* path, mode_t mode = 0666) {
    Stream out = open_output(path, mode);
    if (!out)
        fprintf(stderr, "cannot open %s\n", path);
    return out;
}

void write_files(const ISCSI_INFO& info, const ISCSI_DISKS* disks, const target_prefix& prefix) {
    static constexpr char ietd_path[] = "/etc/ietd.conf";
    static constexpr char allow_path[] = "/etc/initiators.allow";
    static constexpr char deny_path[] = "/etc/initiators.deny";

    Stream ietd = open_reported(ietd_path, 0600);  // it holds passwords
    if (!ietd)
        return;
    trace(0, "file:%s\n", ietd_path);
    write_ietd(ietd.get(), info, disks, prefix);
    ietd.reset();

    const Stream allow = open_reported(allow_path);
    if (!allow)
        return;
    trace(0, "file:%s\n", deny_path);  // Kept: the two files announce each other.
    const Stream deny = open_reported(deny_path);
    if (!deny)
        return;
    trace(0, "file:%s\n", allow_path);
    write_initiators(allow.get(), deny.get(), disks, prefix);
}

}  // namespace

int make_iscsi_conf() {
    ISCSI_INFO info;
    ISCSI_DISKS disks;
    load_iscsi_info(&info);
    load_iscsi_disks(&disks);

    write_files(info, &disks, load_target_prefix());

    close_iscsi_disks(&disks);
    return 0;  // Kept: also when a file could not be opened.
}
