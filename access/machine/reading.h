// What the readers of the services' files find there.
#pragma once

#include "access/machine/machine.h"

namespace tavrogen::access {

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

}  // namespace tavrogen::access
