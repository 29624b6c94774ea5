// Reads the log host of /etc/syslog.conf as rsyslogd does: the documentation of its module omfwd.
#include "access/machine/text.h"
#include "access/services/judge.h"
#include "include/sys_info.h"

#include <algorithm>
#include <arpa/inet.h>
#include <stdlib.h>

namespace tavrogen::access {

namespace {

constexpr char digits[] = "0123456789";

// Where the messages go.
struct LogTarget {
    std::string host;
    std::string port = "514";
    bool tcp = false;
};

// What stands behind the "@" of an action: "@" for TCP, options in brackets, a host up to ';', ':'
// or '#' (an IPv6 address in square brackets), a port, and a template after ';'. Nothing when the
// logger drops the action.
std::optional<LogTarget> read_forwarding(const std::string& action) {
    LogTarget target;
    target.tcp = action.starts_with('@');
    size_t at = target.tcp;
    if (action[at] == '(')
        at = std::min(action.find(')', at), action.size() - 1) + 1;
    if (action[at] == '[') {
        const size_t end = std::min(action.find(']', ++at), action.size());
        target.host = action.substr(at, end - at);
        at = std::min(end + 1, action.size());
        // What follows up to the port belongs to the host when a blank comes first.
        if (action[at] == ' ' || action[at] == '\t')
            target.host += action.substr(at);
    } else {
        const size_t end = std::min(action.find_first_of(";:#", at), action.size());
        target.host = action.substr(at, end - at);
        at = end;
    }
    if (action[at] == ':') {
        const size_t end = std::min(action.find_first_not_of(digits, at + 1), action.size());
        target.port = action.substr(at + 1, end - at - 1);
        at = end;
    }
    const size_t mark = action.find_first_of(";#", at);
    if (mark == std::string::npos || action[mark] == '#')
        return target;
    const size_t name = action.find_first_not_of(blanks, mark + 1);
    if (name == std::string::npos || action.compare(name, 8, "RSYSLOG_") == 0)
        return target;
    return {};
}

bool is_host_byte(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || byte == '-' || byte == '_';
}

// True for an address, and for what may be a host's name: RFC 1123, 2.1.
bool is_host(const std::string& host) {
    in_addr address = {};
    in6_addr address6 = {};
    if (host.find_first_of(blanks) != std::string::npos)
        return false;  // inet_aton(3) would let it pass
    if (inet_aton(host.c_str(), &address) == 1 || inet_pton(AF_INET6, host.c_str(), &address6) == 1)
        return true;
    const std::string name = host.ends_with('.') ? host.substr(0, host.size() - 1) : host;
    bool numeric = true;  // the last label: no top-level domain is a number
    for (size_t at = 0; at <= name.size();) {
        const size_t end = std::min(name.find('.', at), name.size());
        const std::string label = name.substr(at, end - at);
        if (label.empty() || label.starts_with('-') || label.ends_with('-') ||
            !std::all_of(label.begin(), label.end(), is_host_byte))
            return false;
        numeric = label.find_first_not_of(digits) == std::string::npos;
        at = end + 1;
    }
    return !numeric;
}

bool is_port(const std::string& port) {
    const int number = port.size() <= 5 ? atoi(port.c_str()) : 0;
    return number > 0 && number <= 65535;
}

}  // namespace

Differences judge_syslog(const Machine& machine) {
    const auto text = machine.file("/etc/syslog.conf");
    if (!text || text->find("\t@") == std::string::npos)
        return {};
    Differences found;
    if (setting(machine, info_file, "syslog_forward").line == 0)
        found.push_back(
            {Service::syslog, Effect::exposes, info_file, 0, "", "the log host gets messages"});
    const Setting target = setting(machine, info_file, "syslog_forward_target");
    if (!odd_log_host(target.value).text.empty())
        found.push_back({Service::syslog, Effect::breaks, info_file, target.line, "",
                         "no message comes to the log host as a datagram"});
    return found;
}

Cause odd_log_host(const std::string& value) {
    in6_addr address6 = {};
    const std::string shown = quoted(value);
    if (value.find_first_not_of(blanks) == std::string::npos)
        return {"the log host is empty", "name a host, or switch the forwarding off"};
    if (inet_pton(AF_INET6, value.c_str(), &address6) == 1)
        return {shown + " is an IPv6 address without brackets", "write [" + value + "]"};
    if (value.size() > sizeof SYS_INFO::syslog_forward_target - 1)
        return {shown + " is cut after 49 bytes", "name a host with a shorter name"};
    std::string action = value.substr(0, value.find_last_not_of(blanks) + 1);
    if (action.ends_with('\\'))
        action.back() = ' ';  // the next line belongs to it
    const auto read = read_forwarding(action);
    if (!read)
        return {"the logger cannot read the log host " + shown, "write one host, and a port"};
    if (read->tcp)
        return {shown + " begins with @, which asks for TCP",
                "take the @ out for UDP, as the other log lines have it"};
    if (!is_host(read->host))
        return {shown + " is no host", "write one host without blanks"};
    if (!is_port(read->port))
        return {shown + " has no port after the colon", "write a number from 1 to 65535"};
    return {};
}

}  // namespace tavrogen::access
