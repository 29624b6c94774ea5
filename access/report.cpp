// Makes the report from what the readers found.
#include "access/report.h"

#include <algorithm>
#include <utility>

namespace tavrogen::access {

namespace {

constexpr size_t smallest_team = 5;  // smaller groups are told by their members

// What is asked about: each share, and each folder of the volumes, which are those that exist and
// those that shares name.
std::vector<std::string> folders_of(const Machine& machine,
                                    const std::vector<IntendedShare>& shares) {
    std::set<std::string> volumes, folders = {"/mnt"};
    for (const std::string& name : machine.folders_in("/mnt"))
        volumes.insert("/mnt/" + name);
    for (const IntendedShare& share : shares) {
        volumes.insert(plain_path("/mnt/" + share.volume));
        folders.insert(plain_path(share.folder));
    }
    for (const std::string& volume : volumes) {
        folders.insert(volume);
        for (const std::string& name : machine.folders_in(volume))
            folders.insert(std::string(volume).append("/").append(name));
    }
    return {folders.begin(), folders.end()};
}

bool knows_people(Service service) {
    return service != Service::nfs && service != Service::iscsi;
}

class Maker {
  public:
    Maker(const Machine& machine, const std::vector<std::string>& users) {
        report_.all_people = users.empty();
        const auto& people = machine.people();
        for (size_t person = 0; person < people.size(); ++person)
            if (users.empty() || std::count(users.begin(), users.end(), people[person].name) > 0) {
                report_.people.push_back(people[person]);
                asked_.push_back(person);
            }
        find_teams();
        const auto shares = intended_shares(machine);
        for (const IntendedShare& share : shares) {
            Row& row = new_row(plain_path(share.folder), share.name);
            row.is_share = true;
            shares_.insert(row.folder);
        }
        add("/etc/samba/smb.conf", Service::smb, read_smb_conf(machine));
        add("/etc/proftpd/proftpd.conf", Service::ftp,
            read_proftpd_conf(machine, folders_of(machine, shares)));
        add("/etc/atalk/AppleVolumes.default", Service::atalk, read_apple_volumes(machine));
        add("/etc/exports", Service::nfs, read_exports(machine));
        add_targets(read_ietd_conf(machine));
    }

    Report finish() {
        auto& rows = report_.rows;
        std::erase_if(rows, [](const Row& row) {
            return !row.is_share &&
                   std::none_of(row.cells.begin(), row.cells.end(), gives_something);
        });
        std::stable_sort(rows.begin(), rows.end(), [](const Row& left, const Row& right) {
            const auto place = [](const Row& row) {
                const bool is_target =
                    !row.cells.empty() && row.cells[0].givers[0].service == Service::iscsi;
                const std::string_view folder = row.folder;
                return std::make_tuple(!row.is_share, is_target,
                                       folder.substr(row.is_share ? folder.size() : 0));
            };
            return place(left) < place(right);
        });
        std::stable_partition(report_.notes.begin(), report_.notes.end(),
                              [](const Note& note) { return note.stops; });
        for (Row& row : rows) {
            std::stable_partition(row.cells.begin(), row.cells.end(),
                                  [](const Cell& cell) { return *cell.state == '\0'; });
            mark(&row);
        }
        return std::move(report_);
    }

  private:
    void find_teams() {
        std::map<std::string, std::vector<size_t>> members;
        for (size_t person = 0; report_.all_people && person < report_.people.size(); ++person)
            for (const std::string& group : report_.people[person].groups)
                members[group].push_back(person);
        for (const auto& [name, numbers] : members)
            if (numbers.size() >= smallest_team)
                report_.teams.push_back({name, numbers});
        std::stable_sort(report_.teams.begin(), report_.teams.end(),
                         [](const Team& left, const Team& right) {
                             return left.members.size() > right.members.size();
                         });
    }

    Row& new_row(const std::string& folder, const std::string& name) {
        numbers_[folder].push_back(report_.rows.size());
        Row& row = report_.rows.emplace_back();
        row.folder = folder;
        row.name = name;
        return row;
    }

