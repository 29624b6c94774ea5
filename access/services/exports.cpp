// Reads /etc/exports back as exportfs(8) of nfs-utils does. Rules without a source of their own are
// from exports(5).
#include "access/machine/reading.h"
#include "access/machine/text.h"
#include "access/services/judge.h"

#include <algorithm>
#include <arpa/inet.h>
#include <bitset>
#include <limits.h>
#include <stdlib.h>
#include <string.h>

namespace tavrogen::access {

namespace {

constexpr char exports_file[] = "/etc/exports";
constexpr std::string_view options = "(rw,sync,all_squash,anonuid=99,anongid=99,no_subtree_check)";

// --- Networks.

using Bits = std::bitset<128>;  // an IPv4 address has the first 32

struct Network {
    int family;
    Bits address, mask;
};

std::optional<Bits> read_address(int family, const std::string& text) {
    unsigned char bytes[16] = {};
    if (inet_pton(family, text.c_str(), bytes) != 1)
        return {};
    Bits bits;
    for (const unsigned char byte : bytes)
        bits = bits << 8 | Bits(byte);
    return bits;
}

// "IP networks": an address, a slash, and a mask in dotted form or as a number of bits (strtoul(3),
// so also none, which is 0). Nothing where exportfs finds no network.
std::optional<Network> read_network(const std::string& text) {
    const size_t slash = std::min(text.find('/'), text.size());
    const std::string before = text.substr(0, slash);
    const int family = before.find(':') == std::string::npos ? AF_INET : AF_INET6;
    const unsigned long most = family == AF_INET ? 32 : 128;
    const auto address = read_address(family, before);
    std::optional<Bits> mask = ~Bits() << (128 - most);
    if (slash < text.size()) {
        const std::string after = text.substr(slash + 1);
        char* end = nullptr;
        const unsigned long bits = strtoul(after.c_str(), &end, 10);
        if (family == AF_INET && after.find('.') != std::string::npos)
            mask = read_address(family, after);
        else if (*end != '\0' || bits > most)
            mask.reset();
        else
            mask = ~Bits() << (128 - bits);
    }
    return address && mask ? std::optional(Network{family, *address, *mask}) : std::nullopt;
}

bool lies_in(const Network& inner, const Network& outer) {
    return inner.family == outer.family && (outer.mask & ~inner.mask).none() &&
           ((inner.address ^ outer.address) & outer.mask).none();
}

// --- The file.

// The words of the file: ended by white space; double quotes keep white space, a backslash before
// a newline joins lines, a backslash and three octal digits are the byte of that number.
class Words {
  public:
    explicit Words(const std::string& text) : text_(text) {}

    int line() const { return line_; }

    // Moves over these blanks, and comments.
    void skip(const char* blanks) {
        for (;; advance()) {
            if (next() == '#')
                at_ = std::min(text_.find('\n', at_), text_.size());
            if (next() == EOF || strchr(blanks, next()) == nullptr)
                return;
        }
    }

    // The next word, empty before a newline and at the end; nothing when it is too long. A quote
    // that is not closed takes the rest of the file.
    std::optional<std::string> take(size_t longest) {
        std::string word;
        bool quoted = false;
        for (; next() != EOF && (quoted || !is_space(next())); advance()) {
            if (next() == '"') {
                quoted = !quoted;
                continue;
            }
            word += static_cast<char>(next());
            decode_end(&word);
            if (word.size() > longest)
                return {};
        }
        if (next() != EOF && next() != '\n')
            advance();
        return word;
    }

  private:
    static bool is_space(int byte) { return strchr(blanks, byte) != nullptr && byte != 0; }

    static void decode_end(std::string* word) {
        const size_t start = word->size() < 4 ? 0 : word->size() - 4;
        if ((*word)[start] == '\\' && word->find_first_not_of("01234567", start + 1) > start + 4 &&
            word->size() == start + 4)
            word->replace(start, 4, 1,
                          static_cast<char>(strtol(word->c_str() + start + 1, nullptr, 8)));
    }

    bool is_joint() const { return text_.compare(at_, 2, "\\\n") == 0; }

    int next() const {
        return at_ == text_.size() ? EOF
               : is_joint()        ? ' '
                                   : static_cast<unsigned char>(text_[at_]);
    }

    void advance() {
        line_ += text_[at_] == '\n' || is_joint();
        at_ =
            is_joint() ? std::min(text_.find_first_not_of(" \t", at_ + 2), text_.size()) : at_ + 1;
    }

    const std::string& text_;
    size_t at_ = 0;
    int line_ = 1;
};

// One folder for one entry of clients.
struct Export {
    std::string path;
    std::string client;
    bool writable;
    int line;
    std::string folder;  // the path without links
    std::optional<Network> network;

