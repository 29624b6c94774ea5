// Reads /etc/exports back as exportfs(8) of nfs-utils does. Rules without a source of their own are
// from exports(5).
#include "access/machine/reading.h"
#include "access/machine/text.h"
#include "access/services/judge.h"

#include <algorithm>
#include <arpa/inet.h>
#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>

namespace tavrogen::access {

namespace {

constexpr char exports_file[] = "/etc/exports";

// The words of the file: ended by white space; double quotes keep white space, a backslash before
// a newline joins lines, a backslash and three octal digits are the byte of that number.
class Words {
  public:
    explicit Words(const std::string& text) : text_(text) {}

    int line() const { return line_; }

    // Moves over these blanks, and comments.
    void skip(const char* blanks) {
        int byte = get();
        while (byte != EOF) {
            if (byte == '#')
                byte = end_comment();
            if (byte == EOF || strchr(blanks, byte) == nullptr)
                break;
            byte = get();
        }
        go_back();
    }

    // The next word, empty before a newline and at the end; nothing when it is too long. A quote
    // that is not closed takes the rest of the file.
    std::optional<std::string> take(size_t longest) {
        std::string word;
        bool quoted = false;
        for (int byte = get(); byte != EOF; byte = get()) {
            if (!quoted && is_space(byte)) {
                if (byte == '\n')
                    go_back();
                break;
            }
            if (byte == '"') {
                quoted = !quoted;
                continue;
            }
            word += static_cast<char>(byte);
            decode_end(&word);
            if (word.size() > longest)
                return {};
        }
        return word;
    }

  private:
    static bool is_space(int byte) { return strchr(" \t\n\r\v\f", byte) != nullptr && byte != 0; }
    static bool is_octal(char byte) { return byte >= '0' && byte <= '7'; }

    static void decode_end(std::string* word) {
        const size_t end = word->size();
        if (end < 4 || (*word)[end - 4] != '\\' ||
            !std::all_of(word->end() - 3, word->end(), is_octal))
            return;
        const long byte = strtol(word->c_str() + end - 3, nullptr, 8);
        word->replace(end - 4, 4, 1, static_cast<char>(byte));
    }

    int get() {
        before_ = at_;
        line_before_ = line_;
        if (at_ == text_.size())
            return EOF;
        const char byte = text_[at_++];
        line_ += byte == '\n';
        if (byte != '\\' || at_ == text_.size() || text_[at_] != '\n')
            return static_cast<unsigned char>(byte);
        at_ = std::min(text_.find_first_not_of(" \t", at_ + 1), text_.size());
        ++line_;
        return ' ';
    }

    void go_back() {
        at_ = before_;
        line_ = line_before_;
    }

    int end_comment() {
        at_ = std::min(text_.find('\n', at_), text_.size());
        return get();
    }

