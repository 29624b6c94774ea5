// Names what is odd about a share's settings, in the same words for all services, so that the
// findings of one cause can be joined.
#include "access/machine/model.h"

#include <algorithm>
#include <strings.h>

namespace tavrogen::access {

namespace {

constexpr const char* list_names[] = {
    "the users who may write",
    "the groups who may write",
    "the users who may only read",
    "the groups who may only read",
};

constexpr char blanks[] = " \t\r\n\v\f";

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

bool is_account(const Machine& machine, const std::string& name) {
    return std::any_of(machine.people().begin(), machine.people().end(),
                       [&](const Person& person) { return person.name == name; });
}

// The account that a name means but for the case of its letters; else empty.
std::string account_in_other_case(const Machine& machine, const std::string& name) {
    for (const Person& person : machine.people())
        if (person.name != name && strcasecmp(person.name.c_str(), name.c_str()) == 0)
            return person.name;
    return "";
}

Cause odd_user(const Machine& machine, const std::string& name) {
    const std::string account = account_in_other_case(machine, name);
    if (!account.empty() && !is_account(machine, name))
        return {quoted(name) + " is " + quoted(account) + " in other letters",
                "write " + quoted(account)};
    if (name.starts_with('@'))
        return {quoted(name) + " is a group among users", "list it with the groups"};
    return {};
}

Cause odd_member(const Machine& machine, size_t list, const std::string& name) {
    const std::string group = name.starts_with('@') && list % 2 == 1 ? name.substr(1) : name;
    if (group.find_first_of(blanks) != std::string::npos)
        return {quoted(name) + " has a blank", "list only names without blanks"};
    for (const char byte : std::string("\"'\\;#!%+*?[]&:`|@"))
        if ((byte != '@' || list % 2 == 1) && (byte != '+' || group.starts_with('+')) &&
            group.find(byte) != std::string::npos)
            return {quoted(name) + " has a " + byte, "list only plain names"};
    if (name.starts_with("S-1-") || name.starts_with("s-1-"))
        return {quoted(name) + " is an identifier", "list only plain names"};
    return list % 2 == 0 ? odd_user(machine, name) : Cause{};
}

// The looks at a list, those that tell most first. Each gives what is odd about it, or nothing.
using Look = Cause(const Machine&, const IntendedShare&, size_t list);

Cause names_nobody(const Machine&, const IntendedShare& share, size_t list) {
    const std::string& text = share.lists[list];
    if (text.empty() || text.find_first_not_of(",@\" \t\r") != std::string::npos)
        return {};
    return {quoted(text) + " names nobody", "leave the list empty or name somebody"};
}

Cause has_odd_member(const Machine& machine, const IntendedShare& share, size_t list) {
    for (const std::string& name : names_in(share.lists[list]))
        if (Cause odd = odd_member(machine, list, name); !odd.text.empty())
            return odd;
    return {};
}

Cause has_odd_commas(const Machine&, const IntendedShare& share, size_t list) {
    const std::string& text = share.lists[list];
    if (text.find_first_of(blanks) != std::string::npos)
        return {"there is a blank beside a comma", "take the blank out"};
    if (text.starts_with(',') || text.ends_with(',') || text.find(",,") != std::string::npos)
        return {"there is a comma too many", "take the comma out"};
    return {};
}

Cause is_unmarked(const Machine&, const IntendedShare& share, size_t list) {
    if (share.usb && list % 2 == 1)
        for (const std::string& name : names_in(share.lists[list]))
            if (!name.starts_with('@') && name != "all")
                return {quoted(name) + " has no @ before it, which a group needs on a USB disk",
                        "write \"@" + name + '"'};
    return {};
}

Cause is_all_alone(const Machine&, const IntendedShare& share, size_t list) {
    if (share.lists[list] != "all" || share.open_to_all())
        return {};
    return {"\"all\" counts only in all four lists at once", "write it into all four or into none"};
}

}  // namespace

Cause odd_lists(const Machine& machine, const IntendedShare& share) {
    if (share.administrators_only())
        return {"all four lists are empty", "name those who may use the share"};
    static constexpr Look* looks[] = {names_nobody, has_odd_member, has_odd_commas, is_unmarked,
                                      is_all_alone};
    for (Look* look : looks)
        for (size_t list = 0; list < share.lists.size(); ++list)
            if (const Cause odd = look(machine, share, list); !odd.text.empty())
                return {std::string(list_names[list]) + ": " + odd.text, odd.cure};
    return {};
}

Cause odd_name(const IntendedShare& share) {
    const std::string name = share.usb ? share.volume : share.name;
    const std::string what = (share.usb ? "the volume " : "the name ") + quoted(name);
    if (name.empty())
        return {share.usb ? "the volume is empty" : "the name is empty", "name it"};
    if (name == "." || name == ".." || name.find('/') != std::string::npos)
        return {what + " is not that of one folder", "rename it"};
    if (name.find_first_of(blanks) != std::string::npos)
        return {what + " has a blank", "rename it without blanks"};
    for (const char byte : std::string("\\%*?[]{}\"'$#;=`~<>|"))
        if (name.find(byte) != std::string::npos)
            return {what + " has a " + byte, std::string("rename it without ") + byte};
    if (as_utf8(name) != name)
        return {what + " is no UTF-8", "rename it, at most 59 bytes long"};
    return {};
}

}  // namespace tavrogen::access
