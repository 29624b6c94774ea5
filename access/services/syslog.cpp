// Reads /etc/syslog.conf back as rsyslogd does. Rules without a source of their own are from
// rsyslog.conf(5); those on forwarding from the documentation of the module omfwd.
#include "access/machine/reading.h"
#include "access/machine/text.h"
#include "access/services/judge.h"
#include "include/sys_info.h"

#include <algorithm>
#include <arpa/inet.h>
#include <stdlib.h>

namespace tavrogen::access {

namespace {

constexpr char digits[] = "0123456789";

struct Line {
    std::string text;
    int number;
};

// The lines that are neither empty nor comments; a backslash at the end takes the next line with
// it, blanks at the end do not count.
std::vector<Line> config_lines(const std::string& text) {
    std::vector<Line> lines;
    bool joined = false;
    int number = 0;
    for (const std::string& raw : lines_of(text)) {
        ++number;
        if (!joined)
            lines.push_back({"", number});
        std::string& line = lines.back().text;
        line += raw;
        line.resize(line.find_last_not_of(blanks) + 1);
        joined = line.ends_with('\\');
        if (joined)
            line.pop_back();
    }
    std::erase_if(lines,
                  [](const Line& line) { return line.text.empty() || line.text.starts_with('#'); });
    return lines;
}

// An action that begins with "@": "@@" for TCP, options in brackets, a host up to ';', ':' or '#'
// (an IPv6 address in square brackets), a port, and a template after ';'. False when the logger
// drops the action.
bool read_forwarding(const std::string& action, LogTarget* target) {
    if (action.size() < 2)
        return false;
    size_t at = 1;
    target->tcp = action[at] == '@';
    at += target->tcp;
    if (action[at] == '(')
        at = std::min(action.find(')', at), action.size() - 1) + 1;
    if (action[at] == '[') {
        const size_t end = std::min(action.find(']', ++at), action.size());
        target->host = action.substr(at, end - at);
        at = std::min(end + 1, action.size());
        // What follows up to the port belongs to the host when a blank comes first.
        if (action[at] == ' ' || action[at] == '\t')
            target->host += action.substr(at);
    } else {
        const size_t end = std::min(action.find_first_of(";:#", at), action.size());
        target->host = action.substr(at, end - at);
        at = end;
    }
    if (action[at] == ':') {
        const size_t end = std::min(action.find_first_not_of(digits, at + 1), action.size());
        target->port = action.substr(at + 1, end - at - 1);
        at = end;
    }
    const size_t semicolon = action.find_first_of(";#", at);
    if (semicolon == std::string::npos || action[semicolon] == '#')
        return true;
    const size_t name = action.find_first_not_of(blanks, semicolon + 1);
    return name == std::string::npos || action.compare(name, 8, "RSYSLOG_") == 0;
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

constexpr char conf_file[] = "/etc/syslog.conf";

}  // namespace

LogReading read_syslog_conf(const Machine& machine) {
    LogReading reading;
    const auto text = machine.file(conf_file);
    reading.present = text.has_value();
    for (const Line& line : config_lines(text.value_or(""))) {
        const size_t selector = std::min(line.text.find_first_of(" \t"), line.text.size());
        const size_t at = line.text.find_first_not_of(" \t", selector);
        const std::string action = at == std::string::npos ? "" : line.text.substr(at);
        LogTarget target;
        target.selector = line.text.substr(0, selector);
        target.line = line.number;
        if (action.starts_with('/') || action.starts_with("-/")) {
            target.file = action.substr(action.find('/'));
        } else if (action.starts_with('@') && !read_forwarding(action, &target)) {
            reading.remarks.push_back({line.number, false, "the logger drops the line"});
            continue;
        }
        reading.targets.push_back(target);
    }
    return reading;
}

Differences judge_syslog(const Machine& machine) {
    const auto text = machine.file(conf_file);
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
    LogTarget read;
    const auto lines = config_lines("x\t@" + value + "\nx\t/next");
    if (lines.empty() || !read_forwarding(lines[0].text.substr(2), &read))
        return {"the logger cannot read the log host " + shown, "write one host, and a port"};
    if (read.tcp)
        return {shown + " begins with @, which asks for TCP",
                "take the @ out for UDP, as the other log lines have it"};
    if (!is_host(read.host))
        return {shown + " is no host", "write one host without blanks"};
    if (!is_port(read.port))
        return {shown + " has no port after the colon", "write a number from 1 to 65535"};
    return {};
}

}  // namespace tavrogen::access
