// Names what is odd about a share's settings, in the same words for all services, so that the
// findings of one cause can be joined.
#include "access/model.h"

#include <algorithm>
#include <strings.h>

namespace rights {

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
    return list % 2 == 0 ? odd_user(machine, name) : Cause{};
}

}  // namespace

Cause odd_lists(const Machine& machine, const IntendedShare& share) {
    if (share.administrators_only())
        return {"all four lists are empty", "name those who may use the share"};
    for (size_t list = 0; list < share.lists.size(); ++list) {
        const std::string& text = share.lists[list];
        const std::string where = std::string(list_names[list]) + ": ";
        const auto names = names_in(text);
        if (!text.empty() && text.find_first_not_of(",@\" \t\r") == std::string::npos)
            return {where + quoted(text) + " names nobody",
                    "leave the list empty or name somebody"};
        for (const std::string& name : names)
            if (const Cause odd = odd_member(machine, list, name); !odd.text.empty())
                return {where + odd.text, odd.cure};
        if (text.find_first_of(blanks) != std::string::npos)
            return {where + "there is a blank beside a comma", "take the blank out"};
        if (text.starts_with(',') || text.ends_with(',') || text.find(",,") != std::string::npos)
            return {where + "there is a comma too many", "take the comma out"};
        if (text == "all" && !share.open_to_all())
            return {where + "\"all\" counts only in all four lists at once",
                    "write it into all four or into none"};
    }
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

}  // namespace rights
