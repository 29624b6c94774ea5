// proftpd.conf as Debian 12's proftpd 1.3.8 understands it: sections, limits and whom they let in.
#pragma once

#include "access/machine/model.h"

#include <memory>

namespace tavrogen::access::ftp {

// A line "AllowUser a,b" or its like, inside a <Limit>.
struct Rule {
    enum Subject { everybody, user, group } subject;
    enum Match { any_of, all_of, pattern } match;
    bool allows;
    std::vector<std::string> names;  // each may begin with '!'; of a pattern: the one
};

// A <Limit>: for some commands, groups of commands or all.
struct Limit {
    std::vector<std::string> commands;
    bool deny_first = false;  // "Order deny,allow"
    std::vector<Rule> rules;
    int line = 0;
};

// A <Directory>, an <Anonymous> or the server itself.
struct Section {
    std::string path;
    bool for_each_user = false;  // %u in the path is the user's name; not so in an <Anonymous>
    int line = 0;
    Section* parent = nullptr;
    std::vector<Limit> limits;  // the last one of the file first
    // In the order in which the server searches.
    std::vector<std::unique_ptr<Section>> folders;

    // Of an <Anonymous>: the account, and further names for it.
    std::string user;
    std::vector<std::string> aliases;
};

// Brings the folders of the server or of an <Anonymous> from the order of the file, without any
// nesting, into that in which the server searches.
void arrange(Section* outer);

// What somebody may do with the files of a folder.
struct Given {
    bool read = false;
    bool write = false;
    const Section* section = nullptr;  // that of the files, if they have one
    // Those whose limits say so, if there are any.
    const Section* read_by = nullptr;
    const Section* write_by = nullptr;
};

class Server {
  public:
    explicit Server(const std::string& text);

    // What the server refuses. It does not start if there is any.
    const std::vector<Remark>& errors() const { return errors_; }

    // What each of the machine's people may do with the files of a folder.
    std::vector<Given> give(const Machine& machine, const std::string& path) const;
    // The same without an account.
    Given give_without_account(const Machine& machine, const std::string& path) const;

    // True when the <Directory> of this line of the file covers the files of a folder.
    bool covers(int line, const std::string& folder) const;

    // True when the logins of this name are anonymous ones.
    bool takes_as_anonymous(const std::string& name) const;
    bool has_anonymous() const { return !anonymous_.empty(); }

    // True when a folder is one that clients can come to, whatever their rights.
    bool has(const std::string& folder) const;

    // The paths of all <Directory> sections, as they are written.
    std::vector<std::string> paths() const;

  private:
    friend class Parser;
    Section main_;
    std::vector<std::unique_ptr<Section>> anonymous_;
    std::string root_ = "/";  // DefaultRoot
    bool root_login_ = false;
    std::vector<Remark> errors_;
};

}  // namespace tavrogen::access::ftp
