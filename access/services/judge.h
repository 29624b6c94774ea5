// What a service makes of its files, set against what the settings mean. The judges know no causes.
#pragma once

#include "access/machine/settings.h"

namespace tavrogen::access {

enum class Effect : unsigned char { exposes, stops, breaks, looks };  // worst first

struct Cause {
    std::string text;
    std::string cure;
};

struct Difference {
    Service service;
    Effect effect;
    std::string file;  // the settings file and line of the record that is hit; empty: of none
    int line = 0;
    std::string subject;  // who or what is hit: a share's name, a folder
    std::string what;     // what happens to it: "bob may not read"
    Cause rule = {};      // what the judge knows of it by a rule
};

using Differences = std::vector<Difference>;

// One judge for each service. The machine is as after the service's run.
Differences judge_smb(const Machine& machine);
Differences judge_ftp(const Machine& machine);
Differences judge_atalk(const Machine& machine);
Differences judge_nfs(const Machine& machine);
Differences judge_iscsi(const Machine& machine);
Differences judge_syslog(const Machine& machine);
// What no service can heed.
Differences judge_settings(const Machine& machine);

Differences judge(Service service, const Machine& machine);

// True when the name or the volume have "." or ".." parts, or name the volume itself: the folder
// is another one's.
bool leads_elsewhere(const IntendedShare& share);

// Compares what a service gives of a share with what is meant: exposes when somebody gets more,
// else breaks. Guests who get less than meant are no difference: not every service knows them.
std::optional<Difference> compare(const Machine& machine, const IntendedShare& share,
                                  Service service, const std::vector<Right>& people, Right guest);

// True for a network as the exports need it.
bool is_network(const std::string& address, const std::string& mask);

// Why nothing comes to a log host, or comes otherwise; empty when all is well.
Cause odd_log_host(const std::string& value);

}  // namespace tavrogen::access