    const std::string& text_;
    size_t at_ = 0, before_ = 0;
    int line_ = 1, line_before_ = 1;
};

// One folder for one entry of clients.
struct Export {
    std::string path;
    std::string client;
    bool writable;
    int line;
    std::string folder;  // the path without links, once it is resolved
};

// Reads an option list. False for an unknown option, at which exportfs reads no further.
bool read_options(const std::string& list, bool* writable) {
    static constexpr char known[] =
        " rw ro secure insecure sync async hide nohide crossmnt nocrossmnt wdelay no_wdelay root_squash "
        "no_root_squash all_squash no_all_squash subtree_check no_subtree_check auth_nlm "
        "no_auth_nlm secure_locks insecure_locks acl no_acl mp mountpoint pnfs no_pnfs "
        "security_label nordirplus anonuid= anongid= fsid= mp= mountpoint= sec= refer= replicas= ";
    for (size_t at = 0; at < list.size();) {
        const size_t comma = std::min(list.find(',', at), list.size());
        const std::string option = list.substr(at, comma - at);
        at = comma + 1;
        if (option == "rw" || option == "ro")
            *writable = option == "rw";
        const size_t name = std::min(option.find('='), option.size() - 1) + 1;
        if (strstr(known, (' ' + option.substr(0, name) + ' ').c_str()) == nullptr)
            return false;
    }
    return true;
}

// All exports up to the first error, at which exportfs reads no further; its line, or 0.
struct Table {
    std::vector<Export> exports;
    int error = 0;
};

Table read_table(const std::string& text) {
    constexpr size_t longest_path = PATH_MAX, longest_client = 511;
    Table table;
    Words words(text);
    for (;;) {
        words.skip(" \t\n");
        const int line = words.line();
        const auto path = words.take(longest_path);
        const auto stop = [&] {
            table.error = line;
            return table;
        };
        if (!path)
            return stop();
        if (path->empty())
            return table;
        bool default_writable = false;  // the default is ro
        for (bool first = true;; first = false) {
            words.skip(" \t");
            auto client = words.take(longest_client);
            if (!client)
                return stop();
            if (client->empty() && !first)
                break;
            if (client->starts_with('-')) {
                if (!read_options(client->substr(1), &default_writable))
                    return stop();
                continue;
            }
            bool writable = default_writable;
            const size_t open = client->find('(');
            if (open != std::string::npos) {
                const size_t close = client->find(')', open);
                if (close != client->size() - 1 ||
                    !read_options(client->substr(open + 1, close - open - 1), &writable))
                    return stop();
                client->resize(open);
            }
            table.exports.push_back({*path, *client, writable, line, ""});
        }
    }
}

struct Network {
    int family;
    std::array<unsigned char, 16> address;
    std::array<unsigned char, 16> mask;
};

// "IP networks": an address, a slash, and a mask in dotted form or as a number of bits (strtoul(3),
// so also none, which is 0). Nothing where exportfs finds no network.
std::optional<Network> read_network(const std::string& text) {
    const size_t slash = std::min(text.find('/'), text.size());
    const std::string address = text.substr(0, slash);
    Network network = {};
    network.family = address.find(':') == std::string::npos ? AF_INET : AF_INET6;
    if (inet_pton(network.family, address.c_str(), network.address.data()) != 1)
        return {};
    unsigned long bits = network.family == AF_INET ? 32 : 128;
    if (slash < text.size()) {
        const std::string mask = text.substr(slash + 1);
        if (network.family == AF_INET && mask.find('.') != std::string::npos)
            return inet_pton(AF_INET, mask.c_str(), network.mask.data()) == 1
                       ? std::optional(network)
                       : std::nullopt;
        const unsigned long most = bits;
        char* end = nullptr;
        errno = 0;
        bits = strtoul(mask.c_str(), &end, 10);
        if (*end != '\0' || bits > most || errno != 0)
            return {};
    }
    for (size_t bit = 0; bit < bits; ++bit)
        network.mask[bit / 8] = static_cast<unsigned char>(network.mask[bit / 8] | 0x80 >> bit % 8);
    return network;
}

bool lies_in(const Network& inner, const Network& outer) {
    if (inner.family != outer.family)
        return false;
    for (size_t at = 0; at < inner.mask.size(); ++at)
        if ((outer.mask[at] & ~inner.mask[at]) != 0 ||
            ((inner.address[at] ^ outer.address[at]) & outer.mask[at]) != 0)
            return false;
    return true;
}

// True for a mask with zeros before ones, which exportfs takes as it is.
bool has_holes(const Network& network) {
    bool ended = false;
    for (size_t bit = 0; bit < 8 * network.mask.size(); ++bit) {
        const bool one = (network.mask[bit / 8] & 0x80 >> bit % 8) != 0;
        if (one && ended)
            return true;
        ended = ended || !one;
    }
    return false;
}

bool is_everywhere(const std::string& client) {
    if (client.empty() || client == "*")
        return true;
    const auto network = read_network(client);
    return network && network->mask == decltype(network->mask){};
}

// "Machine Name Formats": true when some host can be one of these clients. No host has a name with
// a slash; exportfs takes a network that it cannot read for none.
bool matches_hosts(const std::string& client) {
    return client.find('/') == std::string::npos || read_network(client);
}

// A path as exportfs resolves it: one that is not there stays as it is.
std::string resolved(const Machine& machine, const std::string& path) {
    return machine.is_there(path) ? machine.resolved(path) : path;
}

Table read_file(const Machine& machine) {
    Table table = read_table(machine.file(exports_file).value_or(""));
    for (Export& entry : table.exports)
        entry.folder = resolved(machine, entry.path);
    return table;
}

// --- The judge.

constexpr char nfs_file[] = "/etc/korvel/nfs_info";

// The clients as the settings mean them: without blanks around the two values.
std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r");
    return first == std::string::npos
               ? ""
               : text.substr(first, text.find_last_not_of(" \t\r") + 1 - first);
}

// True when the name is that of a folder of the volume.
bool is_proper(const IntendedShare& share) {
    const std::string path = '/' + share.name + '/';
    return share.name.find_first_not_of('/') != std::string::npos &&
           path.find("/./") == std::string::npos && path.find("/../") == std::string::npos;
}

class Judge {
  public:
    explicit Judge(const Machine& machine) : machine_(machine), table_(read_file(machine)) {
        const std::string mask = trimmed(setting(machine, nfs_file, "nfs_subnetmask").value);
        if (!mask.empty())
            network_ = read_network(
                trimmed(setting(machine, nfs_file, "nfs_networkaddress").value) + '/' + mask);
        if (network_ && has_holes(*network_))
            network_.reset();
        for (const IntendedShare& share : intended_shares(machine))
            if (share.services.contains(Service::nfs)) {
                shares_.push_back(share);
                if (is_proper(share))
                    folders_.insert(resolved(machine, share.folder));
            }
        for (const Export& entry : table_.exports) {
            const auto network = read_network(entry.client);
            if (entry.writable && (is_everywhere(entry.client) ||
                                   (network && (!network_ || lies_in(*network_, *network)))))
                served_.insert(entry.folder);
        }
    }

