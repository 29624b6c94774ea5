// smb.conf as Samba holds it once read: the server's settings and its shares.
//
// Known: the file's syntax, the sections with a meaning of their own, and the parameters that decide
// who reaches which folder. Not known: other files that it includes or copies, users who log in
// under another name by the "username map", and what a domain's controller knows of names.
#pragma once

#include "access/machine/model.h"

namespace tavrogen::access::smb {

// A name as Samba compares it: in lower case, by Samba's own table. Nothing for bytes that are no
// UTF-8: all such names are one name to Samba.
std::optional<std::string> fold(std::string_view name);

// A name as Samba looks a client's wish up: the same, with both small sigmas for one letter.
std::optional<std::string> fold_wish(std::string_view name);

// True when a client can decode the text.
bool is_utf8(std::string_view text);

using List = std::optional<std::vector<std::string>>;  // nothing: no list, so it forbids nobody

struct Share {
    std::string name;  // as its first section calls it
    std::string path, comment, msdfs_proxy;
    bool available = true;
    bool guest_ok = false, writable = false, printable = false;
    List valid_users, invalid_users, read_list, write_list;
    int line = 0;  // of its first section
};

// A section of the file, in its order.
struct Section {
    int line;
    std::optional<size_t> share;  // nothing: [global]
};

struct Server {
    std::map<std::string, std::string> globals;  // of [global]: by their names without blanks
    std::string netbios_name, security = "user", winbind_separator = "\\";
    std::vector<Share> shares;
    Share ipc;  // Samba's own: who may use it may list the shares
    std::vector<Section> sections;
    std::vector<Remark> remarks;
    bool starts = true;
    std::map<std::string, size_t> by_name;  // the last share of each folded name without variables
    std::vector<size_t> by_variable;        // the shares whose names have variables
};

Server parse(const std::string& text);

// A text with its variables filled in. Those that only the moment of the connection decides become
// a byte that no name has. Without a share: as in names of shares and in lists of names; with one:
// as in its path and its comment, which know more variables.
std::string expand(const Server& server, const std::string& text, const Person& person,
                   const Share* share);

// A text without the quotation marks at its ends, unless there are others within: so Samba takes
// all texts but names of shares, which it shows so.
std::string unquoted(const std::string& text);

// What a person sees of a share.
std::string name_of(const Server& server, const Share& share, const Person& person);
std::string comment_of(const Server& server, const Share& share, const Person& person);
std::string folder_of(const Server& server, const Share& share, const Person& person);

// What somebody gets who asks for a share by a name.
struct Access {
    const Share* share = nullptr;  // NULL: there is none, or it is not available
    Right right = Right::none;
    std::string folder;
};
Access access_by(const Server& server, const std::string& name, const Person& person,
                 bool is_guest = false);

bool may_list(const Server& server, const Person& person, bool is_guest = false);

// Whom Samba takes somebody without an account for.
Person guest_account();

}  // namespace tavrogen::access::smb
