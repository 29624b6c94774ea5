// The oddities that are known. Each look adds what it finds; the engine tries which of them counts.
#include "access/oddities.h"

#include "access/machine/text.h"
#include "access/services/judge.h"
#include "include/iscsi_info.h"
#include "include/share_info.h"
#include "include/sys_info.h"

#include <algorithm>
#include <arpa/inet.h>
#include <strings.h>

namespace tavrogen::access {

namespace {

constexpr const char* list_names[] = {
    "the users who may write: ",
    "the groups who may write: ",
    "the users who may only read: ",
    "the groups who may only read: ",
};
constexpr size_t longest_name = sizeof SHARE_INFO::name - 1;
constexpr size_t longest_volume = sizeof SHARE_INFO::volume - 1;
constexpr size_t longest_comment = sizeof SHARE_INFO::comment - 1;
constexpr size_t longest_shown_name = 27;  // of an AppleTalk volume
constexpr size_t longest_list = 4000;      // of a line of the services' files, with some room
constexpr int first_list = 3;

bool is_record(const Unit& unit) {
    return unit.file == share_file || unit.file == usb_share_file;
}

bool is_list(const Unit& unit) {
    return is_record(unit) && unit.field >= first_list;
}

bool is_control(char byte) {
    return static_cast<unsigned char>(byte) < ' ' || byte == 127;
}

// Names that differ only by the case of ASCII letters are one; other letters count by their bytes
// but for those of Latin, Greek and Cyrillic that the services fold.
std::string folded(const std::string& name) {
    std::string result;
    for (const char byte : name)
        result += byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + 32) : byte;
    return result;
}

std::string without(const std::string& text, std::string_view bytes) {
    std::string rest;
    for (const char byte : text)
        if (bytes.find(byte) == std::string::npos)
            rest += byte;
    return rest;
}

std::string joined(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names)
        list += (list.empty() ? "" : ",") + name;
    return list;
}

// What is odd about a text that is no path and no list.
void look_at_text(const std::string& value, size_t limit, const std::string& what,
                  std::vector<Oddity>* found) {
    std::string plain;
    for (const std::string& word : words_of(without(value, "\\%\"")))
        plain += (plain.empty() ? "" : " ") + word;
    const std::string cut = value.substr(0, limit);
    const size_t last = cut.find_last_not_of(blanks);
    if (as_utf8(cut) != cut)
        found->push_back({what + "is no UTF-8, or longer than " + std::to_string(limit) + " bytes",
                          "write it otherwise", "text"});
    if (last != std::string::npos && cut[last] == '\\')
        found->push_back({what + "ends in a backslash, which takes the next line with it",
                          "end it otherwise", without(value, "\\")});
    if (value.find('%') != std::string::npos)
        found->push_back(
            {what + "has a variable of Samba's", "write it without %", without(value, "%")});
    if (value.find('"') != std::string::npos)
        found->push_back(
            {what + "loses a quotation mark at its end", "write it without", without(value, "\"")});
    if (plain != value && value.find_first_of(blanks) != std::string::npos)
        found->push_back(
            {what + "has blanks at its end or several in a row", "take them out", plain});
}

}  // namespace

Oddities::Oddities(const Settings& settings, const Machine& machine)
    : settings_(settings), machine_(machine), accounts_(machine) {
    const std::string domain = setting(machine, info_file, "domain").value;
    in_domain_ = domain == "on" || domain == "ad";
    for (const IntendedShare& share : intended_shares(machine)) {
        shares_[{share.file, share.line}] = share;
        places_[folded(share.name)].emplace_back(share.file, share.line);
    }
    for (const std::string& line : lines_of(machine.file(group_file).value_or(""))) {
        const std::string group = line.substr(0, line.find(':'));
        members_[group] = names_in(line.substr(line.rfind(':') + 1));
    }
    for (const Person& person : machine.people())
        if (const auto group = members_.find(person.primary_group);
            group != members_.end() &&
            std::count(group->second.begin(), group->second.end(), person.name) == 0)
            missing_[group->first].insert(person.name);
}

const IntendedShare* Oddities::share_of(const Unit& unit) const {
    const auto share = shares_.find({unit.file, unit.line});
    return share == shares_.end() ? nullptr : &share->second;
}