    // Two shares of one folder have a row each; a service's share goes to that of its name.
    Row& row_of(const std::string& folder, const std::string& name) {
        Row* best = nullptr;
        for (const size_t number : numbers_[folder]) {
            Row& row = report_.rows[number];
            if (best == nullptr || row.name == name || row.name + '$' == name)
                best = &row;
        }
        return best != nullptr ? *best : new_row(folder, "");
    }

    // Returns false when the service has no file.
    bool note(const char* file, Service service, bool present, const std::vector<Remark>& remarks) {
        for (const Remark& remark : remarks)
            report_.notes.push_back({file, remark.line, remark.text, remark.stops, service});
        if (present)
            report_.has_any_file = true;
        else
            report_.missing.push_back({service, file});
        return present;
    }

    // Adds a cell, or the service to an equal cell.
    static void add_cell(Row* row, Cell cell) {
        for (Cell& other : row->cells)
            if (other.people == cell.people && other.guest == cell.guest &&
                other.clients == cell.clients && other.is_rest == cell.is_rest &&
                std::string_view(other.state) == cell.state) {
                other.givers.push_back(cell.givers[0]);
                return;
            }
        row->cells.push_back(std::move(cell));
    }

    bool has_shares_below(const std::string& folder) const {
        const auto next = shares_.lower_bound(folder + '/');
        return next != shares_.end() && next->starts_with(folder + '/');
    }

    void add(const char* file, Service service, const Reading& reading) {
        if (!note(file, service, reading.present, reading.remarks))
            return;
        std::set<const Row*> served;
        report_.rows.reserve(report_.rows.size() +
                             reading.grants.size());  // keeps the rows' places
        for (const Grant& grant : reading.grants) {
            Row& row = row_of(plain_path(grant.folder), grant.share);
            served.insert(&row);
            Cell cell;
            cell.givers = {{service, ""}};
            cell.guest = grant.guest;
            if (cell.guest != Right::none)
                guests_.insert(service);
            if (grant.share != grant.folder && !grant.share.empty() && grant.share != row.name) {
                if (row.name.empty() && !row.is_share)
                    row.name = grant.share;
                else
                    cell.givers[0].share = grant.share;
            }
            if (knows_people(service))
                for (const size_t person : asked_)
                    cell.people.push_back(grant.people[person]);
            else
                cell.clients = grant.clients.empty() ? "everywhere" : grant.clients;
            cell.is_rest =
                service == Service::ftp && gives_something(cell) && has_shares_below(row.folder);
            add_cell(&row, std::move(cell));
        }
        Cell without;
        without.givers = {{service, ""}};
        without.state = reading.starts ? "not served" : "does not start";
        for (Row& row : report_.rows)
            if (row.is_share && knows_people(service) && !served.contains(&row))
                add_cell(&row, without);
    }

    void add_targets(const TargetReading& reading) {
        note("/etc/ietd.conf", Service::iscsi, reading.present, reading.remarks);
        for (const Target& target : reading.targets) {
            Row& row = report_.rows.emplace_back();
            row.name = target.name;
            row.folder = target.path;
            Cell cell;
            cell.givers = {{Service::iscsi, ""}};
            cell.guest = Right::write;
            for (const std::string& address : target.allowed)
                append(&cell.clients, address == "ALL" ? "everywhere" : address);
            if (target.allowed.empty())
                cell.clients = "nowhere";
            if (!target.incoming_user.empty())
                cell.clients += ", as " + target.incoming_user;
            row.cells.push_back(cell);
        }
    }

    // Marks the cells that differ from the first one that gives something.
    void mark(Row* row) const {
        const Cell* first = nullptr;
        for (Cell& cell : row->cells) {
            if (!gives_something(cell))
                continue;
            if (first == nullptr) {
                first = &cell;
                continue;
            }
            // Who may do everything anyway loses nothing by a service that asks for nobody.
            const bool for_all = first->guest >= cell.guest &&
                                 std::all_of(first->people.begin(), first->people.end(),
                                             [&](Right right) { return right >= cell.guest; });
            // A service that knows no guests at all, as FTP in a domain, takes nothing from them.
            const auto knows_guests = [&](const Giver& giver) {
                return guests_.contains(giver.service);
            };
            const bool same =
                first->people == cell.people &&
                (cell.guest == first->guest ||
                 (cell.guest < first->guest &&
                  std::none_of(cell.givers.begin(), cell.givers.end(), knows_guests)));
            cell.differs = knows_people(cell.givers[0].service) ? !same : !for_all;
        }
    }

