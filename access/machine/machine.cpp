// An appliance's files, found inside its root, and the people that they name.
#include "access/machine/machine.h"

#include "access/machine/meaning.h"
#include "access/machine/reading.h"
#include "access/machine/text.h"

#include <algorithm>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tavrogen::access {

const char* name_of(Service service) {
    static constexpr const char* names[] = {"SMB",   "FTP",    "AppleTalk", "NFS",
                                            "iSCSI", "syslog", "settings"};
    return names[static_cast<int>(service)];
}

std::vector<Span> spans_of(const std::string& file, const std::vector<std::string>& texts) {
    const std::vector<std::string> lines = lines_of(file);
    std::vector<Span> spans;
    size_t next = 0;
    for (const std::string& text : texts) {
        size_t at = next;
        while (at < lines.size() && !lines[at].starts_with(text))
            ++at;
        if (at == lines.size()) {
            spans.push_back({});
            continue;
        }
        next = at + 1;
        while (next < lines.size() && !lines[next].starts_with("/mnt/"))
            ++next;
        spans.push_back({static_cast<int>(at) + 1, static_cast<int>(next) + 1});
    }
    return spans;
}

// Cut where a C text ends.
static std::string as_text(const std::string& bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

Setting setting(const Machine& machine, const std::string& path, const std::string& key) {
    int number = 0;
    for (const std::string& line : lines_of(machine.file(path).value_or(""))) {
        ++number;
        if (line.starts_with(key) && line[key.size()] == '=')
            return {as_text(line.substr(key.size() + 1)), number};
    }
    return {};
}

namespace {

// The parts of a line between its colons (passwd(5), group(5)).
std::vector<std::string> parts_of(const std::string& line) {
    std::vector<std::string> parts(1);
    for (const char byte : line)
        if (byte == ':')
            parts.emplace_back();
        else
            parts.back() += byte;
    return parts;
}

struct Group {
    std::string name;
    std::string number;
    std::vector<std::string> members;
};

std::vector<Group> groups_of(const Machine& machine) {
    std::vector<Group> groups;
    for (const std::string& line : lines_of(machine.file("/etc/group").value_or(""))) {
        const auto parts = parts_of(line);
        if (parts.size() >= 4)
            groups.push_back({parts[0], parts[2], names_in(parts[3])});
    }
    return groups;
}

// A list may hold anything; this is what an account may be called.
bool is_account_name(const std::string& name) {
    return name != "all" && !name.starts_with('+') && !name.starts_with('-') &&
           name.find_first_of("@\"'!%#&*/;:<>?[]|\\`\r") == std::string::npos;
}

// The names in the users' lists of both share files.
std::vector<std::string> listed_users(const Machine& machine) {
    std::vector<std::string> users;
    for (const char* path : {share_file, usb_share_file})
        for (const std::string& line : lines_of(machine.file(path).value_or(""))) {
            const auto fields = fields_of(line);
            for (const size_t list : {size_t{3} + rw_users, size_t{3} + ro_users})
                if (list < fields.size())
                    for (const std::string& name : names_in(fields[list]))
                        if (is_account_name(name))
                            users.push_back(name);
        }
    return users;
}

// Accounts of the system itself, as its own services run under, are no people.
bool is_system_account(const std::vector<std::string>& parts) {
    const int number = atoi(parts[2].c_str());
    const std::string shell = parts.size() > 6 ? parts[6] : "";
    return number < 100 || number == 65534 ||
           (number < 1000 && (shell.ends_with("/nologin") || shell.ends_with("/false")));
}

// Collects people by name; each is there once.
class Crowd {
  public:
    Person& add(const std::string& name) {
        Person& person = people_[name];
        person.name = name;
        return person;
    }

    // True for the name of somebody who is there, but for the case of its letters.
    bool has_in_other_letters(const std::string& name) const {
        return std::any_of(people_.begin(), people_.end(), [&](const auto& other) {
            return other.first != name && strcasecmp(other.first.c_str(), name.c_str()) == 0;
        });
    }

    std::vector<Person> sorted() const {
        std::vector<Person> list;
        for (const auto& [name, person] : people_)
            list.push_back(person);
        return list;
    }

  private:
    std::map<std::string, Person> people_;
};

std::vector<Person> find_people(const Machine& machine) {
    Crowd crowd;
    const auto groups = groups_of(machine);
    const auto passwd = machine.file("/etc/passwd");
    const std::string domain = setting(machine, "/etc/korvel/info", "domain").value;
    for (const std::string& line : lines_of(passwd.value_or(""))) {
        const auto parts = parts_of(line);
        if (parts.size() < 4 || is_system_account(parts))
            continue;
        Person& person = crowd.add(parts[0]);
        for (const Group& group : groups)
            if (group.number == parts[3] && person.primary_group.empty())
                person.primary_group = group.name;
    }
    if (!passwd)
        for (const Group& group : groups)
            for (const std::string& member : group.members)
                crowd.add(member);
    for (const std::string& user : listed_users(machine)) {
        const bool of_domain = user.find('+') != std::string::npos;
        const bool has_account = passwd || crowd.has_in_other_letters(user);
        if (!has_account || (of_domain && (domain == "on" || domain == "ad")))
            crowd.add(user);
    }

    std::vector<Person> people = crowd.sorted();
    for (Person& person : people)
        for (const Group& group : groups)
            if (group.name == person.primary_group ||
                std::count(group.members.begin(), group.members.end(), person.name) > 0)
                person.groups.push_back(group.name);
    return people;
}

bool get_status(const std::string& place, struct stat* status) {
    return stat(place.c_str(), status) == 0;
}

// A path below a root, each link followed inside the root; empty for too many links.
std::string resolve(const std::string& root, const std::string& path) {
    std::string done;  // without links, below the root
    std::string to_do = path;
    int links = 0;
    for (size_t at = 0; at < to_do.size();) {
        const size_t end = std::min(to_do.find('/', at), to_do.size());
        const std::string part = to_do.substr(at, end - at);
        at = end + 1;
        if (part.empty() || part == ".")
            continue;
        if (part == "..") {
            done.resize(done.empty() ? 0 : done.rfind('/'));
            continue;
        }
        const std::string next = std::string(done).append("/").append(part);
        char target[PATH_MAX];
        const ssize_t length = readlink((root + next).c_str(), target, sizeof target);
        if (length <= 0) {  // no link
            done = next;
            continue;
        }
        if (++links > 40)  // as the kernel counts
            return "";     // which is nowhere
        if (*target == '/')
            done.clear();
        to_do = std::string(target, static_cast<size_t>(length)) + '/' +
                to_do.substr(std::min(at, to_do.size()));
        at = 0;
    }
    return done.empty() ? "/" : done;
}

}  // namespace

void Machine::add_domain_groups() {
    const std::string domain = setting(*this, "/etc/korvel/info", "domain").value;
    if (domain != "on" && domain != "ad")
        return;
    std::set<std::string> known = {"", "all"};
    for (const Group& group : groups_of(*this))
        known.insert(group.name);
    for (const char* path : {share_file, usb_share_file})
        for (const std::string& line : lines_of(file(path).value_or("")))
            for (const size_t list : {size_t{3} + rw_groups, size_t{3} + ro_groups})
                if (const auto fields = fields_of(line); list < fields.size())
                    for (std::string name : names_in(fields[list])) {
                        name.erase(0, name.starts_with('@'));
                        if (known.insert(name).second)
                            people_.push_back({"group " + name, {name}, "", true});
                    }
}

Machine::Machine(const std::string& root) : root_(root) {
    while (root_.ends_with('/'))
        root_.pop_back();
    people_ = find_people(*this);
}

std::string Machine::resolved(const std::string& path) const {
    return resolve(root_, path);
}

// The same path, where it is moved; else the one above it that is.
std::string Machine::own_path(const std::string& path) const {
    if (moved_.empty() && gone_.empty())
        return path;
    for (size_t end = path.size(); end != std::string::npos && end > 0;
         end = path.rfind('/', end - 1)) {
        const std::string above = path.substr(0, end);
        if (const auto at = moved_.find(above); at != moved_.end())
            return at->second + path.substr(end);
        if (gone_.contains(above))
            return "";
    }
    return path;
}

void Machine::move(const std::string& from, const std::string& to) {
    if (from == to)
        return;
    const std::string own = own_path(from);
    moved_.erase(from);
    gone_.insert(from);
    if (!to.empty() && !own.empty())
        moved_[to] = own;
}

Machine Machine::with(const std::map<std::string, std::string>& texts) const {
    Machine machine = *this;
    for (const auto& [path, text] : texts)
        machine.written_[path] = text;
    machine.people_ = find_people(machine);
    return machine;
}

std::string Machine::place(const std::string& path) const {
    const std::string own = own_path(path);
    const std::string below = own.empty() ? "" : resolved(own);
    return below.empty() ? "" : root_ + below;
}

const std::string* Machine::in_memory(const std::string& path) const {
    const auto at = written_.find(path);
    return at == written_.end() ? nullptr : &at->second;
}

int Machine::open_file(const std::string& path) const {
    const std::string where = place(path);
    errno = ELOOP;
    const int file =
        where.empty() ? -1 : open(where.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW);
    struct stat status = {};
    if (file == -1 || (fstat(file, &status) == 0 && S_ISREG(status.st_mode)))
        return file;
    close(file);
    errno = S_ISDIR(status.st_mode) ? EISDIR : not_regular;
    return -1;
}

std::optional<std::string> Machine::file(const std::string& path) const {
    if (const std::string* text = in_memory(path))
        return *text;
    const int file = open_file(path);
    if (file == -1)
        return {};
    std::string bytes;
    ssize_t got = 1;
    while (got > 0) {
        char piece[65536];
        got = read(file, piece, sizeof piece);
        if (got > 0)
            bytes.append(piece, static_cast<size_t>(got));
    }
    const int why = errno;
    close(file);
    errno = why;
    if (got < 0)
        return {};
    return bytes;
}

const char* Machine::reason(int error) {
    return error == not_regular ? "not a regular file" : strerror(error);
}

bool Machine::is_there(const std::string& path) const {
    struct stat status = {};
    return get_status(place(path), &status);
}

bool Machine::is_directory(const std::string& path) const {
    struct stat status = {};
    return get_status(place(path), &status) && S_ISDIR(status.st_mode);
}

std::vector<std::string> Machine::folders_in(const std::string& path) const {
    std::vector<std::string> names;
    DIR* folder = opendir(place(path).c_str());
    if (folder == nullptr)
        return names;
    while (const dirent* entry = readdir(folder)) {
        const std::string name = entry->d_name;
        if (name != "." && name != ".." && is_directory(std::string(path).append("/").append(name)))
            names.push_back(name);
    }
    closedir(folder);
    for (const auto& [shown, own] : moved_)
        if (shown.substr(0, shown.rfind('/')) == path && is_directory(shown))
            names.push_back(shown.substr(path.size() + 1));
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace tavrogen::access