// --- Names and volumes.

void Oddities::look_at_name(const Unit& unit, const std::string& value, Found* found) const {
    const bool is_volume = unit.field == 1 && is_record(unit);
    const std::string name = value.substr(0, is_volume ? longest_volume : longest_name);
    const std::string what = (is_volume ? "the volume " : "the name ") + quoted(name);
    const auto add = [&](const std::string& text, const std::string& cure,
                         const std::string& instead) {
        found->push_back({text, cure, instead.empty() ? fresh(unit) : instead});
    };
    if (name.empty())
        return add(is_volume ? "the volume is empty" : "the name is empty", "name it", "");
    if (name == "." || name == ".." || name.find('/') != std::string::npos)
        add(what + " is not that of one folder", "rename it", "");
    // Each cure leaves the other oddities as they are.
    const std::string numbered = name.substr(0, 50) + '-' + std::to_string(unit.line);
    const std::string bare = folded(without(name, blanks));
    for (const char* special : {"global", "globals", "homes", "printers", "ipc$"})
        if (!is_volume && bare == special)
            add("Samba has a meaning of its own for the name " + quoted(name), "rename it",
                numbered);
    if (name.find_first_of(blanks) != std::string::npos)
        add(what + " has a blank", "rename it without blanks", without(value, blanks));
    if (as_utf8(name) != name)
        return add(what + " is no UTF-8", "rename it, at most 59 bytes long", "");
    std::string odd_bytes;
    for (const char byte : std::string("\\%*?[]{}\"'$#;=`~<>|:"))
        if (name.find(byte) != std::string::npos) {
            add(what + " has a " + byte, std::string("rename it without ") + byte,
                without(value, std::string(1, byte)));
            odd_bytes += byte;
        }
    if (found->size() > 1 && !odd_bytes.empty())
        add(what + " has blanks or some of " + odd_bytes, "rename it without",
            without(value, odd_bytes + blanks));
    if (std::any_of(name.begin(), name.end(), is_control))
        add(what + " has a control character", "rename it without", "");
    if (is_volume && unit.file == usb_share_file && !name.starts_with("usbdisk"))
        add(what + " is not that of a USB disk", "write " + fresh(unit), "");
    const IntendedShare* share = share_of(unit);
    if (is_volume || share == nullptr)
        return;
    const auto add_twin = [&](const std::string& folder, const std::string& where) {
        const bool same = plain_path(folder) == plain_path(share->folder);
        add(same ? "its folder is also that of " + where
                 : "the name " + quoted(name) + " is also that of " + where,
            same ? "give each a folder of its own" : "rename one of them", numbered);
    };
    if (const auto twins = places_.find(folded(name)); twins != places_.end())
        for (const Place& place : twins->second)
            if (place != Place(unit.file, unit.line)) {
                add_twin(shares_.at(place).folder,
                         place.first + ':' + std::to_string(place.second));
                break;
            }
    const Setting root = setting(machine_, msdfs_file, "msdfs_root_path");
    const Setting root_name = setting(machine_, msdfs_file, "msdfs_root_name");
    if (root.line > 0 && plain_path(root.value) == plain_path(share->folder))
        add_twin(root.value,
                 "the DFS root, " + std::string(msdfs_file) + ':' + std::to_string(root.line));
    else if (root_name.line > 0 && folded(root_name.value) == folded(name))
        add_twin("",
                 "the DFS root, " + std::string(msdfs_file) + ':' + std::to_string(root_name.line));
    if (folded(name) == "info")
        add_twin("/mnt/info", "the appliance's own share");
    if (name.size() > longest_shown_name) {
        size_t end = longest_shown_name;
        while ((static_cast<unsigned char>(name[end]) & 0xc0) == 0x80)
            --end;
        add("the name " + quoted(name) + " has more than 27 bytes", "take a shorter one",
            name.substr(0, end));
    }
}

// --- Lists.

std::string Oddities::stand_in(const Unit& unit) const {
    const bool is_group = (unit.field - first_list) % 2 == 1;
    if (!is_group) {
        for (const Person& person : machine_.people())
            if (person.name.find_first_of("+\\ ") == std::string::npos && person.name != "guest")
                return person.name;
        return "user" + std::to_string(unit.line);
    }
    const std::string mark = unit.file == usb_share_file ? "@" : "";
    for (const auto& [group, names] : members_)
        if (!names.empty() && joined(names).size() < 200 && !missing_.contains(group) &&
            group.find_first_not_of("abcdefghijklmnopqrstuvwxyz") == std::string::npos)
            return mark + group;
    return mark + "group" + std::to_string(unit.line);
}

