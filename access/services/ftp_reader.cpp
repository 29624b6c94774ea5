// Reads /etc/proftpd/proftpd.conf back as the FTP server does.
#include "access/services/ftp.h"

namespace tavrogen::access {

Reading read_proftpd_conf(const Machine& machine, const std::vector<std::string>& folders) {
    Reading reading;
    const auto text = machine.file("/etc/proftpd/proftpd.conf");
    if (!text)
        return reading;
    const ftp::Server server(*text, machine);
    reading.present = true;
    reading.starts = server.errors().empty();
    reading.remarks = reading.starts ? server.doubts() : server.errors();
    if (!reading.starts)
        return reading;
    std::set<std::string> asked(folders.begin(), folders.end());
    for (const std::string& path : server.paths())
        if (path.find_first_of("*?[\\%") == std::string::npos && machine.is_directory(path))
            asked.insert(path);
    for (const std::string& folder : asked) {
        if (!server.has(folder))
            continue;
        Grant grant;
        grant.service = Service::ftp;
        grant.folder = folder;
        grant.people = server.give(folder);
        grant.guest = server.give_without_account(folder);
        reading.grants.push_back(grant);
    }
    return reading;
}

}  // namespace tavrogen::access
