// smb.conf as Samba holds it once read: the server's settings and its shares.
//
// Known is what tavrogen can write, whatever its settings hold. The first line beyond that gets a
// remark. A variable such as %U stands for "…": only a connection decides its value.
#pragma once

#include "access/machine/crowd.h"
#include "access/machine/reading.h"
#include "access/machine/text.h"

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
    bool guest_ok = false, writable = false;
    List valid_users, invalid_users, read_list;
    int line = 0;  // of its first section
};

// A section of the file, in its order.
struct Section {
    int line;
    std::optional<size_t> share;  // nothing: [global]
};

struct Server {
    std::map<std::string, std::string> globals;  // of [global]: by their names without blanks
    std::string security = "user";
    std::vector<Share> shares;
    Share ipc;  // Samba's own: who may use it may list the shares
    std::vector<Section> sections;
    std::vector<Remark> remarks;
    bool starts = true;
    std::map<std::string, size_t> by_name;  // the last share of each name, as it is looked up
};

Server parse(const std::string& text);

// A text with "…" in the place of each variable. In a share's path and comment there are more.
std::string expand(const std::string& text, bool in_share = false);

// A text without the quotation marks at its ends, unless there are others within: so Samba takes
// all texts but names of shares, which it shows so.
std::string unquoted(const std::string& text);

// What clients see of a share.
std::string name_of(const Share& share);
std::string comment_of(const Share& share);
std::string folder_of(const Share& share);  // empty: a link to another server

// Everybody who may ask for a share, or guests.
struct Visitors {
    Visitors(const std::vector<Person>& people, bool are_guests);
    Crowd crowd;
    bool guests;
};

// What each gets who asks for a share by a name.
struct Access {
    const Share* share = nullptr;  // NULL: there is none, or it is not available
    Right right = Right::none;
    std::string folder;
};
std::vector<Access> access_by(const Server& server, const std::string& name,
                              const Visitors& visitors);

// Who may list the shares.
std::vector<Right> may_list(const Server& server, const Visitors& visitors);

// Somebody without an account, as Samba takes him.
Visitors guest();

}  // namespace tavrogen::access::smb
