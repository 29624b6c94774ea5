// Reads /etc/samba/smb.conf by the rules of smb.conf(5), FILE FORMAT, and where the page is silent
// or wrong (as on blanks in section names and values) by those that Samba 4.17 was seen to keep.
#include "access/services/smb_conf.h"

#include <algorithm>

namespace tavrogen::access::smb {

namespace {

bool is_blank(char byte) {
    return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

// The lines of the file, without blank ones and comments. A backslash at the end of a line, blanks
// behind it included, continues the line, but not a comment.
class Lines {
  public:
    explicit Lines(std::string_view text) : text_(text) {}

    // Returns false at the end of the file.
    bool next(std::string* line) {
        for (;;) {
            while (at_ < text_.size() && is_blank(text_[at_]))
                count(text_[at_++]);
            if (at_ == text_.size())
                return false;
            if (text_[at_] != '#' && text_[at_] != ';')
                break;
            at_ = std::min(text_.find('\n', at_), text_.size());
        }
        number_ = newlines_ + 1;
        line->clear();
        while (at_ < text_.size()) {
            const char byte = text_[at_++];
            count(byte);
            if (byte != '\n') {
                *line += byte;
                continue;
            }
            const size_t last = line->find_last_not_of(" \t\v\f\r");
            if (last == std::string::npos || (*line)[last] != '\\')
                break;
            line->resize(last);
        }
        line->resize(std::min(line->find('\0'), line->size()));
        return true;
    }

    int number() const { return number_; }  // where the line begins

  private:
    void count(char byte) { newlines_ += byte == '\n'; }

    std::string_view text_;
    size_t at_ = 0;
    int newlines_ = 0;
    int number_ = 0;
};

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
std::string bare(const std::string& name) {
    std::string letters;
    for (const char byte : name)
        if (!is_blank(byte))
            letters += byte;
    return fold(letters).value_or("");
}

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

bool is_one_of(const std::string& value, std::initializer_list<const char*> words) {
    return std::any_of(words.begin(), words.end(),
                       [&](const char* word) { return fold(value) == word; });
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

class Loader {
  public:
    explicit Loader(std::string_view text) : lines_(text) {}

    Server load() {
        std::string line;
        while (lines_.next(&line) && read(line)) {
        }
        finish_section();
        const auto take = [&](const char* name, std::string* text) {
            if (const auto at = server_.globals.find(name); at != server_.globals.end())
                *text = at->second;
        };
        take("netbiosname", &server_.netbios_name);
        take("security", &server_.security);
        take("winbindseparator", &server_.winbind_separator);
        // Samba writes its own folder and rights over IPC$, but leaves its lists.
        const auto ipc = known_.find("ipc$");
        server_.ipc = ipc == known_.end() ? defaults_ : server_.shares[ipc->second];
        if (ipc != known_.end())
            server_.shares[ipc->second].available = false;
        server_.ipc.path.clear();
        server_.ipc.available = server_.ipc.guest_ok = true;
        return std::move(server_);
    }

  private:
    // Returns false where Samba gives the file up.
    bool read(const std::string& line) {
        const int number = lines_.number();
        if (line.starts_with('[')) {
            const size_t end = line.find(']');
            if (end == std::string::npos)
                return give_up(number, "the name of a section has no end");
            begin_section(folded(line.substr(1, end - 1)), number);
            return true;
        }
        const size_t equals = line.find('=');
        if (equals == std::string::npos)
            return true;  // it is passed over
        const std::string name = trimmed(line.substr(0, equals));
        if (name.empty())
            return give_up(number, "a line begins with \"=\"");
        set(name, trimmed(line.substr(equals + 1)), number);
        return true;
    }

    bool give_up(int line, const char* why) {
        refuse(line, why);
        return false;
    }

    void refuse(int line, const std::string& why) {
        server_.starts = false;
        server_.remarks.push_back({line, true, why});
    }

    void begin_section(const std::string& name, int line) {
        finish_section();
        current_.reset();
        if (bare(name) == "global" || bare(name) == "globals") {
            server_.sections.push_back({line, {}});
            return;
        }
        const auto [same, is_new] = known_.insert({fold(name), server_.shares.size()});
        current_ = same->second;
        if (is_new) {
            server_.shares.push_back(defaults_);
            server_.shares.back().name = name;
            server_.shares.back().line = line;
        }
        server_.sections.push_back({line, current_});
    }

    // What Samba makes of a section that ends.
    void finish_section() {
        if (!current_)
            return;
        Share& share = server_.shares[*current_];
        if (share.name.empty())
            refuse(share.line, "a share has no name");
        if (bare(share.name) == "printers")
            share.printable = true;
        if (share.path.empty() && share.msdfs_proxy.empty() && bare(share.name) != "homes")
            share.available = false;  // also when a later section of this name has a path
    }

    void set(const std::string& name, const std::string& value, int line) {
        Share& share = current_ ? server_.shares[*current_] : defaults_;
        const std::string parameter = bare(name);
        const struct {
            const char* name;
            bool* flag;
            bool inverted;
        } flags[] = {
            {"guestok", &share.guest_ok, false},    {"public", &share.guest_ok, false},
            {"writable", &share.writable, false},   {"writeable", &share.writable, false},
            {"writeok", &share.writable, false},    {"readonly", &share.writable, true},
            {"printable", &share.printable, false}, {"printok", &share.printable, false},
            {"available", &share.available, false},
        };
        for (const auto& row : flags) {
            if (parameter != row.name)
                continue;
            if (is_one_of(value, {"yes", "true", "on", "1"}))
                *row.flag = !row.inverted;
            else if (is_one_of(value, {"no", "false", "off", "0"}))
                *row.flag = row.inverted;
            else
                refuse(line, quoted(name) + " is neither yes nor no");
        }
        const struct {
            const char* name;
            List* list;
        } lists[] = {
            {"validusers", &share.valid_users},
            {"invalidusers", &share.invalid_users},
            {"readlist", &share.read_list},
            {"writelist", &share.write_list},
        };
        for (const auto& row : lists)
            if (parameter == row.name)
                *row.list = parse_list(value);
        const struct {
            const char* name;
            std::string* text;
        } texts[] = {
            {"path", &share.path},
            {"directory", &share.path},
            {"comment", &share.comment},
            {"msdfsproxy", &share.msdfs_proxy},
        };
        for (const auto& row : texts)
            if (parameter == row.name)
                *row.text = value;
        if (parameter == "cscpolicy" &&
            !is_one_of(value, {"manual", "documents", "programs", "disable"}))
            refuse(line, "Samba knows no offline policy " + quoted(value));
        if (!current_)
            server_.globals[parameter] = value;
    }

    Lines lines_;
    Server server_;
    Share defaults_;  // what [global] says for all shares after it
    std::map<std::optional<std::string>, size_t> known_;  // shares by their names as compared
    std::optional<size_t> current_;                       // nothing: [global], or no section yet
};

constexpr char unknown[] = "\x01";  // in place of what only the moment of the connection decides

}  // namespace

Server parse(const std::string& text) {
    Server server = Loader(text).load();
    for (size_t number = 0; number < server.shares.size(); ++number) {
        const std::string& name = server.shares[number].name;
        if (name.find('%') != std::string::npos)
            server.by_variable.push_back(number);
        else if (const auto folded = fold_wish(name); folded)
            server.by_name[*folded] = number;
    }
    return server;
}

std::string unquoted(const std::string& text) {
    const size_t first = text.find_first_not_of('"');
    if (first == std::string::npos)
        return "";
    const std::string bare = text.substr(first, text.find_last_not_of('"') + 1 - first);
    return bare.find('"') == std::string::npos ? bare : text;
}

// smb.conf(5), VARIABLE SUBSTITUTIONS; %$ without a parenthesis is none.
std::string expand(const Server& server, const std::string& text, const Person& person,
                   const Share* share) {
    if (text.find('%') == std::string::npos)
        return text;
    // Samba looks for no variable behind a letter beyond ASCII where the text is no UTF-8.
    size_t end_of_search = text.size();
    if (!is_utf8(text))
        end_of_search = static_cast<size_t>(
            std::find_if(text.begin(), text.end(), [](char byte) { return byte >= 0x80; }) -
            text.begin());
    std::string expanded;
    for (size_t at = 0; at < end_of_search; ++at) {
        const char letter = text[at] == '%' && at + 1 < text.size() ? text[at + 1] : '\0';
        const size_t end = text.find(')', at);
        ++at;
        if (letter == '$' && at + 1 < text.size() && text[at + 1] == '(' &&
            end != std::string::npos) {
            expanded += unknown;
            at = end;
        } else if (letter == 'U' || (letter == 'u' && share != nullptr)) {
            expanded += person.name;
        } else if (letter == 'G' || (letter == 'g' && share != nullptr)) {
            expanded += person.primary_group;
        } else if (letter == 'D' || letter == 'L' || letter == 'N') {
            expanded += server.netbios_name;
        } else if (letter == 'w') {
            expanded += server.winbind_separator;
        } else if (letter == 'S' && share != nullptr) {
            expanded += share->name;
        } else if (std::string_view("IJMRTVadhijmtv").find(letter) != std::string_view::npos ||
                   (share != nullptr && (letter == 'H' || letter == 'P'))) {
            expanded += unknown;
        } else {
            expanded += text[--at];
        }
    }
    if (end_of_search < text.size())
        expanded += text.substr(end_of_search);
    return expanded;
}

std::string name_of(const Server& server, const Share& share, const Person& person) {
    return unquoted(expand(server, share.name, person, nullptr));
}

std::string comment_of(const Server& server, const Share& share, const Person& person) {
    return unquoted(expand(server, share.comment, person, &share));
}

std::string folder_of(const Server& server, const Share& share, const Person& person) {
    if (share.path.empty() || !share.msdfs_proxy.empty())
        return "";  // a link to another server
    const std::string path = unquoted(expand(server, share.path, person, &share));
    return path.empty() ? unknown : plain_path(path);  // quotation marks alone are no folder
}

}  // namespace tavrogen::access::smb
