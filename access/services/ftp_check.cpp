// Compares what the FTP server gives with what the settings mean.
#include "access/services/ftp.h"

#include <algorithm>
#include <strings.h>

namespace tavrogen::access {

namespace {

constexpr char info_file[] = "/etc/korvel/info";
constexpr char msdfs_file[] = "/etc/korvel/msdfs";
constexpr char conf_file[] = "/etc/proftpd/proftpd.conf";
constexpr size_t longest_line = 4096;

// A setting that a <Directory> of the file is made from.
struct Origin {
    std::string file;
    int line;
    std::string name;
    std::string opening;          // "<Directory PATH>", as it is written
    const IntendedShare* share;   // NULL: of the DFS root, or of a line that is no share
    std::vector<int> lines = {};  // where it is written, in the order of the file
};

// The names in words, but not too many of them.
std::string listed(const std::vector<std::string>& names) {
    constexpr size_t shown = 20;
    std::string words;
    for (size_t number = 0; number < names.size() && number < shown; ++number)
        words += (number > 0 ? ", " : "") + names[number];
    return names.size() > shown ? words + " and " + std::to_string(names.size() - shown) + " others"
                                : words;
}

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

// Finds the places of all origins in the file, in the order in which the program writes them.
class Places {
  public:
    Places(const Machine& machine, const std::string& text,
           const std::vector<IntendedShare>& shares)
        : text_(text) {
        const Setting root = setting(machine, msdfs_file, "msdfs_root_path");
        if (root.value.starts_with("/mnt"))
            origins_.push_back(
                {msdfs_file, root.line, "the DFS root", opening(root.value), nullptr});
        add_shares(machine, usb_share_file, shares);
        add_shares(machine, share_file, shares);
        size_t at = find_all(0);
        at = text_.find("<Anonymous ", at);
        if (at != std::string::npos)
            find_all(at);
    }

    // The setting that the line of the file is made from; NULL for the program's own lines at the
    // beginning of the file.
    const Origin* origin_of(int line) const {
        const Origin* found = nullptr;
        int nearest = 0;
        for (const Origin& origin : origins_)
            for (const int start : origin.lines)
                if (start <= line && start > nearest) {
                    found = &origin;
                    nearest = start;
                }
        return found;
    }

    const Origin* origin_of(const IntendedShare& share) const {
        for (const Origin& origin : origins_)
            if (origin.file == share.file && origin.line == share.line)
                return &origin;
        return nullptr;
    }

    // Another setting that is written with the same path.
    const Origin* twin_of(const Origin& origin) const {
        for (const Origin& other : origins_)
            if (&other != &origin && other.opening == origin.opening)
                return &other;
        return nullptr;
    }

  private:
    static std::string opening(const std::string& path) { return "<Directory " + path + '>'; }

    void add_shares(const Machine& machine, const char* file,
                    const std::vector<IntendedShare>& shares) {
        const bool usb = file == usb_share_file;
        const std::string list = machine.file(file).value_or("");
        int number = 0;
        for (const std::string& line : lines_of(list)) {
            if (++number > 2 && usb)
                return;  // the file has two USB disks
            // Of a short line, a field takes the newline.
            auto fields = fields_of(line + '\n');
            fields.resize(2);
            const std::string name = fields[0].substr(0, 59);
            const std::string folder = fields[1].substr(0, 15) + (usb ? "" : '/' + name);
            std::string shown = name.substr(0, name.find('\n'));
            if (shown.empty())
                shown = "line " + std::to_string(number);
            Origin origin = {file, number, shown, opening("/mnt/" + folder), nullptr};
            for (const IntendedShare& share : shares)
                if (share.file == file && share.line == number)
                    origin.share = &share;
            origins_.push_back(origin);
        }
    }

    size_t find_all(size_t from) {
        size_t counted = 0;
        int line = 1;
        for (Origin& origin : origins_) {
            const size_t at = text_.find(origin.opening + '\n', from);
            if (at == std::string::npos)
                continue;
            from = at + 1;
            for (; counted < at; ++counted)
                line += text_[counted] == '\n';
            origin.lines.push_back(line);
        }
        return from;
    }

    const std::string& text_;
    std::vector<Origin> origins_;
};

// The name of a share, and its volume.
Cause odd_path(const IntendedShare& share) {
    Cause cause = odd_name(share);
    if (!cause.text.empty() || share.usb)
        return cause;
    IntendedShare volume = share;
    volume.usb = true;
    return odd_name(volume);
}

class Checker {
  public:
    Checker(const Machine& machine, const std::string& text)
        : machine_(machine), text_(text), server_(text), shares_(intended_shares(machine)),
          places_(machine, text_, shares_) {
        for (const IntendedShare& share : shares_)
            share_folders_.insert(plain_path(share.folder));
    }