void Oddities::look_at_lists(const Unit& unit, const std::string& value, Found* found) const {
    const IntendedShare* share = share_of(unit);
    if (share == nullptr)
        return;
    const auto list = static_cast<size_t>(unit.field - first_list);
    const bool is_group = list % 2 == 1;
    const std::string what = list_names[list];
    const auto add = [&](const std::string& text, const std::string& cure,
                         const std::string& instead, bool keeps_meaning = false) {
        found->push_back({text, cure, instead.empty() ? stand_in(unit) : instead, keeps_meaning});
    };
    if (list == 0 && value.empty() && share->administrators_only())
        found->push_back(
            {"all four lists are empty", "name those who may use the share", stand_in(unit)});
    if (value.empty())
        return;
    if (value.find_first_not_of(",@\" \t\r") == std::string::npos)
        return add(what + quoted(value) + " names nobody", "leave the list empty or name somebody",
                   "");
    const std::vector<std::string> names = names_in(value);
    if (in_domain_ && is_group) {
        const auto others = names_in(share->lists[list == rw_groups ? ro_groups : rw_groups]);
        if (names.size() + others.size() > 1)
            found->push_back(
                {"in a domain, the server lets in only members of all the groups of a line",
                 "let it name one group, or name the users",
                 list == ro_groups && !others.empty() ? "" : names[0]});
    }
    for (const char* word : {"regex", "and", "or"})
        if (strcasecmp(value.substr(0, value.find(',')).c_str(), word) == 0)
            add(quoted(word) + " is a word of the server's own at a list's beginning",
                "let the list begin with another name", joined({names.begin() + 1, names.end()}));
    if (value.find_first_of(blanks) != std::string::npos &&
        (joined(names) != value && value.find_first_of("\r\n\v\f") == std::string::npos))
        add(what + "there is a blank beside a comma", "take the blank out", joined(names), true);
    if (value.starts_with(',') || value.ends_with(',') || value.find(",,") != std::string::npos)
        add(what + "there is a comma too many", "take the comma out", joined(names), true);
    // One oddity for each kind of odd name, with all names of that kind made plain.
    const auto each = [&](const std::string& text, const std::string& cure, const auto& change) {
        std::vector<std::string> changed;
        for (const std::string& name : names)
            if (const std::string other = change(name); !other.empty() && other != "all")
                changed.push_back(other);
            else
                changed.push_back(stand_in(unit));
        add(what + text, cure, joined(changed));
    };
    const auto bare = [&](const std::string& name) {
        return name.substr(is_group && name.starts_with('@'));
    };
    std::set<char> seen;
    for (const std::string& name : names) {
        if (bare(name).find_first_of(blanks) != std::string::npos && seen.insert(' ').second)
            each(quoted(name) + " has a blank", "list only names without blanks",
                 [](const std::string& other) { return without(other, blanks); });
        for (const char byte : std::string("\"'\\;#!%+*?[]&:`|@={}()<>,~^$/"))
            if (bare(name).find(byte,
                                byte == '+' && !bare(name).starts_with('+') ? name.size() : 0) !=
                    std::string::npos &&
                seen.insert(byte).second) {
                if (byte == '@' && !is_group)
                    each(quoted(name) + " is a group among users", "list it with the groups",
                         [](const std::string& other) { return without(other, "@"); });
                else
                    each(quoted(name) + " has a " + byte, "list only plain names",
                         [&](const std::string& other) {
                             return (other.starts_with('@') && is_group ? "@" : "") +
                                    without(other, std::string("@") + byte);
                         });
            }
        if (strncasecmp(name.c_str(), "S-1-", 4) == 0 && seen.insert('S').second)
            each(quoted(name) + " is an identifier", "list only plain names",
                 [](const std::string& other) { return without(other, "-"); });
        if ((as_utf8(name) != name || std::any_of(name.begin(), name.end(), is_control)) &&
            seen.insert('\x80').second)
            each(quoted(name) + " is no plain text", "list only plain names",
                 [&](const std::string& other) {
                     return as_utf8(other) == other &&
                                    !std::any_of(other.begin(), other.end(), is_control)
                                ? other
                                : "";
                 });
        const auto& known = is_group ? accounts_.groups : accounts_.users;
        if (!known.contains(bare(name)))
            for (const std::string& other : known)
                if (strcasecmp(other.c_str(), bare(name).c_str()) == 0 && seen.insert('c').second)
                    each(quoted(name) + " is " + quoted(other) + " in other letters",
                         "write " + quoted(other),
                         [&](const std::string& same) { return same == name ? other : same; });
    }
    if (share->usb && is_group && value != "all")
        for (const std::string& name : names)
            if (!name.starts_with('@')) {
                std::vector<std::string> marked;
                marked.reserve(names.size());
                for (const std::string& other : names)
                    marked.push_back((other.starts_with('@') ? "" : "@") + other);
                add(what + quoted(name) + " has no @ before it, which a group needs on a USB disk",
                    "write \"@" + name + '"', joined(marked), true);
                break;
            }
    size_t length = value.size();
    for (const std::string& name : names)
        if (const auto group = members_.find(bare(name)); is_group && group != members_.end())
            length += joined(group->second).size();
    if (length > longest_list)
        add("its users and groups make a line of over 4096 bytes", "let it name smaller groups",
            stand_in(unit));
    if (std::count(names.begin(), names.end(), "all") > 0 && !share->open_to_all())
        add("\"all\" counts only in all four lists at once", "write it into all four or into none",
            [&] {
                std::vector<std::string> rest;
                std::copy_if(names.begin(), names.end(), std::back_inserter(rest),
                             [](const std::string& name) { return name != "all"; });
                return joined(rest);
            }());
    for (const std::string& name : names)
        if (!is_group && name == "nobody") {
            add(what + "\"nobody\" stands for those without an account", "take it out",
                stand_in(unit));
        } else if (accounts_.lacks(name, list)) {
            std::vector<std::string> known;
            std::copy_if(names.begin(), names.end(), std::back_inserter(known),
                         [&](const std::string& other) { return !accounts_.lacks(other, list); });
            add(what + "there is no " + (is_group ? "group " : "account ") + quoted(bare(name)),
                "name one that there is, or take it out", joined(known));
            break;
        }
}

