// What the settings mean, whatever the services make of them.
#pragma once

#include "access/machine/machine.h"

#include <array>

namespace tavrogen::access {

constexpr char share_file[] = "/etc/korvel/shareinfo";
constexpr char usb_share_file[] = "/etc/korvel/usbshareinfo";

// The access lists of a share, in the order of its line.
enum List { rw_users, rw_groups, ro_users, ro_groups };

// One share as the settings mean it (not as any service reads it). Lines without a volume, such as
// blank ones, are no shares.
struct IntendedShare {
    std::string name;    // cut as the program cuts it, as the volume and the comment are
    std::string volume;  // directory under /mnt
    std::string comment;
    std::string folder;  // absolute path
    std::string file;    // the settings file and line that say so
    int line = 0;
    bool usb = false;
    bool hidden = false;               // from the browse lists: SMB clients see the name with a '$'
    bool read_only = false;            // by its switch or its disk's file system
    std::set<Service> services;        // that are to serve it, with its disk as it is mounted now
    std::array<std::string, 4> lists;  // as they stand in the file, by List
    std::vector<Right> people;         // one for each of Machine::people(), in their order
    // Without an account. Only services that know guests give it: SMB and AppleTalk outside a
    // domain, anonymous FTP for shares on internal volumes outside a domain.
    Right guest = Right::none;

    bool open_to_all() const;          // all four lists are "all"
    bool administrators_only() const;  // all four lists are empty
};
// Those of shareinfo, then those of usbshareinfo.
std::vector<IntendedShare> intended_shares(const Machine& machine);

}  // namespace tavrogen::access