    std::vector<Finding> check() {
        for (const Remark& error : server_.errors())
            refused(error);
        if (!server_.errors().empty())
            return findings_;
        for (const IntendedShare& share : shares_)
            if (!share.usb || share.line <= 2)
                check_share(share);
        check_folders();
        check_switch();
        return findings_;
    }

  private:
    void add(Effect effect, const std::string& file, int line, const std::string& who,
             const Cause& cause) {
        findings_.push_back({effect, file, line, {Service::ftp}, who, cause.text, cause.cure});
    }

    // --- The server does not start.

    bool has_long_line(int first) const {
        int number = 0;
        for (const std::string& line : lines_of(text_)) {
            if (++number > first && line.starts_with("</Directory>"))
                return false;
            if (number > first && line.size() > longest_line)
                return true;
        }
        return false;
    }

    Cause cause_of(const Remark& error, const Origin& origin) const {
        const bool path = std::count(origin.lines.begin(), origin.lines.end(), error.line) > 0 ||
                          error.text.find("two <Directory>") != std::string::npos;
        if (origin.opening.find('\n') != std::string::npos)
            return {"the line is blank or short", "take it out or complete it"};
        if (const Origin* twin = path ? places_.twin_of(origin) : nullptr)
            return {"its folder is also that of " + twin->name + ", " + twin->file + ':' +
                        std::to_string(twin->line),
                    "give each a folder of its own"};
        if (!path && has_long_line(origin.lines[0]))
            return {"its users and groups make a line of over 4096 bytes",
                    "let it name smaller groups"};
        Cause odd;
        if (origin.share != nullptr)
            odd = path ? odd_path(*origin.share) : odd_lists(machine_, *origin.share);
        const std::string refusal = std::string("the server refuses line ") +
                                    std::to_string(error.line) + " of " + conf_file + ": " +
                                    error.text;
        if (odd.text.empty() && error.text.find("two <Directory>") != std::string::npos)
            return {"the appliance has rules of its own for that folder, and " + refusal,
                    "rename it"};
        if (odd.text.empty())
            return {refusal, "correct it"};
        return {odd.text + ", and " + refusal, odd.cure};
    }

    void refused(const Remark& error) {
        const Origin* origin = places_.origin_of(error.line);
        const std::string who = "the FTP server does not start for anybody";
        if (origin == nullptr) {
            add(Effect::stops, conf_file, error.line, who, {error.text, "correct it"});
            return;
        }
        for (const Finding& finding : findings_)
            if (finding.file == origin->file && finding.line == origin->line)
                return;
        add(Effect::stops, origin->file, origin->line, origin->name + ": " + who,
            cause_of(error, *origin));
    }

    // --- A share.

    // Rights are compared by what is meant: to write without reading is more for who may not
    // write, less for who may.
    static Right right_of(const ftp::Given& given, Right meant) {
        if (given.write)
            return given.read || meant != Right::write ? Right::write : Right::none;
        return given.read ? Right::read : Right::none;
    }

    void check_share(const IntendedShare& share) {
        const bool served = share.services.contains(Service::ftp);
        const auto& people = machine_.people();
        const auto all = server_.give(machine_, share.folder);
        const ftp::Given anonymous = server_.give_without_account(machine_, share.folder);
        const Right guest = right_of(anonymous, served ? share.guest : Right::none);
        std::vector<Right> rights;
        std::vector<size_t> others;  // for whom it is not as it is meant
        for (size_t person = 0; person < people.size(); ++person) {
            const Right meant = served ? share.people[person] : Right::none;
            rights.push_back(right_of(all[person], meant));
            if (server_.takes_as_anonymous(people[person].name))
                rights.back() = std::max(guest, meant);  // less is no finding, as for guests
            else if (rights.back() != meant)
                others.push_back(person);
        }
        auto finding = compare(machine_, share, Service::ftp, rights, guest);
        if (!finding)
            return;
        explain(&*finding, share, others, others.empty() ? anonymous : all[others[0]],
                others.empty() || !served ? Right::none : share.people[others[0]]);
        findings_.push_back(*finding);
    }

    // The setting that a section is made from; NULL for one of the program's own.
    const Origin* origin_of(const ftp::Section* section) const {
        const Origin* origin = section != nullptr ? places_.origin_of(section->line) : nullptr;
        const bool made_of_it = origin != nullptr && std::count(origin->lines.begin(),
                                                                origin->lines.end(), section->line);
        return made_of_it ? origin : nullptr;
    }

