// Reads /etc/ietd.conf, /etc/initiators.allow and /etc/initiators.deny back as the iSCSI Enterprise
// Target does: ietd.conf(5), and the notes in its samples of the initiators' files.
#include "access/machine/reading.h"
#include "access/machine/text.h"
#include "access/services/judge.h"
#include "include/iscsi_info.h"

#include <algorithm>
#include <arpa/inet.h>
#include <netdb.h>
#include <string.h>
#include <strings.h>

namespace tavrogen::access {

namespace {

constexpr char target_file[] = "/etc/ietd.conf";

bool is_word(const std::string& word, const char* keyword) {
    return strcasecmp(word.c_str(), keyword) == 0;
}

// A numeric address as getaddrinfo(3) takes it; what follows a blank does not count.
bool is_address(const std::string& text) {
    const std::string address = text.substr(0, text.find_first_of(blanks));
    in_addr v4 = {};
    in6_addr v6 = {};
    return inet_aton(address.c_str(), &v4) == 1 || inet_pton(AF_INET6, address.c_str(), &v6) == 1;
}

// Addresses with commas between them, IPv6 in brackets, a number of bits after a slash, or "ALL".
// The first that is none ends the list.
std::vector<std::string> read_initiators(const std::string& list) {
    std::vector<std::string> initiators;
    for (size_t at = 0; at < list.size();) {
        const size_t comma = std::min(list.find(',', at), list.size());
        const size_t first = std::min(list.find_first_not_of(blanks, at), comma);
        const std::string item = list.substr(first, comma - first);
        at = comma + 1;
        if (item == "ALL") {
            initiators.push_back(item);
            continue;
        }
        const bool bracketed = item.starts_with('[');
        const std::string address =
            item.substr(bracketed, item.find(bracketed ? ']' : '/') - bracketed);
        if (!is_address(address) || (bracketed && item.find(']') == std::string::npos))
            break;
        initiators.push_back(item.substr(0, item.find_first_of(blanks)));
    }
    return initiators;
}

// What the lines of a file of initiators say of a target. A name ends at the first blank of its
// line.
std::vector<std::string> initiators_of(const std::string& text, const std::string& target) {
    std::vector<std::string> initiators;
    for (const std::string& line : lines_of(text)) {
        const size_t blank = line.find(' ');
        if (blank == std::string::npos || line.starts_with('#'))
            continue;
        const std::string name = line.substr(0, blank);
        if (name != "ALL" && !is_word(name, target.c_str()))
            continue;
        for (const std::string& initiator : read_initiators(line.substr(blank + 1)))
            initiators.push_back(initiator);
    }
    return initiators;
}

bool has_all(const std::vector<std::string>& initiators) {
    return std::count(initiators.begin(), initiators.end(), "ALL") > 0;
}

// An initiator that is not denied is let in, and one that is denied, when it is allowed.
std::vector<std::string> allowed_on(const Machine& machine, const std::string& target) {
    const auto denied = initiators_of(machine.file("/etc/initiators.deny").value_or(""), target);
    if (!has_all(denied))
        return {"ALL"};
    return initiators_of(machine.file("/etc/initiators.allow").value_or(""), target);
}

// An account needs a name and a password.
void read_account(const std::vector<std::string>& words, Target* target) {
    if (words.size() < 3)
        return;
    const bool incoming = is_word(words[0], "IncomingUser");
    (incoming ? target->incoming_user : target->outgoing_user) = words[1];
    (incoming ? target->incoming_password : target->outgoing_password) = words[2];
}

// --- The judge.

// One disk of a settings file, or the search for targets. The values are not cut.
struct Disk {
    std::string file, prefix;
    Setting target, path, initiators;
    bool unrestricted = false;
};

std::vector<Disk> read_disks(const Machine& machine) {
    std::vector<Disk> disks;
    for (int number = 1; number <= 10; ++number) {
        const std::string file = "/etc/korvel/iscsi_disks" + std::to_string(number);
        for (int device = 0; device < 20 && machine.file(file); ++device) {
            Disk disk = {file, "iscsi_device" + std::to_string(device) + '_', {}, {}, {}};
            disk.target = setting(machine, file, disk.prefix + "target");
            if (disk.target.line == 0 && device == 0)
                break;
            disk.path = setting(machine, file, disk.prefix + "path_lun0");
            disk.initiators = setting(machine, file, disk.prefix + "initiators.allow");
            disk.unrestricted = disk.initiators.value.empty() ||
                                setting(machine, file, "iscsi_device0_ip_restrict").value == "off";
            if (!disk.target.value.empty() && !disk.path.value.empty())
                disks.push_back(disk);
        }
    }
    return disks;
}

class Judge {
  public:
    explicit Judge(const Machine& machine)
        : machine_(machine), reading_(read_ietd_conf(machine)),
          lines_(lines_of(machine.file(target_file).value_or(""))) {}

    Differences differences() {
        check_accounts({"/etc/korvel/iscsi_info", "iscsi_", {}, {}, {}}, reading_.discovery,
                       "the search for targets");
        for (const Disk& disk : read_disks(machine_)) {
            const std::string name = find_written(disk);
            if (name.empty())
                continue;  // not exported
            const auto read = std::find_if(
                reading_.targets.begin(), reading_.targets.end(),
                [&](const Target& target) { return target.line == static_cast<int>(next_); });
            const std::string subject = "target " + disk.target.value;
            if (read != reading_.targets.end())
                check_target(disk, name, *read, subject);
            else
                add(Effect::breaks, disk, subject, "it is not served");
        }
        return differences_;
    }

