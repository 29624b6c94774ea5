// Sets what a service gives against what is meant, and says it in words.
#include "access/machine/text.h"
#include "access/services/judge.h"

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
        append(&words, all[people[number]].name);
    }
    return words;
}

bool leads_elsewhere(const IntendedShare& share) {
    const std::string path = share.folder + '/';
    return path.find("/./") != std::string::npos || path.find("/../") != std::string::npos ||
           (!share.usb && share.name.find_first_not_of('/') == std::string::npos);
}

std::optional<Difference> compare(const Machine& machine, const IntendedShare& share,
                                  Service service, const std::vector<Right>& people, Right guest) {
    static constexpr const char* more_verbs[] = {nullptr, "may read", "may write", "may write"};
    static constexpr const char* less_verbs[] = {nullptr, "may not read", "may not write",
                                                 "may not read or write"};
    const bool served = share.services.contains(service);
    std::map<std::string, std::vector<size_t>> more, less;
    for (size_t person = 0; person < people.size(); ++person) {
        const int meant = served ? static_cast<int>(share.people[person]) : 0;
        const int given = static_cast<int>(people[person]);
        if (const char* verb = more_verbs[given & ~meant])
            more[verb].push_back(person);
        if (const char* verb = less_verbs[meant & ~given])
            less[verb].push_back(person);
    }
    std::string what;
    const int guest_more = static_cast<int>(guest) & ~(served ? static_cast<int>(share.guest) : 0);
    if (guest_more != 0)
        what = std::string("anyone without an account ") + more_verbs[guest_more];
    for (const auto* side : {&more, &less})
        for (const auto& [verb, persons] : *side)
            append(&what, in_words(machine, persons) + ' ' + verb);
    if (what.empty())
        return {};
    return Difference{
        service,    guest_more != 0 || !more.empty() ? Effect::exposes : Effect::breaks,
        share.file, share.line,
        share.name, what};
}

Differences judge(Service service, const Machine& machine) {
    static constexpr Differences (*judges[])(const Machine&) = {
        judge_smb, judge_ftp, judge_atalk, judge_nfs, judge_iscsi, judge_syslog, judge_settings};
    return judges[static_cast<size_t>(service)](machine);
}

}  // namespace tavrogen::access
