// Reads the iSCSI settings.
#include "conf/conf_file.h"
#include "conf/load_config.h"
#include "conf/record_chain.h"
#include "conf/vantor_bin.h"
#include "include/debug.h"

#include <stddef.h>
#include <stdio.h>

int load_iscsi_info(ISCSI_INFO* info) {
    static constexpr char file[] = "/etc/korvel/iscsi_info";
    *info = {};
    const SettingsCache cache;
    LoadConfFileString(file, "iscsi_service", info->iscsi_service);
    LoadConfFileString(file, "iscsi_IncomingUser_name", info->iscsi_IncomingUser_name);
    LoadConfFileString(file, "iscsi_IncomingUser_password", info->iscsi_IncomingUser_password);
    LoadConfFileString(file, "iscsi_OutgoingUser_name", info->iscsi_OutgoingUser_name);
    LoadConfFileString(file, "iscsi_OutgoingUser_password", info->iscsi_OutgoingUser_password);
    LoadConfFileString(file, "iscsi_authtype", info->iscsi_authtype);
    return 0;
}

namespace {

// One field of a disk: the key "iscsi_deviceN_SUFFIX". Size 0 is a number.
struct disk_field {
    const char* suffix;
    size_t offset;
    size_t size;
    bool shared;  // the key is that of device 0, for all disks of the file
};

constexpr size_t decimal = 0;
constexpr bool own = false;
constexpr bool shared = true;

#define TEXT_FIELD(member) offsetof(ISCSI_DISKS, member), sizeof(ISCSI_DISKS::member)
#define NUMBER_FIELD(member) offsetof(ISCSI_DISKS, member), decimal

// In the order in which the keys are looked up.
// Kept: all disks of a file share the session parameters and the restriction of device 0.
constexpr disk_field disk_fields[] = {
    {"target", TEXT_FIELD(target), own},
    {"path_lun0", TEXT_FIELD(path_lun0), own},
    {"alias", TEXT_FIELD(alias), own},
    {"IncomingUser_name", TEXT_FIELD(IncomingUser_name), own},
    {"IncomingUser_password", TEXT_FIELD(IncomingUser_password), own},
    {"OutgoingUser_name", TEXT_FIELD(OutgoingUser_name), own},
    {"OutgoingUser_password", TEXT_FIELD(OutgoingUser_password), own},
    {"initiators.allow", TEXT_FIELD(initiators_allow), own},
    {"available", TEXT_FIELD(available), own},
    {"authtype", TEXT_FIELD(authtype), own},
    {"HeaderDigest", TEXT_FIELD(HeaderDigest), shared},
    {"DataDigest", TEXT_FIELD(DataDigest), shared},
    {"InitialR2T", TEXT_FIELD(InitialR2T), shared},
    {"ImmediateData", TEXT_FIELD(ImmediateData), shared},
    {"MaxConnections", NUMBER_FIELD(MaxConnections), shared},
    {"MaxRecvDataSegmentLength", NUMBER_FIELD(MaxRecvDataSegmentLength), shared},
    {"MaxXmitDataSegmentLength", NUMBER_FIELD(MaxXmitDataSegmentLength), shared},
    {"MaxBurstLength", NUMBER_FIELD(MaxBurstLength), shared},
    {"FirstBurstLength", NUMBER_FIELD(FirstBurstLength), shared},
    {"MaxOutstandingR2T", NUMBER_FIELD(MaxOutstandingR2T), shared},
    {"Wthreads", NUMBER_FIELD(Wthreads), shared},
    {"QueuedCommands", NUMBER_FIELD(QueuedCommands), shared},
    {"ip_restrict", TEXT_FIELD(ip_restrict), shared},
};

void load_disk(const char* file, int number, ISCSI_DISKS* disk) {
    disk->device_number = number;
    for (const disk_field& field : disk_fields) {
        char key[64];
        snprintf(key, sizeof key, "iscsi_device%d_%s", field.shared ? 0 : number, field.suffix);
        char* member = reinterpret_cast<char*>(disk) + field.offset;
        if (field.size == decimal)
            LoadConfFileInt(file, key, reinterpret_cast<int*>(member));
        else
            LoadConfFileString(file, key, member, static_cast<int>(field.size));
    }
}

}  // namespace

int load_iscsi_disks(ISCSI_DISKS* head) {
    *head = {};
    const SettingsCache cache;
    ISCSI_DISKS* disk = nullptr;
    for (int file_number = 1; file_number <= 10; ++file_number) {
        char file[64];
        snprintf(file, sizeof file, "/etc/korvel/iscsi_disks%d", file_number);
        for (int number = 0; number < 20; ++number) {
            char key[64];
            char target[256];
            snprintf(key, sizeof key, "iscsi_device%d_target", number);
            if (LoadConfFileString(file, key, target) != 0) {
                if (number == 0)
                    break;  // the file holds no disks
                continue;
            }
            if (disk == nullptr) {
                disk = head;
            } else {
                trace(1,
                      "load_iscsi_disks in load_config: "
                      "allocate memory for ISCSI_DISKS structure......");
                disk = grow(disk);
                if (disk == nullptr)
                    return -1;
                trace(1, "%p done.\n", static_cast<void*>(disk));
            }
            load_disk(file, number, disk);
        }
    }
    return 1;
}

void close_iscsi_disks(ISCSI_DISKS* head) {
    release_followers(head, "close_iscsi_disks", "ISCSI_DISKS structure");
    trace(1, "close_iscsi_disks in load_config: close iscsidisks.\n");
}
