// Reads /etc/exports back as exportfs(8) of nfs-utils does. Rules without a source of their own are
// from exports(5).
#include "access/machine/model.h"

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

constexpr char everywhere[] = "0.0.0.0/0";

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

std::string clients_in_words(const std::string& client) {
    return is_everywhere(client) ? "every host" : client;
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

// --- The check.

constexpr char nfs_file[] = "/etc/korvel/nfs_info";
constexpr char options[] = "(rw,sync,all_squash,anonuid=99,anongid=99,no_subtree_check)\n";

// The clients as the settings mean them: without blanks around the two values.
std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r");
    return first == std::string::npos
               ? ""
               : text.substr(first, text.find_last_not_of(" \t\r") + 1 - first);
}

class NfsCheck {
  public:
    explicit NfsCheck(const Machine& machine)
        : machine_(machine), address_(setting(machine, nfs_file, "nfs_networkaddress")),
          mask_(setting(machine, nfs_file, "nfs_subnetmask")), table_(read_file(machine)) {
        if (!trimmed(mask_.value).empty())
            network_ = read_network(trimmed(address_.value) + '/' + trimmed(mask_.value));
        if (network_ && has_holes(*network_))
            network_.reset();
        for (const IntendedShare& share : intended_shares(machine))
            if (share.services.contains(Service::nfs)) {
                shares_.push_back(share);
                if (is_proper(share))
                    folders_.insert(resolved(machine, share.folder));
            }
    }

    std::vector<Finding> run() {
        std::vector<std::string> beginnings;
        for (const IntendedShare& share : shares_)
            beginnings.push_back(share.folder + ' ');
        const std::vector<Span> spans =
            spans_of(machine_.file(exports_file).value_or(""), beginnings);
        const bool sound_network = is_sound_network();
        const Origin network = network_origin();
        Origin odd_share;
        for (size_t number = 0; number < shares_.size(); ++number) {
            const IntendedShare& share = shares_[number];
            bool exposed = false;
            const std::string who = words_for(spans[number], is_served(share), &exposed);
            if (who.empty())
                continue;
            const bool sound = is_sound(share);
            if (!sound || (sound_network && odd_share.file.empty()))
                odd_share = origin_of(share);
            // A sound share that is hit on a sound network stands in what an odd one has taken.
            add(sound && !sound_network ? network : odd_share, exposed, share.name + ": " + who);
        }
        for (const Export& entry : table_.exports)
            if (std::none_of(spans.begin(), spans.end(),
                             [&](const Span& span) { return span.holds(entry.line); }))
                add_stray(entry);
        return findings_;
    }

  private:
    // An export that is no share's, such as that of a line without a volume.
    void add_stray(const Export& entry) {
        const int line = line_without_volume(machine_, share_file);
        if (line > 0 && matches_hosts(entry.client))
            add({share_file, line, {"the line has no volume", "name the volume"}}, true,
                "a line without a volume: " + clients_in_words(entry.client) + " may write " +
                    entry.path);
    }

    bool is_meant(const Export& entry) const {
        const auto network = read_network(entry.client);
        return network && network_ && lies_in(*network, *network_) &&
               folders_.contains(entry.folder);
    }

    bool is_served(const IntendedShare& share) const {
        const std::string folder = resolved(machine_, share.folder);
        return std::any_of(table_.exports.begin(), table_.exports.end(), [&](const Export& entry) {
            if (!entry.writable || entry.folder != folder)
                return false;
            const auto network = read_network(entry.client);
            return is_everywhere(entry.client) ||
                   (network && (!network_ || lies_in(*network_, *network)));
        });
    }

    // What these lines of the file export otherwise than meant; empty: nothing.
    std::string words_for(const Span& span, bool served, bool* exposed) const {
        std::string words;
        for (const Export& entry : table_.exports) {
            if (!span.holds(entry.line) || is_meant(entry) || !matches_hosts(entry.client) ||
                !is_address_or_pattern(entry.client))
                continue;
            *exposed = true;
            words += (words.empty() ? "" : ", ") + clients_in_words(entry.client) +
                     (entry.writable ? " may write " : " may read ") + entry.path;
        }
        if (!served)
            words += (words.empty() ? "" : ", ") + std::string("it is not exported");
        return words;
    }

    // A host's name is none of ours: whether it exists, only the network knows.
    static bool is_address_or_pattern(const std::string& client) {
        return is_everywhere(client) || read_network(client) ||
               client.find_first_of("*?[") != std::string::npos;
    }

    // True when the name is that of a folder of the volume.
    static bool is_proper(const IntendedShare& share) {
        const std::string path = '/' + share.name + '/';
        return share.name.find_first_not_of('/') != std::string::npos &&
               path.find("/./") == std::string::npos && path.find("/../") == std::string::npos;
    }

    // True when the share alone, exported to a sound network, is read as it is meant.
    static bool is_sound(const IntendedShare& share) {
        const Table table = read_table(share.folder + ' ' + everywhere + options);
        return is_proper(share) && table.error == 0 && table.exports.size() == 1 &&
               table.exports[0].path == share.folder && table.exports[0].client == everywhere;
    }

    bool is_sound_network() const {
        const Table table = read_table("/mnt " + address_.value.substr(0, 31) + '/' +
                                       mask_.value.substr(0, 31) + options);
        if (table.exports.size() != 1 || !network_)
            return false;
        const auto network = read_network(table.exports[0].client);
        return network && lies_in(*network, *network_) && lies_in(*network_, *network);
    }

    // Where a finding comes from.
    struct Origin {
        std::string file;
        int line = 0;
        Cause cause = {};
    };

    static Origin origin_of(const IntendedShare& share) {
        Cause cause = odd_name(share);
        if (cause.text.empty())
            cause = {"exportfs reads \"" + share.folder + "\" otherwise", "rename it"};
        return {share.file, share.line, cause};
    }

    Origin network_origin() const {
        const bool sound_address = address_.value.find('/') == std::string::npos &&
                                   read_network(address_.value).has_value();
        const Setting& odd = sound_address ? mask_ : address_;
        const std::string kind = sound_address ? "network mask" : "network address";
        const std::string value = '"' + odd.value + '"';
        std::string text = value + " is no " + kind;
        if (odd.value.empty())
            text = "the " + kind + " is empty";
        else if (odd.value.size() > 31)
            text = value + " is cut after 31 bytes";
        else if (odd.value.find_first_of(" \t\r\v\f") != std::string::npos)
            text = "the " + kind + ' ' + value + " has a blank";
        return {nfs_file,
                odd.line,
                {text, sound_address ? "write one as 255.255.255.0 or 24"
                                     : "write one address, of IPv4 or IPv6"}};
    }

    void add(const Origin& origin, bool exposes, const std::string& who) {
        Finding finding = {};
        finding.effect = exposes ? Effect::exposes : Effect::breaks;
        finding.file = origin.file;
        finding.line = origin.line;
        finding.services = {Service::nfs};
        finding.who = who;
        finding.cause = origin.cause.text;
        finding.cure = origin.cause.cure;
        findings_.push_back(finding);
    }

    const Machine& machine_;
    const Setting address_, mask_;
    std::optional<Network> network_;  // as meant; nothing: the settings mean none
    const Table table_;
    std::vector<IntendedShare> shares_;
    std::set<std::string> folders_;  // that are to be exported
    std::vector<Finding> findings_;
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

std::vector<Finding> check_nfs(const Machine& settings) {
    return NfsCheck(settings).run();
}

}  // namespace tavrogen::access
