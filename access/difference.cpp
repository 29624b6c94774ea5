// Who gains and who loses what between two states of an appliance.
#include "access/report.h"

#include <algorithm>

namespace tavrogen::access {

namespace {

// What can be had: a folder, or an iSCSI target, by a service.
struct Key {
    std::string folder, name;  // a name that stands for several folders is told with the folder
    Service service;
    auto operator<=>(const Key& other) const {
        return std::tie(folder, service) <=> std::tie(other.folder, other.service);
    }
};
using Cells = std::map<Key, std::vector<const Cell*>>;

Cells cells_of(const Report& report) {
    Cells cells;
    for (const Row& row : report.rows)
        for (const Cell& cell : row.cells)
            for (const Giver& giver : cell.givers) {
                const bool is_disk = giver.service == Service::iscsi;
                cells[{is_disk ? row.name : row.folder, row.name, giver.service}].push_back(&cell);
            }
    return cells;
}

// Who has what; of several shares of one folder, the most.
std::map<std::string_view, Right> holdings(const Report& report, const Cells& cells,
                                           const Key& key) {
    std::map<std::string_view, Right> held;
    const auto at = cells.find(key);
    for (size_t number = 0; at != cells.end() && number < at->second.size(); ++number) {
        const Cell& cell = *at->second[number];
        const auto hold = [&](std::string_view who, Right right) {
            held[who] = std::max(held[who], right);
        };
        for (size_t person = 0; person < cell.people.size(); ++person)
            hold(report.people[person].name, cell.people[person]);
        hold(cell.clients.empty() ? "without an account" : std::string_view(cell.clients),
             cell.guest);
    }
    return held;
}

struct Change {
    Key key;
    Right before, after;
    bool operator<(const Change& other) const {
        return std::tie(key.name, key, before, after) <
               std::tie(other.key.name, other.key, other.before, other.after);
    }
};
using Changes = std::map<Change, std::vector<std::string>>;

std::string who_in_words(const std::vector<std::string>& names, const Report& report) {
    std::set<std::string> others(names.begin(), names.end());
    const size_t count = others.size();
    for (const Person& person : report.people)
        others.erase(person.name);
    const bool all = report.people.size() > 1 && count - others.size() == report.people.size();
    std::string words = all ? "everyone" : "";
    for (const std::string& name : names)
        if (!all || others.contains(name))
            append(&words, name);
    return words;
}

void print(const char* title, const Changes& changes,
           const std::map<std::string, std::set<std::string>>& folders, const Report& report,
           FILE* out) {
    static constexpr const char* rights[] = {"nothing", "read", "upload", "read and write"};
    if (!changes.empty())
        fprintf(out, "%s\n", title);
    for (const auto& [change, names] : changes) {
        const Key& key = change.key;
        std::string what = key.name.empty() ? key.folder : key.name;
        if (const auto at = folders.find(key.name); at != folders.end() && at->second.size() > 1)
            what += " (" + key.folder + ')';
        fprintf(out, "%s: %s over %s: %s -> %s\n",
                printable(who_in_words(names, report), out).c_str(), printable(what, out).c_str(),
                name_of(key.service), rights[static_cast<int>(change.before)],
                rights[static_cast<int>(change.after)]);
    }
}

}  // namespace

int print_difference(const Report& before, const Report& after, FILE* out) {
    std::map<std::string, std::set<std::string>> folders;  // by name
    for (const Report* report : {&before, &after})
        for (const Row& row : report->rows)
            if (!row.name.empty())
                folders[row.name].insert(row.folder);
    const Cells old_cells = cells_of(before), new_cells = cells_of(after);
    Cells all = old_cells;
    all.insert(new_cells.begin(), new_cells.end());
    Changes gained, lost;
    for (const auto& [key, cells] : all) {
        auto was = holdings(before, old_cells, key), is = holdings(after, new_cells, key);
        for (const auto& [who, right] : was)
            is.insert({who, Right::none});
        for (const auto& [who, right] : is) {
            const int old_bits = static_cast<int>(was[who]), bits = static_cast<int>(right);
            if ((bits & ~old_bits) != 0)
                gained[{key, was[who], right}].emplace_back(who);
            if ((old_bits & ~bits) != 0)
                lost[{key, was[who], right}].emplace_back(who);
        }
    }
    print("More access:", gained, folders, after, out);
    print("Less access:", lost, folders, after, out);
    return static_cast<int>(gained.size() + lost.size());
}

}  // namespace tavrogen::access