    Report report_;
    std::vector<size_t> asked_;                           // Machine::people() by number
    std::map<std::string, std::vector<size_t>> numbers_;  // of rows, by folder
    std::set<std::string> shares_;                        // their folders
    std::set<Service> guests_;                            // services that let guests in anywhere
};

constexpr const char* letters[] = {"", " r", " w", " rw"};  // by Right

// Who has a right, each with it: groups for their members where all have it.
std::string holders_in_words(const Report& report, const Cell& cell, Right right) {
    const std::string letter = letters[static_cast<int>(right)];
    std::vector<bool> left(cell.people.size());  // who is still to be told
    std::string names, words, teams, groups;
    size_t count = 0, all = 0;
    for (size_t person = 0; person < left.size(); ++person) {
        left[person] = cell.people[person] == right;
        all += !report.people[person].is_group;
        count += left[person] && !report.people[person].is_group;
    }
    const bool everybody = report.all_people && count > 1 && count == all;
    const auto has_it = [&](size_t person) { return cell.people[person] == right; };
    const auto is_left = [&](size_t person) { return left[person]; };
    for (const auto& [team, members] : report.teams)
        if (!everybody && count >= smallest_team &&
            std::all_of(members.begin(), members.end(), has_it) &&
            std::any_of(members.begin(), members.end(), is_left)) {
            append(&teams, std::string("group ").append(team).append(letter));
            for (const size_t person : members)
                left[person] = false;
        }
    for (size_t person = 0; person < left.size(); ++person) {
        const std::string& name = report.people[person].name;
        if (left[person] && report.people[person].is_group)
            append(&groups, name + letter);
        else if (left[person] && !everybody)
            append(&names, name.find(' ') == std::string::npos ? name : quoted(name), " ");
    }
    if (everybody || !names.empty())
        words = (everybody ? "everyone" : names) + letter;
    for (const std::string& part : {teams, groups})
        if (!part.empty())
            append(&words, part);
    return words;
}

}  // namespace

bool gives_something(const Cell& cell) {
    return cell.guest != Right::none ||
           std::any_of(cell.people.begin(), cell.people.end(),
                       [](Right right) { return right != Right::none; });
}

Report make_report(const Machine& machine, const std::vector<std::string>& users) {
    return Maker(machine, users).finish();
}

std::string in_words(const Report& report, const Cell& cell) {
    if (*cell.state != '\0')
        return cell.state;
    if (!cell.clients.empty()) {
        const bool known = cell.clients != "everywhere" && !cell.clients.starts_with("everywhere,");
        return (known ? "" : "from ") + cell.clients + letters[static_cast<int>(cell.guest)] +
               (cell.givers[0].service == Service::nfs ? ", whoever the user" : "");
    }
    std::string words;
    for (const Right right : {Right::write, Right::upload, Right::read})
        if (const std::string holders = holders_in_words(report, cell, right); !holders.empty())
            append(&words, holders);
    if (cell.guest != Right::none)
        append(&words, std::string("without an account") + letters[static_cast<int>(cell.guest)]);
    if (cell.is_rest)
        append(&words, "shares below excepted");
    return words.empty() ? "nobody" : words;
}

std::string in_words(const std::vector<Giver>& givers) {
    std::string words;
    for (const Giver& giver : givers)
        append(&words,
               name_of(giver.service) + (giver.share.empty() ? "" : " [" + giver.share + ']'));
    return words;
}

std::string in_words(const Note& note) {
    return (note.stops ? std::string(name_of(note.service)) + " does not start: " : "") +
           note.file + (note.line > 0 ? ':' + std::to_string(note.line) : "") + ": " + note.text;
}

std::string missing_in_words(const Report& report) {
    if (!report.has_any_file)
        return "no service has a file here: --planned shows what a run of tavrogen would write";
    std::string words;
    for (const auto& [service, file] : report.missing)
        append(&words, std::string(name_of(service)) + " (no " + file + ')');
    return (words.empty() ? "" : "not shown: ") + words;
}

}  // namespace tavrogen::access
