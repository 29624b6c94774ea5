// Finds what no service can heed: names that stand for nobody, and shares without a volume.
#include "access/machine/text.h"
#include "access/services/judge.h"

#include <algorithm>

namespace tavrogen::access {

Differences judge_settings(const Machine& machine) {
    const Accounts accounts(machine);
    Differences found;
    for (const IntendedShare& share : intended_shares(machine)) {
        std::vector<std::string> lost;
        for (size_t list = 0; list < share.lists.size() && !share.services.empty(); ++list)
            for (const std::string& name : names_in(share.lists[list]))
                if (accounts.lacks(name, list) || (name == "all" && !share.open_to_all()))
                    lost.push_back(quoted(name));
        if (!lost.empty())
            found.push_back({Service::settings,
                             Effect::breaks,
                             share.file,
                             share.line,
                             share.name,
                             listed(lost) + (lost.size() > 1 ? " get" : " gets") + " nothing",
                             {"there is no such account or group", "name one that there is"}});
    }
    for (const char* file : {share_file, usb_share_file}) {
        int number = 0;
        for (const std::string& line : lines_of(machine.file(file).value_or(""))) {
            auto fields = fields_of(line);
            fields.resize(10);
            const bool served = fields[7] + fields[8] + fields[9] != "000" && !fields[9].empty();
            ++number;
            if (served && fields[1].empty())
                found.push_back({Service::settings, Effect::breaks, file, number,
                                 fields[0].empty() ? "line " + std::to_string(number) : fields[0],
                                 "no service can serve it"});
        }
    }
    return found;
}

}  // namespace tavrogen::access
