// What the appliance's settings mean: who may read and write which share, by which services.
//
// Reads the settings by itself and knows nothing of how the program or the services say it.
#include "access/machine/meaning.h"

#include "access/machine/crowd.h"
#include "access/machine/text.h"
#include "base/c_string.h"

#include <algorithm>

namespace tavrogen::access {

namespace {

// A line of a list file with as many fields as are asked for.
class Record {
  public:
    explicit Record(const std::string& line) : fields_(fields_of(line)) {}

    std::string text(size_t field, size_t limit = std::string::npos) const {
        return field < fields_.size() ? fields_[field].substr(0, limit) : "";
    }
    bool flag(size_t field) const {
        return static_cast<unsigned char>(to_int(text(field, 31).c_str())) != 0;
    }

  private:
    std::vector<std::string> fields_;
};

constexpr size_t name_limit = 59;

std::vector<Record> records_of(const Machine& machine, const char* path) {
    std::vector<Record> records;
    for (const std::string& line : lines_of(machine.file(path).value_or("")))
        records.emplace_back(line);
    return records;
}

// The side lists of the shares.
struct SideLists {
    std::set<std::string> hidden;    // the first line of a name counts
    std::set<std::string> exported;  // any line of a name counts
};

SideLists load_side_lists(const Machine& machine) {
    SideLists lists;
    std::set<std::string> known;
    for (const Record& record : records_of(machine, "/etc/korvel/shareinfo.hidden"))
        if (known.insert(record.text(0, name_limit)).second && record.text(1, 15) != "on")
            lists.hidden.insert(record.text(0, name_limit));
    for (const Record& record : records_of(machine, "/etc/korvel/shareinfo.vfs"))
        if (to_int(record.text(3, 15).c_str(), 0) == 1)
            lists.exported.insert(record.text(0, name_limit));
    return lists;
}

struct Medium {
    bool mounted;
    bool writable;
};

// The USB disk of a position: the first line of the mount table that contains its folder counts.
Medium usb_disk(const Machine& machine, int number) {
    const std::string folder = "/mnt/usbdisk" + std::to_string(number);
    for (const std::string& line : lines_of(machine.file("/proc/mounts").value_or(""))) {
        if (line.find(folder) == std::string::npos)
            continue;
        const size_t first = line.find(' ');
        const size_t second = first == std::string::npos ? first : line.find(' ', first + 1);
        if (second == std::string::npos)
            return {};
        const std::string type = line.substr(second + 1, line.find(' ', second + 1) - second - 1);
        const bool foreign = type == "vfat" || type == "msdos" || type == "ntfs";
        const bool known = foreign || type.starts_with("xfs") || type == "ext3" || type == "ext2" ||
                           type == "reiserfs" || type == "jfs";
        return {known, known && !foreign};
    }
    return {};
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

void add_shares(const Machine& machine, bool usb, const SideLists& lists, const Crowd& crowd,
                std::vector<IntendedShare>* shares) {
    int line = 0;
    for (const Record& record : records_of(machine, usb ? usb_share_file : share_file)) {
        ++line;
        if (record.text(1).empty())
            continue;
        IntendedShare share;
        share.name = record.text(0, name_limit);
        share.volume = record.text(1, 15);
        share.comment = record.text(2, 99);
        share.folder = "/mnt/" + share.volume + (usb ? "" : '/' + share.name);
        share.file = usb ? usb_share_file : share_file;
        share.line = line;
        share.usb = usb;
        share.hidden = lists.hidden.contains(share.name);
        for (size_t list = 0; list < share.lists.size(); ++list)
            share.lists[list] = record.text(3 + list);
        const Medium disk =
            usb ? line <= 2 ? usb_disk(machine, line) : Medium{} : Medium{true, true};
        share.read_only = record.flag(12) || !disk.writable;
        const struct {
            Service service;
            bool served;
        } rows[] = {
            {Service::smb, record.flag(7)},
            {Service::atalk, record.flag(8)},
            {Service::ftp, record.flag(9)},
            {Service::nfs, !usb && lists.exported.contains(share.name)},
        };
        for (const auto& row : rows)
            if (row.served && disk.mounted)
                share.services.insert(row.service);
        share.people = rights_to(share, crowd);
        if (share.open_to_all())
            share.guest = share.read_only ? Right::read : Right::write;
        shares->push_back(share);
    }
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
    const SideLists lists = load_side_lists(machine);
    const Crowd crowd(machine.people());
    std::vector<IntendedShare> shares;
    add_shares(machine, false, lists, crowd, &shares);
    add_shares(machine, true, lists, crowd, &shares);
    return shares;
}

}  // namespace tavrogen::access
