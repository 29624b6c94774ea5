// Reads /etc/samba/smb.conf back as Samba does: who gets which share with which rights.
#include "access/machine/model.h"
#include "access/services/smb_conf.h"

#include <algorithm>
#include <stdlib.h>

namespace tavrogen::access {

namespace smb {

namespace {

// The numbers of a security identifier such as S-1-1-0; what follows them does not count.
std::vector<unsigned long> numbers_of_sid(const std::string& name) {
    std::vector<unsigned long> numbers;
    if (name.size() < 2 || (name[0] != 'S' && name[0] != 's'))
        return numbers;
    for (const char* at = name.c_str() + 1; *at == '-' && at[1] >= '0' && at[1] <= '9';) {
        char* end = nullptr;
        numbers.push_back(strtoul(at + 1, &end, 0));
        at = end;
    }
    return numbers;
}

bool is_sid_of(const std::vector<unsigned long>& sid, bool is_guest) {
    using Sid = std::vector<unsigned long>;
    const Sid everyone = {1, 1, 0}, network = {1, 5, 2}, authenticated = {1, 5, 11};
    const Sid guests = {1, 5, 32, 546};
    return sid == everyone || sid == network || sid == (is_guest ? guests : authenticated);
}

// True when a name of a list means this person: smb.conf(5), "invalid users" on groups' marks,
// "winbind separator" on domains. Accounts are compared without case, groups with it.
bool means(const Server& server, const Share& share, std::string name, const Person& person,
           bool is_guest) {
    name = expand(server, name, person, nullptr);
    for (size_t at = 0; (at = name.find("%S", at)) != std::string::npos;)
        name.replace(at, 2, share.name);
    if (const auto sid = numbers_of_sid(name); sid.size() >= 2)
        return is_sid_of(sid, is_guest);

    bool is_group = false;
    for (const char* mark : {"@", "+&", "+", "&+"})
        if (name.starts_with(mark)) {
            is_group = true;
            name.erase(0, std::string_view(mark).size());
            break;
        }
    if (!is_group && name.starts_with('&'))
        return false;  // a group of NIS, which the appliance has not

    const size_t separator = name.find(server.winbind_separator.substr(0, 1));
    if (separator != std::string::npos) {
        const auto domain = fold(name.substr(0, separator));
        if (domain == "" || domain == fold(server.netbios_name) ||
            domain == (is_group ? "unix group" : "unix user"))
            name.erase(0, separator + 1);
    }
    if (!is_group)
        return fold(name) && fold(name) == fold(person.name);
    return std::count(person.groups.begin(), person.groups.end(), name) > 0 ||
           (fold(name) == "none" && !is_guest);  // the primary group of Samba's own accounts
}

bool is_in(const Server& server, const Share& share, const List& list, const Person& person,
           bool is_guest) {
    return list && std::any_of(list->begin(), list->end(), [&](const std::string& name) {
               return means(server, share, name, person, is_guest);
           });
}

Right right_of(const Server& server, const Share& share, const Person& person, bool is_guest) {
    const auto in = [&](const List& list) { return is_in(server, share, list, person, is_guest); };
    if (!share.available || share.printable || (is_guest && !share.guest_ok) ||
        !is_utf8(folder_of(server, share, person)) ||  // Samba ends with a core dump there
        in(share.invalid_users) || (share.valid_users && !in(share.valid_users)))
        return Right::none;
    const bool writable = in(share.write_list) || (share.writable && !in(share.read_list));
    return writable ? Right::write : Right::read;
}

// The share of a name. Quotation marks around it are seen by nobody, but must be given.
const Share* find(const Server& server, const std::string& name, const Person& person) {
    const auto folded = fold_wish(name);
    if (!folded || name.find('\\') != std::string::npos)  // which no client can send
        return nullptr;
    const auto at = server.by_name.find(*folded);
    const Share* found = at == server.by_name.end() ? nullptr : &server.shares[at->second];
    for (const size_t number : server.by_variable) {
        const Share& share = server.shares[number];  // the last share of a name is found
        if (share.line > (found != nullptr ? found->line : 0) &&
            fold_wish(expand(server, share.name, person, nullptr)) == folded)
            found = &share;
    }
    return found;
}

}  // namespace

Person guest_account() {
    return {"nobody", {"nogroup"}, "nogroup"};
}

Access access_by(const Server& server, const std::string& name, const Person& person,
                 bool is_guest) {
    const Share* share = find(server, name, person);
    // Everybody's own share stands behind [homes]: a share of the person's name, or a copy.
    const bool is_homes = share != nullptr && fold(share->name) == "homes";
    if (is_homes)
        if (const Share* own = find(server, person.name, person); own != nullptr)
            share = own;
    if (share == nullptr || !share->available || (is_homes && is_guest))
        return {};
    return {share, right_of(server, *share, person, is_guest), folder_of(server, *share, person)};
}

bool may_list(const Server& server, const Person& person, bool is_guest) {
    return right_of(server, server.ipc, person, is_guest) != Right::none;
}

}  // namespace smb

Reading read_smb_conf(const Machine& machine) {
    Reading reading;
    const auto text = machine.file("/etc/samba/smb.conf");
    if (!text)
        return reading;
    const smb::Server server = smb::parse(*text);
    reading.present = true;
    reading.starts = server.starts;
    reading.remarks = server.remarks;
    if (!server.starts)
        return reading;

    const Person nobody = smb::guest_account();
    for (const smb::Share& share : server.shares) {
        if (!share.available || share.printable)
            continue;
        // Variables may lead people to several folders; those behind a link of msdfs have none.
        std::map<std::string, Grant> by_folder;
        const auto grant_in = [&](const std::string& folder) -> Grant& {
            Grant& grant = by_folder[folder];
            grant.people.resize(machine.people().size());
            return grant;
        };
        for (size_t number = 0; number < machine.people().size(); ++number) {
            const Person& person = machine.people()[number];
            const auto access =
                smb::access_by(server, smb::expand(server, share.name, person, nullptr), person);
            grant_in(access.folder).people[number] = access.right;
        }
        const auto access =
            smb::access_by(server, smb::expand(server, share.name, nobody, nullptr), nobody, true);
        grant_in(access.folder).guest = access.right;
        for (auto& [folder, grant] : by_folder) {
            grant.service = Service::smb;
            grant.share = smb::name_of(server, share, nobody);
            grant.folder = folder;
            grant.line = share.line;
            if (!folder.empty())
                reading.grants.push_back(grant);
        }
    }
    return reading;
}

}  // namespace tavrogen::access
