// Makes the report from what the readers found.
#include "access/report.h"

#include <algorithm>

namespace tavrogen::access {

namespace {

// What is asked about: each share, and each folder of the volumes, which are those that exist and
// those that shares name.
std::vector<std::string> folders_of(const Machine& machine,
                                    const std::vector<IntendedShare>& shares) {
    std::set<std::string> volumes, folders = {"/mnt"};
    for (const std::string& name : machine.folders_in("/mnt"))
        volumes.insert("/mnt/" + name);
    for (const IntendedShare& share : shares) {
        volumes.insert("/mnt/" + share.volume);
        folders.insert(share.folder);
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
        const auto shares = intended_shares(machine);
        for (const IntendedShare& share : shares) {
            numbers_[share.folder].push_back(report_.rows.size());
            Row& row = report_.rows.emplace_back();
            row.name = share.name;
            row.folder = share.folder;
            row.is_share = true;
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
                return std::make_tuple(!row.is_share, is_target, row.is_share ? "" : row.folder);
            };
            return place(left) < place(right);
        });
        for (Row& row : rows)
            mark(&row);
        return report_;
    }

  private:
    // Two shares of one folder have a row each; a service's share goes to that of its name.
    Row& row_of(const std::string& folder, const std::string& name) {
        Row* best = nullptr;
        for (const size_t number : numbers_[folder]) {
            Row& row = report_.rows[number];
            if (best == nullptr || row.name == name || row.name + '$' == name)
                best = &row;
        }
        if (best != nullptr)
            return *best;
        numbers_[folder].push_back(report_.rows.size());
        Row& row = report_.rows.emplace_back();
        row.folder = folder;
        return row;
    }

    void note(const std::string& file, const std::vector<Remark>& remarks) {
        for (const Remark& remark : remarks)
            report_.notes.push_back({file, remark.line, remark.text});
    }

    // Adds a cell, or the service to an equal cell.
    static void add_cell(Row* row, const Cell& cell) {
        for (Cell& other : row->cells)
            if (other.people == cell.people && other.guest == cell.guest &&
                other.clients == cell.clients) {
                other.givers.push_back(cell.givers[0]);
                return;
            }
        row->cells.push_back(cell);
    }

    void add(const char* file, Service service, const Reading& reading) {
        note(file, reading.remarks);
        if (!reading.present)
            return;
        if (!reading.starts)
            report_.notes.push_back(
                {file, 0, std::string(name_of(service)) + " does not start with this file"});
        for (const Grant& grant : reading.grants) {
            Row& row = row_of(grant.folder, grant.share);
            Cell cell;
            cell.givers = {{service, ""}};
            cell.guest = grant.guest;
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
            add_cell(&row, cell);
        }
        for (Row& row : report_.rows) {
            const bool serves =
                std::any_of(row.cells.begin(), row.cells.end(), [&](const Cell& cell) {
                    return std::any_of(
                        cell.givers.begin(), cell.givers.end(),
                        [&](const Giver& giver) { return giver.service == service; });
                });
            if (!serves && row.is_share && knows_people(service))
                row.not_serving.push_back({service, ""});
        }
    }

    void add_targets(const TargetReading& reading) {
        note("/etc/ietd.conf", reading.remarks);
        for (const Target& target : reading.targets) {
            Row& row = report_.rows.emplace_back();
            row.name = target.name;
            row.folder = target.path;
            Cell cell;
            cell.givers = {{Service::iscsi, ""}};
            cell.guest = Right::write;
            for (const std::string& address : target.allowed)
                cell.clients += (cell.clients.empty() ? "" : ", ") +
                                (address == "ALL" ? "everywhere" : address);
            if (target.allowed.empty())
                cell.clients = "nowhere";
            if (!target.incoming_user.empty())
                cell.clients += ", as " + target.incoming_user;
            row.cells.push_back(cell);
        }
    }

    // Marks the cells that differ from the first one that gives something.
    static void mark(Row* row) {
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
            cell.differs = knows_people(cell.givers[0].service) || !for_all;
        }
    }

    Report report_;
    std::vector<size_t> asked_;                           // Machine::people() by number
    std::map<std::string, std::vector<size_t>> numbers_;  // of rows, by folder
};

}  // namespace

bool gives_something(const Cell& cell) {
    return cell.guest != Right::none ||
           std::any_of(cell.people.begin(), cell.people.end(),
                       [](Right right) { return right != Right::none; });
}

Report make_report(const Machine& machine, const std::vector<std::string>& users) {
    return Maker(machine, users).finish();
}

std::vector<std::string> people_with(const Report& report, const Cell& cell, Right right) {
    std::vector<std::string> names;
    for (size_t person = 0; person < cell.people.size(); ++person)
        if (cell.people[person] == right)
            names.push_back(report.people[person].name);
    return names;
}

std::string clients_in_words(const Cell& cell) {
    const bool known = cell.clients != "everywhere" && !cell.clients.starts_with("everywhere,");
    return (known ? "" : "from ") + cell.clients + (cell.guest == Right::write ? " rw" : " r") +
           (cell.givers[0].service == Service::nfs ? ", whoever the user" : "");
}

std::string in_words(const std::vector<Giver>& givers) {
    std::string words;
    for (const Giver& giver : givers) {
        words += (words.empty() ? "" : ", ") + std::string(name_of(giver.service));
        if (!giver.share.empty())
            words += " [" + giver.share + ']';
    }
    return words;
}

}  // namespace tavrogen::access
