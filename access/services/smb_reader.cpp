// Reads /etc/samba/smb.conf back as Samba does: who gets which share with which rights.
#include "access/services/smb_conf.h"

#include <algorithm>

namespace tavrogen::access {

namespace smb {

namespace {

// As accounts are compared; no account is called so for bytes that are no UTF-8.
std::string spelt(const std::string& name) {
    return fold(name).value_or("/" + name);
}

// Identifiers of everybody, and the primary group of Samba's own accounts.
bool means_all(const std::string& name, bool guests) {
    const auto folded = fold(name);
    return folded == "s-1-1-0" || folded == "s-1-5-2" ||
           folded == (guests ? "s-1-5-32-546" : "s-1-5-11") ||
           (!guests && (folded == "@none" || folded == "+none" || name == "%U" || name == "@%G"));
}

// Takes off the domain where it is that of this server ("winbind separator").
void take_domain(const Server& server, bool is_group, std::string* name) {
    const auto global = [&](const char* key, const char* otherwise) {
        const auto at = server.globals.find(key);
        return at == server.globals.end() || at->second.empty() ? otherwise : at->second;
    };
    const size_t end = name->find(global("winbindseparator", "\\")[0]);
    if (end == std::string::npos)
        return;
    const auto domain = fold(name->substr(0, end));
    if (domain == "" || domain == fold(global("netbiosname", "")) ||
        domain == (is_group ? "unix group" : "unix user"))
        name->erase(0, end + 1);
}

// Marks those whom a list means: smb.conf(5), "invalid users" on groups' marks. Accounts are
// compared without case, groups with it.
std::vector<bool> in(const Server& server, const List& list, const Visitors& visitors) {
    std::vector<bool> marked(visitors.crowd.people().size());
    for (std::string name : list.value_or(std::vector<std::string>())) {
        if (means_all(name, visitors.guests)) {
            marked.assign(marked.size(), true);
            continue;
        }
        bool is_group = false;
        for (const std::string_view mark : {"@", "+&", "+", "&+"})
            if (!is_group && name.starts_with(mark)) {
                is_group = true;
                name.erase(0, mark.size());
            }
        take_domain(server, is_group, &name);
        for (const size_t person :
             is_group ? visitors.crowd.group(name) : visitors.crowd.account(name))
            marked[person] = true;
    }
    return marked;
}

std::vector<Right> rights_to(const Server& server, const Share& share, const Visitors& visitors) {
    std::vector<Right> rights(visitors.crowd.people().size());
    if (!share.available || (visitors.guests && !share.guest_ok) ||
        !is_utf8(folder_of(share)))  // Samba ends with a core dump there
        return rights;
    const auto valid = in(server, share.valid_users, visitors);
    const auto invalid = in(server, share.invalid_users, visitors);
    const auto readers = in(server, share.read_list, visitors);
    for (size_t person = 0; person < rights.size(); ++person)
        if (!invalid[person] && (!share.valid_users || valid[person]))
            rights[person] = share.writable && !readers[person] ? Right::write : Right::read;
    return rights;
}

// The share of a name. Quotation marks around it are seen by nobody, but must be given.
const Share* find(const Server& server, const std::string& name) {
    const auto folded = fold_wish(name);
    if (!folded || name.find('\\') != std::string::npos)  // which no client can send
        return nullptr;
    const auto at = server.by_name.find(*folded);
    return at == server.by_name.end() ? nullptr : &server.shares[at->second];
}

}  // namespace

Visitors::Visitors(const std::vector<Person>& people, bool are_guests)
    : crowd(people, spelt), guests(are_guests) {}

Visitors guest() {
    return {{{"nobody", {"nogroup"}, "nogroup"}}, true};
}

std::vector<Access> access_by(const Server& server, const std::string& name,
                              const Visitors& visitors) {
    const auto& people = visitors.crowd.people();
    std::vector<Access> all(people.size());
    const Share* share = find(server, name);
    if (share == nullptr || !share->available)
        return all;
    const auto rights = rights_to(server, *share, visitors);
    const std::string folder = folder_of(*share);
    for (size_t person = 0; person < all.size(); ++person)
        all[person] = {share, rights[person], folder};
    if (fold(share->name) != "homes")
        return all;
    // Everybody's own share stands behind [homes]: a share of the person's name, or a copy.
    for (size_t person = 0; person < all.size(); ++person)
        if (visitors.guests)
            all[person] = {};
        else if (const Share* own = find(server, people[person].name))
            all[person] = {own, rights_to(server, *own, visitors)[person], folder_of(*own)};
    return all;
}

std::vector<Right> may_list(const Server& server, const Visitors& visitors) {
    return rights_to(server, server.ipc, visitors);
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

    const smb::Visitors everybody(machine.people(), false), guest = smb::guest();
    for (const smb::Share& share : server.shares) {
        const std::string folder = smb::folder_of(share);
        if (!share.available || folder.empty() || share.path != smb::expand(share.path, true))
            continue;  // what a connection decides is told by a remark
        Grant& grant = reading.grants.emplace_back();
        grant.service = Service::smb;
        grant.share = smb::name_of(share);
        grant.folder = folder;
        grant.line = share.line;
        // Of two shares whose names a client cannot tell apart, the last one is found.
        const auto right_of = [&](const smb::Access& access) {
            return access.share == &share ? access.right : Right::none;
        };
        for (const smb::Access& access : smb::access_by(server, share.name, everybody))
            grant.people.push_back(right_of(access));
        grant.guest = right_of(smb::access_by(server, share.name, guest)[0]);
    }
    return reading;
}

}  // namespace tavrogen::access