    Differences differences() {
        std::vector<std::string> beginnings;
        for (const IntendedShare& share : shares_)
            beginnings.push_back(share.folder + ' ');
        const std::vector<Span> spans =
            spans_of(machine_.file(exports_file).value_or(""), beginnings);
        std::map<int, size_t> share_at;  // by the first lines of their spans
        for (size_t number = 0; number < spans.size(); ++number)
            if (spans[number].begin > 0)
                share_at[spans[number].begin] = number;
        std::vector<std::string> more(shares_.size());
        Differences found;
        for (const Export& entry : table_.exports) {
            if (is_meant(entry) || !is_address_or_pattern(entry.client))
                continue;
            const std::string what = (is_everywhere(entry.client) ? "every host" : entry.client) +
                                     (entry.writable ? " may write " : " may read ") + entry.path;
            const auto after = share_at.upper_bound(entry.line);
            const size_t number = after == share_at.begin() ? 0 : std::prev(after)->second;
            if (after != share_at.begin() && spans[number].holds(entry.line))
                more[number] += (more[number].empty() ? "" : ", ") + what;
            else
                found.push_back({Service::nfs, Effect::exposes, "", 0, entry.path, what});
        }
        for (size_t number = 0; number < shares_.size(); ++number) {
            const IntendedShare& share = shares_[number];
            const bool served = served_.contains(resolved(machine_, share.folder));
            const std::string& words = more[number];
            if (!words.empty() || !served)
                found.push_back({Service::nfs, words.empty() ? Effect::breaks : Effect::exposes,
                                 share.file, share.line, share.name,
                                 words +
                                     (served          ? ""
                                      : words.empty() ? ""
                                                      : ", ") +
                                     (served ? "" : "it is not exported")});
        }
        return found;
    }

  private:
    bool is_meant(const Export& entry) const {
        const auto network = read_network(entry.client);
        return network && network_ && lies_in(*network, *network_) &&
               folders_.contains(entry.folder);
    }

    // A host's name is none of ours: whether it exists, only the network knows.
    static bool is_address_or_pattern(const std::string& client) {
        return matches_hosts(client) && (is_everywhere(client) || read_network(client) ||
                                         client.find_first_of("*?[") != std::string::npos);
    }

    const Machine& machine_;
    std::optional<Network> network_;  // as meant; nothing: the settings mean none
    const Table table_;
    std::vector<IntendedShare> shares_;
    std::set<std::string> folders_;  // that are to be exported
    std::set<std::string> served_;   // that are, to all who are meant
};

}  // namespace

Reading read_exports(const Machine& machine) {
    Reading reading;
    reading.present = machine.file(exports_file).has_value();
    const Table table = read_file(machine);
    for (const Export& entry : table.exports) {
        if (!matches_hosts(entry.client))
            continue;
        Grant grant = {};
        grant.service = Service::nfs;
        grant.share = entry.path;
        grant.folder = entry.folder;
        grant.guest = entry.writable ? Right::write : Right::read;
        grant.people.assign(machine.people().size(), grant.guest);
        grant.clients = is_everywhere(entry.client) ? "" : entry.client;
        grant.line = entry.line;
        reading.grants.push_back(grant);
    }
    if (table.error > 0)
        reading.remarks.push_back({table.error, true, "exportfs reads no further than this line"});
    return reading;
}

Differences judge_nfs(const Machine& machine) {
    return machine.file(exports_file) ? Judge(machine).differences() : Differences();
}

bool is_network(const std::string& address, const std::string& mask) {
    const auto network = read_network(address + '/' + mask);
    return network && !has_holes(*network) && !mask.empty();
}

}  // namespace tavrogen::access
