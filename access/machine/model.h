// Who may do what by which service: the plain data that readers fill, and that the report, the
// difference and the lint are made from.
#pragma once

#include <array>
#include <errno.h>
#include <map>
#include <optional>
#include <set>
#include <stdio.h>
#include <string>
#include <string_view>
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

// The lines of a text, without their newlines.
std::vector<std::string> lines_of(const std::string& text);

// Lines of a written file, from 1: `begin` up to `end`, which is not one of them.
struct Span {
    int begin = 0;
    int end = 0;

    bool holds(int line) const { return line >= begin && line < end; }
};

// Where each share stands in a file that gives a line to each: from the line that begins with the
// share's text up to the next that begins with /mnt/. Found in the order of the texts; empty for a
// text that is not there.
std::vector<Span> spans_of(const std::string& file, const std::vector<std::string>& texts);

// The fields of a line of a list file; the program's own cut to a field's size is not made.
std::vector<std::string> fields_of(const std::string& line);

// The names of an access list: what stands between its commas, without blanks around it. None
// for a list of commas and blanks alone.
std::vector<std::string> names_in(const std::string& list);

// What one service gives of one folder.
struct Grant {
    Service service;
    std::string share;          // the name that its clients see
    std::string folder;         // absolute path on the appliance
    std::vector<Right> people;  // one for each of Machine::people(), in their order
    Right guest = Right::none;  // without an account
    std::string clients;        // NFS: from where; empty: from everywhere
    int line = 0;               // of the service's file, from 1
};

// What a reader says of the first line that the program writes from no settings.
constexpr char not_understood[] = "not understood; what follows may be wrong";

// What a reader saw in the file of a service that is worth a finding.
struct Remark {
    int line;          // of the service's file, from 1; 0: the file as a whole
    bool stops;        // the service does not start, or not with this share
    std::string text;  // what the service does with it, in plain words
};

// One service's files, read back by the service's own rules.
struct Reading {
    bool present = false;  // its file is there
    bool starts = true;    // the service starts with it
    std::vector<Grant> grants;
    std::vector<Remark> remarks;
};

// One reader for each service, each in a file of its own. `folders` are the absolute paths that
// are asked about (shares, and other folders of the volumes); a reader adds those that its file
// names.
Reading read_smb_conf(const Machine& machine);
Reading read_proftpd_conf(const Machine& machine, const std::vector<std::string>& folders);
Reading read_apple_volumes(const Machine& machine);
Reading read_exports(const Machine& machine);

// One target of /etc/ietd.conf, with the initiators' files.
struct Target {
    std::string name;
    std::string path;
    std::string incoming_user, incoming_password;
    std::string outgoing_user, outgoing_password;
    std::vector<std::string> allowed;  // initiators' addresses; "ALL": every one
    int line = 0;
};
struct TargetReading {
    bool present = false;
    Target discovery;  // its accounts; for the search for targets
    std::vector<Target> targets;
    std::vector<Remark> remarks;
};
TargetReading read_ietd_conf(const Machine& machine);

// One destination of /etc/syslog.conf.
struct LogTarget {
    std::string selector;
    std::string file;  // or
    std::string host;
    std::string port = "514";
    bool tcp = false;
    int line = 0;
};
struct LogReading {
    bool present = false;
    std::vector<LogTarget> targets;
    std::vector<Remark> remarks;
};
LogReading read_syslog_conf(const Machine& machine);

// The first line of a share list that has text but no volume, and so stands for no share; 0: none.
int line_without_volume(const Machine& machine, const std::string& path);

constexpr char share_file[] = "/etc/korvel/shareinfo";
constexpr char usb_share_file[] = "/etc/korvel/usbshareinfo";

// The access lists of a share, in the order of its line.
enum List { rw_users, rw_groups, ro_users, ro_groups };

// One share as the settings mean it (not as any service reads it). Lines without a volume, such as
// blank ones, are no shares.
struct IntendedShare {
    std::string name;    // cut as the program cuts it, as the volume and the comment are
    std::string volume;  // directory under /mnt
    std::string comment;
    std::string folder;  // absolute path
    std::string file;    // the settings file and line that say so
    int line = 0;
    bool usb = false;
    bool hidden = false;               // from the browse lists: SMB clients see the name with a '$'
    bool read_only = false;            // by its switch or its disk's file system
    std::set<Service> services;        // that are to serve it, with its disk as it is mounted now
    std::array<std::string, 4> lists;  // as they stand in the file, by List
    std::vector<Right> people;         // one for each of Machine::people(), in their order
    // Without an account. Only services that know guests give it: SMB and AppleTalk outside a
    // domain, anonymous FTP for shares on internal volumes outside a domain.
    Right guest = Right::none;

    bool open_to_all() const;          // all four lists are "all"
    bool administrators_only() const;  // all four lists are empty
};
// Those of shareinfo, then those of usbshareinfo.
std::vector<IntendedShare> intended_shares(const Machine& machine);

// A text for one line: its newlines and, where they would reach a terminal, all control characters
// and those that turn the direction of what follows are octal escapes.
std::string printable(const std::string& text, FILE* out);

// Valid UTF-8 in which each control character, and each one that turns the direction of what
// follows, becomes U+FFFD.
std::string without_controls(const std::string& text);

// Takes one letter of UTF-8 from the front of a text. `no_letter`: it has none there, and stays.
// Code points that Unicode has not are letters, too.
constexpr unsigned no_letter = ~0U;
unsigned take_letter(std::string_view* text);
bool is_unicode(unsigned letter);

// Valid UTF-8: each byte that is none becomes U+FFFD.
std::string as_utf8(const std::string& text);

// An absolute path without its empty parts and its "." and ".." parts.
std::string plain_path(const std::string& path);

// People in words: "alice, bob", "everyone", "alice, bob, carol and 12 others".
std::string in_words(const Machine& machine, const std::vector<size_t>& people);

}  // namespace tavrogen::access
