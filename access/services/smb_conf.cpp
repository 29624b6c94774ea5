// Reads /etc/samba/smb.conf by the rules of smb.conf(5), FILE FORMAT, and where the page is silent
// or wrong (as on blanks in section names and values) by those that Samba 4.17 was seen to keep.
#include "access/services/smb_conf.h"

#include <algorithm>

namespace tavrogen::access::smb {

namespace {

bool is_blank(char byte) {
    return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

struct Line {
    int number;  // where it begins
    std::string text;
};

// The lines of the file, without blank ones and comments. A backslash at the end of a line, blanks
// behind it included, continues the line, but not a comment.
std::vector<Line> split_lines(const std::string& text) {
    std::vector<Line> lines;
    int number = 0;
    bool goes_on = false;
    for (const std::string& part : lines_of(text)) {
        ++number;
        const size_t first = part.find_first_not_of(" \t\v\f\r");
        if (!goes_on) {
            if (first == std::string::npos || part[first] == '#' || part[first] == ';')
                continue;
            lines.push_back({number, ""});
        }
        std::string& line = lines.back().text;
        line += goes_on ? part : part.substr(first);
        const size_t last = line.find_last_not_of(" \t\v\f\r");
        goes_on = last != std::string::npos && line[last] == '\\';
        if (goes_on)
            line.resize(last);
    }
    for (Line& line : lines)
        line.text.resize(std::min(line.text.find('\0'), line.text.size()));
    return lines;
}

// A text with each run of blanks folded to its first one.
std::string folded(const std::string& text) {
    std::string result;
    for (const char byte : text)
        if (!is_blank(byte) || result.empty() || !is_blank(result.back()))
            result += byte;
    return result;
}

// The same without a blank at its ends.
std::string trimmed(const std::string& text) {
    std::string result = folded(text);
    if (!result.empty() && is_blank(result.back()))
        result.pop_back();
    if (!result.empty() && is_blank(result.front()))
        result.erase(0, 1);
    return result;
}

// A name of a parameter or of a special section, in which neither case nor blanks count.
std::string bare(std::string name) {
    std::erase_if(name, is_blank);
    return fold(name).value_or("");
}

// Blanks, commas and semicolons separate the names of a list; quotation marks keep them and are
// taken out (smb.conf(5), "valid users": "list").
List parse_list(const std::string& value) {
    if (value.empty())
        return {};
    constexpr std::string_view separators = " \t,;\n\r";
    std::vector<std::string> names;
    for (size_t at = 0; (at = value.find_first_not_of(separators, at)) != std::string::npos;) {
        std::string name;
        bool quoted = false;
        for (; at < value.size(); ++at) {
            if (value[at] == '"')
                quoted = !quoted;
            else if (quoted || separators.find(value[at]) == std::string_view::npos)
                name += value[at];
            else
                break;
        }
        names.push_back(name);
    }
    return names;
}

// What the program writes beside the parameters that decide who reaches what, as bare() has them.
constexpr std::string_view other_parameters =
    " adduserscript adminusers audit:facility audit:priority authmethods browsable deadtime"
    " deletevetofiles disablespoolss displaycharset dnsproxy domainmaster dosfiletimeresolution"
    " dosfiletimes doscharset encryptpasswords forcecreatemode forcedirectorymode guestaccount"
    " guestonly hostmsdfs idmapgid idmapuid lmannounce loadprinters localmaster lockdirectory"
    " loglevel logonhome logonpath maparchive maphidden mapsystem maptoguest maxlogsize msdfsroot"
    " netbiosname nullpasswords oslevel passdbbackend passwdchat passwdprogram passwordlevel"
    " passwordserver printable realm recycle:directory_mode recycle:keeptree recycle:repository"
    " recycle:versions security serverstring showaddprinterwizard socketoptions templatehomedir"
    " templateshell unixcharset unixpasswordsync usemmap usesendfile username usernamemap vetofiles"
    " vfsobjects winbindseparator winbindusedefaultdomain winsserver workgroup ";

class Loader {
  public:
    Server load(const std::string& text) {
        for (const Line& line : split_lines(text)) {
            line_ = line.number;
            if (!read(line.text))
                break;
        }
        finish_section();
        if (const auto at = server_.globals.find("security"); at != server_.globals.end())
            server_.security = at->second;
        // Samba writes its own folder and rights over IPC$, but leaves its lists.
        if (const auto ipc = known_.find("ipc$"); ipc != known_.end()) {
            server_.ipc = server_.shares[ipc->second];
            server_.shares[ipc->second].available = false;
        }
        server_.ipc.path.clear();
        server_.ipc.available = server_.ipc.guest_ok = true;
        for (size_t number = 0; number < server_.shares.size(); ++number)
            if (const auto name = fold_wish(expand(server_.shares[number].name)))
                server_.by_name[*name] = number;
        return std::move(server_);
    }

  private:
    // Returns false where Samba gives the file up.
    bool read(const std::string& line) {
        if (line.starts_with('[')) {
            const size_t end = line.find(']');
            if (end == std::string::npos)
                return refuse(line_, "the name of a section has no end");
            begin_section(folded(line.substr(1, end - 1)));
            return true;
        }
        const size_t equals = line.find('=');
        if (equals == std::string::npos)
            return true;  // it is passed over
        const std::string name = bare(line.substr(0, equals));
        if (name.empty())
            return refuse(line_, "a line begins with \"=\"");
        set(name, trimmed(line.substr(equals + 1)));
        return true;
    }

    bool refuse(int line, const std::string& why) {
        server_.starts = false;
        server_.remarks.push_back({line, true, why});
        return false;
    }

    void doubt() {
        if (!doubted_)
            server_.remarks.push_back({line_, false, not_understood});
        doubted_ = true;
    }

    void begin_section(const std::string& name) {
        finish_section();
        current_.reset();
        if (bare(name) != "global" && bare(name) != "globals") {
            const auto [same, is_new] = known_.insert({fold(name), server_.shares.size()});
            current_ = same->second;
            if (is_new) {
                server_.shares.push_back(server_.ipc);
                server_.shares.back().name = name;
                server_.shares.back().line = line_;
            }
        }
        server_.sections.push_back({line_, current_});
    }

    // What Samba makes of a section that ends.
    void finish_section() {
        if (!current_)
            return;
        Share& share = server_.shares[*current_];
        if (share.name.empty())
            refuse(share.line, "a share has no name");
        // It stays so when a later section of this name has a path.
        if (bare(share.name) == "printers" ||
            (share.path.empty() && share.msdfs_proxy.empty() && bare(share.name) != "homes"))
            share.available = false;
    }

    void set(const std::string& name, const std::string& value) {
        // What [global] says holds for all shares after it; until the end it is kept as IPC$'s.
        Share& share = current_ ? server_.shares[*current_] : server_.ipc;
        const struct {
            const char* name;
            bool* flag;
            List* list;
            std::string* text;
        } rows[] = {
            {"guestok", &share.guest_ok, nullptr, nullptr},
            {"writable", &share.writable, nullptr, nullptr},
            {"validusers", nullptr, &share.valid_users, nullptr},
            {"invalidusers", nullptr, &share.invalid_users, nullptr},
            {"readlist", nullptr, &share.read_list, nullptr},
            {"path", nullptr, nullptr, &share.path},
            {"comment", nullptr, nullptr, &share.comment},
            {"msdfsproxy", nullptr, nullptr, &share.msdfs_proxy},
        };
        const auto* row = std::find_if(std::begin(rows), std::end(rows),
                                       [&](const auto& one) { return name == one.name; });
        const auto word = fold(value);
        if (!current_)
            server_.globals[name] = value;
        if (name == "cscpolicy") {
            if (word != "manual" && word != "documents" && word != "programs" && word != "disable")
                refuse(line_, "Samba knows no offline policy \"" + value + '"');
        } else if (row == std::end(rows)) {
            if (other_parameters.find(' ' + name + ' ') == std::string_view::npos ||
                (name == "printable" && word != "no") || (name == "adminusers" && word != "root"))
                doubt();
        } else if (row->flag != nullptr) {
            *row->flag = word == "yes";
            if (word != "yes" && word != "no")
                doubt();
        } else if (row->list != nullptr) {
            *row->list = parse_list(value);
        } else {
            *row->text = value;
            if (name == "path" && expand(value, true) != value)
                doubt();
        }
    }

    int line_ = 0;
    Server server_;
    std::map<std::optional<std::string>, size_t> known_;  // shares by their names as compared
    std::optional<size_t> current_;                       // nothing: [global], or no section yet
    bool doubted_ = false;
};

}  // namespace

Server parse(const std::string& text) {
    return Loader().load(text);
}

std::string unquoted(const std::string& text) {
    const size_t first = text.find_first_not_of('"');
    if (first == std::string::npos)
        return "";
    const std::string bare = text.substr(first, text.find_last_not_of('"') + 1 - first);
    return bare.find('"') == std::string::npos ? bare : text;
}

// smb.conf(5), VARIABLE SUBSTITUTIONS.
std::string expand(const std::string& text, bool in_share) {
    const std::string_view letters = "DGIJLMNRTUVadhijmtvwHPSgu";
    std::string expanded;
    for (size_t at = 0; at < text.size(); ++at) {
        const char letter = text[at] == '%' && at + 1 < text.size() ? text[at + 1] : '%';
        const bool is_variable = letters.find(letter) < letters.size() - (in_share ? 0 : 5);
        expanded += is_variable ? "\u2026" : text.substr(at, 1);
        at += is_variable;
    }
    return expanded;
}

std::string name_of(const Share& share) {
    return unquoted(expand(share.name));
}

std::string comment_of(const Share& share) {
    return unquoted(expand(share.comment, true));
}

std::string folder_of(const Share& share) {
    if (share.path.empty() || !share.msdfs_proxy.empty())
        return "";
    const std::string path = unquoted(expand(share.path, true));
    return path.empty() ? "\u2026" : plain_path(path);  // quotation marks alone are no folder
}

}  // namespace tavrogen::access::smb
