// smb.conf as the program has written it: which settings each share of the file comes from, and what
// has become of its lines in Samba's eyes.
#pragma once

#include "access/machine/settings.h"
#include "access/services/smb_conf.h"

namespace tavrogen::access::smb {

// A share that the program has written: one of a share list, or one of its own.
struct Written {
    IntendedShare share;
    std::string name;    // that clients are meant to see
    std::string folder;  // without "." and ".." parts; empty: a link elsewhere
    int line;            // of its header in smb.conf

    bool is_own() const { return share.file != share_file && share.file != usb_share_file; }
};

struct WrittenConf {
    explicit WrittenConf(const Machine& machine);

    // The share whose lines stand at a line; NULL before the first one.
    const Written* at(int line) const;

    std::vector<IntendedShare> meant;
    std::vector<std::string> lines;
    Server server;  // what Samba makes of it
    std::vector<Written> shares;

  private:
    int line_of(const std::string& header, const std::string& comment, int after = 0) const;
    void add_listed(const Machine& machine, bool usb, int* line);
    void add_own(const Machine& machine, const char* comment, const char* file, const char* key,
                 Right guest, const std::string& folder);
};

// The section that a share's lines have come to; NULL when Samba takes its header for none.
const Section* section_of(const Server& server, const Written& share);

}  // namespace tavrogen::access::smb
