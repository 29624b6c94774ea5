// What the appliance's settings mean: who may read and write which share, by which services.
//
// Takes the records from the program's loaders, and knows nothing of how the writers or the services
// say it.
#include "access/machine/meaning.h"

#include "access/machine/crowd.h"
#include "access/machine/door.h"
#include "access/machine/text.h"
#include "base/c_string.h"
#include "conf/load_config.h"
#include "util/mount_probe.h"
#include "writers/share_access.h"

#include <algorithm>

namespace tavrogen::access {

namespace {

// The side lists of the shares.
struct SideLists {
    std::set<std::string> hidden;    // the first line of a name counts
    std::set<std::string> exported;  // any line of a name counts
};

SideLists load_side_lists() {
    SideLists lists;
    std::set<std::string> known;
    SHARE_HIDDEN hidden;
    load_shareinfo_hidden(&hidden);
    for (const SHARE_HIDDEN* record = &hidden; record != nullptr; record = record->next)
        if (known.insert(record->name).second && !record->enabled)
            lists.hidden.insert(record->name);
    close_shareinfo_hidden(&hidden);
    SHARE_VFS vfs;
    load_shareinfo_vfs(&vfs);
    for (const SHARE_VFS* record = &vfs; record != nullptr; record = record->next)
        if (to_int(record->nfs, 0) == 1)
            lists.exported.insert(record->name);
    close_shareinfo_vfs(&vfs);
    return lists;
}

// Gives a right to all who are named, and to the members of the groups.
void give(Right right, const Crowd& crowd, const std::string& users, const std::string& groups,
          std::vector<Right>* people) {
    for (const std::string& name : names_in(users))
        for (const size_t person : crowd.account(name))
            (*people)[person] = right;
    for (const std::string& name : names_in(groups))
        for (const size_t person : crowd.group(name.substr(name.starts_with('@'))))
            (*people)[person] = right;
}

std::vector<Right> rights_to(const IntendedShare& share, const Crowd& crowd) {
    const Right full = share.read_only ? Right::read : Right::write;
    std::vector<Right> people(crowd.people().size(), share.open_to_all() ? full : Right::none);
    if (share.open_to_all())
        return people;
    if (share.administrators_only())
        give(full, crowd, "admin,guest", "hdusers", &people);
    give(full, crowd, share.lists[rw_users], share.lists[rw_groups], &people);
    // Also for who may write by another list.
    give(Right::read, crowd, share.lists[ro_users], share.lists[ro_groups], &people);
    return people;
}

std::string as_string(const char* list) {
    return list != nullptr ? list : "";
}

void add_shares(bool usb, const SideLists& side_lists, const Crowd& crowd,
                std::vector<IntendedShare>* shares) {
    SHARE_INFO head;
    load_shareinfo_file(usb ? usb_share_file : share_file, &head);
    int line = 0;
    for (const SHARE_INFO* record = &head; record != nullptr; record = record->next) {
        ++line;
        if (!is_set(record->volume))
            continue;
        IntendedShare share;
        share.name = record->name;
        share.volume = record->volume;
        share.comment = record->comment;
        share.folder = "/mnt/" + share.volume + (usb ? "" : '/' + share.name);
        share.file = usb ? usb_share_file : share_file;
        share.line = line;
        share.usb = usb;
        share.hidden = side_lists.hidden.contains(share.name);
        share.lists = {as_string(record->rw_users), as_string(record->rw_groups),
                       as_string(record->ro_users), as_string(record->ro_groups)};
        int fs_type = 0;
        const bool mounted =
            !usb || (line <= 2 && isMounted(usb_mount_points[line - 1], &fs_type) != 0);
        share.read_only = record->read_only || fs_type == fs_fat || fs_type == fs_ntfs || !mounted;
        const struct {
            Service service;
            bool served;
        } rows[] = {
            {Service::smb, record->smb != 0},
            {Service::atalk, record->atalk != 0},
            {Service::ftp, record->ftp != 0},
            {Service::nfs, !usb && side_lists.exported.contains(share.name)},
        };
        for (const auto& row : rows)
            if (row.served && mounted)
                share.services.insert(row.service);
        share.people = rights_to(share, crowd);
        if (share.open_to_all())
            share.guest = share.read_only ? Right::read : Right::write;
        shares->push_back(share);
    }
    close_shareinfo(&head);
}

}  // namespace

bool IntendedShare::open_to_all() const {
    return std::all_of(lists.begin(), lists.end(),
                       [](const std::string& list) { return list == "all"; });
}

bool IntendedShare::administrators_only() const {
    return std::all_of(lists.begin(), lists.end(),
                       [](const std::string& list) { return list.empty(); });
}

std::vector<IntendedShare> intended_shares(const Machine& machine) {
    load_from(machine);
    const SideLists lists = load_side_lists();
    const Crowd crowd(machine.people());
    std::vector<IntendedShare> shares;
    add_shares(false, lists, crowd, &shares);
    add_shares(true, lists, crowd, &shares);
    return shares;
}

}  // namespace tavrogen::access
