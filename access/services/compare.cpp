// Sets what a service gives against what is meant, and says it in words.
#include "access/machine/model.h"

#include <map>

namespace tavrogen::access {

std::string in_words(const Machine& machine, const std::vector<size_t>& people) {
    constexpr size_t shown = 6;
    const auto& all = machine.people();
    if (people.size() == all.size() && people.size() > 1)
        return "everyone";
    std::string words;
    for (size_t number = 0; number < people.size(); ++number) {
        if (number == shown && people.size() > shown + 1)
            return words + " and " + std::to_string(people.size() - shown) + " others";
        words += (number > 0 ? ", " : "") + all[people[number]].name;
    }
    return words;
}

std::optional<Finding> compare(const Machine& machine, const IntendedShare& share, Service service,
                               const std::vector<Right>& people, Right guest) {
    static constexpr const char* verbs[4][4] = {
        // given: nothing, read, upload, write
        {nullptr, "may read", "may write", "may write"},                      // meant: nothing
        {"may not read", nullptr, "may write", "may write"},                  // meant: read
        {},                                                                   // nobody means it
        {"may not read or write", "may not write", "may not read", nullptr},  // meant: write
    };
    std::map<std::string, std::vector<size_t>> more, less;
    for (size_t person = 0; person < people.size(); ++person) {
        const Right meant = share.services.contains(service) ? share.people[person] : Right::none;
        const Right given = people[person];
        if (given == meant)
            continue;
        auto& side = given > meant ? more : less;
        side[verbs[static_cast<int>(meant)][static_cast<int>(given)]].push_back(person);
    }
    const Right guest_meant = share.services.contains(service) ? share.guest : Right::none;
    std::string who;
    const auto say = [&](const std::string& subject, const std::string& verb) {
        who += (who.empty() ? "" : ", ") + subject + ' ' + verb;
    };
    if (guest > guest_meant)
        say("anyone without an account", guest == Right::write ? "may write" : "may read");
    for (const auto* side : {&more, &less})
        for (const auto& [verb, persons] : *side)
            say(in_words(machine, persons), verb);
    if (who.empty())
        return {};
    Finding finding;
    finding.effect = guest > guest_meant || !more.empty() ? Effect::exposes : Effect::breaks;
    finding.file = share.file;
    finding.line = share.line;
    finding.services = {service};
    finding.who = share.name + ": " + who;
    return finding;
}

}  // namespace tavrogen::access