    // Says why somebody for whom something else is `meant` is given what he is given.
    void explain(Finding* finding, const IntendedShare& share, const std::vector<size_t>& others,
                 const ftp::Given& given, Right meant) const {
        const Origin* own = places_.origin_of(share);
        const ftp::Section* decides =
            given.read != (meant != Right::none) ? given.read_by : given.write_by;
        const Origin* origin = origin_of(given.section);
        if (origin == own && origin_of(decides) != nullptr)
            origin = origin_of(decides);  // one around the share's own
        Cause cause;
        // The first one is for people with accounts, the last one for all others.
        if (own == nullptr || own->lines.empty() ||
            !server_.covers(others.empty() ? own->lines.back() : own->lines.front(),
                            share.folder)) {
            cause = odd_path(share);
        } else if (origin == own) {
            cause = odd_rules(share, others);
        } else if (origin != nullptr) {
            finding->file = origin->file;
            finding->line = origin->line;
            cause = {"its own path stands also for the folders of other shares", "rename it"};
        }
        if (cause.text.empty())
            cause = {
                "the server reads " + std::string(conf_file) + " otherwise" +
                    (decides != nullptr ? ", see its line " + std::to_string(decides->line) : ""),
                "change the share until they agree"};
        finding->cause = cause.text;
        finding->cure = cause.cure;
    }

    // Why the server lets other people in by the share's own rules.
    Cause odd_rules(const IntendedShare& share, const std::vector<size_t>& others) const {
        const std::string domain = setting(machine_, info_file, "domain").value;
        const auto write_groups = names_in(share.lists[rw_groups]);
        const auto read_groups = names_in(share.lists[ro_groups]);
        if ((domain == "on" || domain == "ad") && write_groups.size() + read_groups.size() > 1)
            return {"in a domain, the server lets in only members of all the groups of a line",
                    "let it name one group, or name the users"};
        if (Cause odd = odd_lists(machine_, share); !odd.text.empty())
            return odd;
        for (const std::string& list : share.lists)
            for (const char* word : {"regex", "and", "or"})
                if (strcasecmp(list.substr(0, list.find(',')).c_str(), word) == 0)
                    return {quoted(word) + " is a word of the server's own at a list's beginning",
                            "let the list begin with another name"};
        for (const size_t person : others) {
            const Person& who = machine_.people()[person];
            if (!who.primary_group.empty())
                for (const auto* groups : {&write_groups, &read_groups})
                    if (std::count(groups->begin(), groups->end(), who.primary_group) > 0)
                        return {who.primary_group + " is the primary group of " + who.name +
                                    ", but does not list this member",
                                "add him to the group in /etc/group"};
        }
        const std::string folder = "/mnt/" + share.volume;
        if (setting(machine_, "/etc/korvel/diskinfo", share.volume).value == "off")
            return {"the volume " + share.volume + " is off, and the server hides " + folder,
                    "move the share to another volume"};
        return {};
    }

    // --- What is no share.

    bool is_readable(const std::string& folder) const {
        const auto all = server_.give(machine_, folder);
        return server_.give_without_account(machine_, folder).read ||
               std::any_of(all.begin(), all.end(),
                           [](const ftp::Given& given) { return given.read; });
    }

    // A share, below one or above one. `volume` is the folder above.
    bool belongs_to_share(const std::string& volume, const std::string& folder) const {
        const auto next = share_folders_.lower_bound(folder + '/');
        return share_folders_.contains(volume) || share_folders_.contains(folder) ||
               (next != share_folders_.end() && next->starts_with(folder + '/'));
    }

    void check_folders() {
        for (const std::string& name : machine_.folders_in("/mnt")) {
            const std::string volume = "/mnt/" + name;
            if (name == "info")
                continue;  // for everybody
            std::vector<std::string> folders;
            for (const std::string& inner : machine_.folders_in(volume)) {
                std::string folder = volume;
                folder += '/' + inner;
                if (!belongs_to_share(volume, folder) && is_readable(folder))
                    folders.push_back(folder);
            }
            if (!folders.empty())
                add(Effect::exposes, share_file, 0,
                    listed(folders) + ": everyone may read" +
                        (server_.has_anonymous() ? ", also without an account" : ""),
                    {folders.size() == 1 ? "the folder is no share, and the server shows it"
                                         : "the folders are no shares, and the server shows them",
                     "make a share of each, or move it off the volume"});
        }
    }

    void check_switch() {
        const Setting anonymous = setting(machine_, info_file, "anonyftp");
        if (anonymous.line == 0 || anonymous.value == "on")
            return;  // every other value means off
        std::vector<std::string> names;
        for (const IntendedShare& share : shares_)
            if (const auto given = server_.give_without_account(machine_, share.folder);
                given.read || given.write)
                names.push_back(share.name);
        if (!names.empty())
            add(Effect::exposes, info_file, anonymous.line,
                listed(names) + ": anyone without an account may use it over FTP",
                {"the switch anonyftp turns anonymous logins off nowhere",
                 "name users or groups for the shares"});
    }

    const Machine& machine_;
    const std::string& text_;
    const ftp::Server server_;
    const std::vector<IntendedShare> shares_;
    const Places places_;
    std::set<std::string> share_folders_;
    std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> check_ftp(const Machine& settings) {
    const auto text = settings.file(conf_file);
    return text ? Checker(settings, *text).check() : std::vector<Finding>();
}

}  // namespace tavrogen::access
