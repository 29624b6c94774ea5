// Reads /etc/korvel/iscsi_info and /etc/korvel/iscsi_disks1 to iscsi_disks10.
#include "base/messages.h"
#include "base/record_chain.h"
#include "conf/conf_file.h"
#include "conf/load_config.h"

#include <stdio.h>
#include <string.h>

int load_iscsi_info(ISCSI_INFO* info) {
    *info = {};
    SettingsFile file("/etc/korvel/iscsi_info");
    file.load();
    LoadConfFileString(file, "iscsi_service", info->iscsi_service);
    LoadConfFileString(file, "iscsi_IncomingUser_name", info->iscsi_IncomingUser_name);
    LoadConfFileString(file, "iscsi_IncomingUser_password", info->iscsi_IncomingUser_password);
    LoadConfFileString(file, "iscsi_OutgoingUser_name", info->iscsi_OutgoingUser_name);
    LoadConfFileString(file, "iscsi_OutgoingUser_password", info->iscsi_OutgoingUser_password);
    LoadConfFileString(file, "iscsi_authtype", info->iscsi_authtype);
    return 0;
}

namespace {

// The keys "iscsi_deviceN_..." of one device; the member's type picks the reader.
class DeviceKeys {
  public:
    DeviceKeys(const SettingsFile& file, int number) : file_(file) {
        length_ = static_cast<size_t>(snprintf(key_, sizeof key_, "iscsi_device%d_", number));
    }

    template <size_t size>
    int load(const char* name, char (&member)[size]) {
        return LoadConfFileString(file_, key_of(name), member);
    }
    int load(const char* name, int& member) {
        return LoadConfFileInt(file_, key_of(name), &member);
    }

  private:
    const char* key_of(const char* name) {
        strcpy(key_ + length_, name);
        return key_;
    }

    const SettingsFile& file_;
    size_t length_;  // of the common beginning, "iscsi_deviceN_"
    char key_[64];
};

// Kept: all disks of a file share the session parameters and the restriction of device 0; those of
// the other devices are never read.
void load_disk(DeviceKeys& own, DeviceKeys& shared, ISCSI_DISKS* disk) {
    own.load("target", disk->target);
    own.load("path_lun0", disk->path_lun0);
    own.load("alias", disk->alias);
    own.load("IncomingUser_name", disk->IncomingUser_name);
    own.load("IncomingUser_password", disk->IncomingUser_password);
    own.load("OutgoingUser_name", disk->OutgoingUser_name);
    own.load("OutgoingUser_password", disk->OutgoingUser_password);
    own.load("initiators.allow", disk->initiators_allow);
    own.load("available", disk->available);
    own.load("authtype", disk->authtype);
    shared.load("HeaderDigest", disk->HeaderDigest);
    shared.load("DataDigest", disk->DataDigest);
    shared.load("InitialR2T", disk->InitialR2T);
    shared.load("ImmediateData", disk->ImmediateData);
    shared.load("MaxConnections", disk->MaxConnections);
    shared.load("MaxRecvDataSegmentLength", disk->MaxRecvDataSegmentLength);
    shared.load("MaxXmitDataSegmentLength", disk->MaxXmitDataSegmentLength);
    shared.load("MaxBurstLength", disk->MaxBurstLength);
    shared.load("FirstBurstLength", disk->FirstBurstLength);
    shared.load("MaxOutstandingR2T", disk->MaxOutstandingR2T);
    shared.load("Wthreads", disk->Wthreads);
    shared.load("QueuedCommands", disk->QueuedCommands);
    shared.load("ip_restrict", disk->ip_restrict);
}

}  // namespace

int load_iscsi_disks(ISCSI_DISKS* head) {
    *head = {};
    ISCSI_DISKS* disk = nullptr;
    for (int file_number = 1; file_number <= 10; ++file_number) {
        char path[64];
        snprintf(path, sizeof path, "/etc/korvel/iscsi_disks%d", file_number);
        SettingsFile file(path);
        file.load();
        DeviceKeys shared(file, 0);
        for (int number = 0; number < 20; ++number) {
            DeviceKeys own(file, number);
            char target[256];
            if (own.load("target", target) != 0) {
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
            disk->device_number = number;
            load_disk(own, shared, disk);
        }
    }
    return 1;
}

void close_iscsi_disks(ISCSI_DISKS* head) {
    release_followers(head, "close_iscsi_disks", "ISCSI_DISKS structure");
    trace(1, "close_iscsi_disks in load_config: close iscsidisks.\n");
}
