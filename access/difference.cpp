// Who gains and who loses what between two states of an appliance.
#include "access/report.h"

#include <algorithm>

namespace tavrogen::access {

namespace {

const char* in_words(Right right) {
    static constexpr const char* words[] = {"nothing", "read", "upload", "read and write"};
    return words[static_cast<int>(right)];
}

// What can be had: a share's or folder's name, the service, and for whom.
using Key = std::pair<std::string, Service>;
using Holder = std::pair<Key, std::string>;

constexpr char guests[] = "without an account";

std::map<Holder, Right> holdings_of(const Report& report) {
    std::map<Holder, Right> holdings;
    for (const Row& row : report.rows)
        for (const Cell& cell : row.cells)
            for (const Giver& giver : cell.givers) {
                const Key key = {row.name.empty() ? row.folder : row.name, giver.service};
                const auto hold = [&](const std::string& who, Right right) {
                    Right& held = holdings[{key, who}];
                    held = std::max(held, right);
                };
                for (size_t person = 0; person < cell.people.size(); ++person)
                    hold(report.people[person].name, cell.people[person]);
                hold(cell.clients.empty() ? guests : cell.clients, cell.guest);
            }
    return holdings;
}

struct Change {
    Key key;
    Right before, after;
    auto operator<=>(const Change&) const = default;
};

std::string in_words(const std::vector<std::string>& names, const std::vector<Person>& people) {
    std::vector<std::string> others;
    for (const std::string& name : names)
        if (std::none_of(people.begin(), people.end(),
                         [&](const Person& person) { return person.name == name; }))
            others.push_back(name);
    const bool all = people.size() > 1 && names.size() - others.size() == people.size();
    std::string words = all ? "everyone" : "";
    for (const std::string& name : all ? others : names)
        words += (words.empty() ? "" : ", ") + name;
    return words;
}

void print(const char* title, const std::map<Change, std::vector<std::string>>& changes,
           const std::vector<Person>& people, FILE* out) {
    if (!changes.empty())
        fprintf(out, "%s\n", title);
    for (const auto& [change, names] : changes)
        fprintf(out, "%s: %s over %s: %s -> %s\n", printable(in_words(names, people), out).c_str(),
                printable(change.key.first, out).c_str(), name_of(change.key.second),
                in_words(change.before), in_words(change.after));
}

}  // namespace

int print_difference(const Report& before, const Report& after, FILE* out) {
    auto all = holdings_of(before);
    const auto held = all;
    const auto holds = holdings_of(after);
    all.insert(holds.begin(), holds.end());
    std::map<Change, std::vector<std::string>> gained, lost;
    for (const auto& [holder, right] : all) {
        const auto first = held.find(holder);
        const auto second = holds.find(holder);
        const Right was = first == held.end() ? Right::none : first->second;
        const Right is = second == holds.end() ? Right::none : second->second;
        if (was != is)
            (is > was ? gained : lost)[{holder.first, was, is}].push_back(holder.second);
    }
    print("More access:", gained, after.people, out);
    print("Less access:", lost, after.people, out);
    return static_cast<int>(gained.size() + lost.size());
}

}  // namespace tavrogen::access