// --- Groups, and keyed settings.

void Oddities::look_at_members(const Unit& unit, const std::string& value, Found* found) const {
    const std::string group = settings_.get({unit.file, unit.line, 0, ""});
    const auto missing = missing_.find(group);
    if (missing == missing_.end())
        return;
    const auto& names = missing->second;
    const auto there = names_in(value);
    const auto lacks = [&](const std::string& name) {
        return std::count(there.begin(), there.end(), name) == 0;
    };
    if (std::none_of(names.begin(), names.end(), lacks))
        return;
    found->push_back(
        {group + " is the primary group of " + listed({names.begin(), names.end()}, 3) +
             ", but does not list " + (names.size() > 1 ? "them" : "this member"),
         std::string("add ") + (names.size() > 1 ? "them" : "him") + " to the group in /etc/group",
         (value.empty() ? "" : value + ',') + joined({names.begin(), names.end()}), true});
}

void Oddities::look_at_keyed(const Unit& unit, const std::string& value, Found* found) const {
    const auto add = [&](const std::string& text, const std::string& cure,
                         const std::string& instead, bool keeps_meaning = false) {
        found->push_back({text, cure, instead, keeps_meaning});
    };
    const std::string key = unit.key.substr(
        unit.key.starts_with("iscsi_device") ? std::min(unit.key.find('_', 7) + 1, unit.key.size())
        : unit.key.starts_with("iscsi_")     ? 6
                                             : 0);
    if (unit.line == 0)
        add("the key " + unit.key + " is missing, which counts as on", "write " + unit.key + "=off",
            "off");
    else if (unit.file == info_file && key == "string")
        look_at_text(value, sizeof SYS_INFO::string - 1, "it ", found);
    else if (unit.file == info_file && key == "wg")
        look_at_text(value, sizeof SYS_INFO::wg - 1, "it ", found);
    else if (unit.file == info_file && key == "ad_dns")
        look_at_text(value, sizeof SYS_INFO::ad_dns - 1, "it ", found);
    else if (unit.file == info_file && key == "anonyftp" && value != "on")
        add("the switch anonyftp turns anonymous logins off nowhere",
            "name users or groups for the shares", "on");
    else if (key == "syslog_forward_target" && !odd_log_host(value).text.empty())
        add(odd_log_host(value).text, odd_log_host(value).cure, fresh(unit));
    else if (unit.file == disk_file && value == "off")
        add("the volume " + key + " is off, and the server hides /mnt/" + key,
            "move the share to another volume", key.starts_with("array") ? "raid1" : "normal");
    else if (key == "nfs_networkaddress" || key == "nfs_subnetmask") {
        const bool is_mask = key == "nfs_subnetmask";
        const std::string kind = is_mask ? "network mask" : "network address";
        const std::string other = setting(machine_, unit.file, "nfs_networkaddress").value;
        const auto is_address = [](const std::string& address) {
            return is_network(address, "24") || is_network(address, "64");
        };
        const bool sound = is_mask ? is_network(is_address(other) ? other : "192.0.2.0", value)
                                   : is_address(value);
        const bool odd = !sound || value.find('/') != std::string::npos || value.size() > 31 ||
                         value.find_first_of(blanks) != std::string::npos;
        const std::string text = value.empty()       ? "the " + kind + " is empty"
                                 : value.size() > 31 ? quoted(value) + " is cut after 31 bytes"
                                 : value.find_first_of(blanks) != std::string::npos
                                     ? "the " + kind + ' ' + quoted(value) + " has a blank"
                                     : quoted(value) + " is no " + kind;
        if (odd)
            add(text,
                is_mask ? "write one as 255.255.255.0 or 24" : "write one address, of IPv4 or IPv6",
                fresh(unit));
    } else if (key == "target" || key == "path_lun0") {
        const bool path = key == "path_lun0";
        const std::string shown = (path ? "the path " : "the name ") + quoted(value);
        if (value.find_first_of(blanks) != std::string::npos)
            add(shown + " has a blank", "rename it without blanks", without(value, blanks));
        for (const Unit& other : settings_.units())
            if (!path && other.key.ends_with("_target") && other.key.starts_with("iscsi_") &&
                (other.file != unit.file || other.line != unit.line) &&
                folded(settings_.get(other)) == folded(value)) {
                add("the name is also that of another target", "rename one of them", fresh(unit));
                break;
            }
        if (path && value.find(',') != std::string::npos)
            add(shown + " has a comma", "rename the disk", without(value, ","));
    } else if (key == "initiators.allow" && !value.empty()) {
        std::vector<std::string> addresses;
        for (const std::string& name : names_in(value)) {
            const std::string address = name.substr(
                name.starts_with('['), name.find_first_of("]/") - name.starts_with('['));
            in6_addr room = {};
            if (name == "ALL" || inet_pton(AF_INET, address.c_str(), &room) == 1 ||
                inet_pton(AF_INET6, address.c_str(), &room) == 1)
                addresses.push_back(name);
        }
        if (joined(addresses) != value)
            add("the list " + quoted(value) + " holds more than addresses",
                "list addresses with commas between them",
                addresses.empty() ? "192.0.2.1"
                                  : joined(addresses).substr(0, joined(addresses).rfind(',', 250)));
    } else if (key.ends_with("User_name") || key.ends_with("User_password")) {
        const bool user = key.ends_with("name");
        const std::string what = user ? "the CHAP user" : "the CHAP password";
        const size_t room = (user ? sizeof ISCSI_DISKS::IncomingUser_name
                                  : sizeof ISCSI_DISKS::IncomingUser_password) -
                            1;
        if (value.empty())
            add(what + " is empty", "set one, or the type of authentication to no", fresh(unit));
        if (value.find_first_of(blanks) != std::string::npos)
            add(what + " has a blank", "take one without blanks",
                without(value, blanks).empty() ? fresh(unit) : without(value, blanks));
        if (value.size() > room)
            add(what + " is cut after " + std::to_string(room) + " bytes", "take a shorter one",
                without(value, blanks).substr(0, room));
    } else if (unit.file == msdfs_file && key.ends_with("unc1")) {
        if (value.ends_with('\\'))
            add("the target of the link ends in a backslash, which takes the next line with it",
                "end it otherwise", value.substr(0, value.find_last_not_of('\\') + 1));
    } else if (key == "msdfs_root_path") {
        const std::string path = plain_path(value) + '/';
        const bool holds_shares = std::any_of(shares_.begin(), shares_.end(), [&](const auto& row) {
            const std::string folder = plain_path(row.second.folder) + '/';
            return path.starts_with(folder) || folder.starts_with(path);
        });
        if (value.empty())
            add("the root of DFS has neither a folder nor a target", "give it a folder of its own",
                fresh(unit));
        else if (holds_shares || !path.starts_with("/mnt/"))
            add("the root of DFS is the folder " + quoted(value), "give it a folder of its own",
                fresh(unit));
        else
            look_at_name({"", 0, 0, ""}, value.substr(value.rfind('/') + 1), found);
    } else if (key == "msdfs_root_name" || key == "auth_test_folder") {
        look_at_name(unit, value, found);
    }
}

