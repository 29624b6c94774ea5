// Who may do what by which service: the plain data that readers fill, and that the report, the
// difference and the lint are made from.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace access {

enum class Right : unsigned char { none, read, write };  // write includes read

enum class Service : unsigned char { smb, ftp, atalk, nfs, iscsi, syslog };

// One account, and the groups that it is in (the primary one, too).
struct Person {
    std::string name;
    std::vector<std::string> groups;
};

// An appliance under a root directory: its files as they stand, with what a run would write laid
// over them where that is asked for.
class Machine {
  public:
    explicit Machine(std::string root);  // "/" or the folder of an appliance root

    // The bytes of a file by its path on the appliance; links are followed inside the root.
    // Nothing when it cannot be read.
    std::optional<std::string> file(const std::string& path) const;
    bool is_directory(const std::string& path) const;
    std::vector<std::string> folders_in(const std::string& path) const;  // names, sorted

    // As after `tavrogen -c` for all services: the program's own writers run, and their files
    // stand in memory. Nothing is written.
    Machine after_run() const;

    // From /etc/passwd and /etc/group; without passwd from the group file and the share lists.
    const std::vector<Person>& people() const;

  private:
    std::string root_;
    std::map<std::string, std::string> written_;  // path, bytes: what a run would write
    std::vector<Person> people_;
};

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

// What a reader saw in the file of a service that is worth a finding.
struct Remark {
    int line;              // of the service's file, from 1; 0: the file as a whole
    bool stops;            // the service does not start, or not with this share
    std::string text;      // what the service does with it, in plain words
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

// One share as the settings mean it (not as any service reads it).
struct IntendedShare {
    std::string name;
    std::string folder;  // absolute path
    std::string file;    // the settings file and line that say so
    int line = 0;
    bool usb = false;
    bool read_only = false;
    std::set<Service> services;  // that are to serve it
    std::vector<Right> people;   // one for each of Machine::people()
    Right guest = Right::none;
};
std::vector<IntendedShare> intended_shares(const Machine& machine);

// A setting that a service misreads.
enum class Effect : unsigned char { exposes, stops, breaks, looks };  // worst first
struct Finding {
    Effect effect;
    std::string file;  // the file to edit
    int line = 0;      // 0: the file as a whole
    std::set<Service> services;
    std::string who;    // who or what is hit
    std::string cause;
    std::string cure;
};

// Each service's comparison of what is meant with what is read back; `settings` is the machine as
// after the run. Findings of one cause in several services are joined afterwards.
std::vector<Finding> check_smb(const Machine& settings);
std::vector<Finding> check_ftp(const Machine& settings);
std::vector<Finding> check_atalk(const Machine& settings);
std::vector<Finding> check_nfs(const Machine& settings);
std::vector<Finding> check_iscsi(const Machine& settings);
std::vector<Finding> check_syslog(const Machine& settings);

}  // namespace access