    bool is_everywhere() const {
        return client.empty() || client == "*" || (network && network->mask.none());
    }
    // "Machine Name Formats": true when some host can be one of these clients. No host has a name
    // with a slash; exportfs takes a network that it cannot read for none.
    bool matches_hosts() const { return client.find('/') == std::string::npos || network; }
    // A host's name is none of ours: whether it exists, only the network knows.
    bool is_address_or_pattern() const {
        return is_everywhere() || network ||
               (matches_hosts() && client.find_first_of("*?[") != std::string::npos);
    }
};

// A path as exportfs resolves it: one that is not there stays as it is.
std::string resolved(const Machine& machine, const std::string& path) {
    return machine.is_there(path) ? machine.resolved(path) : path;
}

struct Table {
    std::vector<Export> exports;
    std::vector<Remark> remarks;  // of the line at which reading ends before the file does
};

Table read_table(const Machine& machine) {
    constexpr size_t longest_path = PATH_MAX, longest_client = 511;
    const std::string text = machine.file(exports_file).value_or("");
    Table table;
    for (Words words(text);;) {
        words.skip(" \t\n");
        const int line = words.line();
        const auto stop = [&](bool stops) {
            table.remarks.push_back(
                {line, stops, stops ? "exportfs reads no further than this line" : not_understood});
            return table;
        };
        const auto path = words.take(longest_path);
        if (!path)
            return stop(true);
        if (path->empty())
            return table;
        for (bool first = true;; first = false) {
            words.skip(" \t");
            auto client = words.take(longest_client);
            if (!client)
                return stop(true);
            if (client->empty() && !first)
                break;
            const bool writable = client->ends_with(options);
            client->resize(client->size() - (writable ? options.size() : 0));
            // With other options before its own, exportfs knows none of them.
            if (client->starts_with('-') || client->find('(') != std::string::npos)
                return stop(writable);
            table.exports.push_back(
                {*path, *client, writable, line, resolved(machine, *path), read_network(*client)});
        }
    }
}

// --- The judge.

class Judge {
  public:
    explicit Judge(const Machine& machine) : machine_(machine), table_(read_table(machine)) {
        constexpr char file[] = "/etc/korvel/nfs_info";
        const auto address = words_of(setting(machine, file, "nfs_networkaddress").value);
        const auto mask = words_of(setting(machine, file, "nfs_subnetmask").value);
        if (address.size() == 1 && mask.size() == 1 && is_network(address[0], mask[0]))
            network_ = read_network(address[0] + '/' + mask[0]);
        for (const IntendedShare& share : intended_shares(machine))
            if (share.services.contains(Service::nfs)) {
                shares_.push_back(share);
                if (!leads_elsewhere(share))
                    folders_.insert(resolved(machine, share.folder));
            }
    }

    Differences differences() {
        std::vector<std::string> beginnings;
        for (const IntendedShare& share : shares_)
            beginnings.push_back(share.folder + ' ');
        const std::vector<Span> spans =
            spans_of(machine_.file(exports_file).value_or(""), beginnings);
        std::vector<std::string> more(shares_.size());
        std::set<std::string> served;  // to all who are meant
        Differences found;
        size_t at = 0;
        for (const Export& entry : table_.exports) {
            while (at < spans.size() && spans[at].end <= entry.line)
                ++at;
            if (entry.writable &&
                (entry.is_everywhere() ||
                 (entry.network && (!network_ || lies_in(*network_, *entry.network)))))
                served.insert(entry.folder);
            if (is_meant(entry) || !entry.is_address_or_pattern())
                continue;
            const std::string what = (entry.is_everywhere() ? "every host" : entry.client) +
                                     (entry.writable ? " may write " : " may read ") + entry.path;
            if (at < spans.size() && spans[at].holds(entry.line))
                append(&more[at], what);
            else
                found.push_back({Service::nfs, Effect::exposes, "", 0, entry.path, what});
        }
        for (size_t number = 0; number < shares_.size(); ++number) {
            const IntendedShare& share = shares_[number];
            const Effect effect = more[number].empty() ? Effect::breaks : Effect::exposes;
            if (!served.contains(resolved(machine_, share.folder)))
                append(&more[number], "it is not exported");
            if (!more[number].empty())
                found.push_back(
                    {Service::nfs, effect, share.file, share.line, share.name, more[number]});
        }
        return found;
    }

  private:
    bool is_meant(const Export& entry) const {
        return entry.network && network_ && lies_in(*entry.network, *network_) &&
               folders_.contains(entry.folder);
    }

    const Machine& machine_;
    std::optional<Network> network_;  // as meant; nothing: the settings mean none
    const Table table_;
    std::vector<IntendedShare> shares_;
    std::set<std::string> folders_;  // that are to be exported
};

}  // namespace

Reading read_exports(const Machine& machine) {
    Reading reading;
    reading.present = machine.file(exports_file).has_value();
    const Table table = read_table(machine);
    reading.remarks = table.remarks;
    for (const Export& entry : table.exports) {
        if (!entry.matches_hosts())
            continue;
        Grant& grant = reading.grants.emplace_back();
        grant.service = Service::nfs;
        grant.share = entry.path;
        grant.folder = entry.folder;
        grant.guest = entry.writable ? Right::write : Right::read;
        grant.people.assign(machine.people().size(), grant.guest);
        grant.clients = entry.is_everywhere() ? "" : entry.client;
        grant.line = entry.line;
    }
    return reading;
}

Differences judge_nfs(const Machine& machine) {
    return machine.file(exports_file) ? Judge(machine).differences() : Differences();
}

// exportfs takes a mask with zeros before ones as it is.
bool is_network(const std::string& address, const std::string& mask) {
    const auto network = read_network(address + '/' + mask);
    return network && !mask.empty() && ((~network->mask >> 1) & network->mask).none();
}

}  // namespace tavrogen::access
