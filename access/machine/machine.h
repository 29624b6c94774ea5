// An appliance: its files, and the people that they name.
#pragma once

#include <errno.h>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tavrogen::access {

// In bits: who may write may read, too; who may upload may not.
enum class Right : unsigned char { none, read, upload, write };

enum class Service : unsigned char { smb, ftp, atalk, nfs, iscsi, syslog, settings };

// For people: SMB, FTP, AppleTalk, NFS, iSCSI, syslog; "settings" where no service is at fault.
const char* name_of(Service service);

// One account, and the groups that it is in.
struct Person {
    std::string name;
    std::vector<std::string> groups;  // the primary one, too
    std::string primary_group;        // empty: not known
    bool is_group = false;            // stands for all members of a domain's group
};

// An appliance under a root directory: its files as they stand, with what a run would write laid
// over them where that is asked for.
class Machine {
  public:
    explicit Machine(const std::string& root);  // "/" or the folder of an appliance root

    // The bytes of a regular file by its path on the appliance; links are followed inside the root.
    // Nothing when it cannot be read; errno then tells why.
    std::optional<std::string> file(const std::string& path) const;
    int open_file(const std::string& path) const;  // a descriptor for the caller to close; or -1
    static const char* reason(int error);          // in words
    static constexpr int not_regular = EMEDIUMTYPE;
    const std::string* in_memory(const std::string& path) const;  // NULL: it is not
    bool is_there(const std::string& path) const;                 // of whatever type
    bool is_directory(const std::string& path) const;
    std::vector<std::string> folders_in(const std::string& path) const;  // names, sorted

    // Where a path of the appliance is on this machine, each link followed inside the root.
    std::string place(const std::string& path) const;

    // A path of the appliance without links. Empty when they go round in a circle, as it then is above.
    std::string resolved(const std::string& path) const;

    // As after `tavrogen -c` for all services: the program's own writers run, and their files
    // stand in memory. Nothing is written.
    Machine after_run() const;

    // The same for one service.
    Machine after_run_for(Service service) const;

    // The appliance with other bytes in some of its files.
    Machine with(const std::map<std::string, std::string>& texts) const;

    // Shows a folder at another path; at an empty one: nowhere.
    void move(const std::string& from, const std::string& to);

    // From /etc/passwd and /etc/group; without passwd from the group file and the share lists.
    const std::vector<Person>& people() const { return people_; }

    // In a domain, adds somebody for each group of the share lists that /etc/group has not.
    void add_domain_groups();

  private:
    std::string own_path(const std::string& path) const;

    std::string root_;                            // without a slash at its end; of "/": empty
    std::map<std::string, std::string> written_;  // path, bytes: of files that stand in memory
    std::map<std::string, std::string> moved_;    // where a folder is shown, and where it is
    std::set<std::string> gone_;                  // folders that are shown nowhere
    std::vector<Person> people_;
};

// The value of a key in a keyed settings file, as the program finds it.
struct Setting {
    std::string value;
    int line = 0;  // 0: there is no such key
};
Setting setting(const Machine& machine, const std::string& path, const std::string& key);

// People in words: "alice, bob", "everyone", "alice, bob, carol and 12 others".
std::string in_words(const Machine& machine, const std::vector<size_t>& people);

}  // namespace tavrogen::access