std::vector<Oddity> Oddities::of(const Unit& unit, const std::string& value) const {
    Found found;
    if (!unit.key.empty()) {
        look_at_keyed(unit, value, &found);
    } else if (unit.file == group_file) {
        look_at_members(unit, value, &found);
    } else if (unit.file == offline_file) {
        if (value != "manual" && value != "documents" && value != "programs" && value != "disable")
            found.push_back({"there is no offline policy " + quoted(value),
                             "write manual, documents, programs or disable", "manual"});
    } else if (unit.field == whole_line) {
        auto fields = fields_of(value + '\n');
        fields.resize(2);
        const bool is_short = (fields[0] + fields[1]).find('\n') != std::string::npos;
        if (is_short || (fields[1].empty() && !fields[0].empty()))
            found.push_back({is_short ? "the line is blank or short" : "the line has no volume",
                             is_short ? "take it out or complete it" : "name the volume",
                             fresh(unit)});
    } else if (unit.field == 2) {
        look_at_text(value, longest_comment, "the comment: it ", &found);
    } else if (is_list(unit)) {
        look_at_lists(unit, value, &found);
    } else {
        look_at_name(unit, value, &found);
    }
    return found;
}

std::string Oddities::sound(const Unit& unit, const std::string& value) const {
    std::string sound = value;
    for (int round = 0; round < 12; ++round) {
        const auto odd = of(unit, sound);
        if (odd.empty() || odd[0].value == sound)
            break;
        sound = odd[0].value;
    }
    return sound;
}