  private:
    // The whole name of a disk's target as it is written, the next in the file; next_ is then the
    // number of its line.
    std::string find_written(const Disk& disk) {
        const std::string end = ':' + disk.target.value.substr(0, sizeof ISCSI_DISKS::target - 1);
        for (size_t at = next_; at < lines_.size(); ++at)
            if (lines_[at].starts_with("Target  ") && lines_[at].ends_with(end)) {
                next_ = at + 1;
                return lines_[at].substr(strlen("Target  "));
            }
        return "";
    }

    void add(Effect effect, const Disk& disk, const std::string& subject, const std::string& what) {
        differences_.push_back(
            {Service::iscsi, effect, disk.file, disk.target.line, subject, what});
    }

    void check_target(const Disk& disk, const std::string& name, const Target& read,
                      const std::string& subject) {
        const bool opened = !disk.unrestricted && has_all(read.allowed) &&
                            !has_all(read_initiators(disk.initiators.value.substr(
                                0, sizeof ISCSI_DISKS::initiators_allow - 1)));
        if (read.name != name)
            add(opened ? Effect::exposes : Effect::breaks, disk, subject,
                std::string(opened ? "every initiator may use it, " : "") + "it is called " +
                    read.name);
        else if (!disk.unrestricted)
            check_initiators(disk, read, subject);
        if (read.path != disk.path.value.substr(0, sizeof ISCSI_DISKS::path_lun0 - 1))
            add(Effect::breaks, disk, subject, "its disk is not served");
        check_accounts(disk, read, subject);
    }

    void check_initiators(const Disk& disk, const Target& read, const std::string& subject) {
        const std::vector<std::string> meant = names_in(disk.initiators.value);
        if (has_all(meant) && has_all(read.allowed))
            return;
        std::vector<std::string> lost;
        for (const std::string& initiator : meant)
            if (std::count(read.allowed.begin(), read.allowed.end(), initiator) == 0)
                lost.push_back(initiator);
        if (meant.empty())
            lost.push_back("any initiator");
        const auto more = std::find_if(
            read.allowed.begin(), read.allowed.end(), [&](const std::string& initiator) {
                return std::none_of(meant.begin(), meant.end(), [&](const std::string& other) {
                    return other.starts_with(initiator);
                });
            });
        const bool exposes = more != read.allowed.end();
        if (exposes || !lost.empty())
            add(exposes ? Effect::exposes : Effect::breaks, disk, subject,
                lost.empty() ? *more + " may use it" : listed(lost) + " may not use it");
    }

    void check_accounts(const Disk& disk, const Target& read, const std::string& subject) {
        const auto value = [&](const char* key) {
            return setting(machine_, disk.file, disk.prefix + key).value;
        };
        const std::string type = value("authtype").substr(0, sizeof ISCSI_DISKS::authtype - 1);
        if (type != "simplex" && type != "duplex")
            return;
        const std::string user = value("IncomingUser_name");
        const bool has_blank = user.find_first_of(blanks) != std::string::npos;
        const bool same =
            read.incoming_user == user && read.incoming_password == value("IncomingUser_password");
        if (!same && read.incoming_user.empty())
            add(Effect::exposes, disk, subject, "anyone may log in without a password");
        else if (!same && has_blank)
            add(Effect::exposes, disk, subject,
                quoted(read.incoming_user) + " may log in with the password " +
                    quoted(read.incoming_password));
        else if (!same)
            add(Effect::breaks, disk, subject, "the right password is refused");
        if (type == "duplex" && (read.outgoing_user != value("OutgoingUser_name") ||
                                 read.outgoing_password != value("OutgoingUser_password")))
            add(Effect::breaks, disk, subject, "the target cannot show who it is");
    }

    const Machine& machine_;
    const TargetReading reading_;
    const std::vector<std::string> lines_;
    size_t next_ = 0;
    Differences differences_;
};

}  // namespace

TargetReading read_ietd_conf(const Machine& machine) {
    TargetReading reading;
    const auto text = machine.file(target_file);
    reading.present = text.has_value();
    Target* current = &reading.discovery;  // accounts before the first target are for discovery
    Target repeated;
    int number = 0;
    for (const std::string& line : lines_of(text.value_or(""))) {
        ++number;
        const std::vector<std::string> words = words_of(line);
        if (words.empty() || words[0].starts_with('#'))
            continue;
        if (is_word(words[0], "Target") && words.size() > 1) {
            const bool known = std::any_of(
                reading.targets.begin(), reading.targets.end(),
                [&](const Target& target) { return is_word(target.name, words[1].c_str()); });
            if (known) {  // a name counts once
                current = &repeated;
                continue;
            }
            Target target;
            target.name = words[1];
            target.allowed = allowed_on(machine, words[1]);
            target.line = number;
            reading.targets.push_back(target);
            current = &reading.targets.back();
        } else if (is_word(words[0], "IncomingUser") || is_word(words[0], "OutgoingUser")) {
            read_account(words, current);
        } else if (is_word(words[0], "Lun")) {
            const size_t path = line.find("Path=");
            if (path != std::string::npos)
                current->path = line.substr(path + 5, line.find(',', path) - path - 5);
        }
    }
    return reading;
}

Differences judge_iscsi(const Machine& machine) {
    return machine.file(target_file) ? Judge(machine).differences() : Differences();
}

}  // namespace tavrogen::access
