// Reads /etc/ietd.conf, /etc/initiators.allow and /etc/initiators.deny back as the iSCSI Enterprise
// Target does: ietd.conf(5), and the notes in its samples of the initiators' files.
#include "access/machine/model.h"

#include <algorithm>
#include <arpa/inet.h>
#include <netdb.h>
#include <string.h>
#include <strings.h>

namespace tavrogen::access {

namespace {

constexpr char target_file[] = "/etc/ietd.conf";
constexpr char white[] = " \t\r\n\v\f";

// The words of a line, at white space; nothing quotes or escapes it.
std::vector<std::string> words_of(const std::string& line) {
    std::vector<std::string> words;
    for (size_t at = line.find_first_not_of(white); at < line.size();) {
        const size_t end = std::min(line.find_first_of(white, at), line.size());
        words.push_back(line.substr(at, end - at));
        at = line.find_first_not_of(white, end);
    }
    return words;
}

bool is_word(const std::string& word, const char* keyword) {
    return strcasecmp(word.c_str(), keyword) == 0;
}

// A numeric address as getaddrinfo(3) takes it; what follows a blank does not count.
bool is_address(const std::string& text) {
    const std::string address = text.substr(0, text.find_first_of(white));
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
        const size_t first = std::min(list.find_first_not_of(white, at), comma);
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
        initiators.push_back(item.substr(0, item.find_first_of(white)));
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

// --- The check.

// A value as it stands in a settings file, and as the program cuts it.
struct Value {
    Setting set;
    std::string kept;
};

// One disk of a settings file.
struct Disk {
    std::string file;
    Value target, path, initiators, authtype;
    Value incoming_user, incoming_password, outgoing_user, outgoing_password;
    bool unrestricted;
};

Value value_of(const Machine& machine, const std::string& file, const std::string& key,
               size_t room) {
    const Setting set = setting(machine, file, key);
    return {set, set.value.substr(0, room)};
}

constexpr size_t name_room = 255, path_room = 63, password_room = 31, type_room = 15;

Disk read_accounts(const Machine& machine, const std::string& file, const std::string& prefix) {
    Disk disk = {};
    disk.file = file;
    disk.authtype = value_of(machine, file, prefix + "authtype", type_room);
    disk.incoming_user = value_of(machine, file, prefix + "IncomingUser_name", name_room);
    disk.incoming_password =
        value_of(machine, file, prefix + "IncomingUser_password", password_room);
    disk.outgoing_user = value_of(machine, file, prefix + "OutgoingUser_name", name_room);
    disk.outgoing_password =
        value_of(machine, file, prefix + "OutgoingUser_password", password_room);
    return disk;
}

std::vector<Disk> read_disks(const Machine& machine) {
    std::vector<Disk> disks;
    for (int number = 1; number <= 10; ++number) {
        const std::string file = "/etc/korvel/iscsi_disks" + std::to_string(number);
        for (int device = 0; device < 20; ++device) {
            const std::string prefix = "iscsi_device" + std::to_string(device) + '_';
            const Value target = value_of(machine, file, prefix + "target", name_room);
            if (target.set.line == 0 && device == 0)
                break;
            Disk disk = read_accounts(machine, file, prefix);
            disk.target = target;
            disk.path = value_of(machine, file, prefix + "path_lun0", path_room);
            disk.initiators = value_of(machine, file, prefix + "initiators.allow", name_room);
            disk.unrestricted = disk.initiators.kept.empty() ||
                                setting(machine, file, "iscsi_device0_ip_restrict").value == "off";
            if (!disk.target.kept.empty() && !disk.path.kept.empty())
                disks.push_back(disk);
        }
    }
    return disks;
}

class IscsiCheck {
  public:
    explicit IscsiCheck(const Machine& machine)
        : machine_(machine), reading_(read_ietd_conf(machine)),
          lines_(lines_of(machine.file(target_file).value_or(""))) {}

    std::vector<Finding> run() {
        if (!reading_.present)
            return {};
        check_accounts(read_accounts(machine_, "/etc/korvel/iscsi_info", "iscsi_"),
                       reading_.discovery, "the search for targets");
        for (const Disk& disk : read_disks(machine_)) {
            const std::string name = find_written(disk);
            if (name.empty())
                continue;  // not exported
            const auto read = std::find_if(
                reading_.targets.begin(), reading_.targets.end(),
                [&](const Target& target) { return target.line == static_cast<int>(next_); });
            if (read != reading_.targets.end())
                check_target(disk, name, *read);
            else
                add(Effect::breaks, disk.file, disk.target.set.line, of(disk) + "it is not served",
                    {"the name is also that of another target", "rename one of them"});
        }
        return findings_;
    }

  private:
    // The whole name of a disk's target as it is written, the next in the file; next_ is then the
    // number of its line.
    std::string find_written(const Disk& disk) {
        for (size_t at = next_; at < lines_.size(); ++at)
            if (lines_[at].starts_with("Target  ") &&
                lines_[at].ends_with(':' + disk.target.kept)) {
                next_ = at + 1;
                return lines_[at].substr(strlen("Target  "));
            }
        return "";
    }

    static std::string of(const Disk& disk) { return "target " + disk.target.set.value + ": "; }

    void check_target(const Disk& disk, const std::string& name, const Target& read) {
        const bool opened = !disk.unrestricted && has_all(read.allowed) &&
                            !has_all(read_initiators(disk.initiators.kept));
        if (read.name != name) {
            add(opened ? Effect::exposes : Effect::breaks, disk.file, disk.target.set.line,
                of(disk) + (opened ? "every initiator may use it, " : "") + "it is called " +
                    read.name,
                {"the name \"" + disk.target.set.value + "\" has a blank",
                 "rename it without blanks"});
        } else {
            check_initiators(disk, read);
        }
        if (read.path != disk.path.kept)
            add(Effect::breaks, disk.file, disk.path.set.line, of(disk) + "its disk is not served",
                {"the path \"" + disk.path.set.value + "\" has a comma", "rename the disk"});
        check_accounts(disk, read, "target " + disk.target.set.value);
    }

    void check_initiators(const Disk& disk, const Target& read) {
        if (disk.unrestricted)
            return;
        const std::vector<std::string> meant = names_in(disk.initiators.set.value);
        if (has_all(meant) && has_all(read.allowed))
            return;
        std::string lost;
        for (const std::string& initiator : meant)
            if (std::count(read.allowed.begin(), read.allowed.end(), initiator) == 0)
                lost += (lost.empty() ? "" : ", ") + initiator;
        if (meant.empty())
            lost = "any initiator";
        const auto more = std::find_if(
            read.allowed.begin(), read.allowed.end(), [&](const std::string& initiator) {
                return std::count(meant.begin(), meant.end(), initiator) == 0 &&
                       std::none_of(meant.begin(), meant.end(), [&](const std::string& other) {
                           return other.starts_with(initiator);
                       });
            });
        if (lost.empty() && more == read.allowed.end())
            return;
        add(more == read.allowed.end() ? Effect::breaks : Effect::exposes, disk.file,
            disk.initiators.set.line,
            of(disk) + (lost.empty() ? *more + " may use it" : lost + " may not use it"),
            {"the list \"" + disk.initiators.set.value + "\" holds more than addresses",
             "list addresses with commas between them"});
    }

    void check_accounts(const Disk& disk, const Target& read, const std::string& where) {
        const std::string& type = disk.authtype.kept;
        if (type != "simplex" && type != "duplex")
            return;
        check_account(where, disk.file, disk.incoming_user, disk.incoming_password,
                      read.incoming_user, read.incoming_password, true);
        if (type == "duplex")
            check_account(where, disk.file, disk.outgoing_user, disk.outgoing_password,
                          read.outgoing_user, read.outgoing_password, false);
    }

    void check_account(const std::string& where, const std::string& file, const Value& user,
                       const Value& password, const std::string& read_user,
                       const std::string& read_password, bool incoming) {
        if (read_user == user.set.value && read_password == password.set.value)
            return;
        const bool user_is_odd = user.kept.empty() || read_user != user.set.value;
        const Value& odd = user_is_odd && !(read_user.empty() && !password.kept.empty() &&
                                            user.kept.find_first_of(white) == std::string::npos)
                               ? user
                               : password;
        std::string who = where + ": ";
        Effect effect = Effect::breaks;
        if (read_user.empty() && incoming) {
            effect = Effect::exposes;
            who += "anyone may log in without a password";
        } else if (incoming && user.kept.find_first_of(white) != std::string::npos) {
            effect = Effect::exposes;
            who += "\"" + read_user + "\" may log in with the password \"" + read_password + '"';
        } else {
            who += incoming ? "the right password is refused" : "the target cannot show who it is";
        }
        const std::string what = &odd == &user ? "the CHAP user" : "the CHAP password";
        Cause cause = {what + " has a blank", "take one without blanks"};
        if (odd.set.value.empty())
            cause = {what + " is empty", "set one, or the type of authentication to no"};
        else if (odd.set.value != odd.kept)
            cause = {what + " is cut after " + std::to_string(odd.kept.size()) + " bytes",
                     "take a shorter one"};
        add(effect, file, odd.set.line, who, cause);
    }

    void add(Effect effect, const std::string& file, int line, const std::string& who,
             const Cause& cause) {
        findings_.push_back({effect, file, line, {Service::iscsi}, who, cause.text, cause.cure});
    }

    const Machine& machine_;
    const TargetReading reading_;
    const std::vector<std::string> lines_;
    size_t next_ = 0;
    std::vector<Finding> findings_;
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

std::vector<Finding> check_iscsi(const Machine& settings) {
    return IscsiCheck(settings).run();
}

}  // namespace tavrogen::access