std::string Oddities::fresh(const Unit& unit) const {
    static constexpr struct {
        const char* key;
        const char* value;
    } rows[] = {
        {"string", "File store"},
        {"wg", "WORKGROUP"},
        {"ad_dns", "example.net"},
        {"pdc", "server"},
        {"wins", "192.0.2.1"},
        {"auth_server", "server"},
        {"auth_test_folder", "authtest"},
        {"anonyftp_folder", "other"},
        {"syslog_forward_target", "192.0.2.1"},
        {"msdfs_root_name", "root-of-dfs"},
        {"msdfs_root_path", "/mnt/root-of-dfs"},
        {"msdfs_link1_unc1", "\\\\server\\share"},
        {"nfs_networkaddress", "192.0.2.0"},
        {"nfs_subnetmask", "255.255.255.0"},
    };
    const std::string number = std::to_string(unit.line) + (unit.file == usb_share_file ? "u" : "");
    for (const auto& row : rows)
        if (unit.key == row.key)
            return row.value;
    if (unit.key.ends_with("_target") || unit.key.ends_with("User_name"))
        return "name" + number;
    if (unit.key.ends_with("password"))
        return "password" + number;
    if (!is_record(unit))
        return "";
    if (unit.field == whole_line)
        return "folder" + number + "<>volume" + number + "<>" +
               "<><><><><>0<>0<>0<>0<><>0<>0<>0<>0";
    if (unit.field == 0)
        return "folder" + number;
    if (unit.field == 1)
        return (unit.file == usb_share_file ? "usbdisk" : "volume") + std::to_string(unit.line);
    return unit.field == 2 ? "text" : stand_in(unit);
}

}  // namespace tavrogen::access
