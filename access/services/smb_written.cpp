// Finds the program's own shares and those of the lists in the smb.conf that it has written.
#include "access/services/smb_written.h"

#include <algorithm>

namespace tavrogen::access::smb {

namespace {

// Where the connection and not the person is asked for a password, only admin is meant.
void mean_for_admin(const Machine& machine, IntendedShare* share) {
    for (size_t person = 0; person < share->people.size(); ++person)
        if (machine.people()[person].name != "admin")
            share->people[person] = Right::none;
    share->guest = Right::none;
}

}  // namespace

WrittenConf::WrittenConf(const Machine& machine) : meant(intended_shares(machine)) {
    const std::string text = machine.file("/etc/samba/smb.conf").value_or("");
    lines = lines_of(text);
    server = parse(text);
    const bool linked = setting(machine, msdfs_file, "msdfs_root_as_link").value == "on";
    const std::string path = setting(machine, msdfs_file, "msdfs_root_path").value.substr(0, 255);
    add_own(machine, "Quarvane DFS folder", msdfs_file, "msdfs_root_name", Right::read,
            linked ? "" : path);
    add_own(machine, "Quarvane Utilities", info_file, "info_visible", Right::read, "/mnt/info");
    int line = shares.empty() ? 0 : shares.back().line;
    add_listed(machine, true, &line);
    add_own(machine, "Quarvane authentication test folder", info_file, "auth_test_folder",
            Right::none, "/mnt/authtest");
    add_listed(machine, false, &line);
}

// The line of a header that its comment follows; 0 when there is none behind the line `after`.
int WrittenConf::line_of(const std::string& header, const std::string& comment, int after) const {
    const std::string next = "    comment = " + comment;
    for (size_t number = static_cast<size_t>(after); number + 1 < lines.size(); ++number)
        if (lines[number + 1].starts_with(next) && (header.empty() || lines[number] == header))
            return static_cast<int>(number) + 1;
    return 0;
}

void WrittenConf::add_listed(const Machine& machine, bool usb, int* line) {
    for (const IntendedShare& share : meant) {
        if (share.usb != usb || !share.services.contains(Service::smb))
            continue;
        const std::string name = share.name + (share.hidden ? "$" : "");
        const int found = line_of('[' + name + ']', share.comment, *line);
        if (found == 0)
            continue;
        *line = found;
        shares.push_back({share, name, plain_path(share.folder), found});
        if (server.security == "share" && share.open_to_all() && !usb)
            mean_for_admin(machine, &shares.back().share);
    }
}

// A share of the program's own, if it is there: everybody may read it.
void WrittenConf::add_own(const Machine& machine, const char* comment, const char* file,
                          const char* key, Right guest, const std::string& folder) {
    const int line = line_of("", comment);
    if (line == 0)
        return;
    const std::string& header = lines[static_cast<size_t>(line) - 1];
    IntendedShare share;
    share.name = header.size() < 2 ? "" : header.substr(1, header.size() - 2);
    share.comment = comment;
    share.file = file;
    share.line = setting(machine, file, key).line;
    share.services = {Service::smb};
    share.people.assign(machine.people().size(), Right::read);
    share.guest = guest;
    shares.push_back({share, share.name, folder.empty() ? "" : plain_path(folder), line});
}

const Written* WrittenConf::at(int line) const {
    const Written* found = nullptr;
    for (const Written& share : shares)
        if (share.line <= line && (found == nullptr || found->line < share.line))
            found = &share;
    return found;
}

const Section* section_of(const Server& server, const Written& share) {
    const auto at =
        std::lower_bound(server.sections.begin(), server.sections.end(), share.line,
                         [](const Section& section, int line) { return section.line < line; });
    return at != server.sections.end() && at->line == share.line ? &*at : nullptr;
}

}  // namespace tavrogen::access::smb
