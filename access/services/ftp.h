// proftpd.conf as Debian 12's proftpd 1.3.8 understands it: sections, limits and whom they let in.
//
// Known is what tavrogen can write, whatever its settings hold; the first line beyond that gets a
// remark. The rules are those of the server's documentation ("Configuring ProFTPD", "Configuring
// <Limits>", "Configuring a <Directory>"); where it is silent, "Live:" marks what the server shows.
#pragma once

#include "access/machine/crowd.h"
#include "access/machine/reading.h"
#include "access/machine/text.h"

#include <memory>

namespace tavrogen::access::ftp {

// A line "AllowUser a,b" or its like, inside a <Limit>.
struct Rule {
    enum Subject { everybody, user, group } subject;
    enum Match { any_of, all_of, part } match;  // part: of a name
    bool allows;
    std::vector<std::string> names;  // each may begin with '!'
};

// A <Limit>: for READ, WRITE or ALL; or for others, which do not count here.
struct Limit {
    std::vector<std::string> commands;
    bool deny_first = false;  // "Order deny,allow"
    std::vector<Rule> rules;
};

// A <Directory>, an <Anonymous> or the server itself.
struct Section {
    std::string path;
    Section* parent = nullptr;  // the one that it lies in, by the text of the paths
    std::vector<Limit> limits;  // the last one of the file first
};

// The <Directory> sections of the server or of its <Anonymous>.
class Folders {
  public:
    // Adds one. Returns false when there is one of this path.
    bool add(const std::string& path, Section* outer);

    // Finds out which section lies in which; once all are there.
    void nest();

    // The section of a path; NULL: it has none.
    const Section* find(const std::string& path) const;

    std::vector<std::string> paths() const;
    Section& back() { return *sections_.back(); }

  private:
    using Numbers = std::vector<size_t>;
    const Section* find_in(const Section* outer, const std::string& path) const;

    std::vector<std::unique_ptr<Section>> sections_;  // in the order of the file
    std::set<std::string> known_;                     // their paths
    Section* outer_ = nullptr;
    std::unordered_map<std::string, Numbers> by_name_;      // those without patterns
    std::unordered_map<const Section*, Numbers> patterns_;  // those with, by what they lie in
};

class Server {
  public:
    Server(const std::string& text, const Machine& machine);
    Server(Server&&) = delete;  // its sections know each other

    // What the server refuses. It does not start if there is any.
    const std::vector<Remark>& errors() const { return errors_; }
    // What is not understood.
    const std::vector<Remark>& doubts() const { return doubts_; }

    // What each of the machine's people may do with the files of a folder.
    std::vector<Right> give(const std::string& folder) const;
    // The same without an account.
    Right give_without_account(const std::string& folder) const;

    // True when the logins of this name are anonymous ones.
    bool takes_as_anonymous(const std::string& name) const {
        return anonymous_names_.contains(name);
    }

    // True when a folder is one that clients can come to, whatever their rights.
    bool has(const std::string& folder) const;

    // The paths of all <Directory> sections, as they are written.
    std::vector<std::string> paths() const;

  private:
    friend class Parser;

    Crowd crowd_;
    std::unique_ptr<Crowd> guest_;  // the account of anonymous logins; NULL: there are none
    Section main_, anonymous_;
    Folders folders_, anonymous_folders_;
    std::set<std::string> anonymous_names_;
    std::string root_ = "/";  // DefaultRoot
    std::vector<Remark> errors_, doubts_;
};

}  // namespace tavrogen::access::ftp
