// Compares what the FTP server gives with what the settings mean.
#include "access/machine/text.h"
#include "access/services/ftp.h"
#include "access/services/judge.h"
#include "include/share_info.h"

#include <algorithm>

namespace tavrogen::access {

namespace {

constexpr char conf_file[] = "/etc/proftpd/proftpd.conf";

// A record that a <Directory> of the file is made from.
struct Origin {
    std::string file;
    int line;
    std::string name;
    std::string opening;  // "<Directory PATH>", as it is written
};

class Judge {
  public:
    Judge(const Machine& machine, const std::string& text)
        : machine_(machine), server_(text, machine), shares_(intended_shares(machine)) {
        for (const IntendedShare& share : shares_)
            share_folders_.insert(plain_path(share.folder));
        if (!server_.errors().empty())
            find_origins(text);
    }

    Differences differences() {
        for (const Remark& error : server_.errors())
            add_stop(error);
        if (!server_.errors().empty())
            return differences_;
        for (const IntendedShare& share : shares_)
            if (!share.usb || share.line <= 2)
                check(share);
        check_folders();
        check_switch();
        return differences_;
    }

  private:
    // --- The server does not start.

    // Finds where the records are written: first without, then within the <Anonymous> section.
    void find_origins(const std::string& text) {
        std::vector<Origin> origins;
        const auto opening = [](const std::string& path) { return "<Directory " + path + '>'; };
        const Setting root = setting(machine_, msdfs_file, "msdfs_root_path");
        if (root.value.starts_with("/mnt"))
            origins.push_back({msdfs_file, root.line, "the DFS root", opening(root.value)});
        for (const char* file : {usb_share_file, share_file}) {
            const bool usb = file == usb_share_file;
            int number = 0;
            for (const std::string& line : lines_of(machine_.file(file).value_or(""))) {
                if (++number > 2 && usb)
                    break;                             // the file has two USB disks
                auto fields = fields_of(line + '\n');  // a short line's last field takes it
                fields.resize(2);
                const std::string name = fields[0].substr(0, sizeof SHARE_INFO::name - 1);
                const std::string shown = name.substr(0, name.find('\n'));
                origins.push_back(
                    {file, number, shown.empty() ? "line " + std::to_string(number) : shown,
                     opening("/mnt/" + fields[1].substr(0, sizeof SHARE_INFO::volume - 1) +
                             (usb ? "" : '/' + name))});
            }
        }
        size_t at = 0, counted = 0;
        int line = 1;
        for (const char* part : {"", "<Anonymous "}) {
            at = std::min(text.find(part, at), text.size());
            for (const Origin& origin : origins) {
                const size_t found = text.find(origin.opening + '\n', at);
                if (found == std::string::npos)
                    continue;
                line += static_cast<int>(std::count(text.begin() + static_cast<ptrdiff_t>(counted),
                                                    text.begin() + static_cast<ptrdiff_t>(found),
                                                    '\n'));
                counted = found;
                at = found + 1;
                origins_[line] = origin;
            }
        }
    }

    void add_stop(const Remark& error) {
        Difference stop = {Service::ftp,
                           Effect::stops,
                           "",
                           0,
                           "",
                           "the FTP server does not start for anybody",
                           {"the server refuses line " + std::to_string(error.line) + " of " +
                                conf_file + ": " + error.text,
                            "correct it"}};
        if (const auto after = origins_.upper_bound(error.line); after != origins_.begin()) {
            const Origin& origin = std::prev(after)->second;
            stop.file = origin.file;
            stop.line = origin.line;
            stop.subject = origin.name;
        }
        differences_.push_back(stop);
    }

    // --- A share.

    void check(const IntendedShare& share) {
        const bool served = share.services.contains(Service::ftp);
        const auto& people = machine_.people();
        auto given = server_.give(share.folder);
        const Right guest = server_.give_without_account(share.folder);
        for (size_t person = 0; person < people.size(); ++person)
            if (server_.takes_as_anonymous(
                    people[person].name))  // less is no finding, as for guests
                given[person] = std::max(guest, served ? share.people[person] : Right::none);
        if (const auto found = compare(machine_, share, Service::ftp, given, guest))
            differences_.push_back(*found);
    }

    // --- What is no share.

    // A share, below one or above one. `volume` is the folder above.
    bool belongs_to_share(const std::string& volume, const std::string& folder) const {
        const auto next = share_folders_.lower_bound(folder + '/');
        return share_folders_.contains(volume) || share_folders_.contains(folder) ||
               (next != share_folders_.end() && next->starts_with(folder + '/'));
    }

    // Who may read a folder; empty: nobody.
    std::string readers_of(const std::string& folder) const {
        const auto reads = [](Right right) {
            return right == Right::read || right == Right::write;
        };
        std::vector<size_t> readers;
        const auto all = server_.give(folder);
        for (size_t person = 0; person < all.size(); ++person)
            if (reads(all[person]))
                readers.push_back(person);
        const bool guests = reads(server_.give_without_account(folder));
        if (readers.empty())
            return guests ? "anyone without an account may read" : "";
        return in_words(machine_, readers) + " may read" +
               (guests ? ", also without an account" : "");
    }

    void check_folders() {
        for (const std::string& name : machine_.folders_in("/mnt")) {
            const std::string volume = "/mnt/" + name;
            if (name == "info")
                continue;  // for everybody
            for (const std::string& inner : machine_.folders_in(volume)) {
                const std::string folder = std::string(volume).append("/").append(inner);
                if (belongs_to_share(volume, folder))
                    continue;
                if (const std::string readers = readers_of(folder); !readers.empty())
                    differences_.push_back({Service::ftp,
                                            Effect::exposes,
                                            "",
                                            0,
                                            folder,
                                            readers,
                                            {"the folder is no share, and the server shows it",
                                             "make a share of it, or move it off the volume"}});
            }
        }
    }

    // Anonymous logins where the switch forbids them.
    void check_switch() {
        const Setting anonymous = setting(machine_, info_file, "anonyftp");
        if (anonymous.line == 0 || anonymous.value == "on")
            return;  // every other value means off
        std::vector<std::string> names;
        for (const IntendedShare& share : shares_)
            if (share.guest != Right::none &&
                server_.give_without_account(share.folder) != Right::none)
                names.push_back(share.name);
        if (!names.empty())
            differences_.push_back({Service::ftp, Effect::exposes, info_file, anonymous.line,
                                    listed(names),
                                    "anyone without an account may use it over FTP"});
    }

    const Machine& machine_;
    const ftp::Server server_;
    const std::vector<IntendedShare> shares_;
    std::set<std::string> share_folders_;
    std::map<int, Origin> origins_;  // by the lines where they begin
    Differences differences_;
};

}  // namespace

Differences judge_ftp(const Machine& machine) {
    const auto text = machine.file(conf_file);
    return text ? Judge(machine, *text).differences() : Differences();
}

}  // namespace tavrogen::access
