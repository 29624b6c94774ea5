// Reads /etc/samba/smb.conf by the rules of smb.conf(5), FILE FORMAT, and where the page is silent
// or wrong (as on blanks in section names and values) by those that Samba 4.17 was seen to keep.
#include "access/smb_conf.h"

#include <algorithm>

namespace rights::smb {

namespace {

bool is_blank(int byte) {
    return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

constexpr int end_of_file = -1;

// The bytes of the file.
class Source {
  public:
    explicit Source(std::string_view text) : text_(text) {}

    int next_byte() {
        if (at_ == text_.size())
            return end_of_file;
        line_ += text_[at_] == '\n';
        return static_cast<unsigned char>(text_[at_++]);
    }

    // As next_byte(); but a backslash that ends a line, blanks behind it included, continues it.
    int next() {
        for (;;) {
            const int byte = next_byte();
            size_t end = at_;
            while (byte == '\\' && end < text_.size() && text_[end] != '\n' && is_blank(text_[end]))
                ++end;
            if (byte != '\\' || end == text_.size() || text_[end] != '\n')
                return byte;
            at_ = end + 1;
            ++line_;
        }
    }

    void step_back() { --at_; }  // not over a newline

    void skip_comment() {
        int byte = 0;
        while (byte != '\n' && byte != end_of_file)
            byte = next_byte();
    }

    void skip_line() {
        int byte = 0;
        while (byte != '\n' && byte != end_of_file)
            byte = next();
    }

    int line() const { return line_; }

  private:
    std::string_view text_;
    size_t at_ = 0;
    int line_ = 1;
};

// Text of which each run of blanks counts as its first one.
class Folded {
  public:
    void add(int byte) {
        const bool blank = is_blank(byte);
        if (!blank || !after_blank_)
            text_ += static_cast<char>(byte);
        after_blank_ = blank;
    }

    std::string text() const { return text_.c_str(); }  // a NUL ends it

    std::string trimmed() const {
        std::string text = text_.c_str();
        if (!text.empty() && is_blank(text.back()))
            text.pop_back();
        if (!text.empty() && is_blank(text.front()))
            text.erase(0, 1);
        return text;
    }

  private:
    std::string text_;
    bool after_blank_ = false;
};

// Names of parameters and of special sections: neither case nor blanks count.
bool is_called(const std::string& text, const char* name) {
    std::string bare;
    for (const char byte : text)
        if (!is_blank(byte))
            bare += byte;
    std::string wanted;
    for (; *name != '\0'; ++name)
        if (*name != ' ')
            wanted += *name;
    return fold(bare) == wanted;
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
    explicit Loader(std::string_view text) : source_(text) {}

    Server load() {
        while (read_line()) {
        }
        finish_section();
        // Samba writes its own folder and rights over a section for IPC$.
        for (Share& share : server_.shares)
            if (fold(share.name) == "ipc$")
                share.available = false;
        return std::move(server_);
    }

  private:
    // Returns false at the end of the file, and where Samba gives the file up.
    bool read_line() {
        int byte = source_.next_byte();
        while (byte != end_of_file && is_blank(byte))
            byte = source_.next_byte();
        if (byte == end_of_file)
            return false;
        const int line = source_.line();
        if (byte == '[')
            return read_section(line);
        if (byte != '#' && byte != ';')
            return read_parameter(line);
        source_.skip_comment();
        return true;
    }

    bool read_section(int line) {
        Folded name;
        for (int byte = 0; (byte = source_.next()) != ']';) {
            if (byte == '\n' || byte == end_of_file)
                return give_up(line, "a section has no end");
            name.add(byte);
        }
        source_.skip_line();
        begin_section(name.text(), line);
        return true;
    }

    bool read_parameter(int line) {
        source_.step_back();  // a backslash may continue the line
        Folded name, value;
        int byte = 0;
        while ((byte = source_.next()) != '=') {
            if (byte == '\n' || byte == end_of_file)
                return true;  // a line without "=" is passed over
            name.add(byte);
        }
        if (name.trimmed().empty())
            return give_up(line, "a line begins with \"=\"");
        while ((byte = source_.next()) != '\n' && byte != end_of_file)
            value.add(byte);
        set(name.trimmed(), value.trimmed(), line);
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
        if (is_called(name, "global") || is_called(name, "globals")) {
            server_.sections.push_back({line, {}});
            return;
        }
        const auto& shares = server_.shares;
        const auto same = std::find_if(shares.begin(), shares.end(), [&](const Share& share) {
            return fold(share.name) == fold(name);
        });
        current_ = static_cast<size_t>(same - shares.begin());
        if (same == shares.end()) {
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
        if (is_called(share.name, "printers"))
            share.printable = true;
        if (share.path.empty() && share.msdfs_proxy.empty() && !is_called(share.name, "homes"))
            share.available = false;  // also when a later section of this name has a path
    }

    void set(const std::string& name, const std::string& value, int line) {
        Share& share = current_ ? server_.shares[*current_] : defaults_;
        const struct {
            std::initializer_list<const char*> names;
            bool* flag;
            bool inverted;
        } flags[] = {
            {{"guest ok", "public"}, &share.guest_ok, false},
            {{"writable", "writeable", "write ok"}, &share.writable, false},
            {{"read only"}, &share.writable, true},
            {{"printable", "print ok"}, &share.printable, false},
            {{"available"}, &share.available, false},
        };
        for (const auto& row : flags)
            for (const char* known : row.names)
                if (is_called(name, known)) {
                    if (is_one_of(value, {"yes", "true", "on", "1"}))
                        *row.flag = !row.inverted;
                    else if (is_one_of(value, {"no", "false", "off", "0"}))
                        *row.flag = row.inverted;
                    else
                        refuse(line, name + " is neither yes nor no");
                }
        const struct {
            const char* name;
            List* list;
        } lists[] = {
            {"valid users", &share.valid_users},
            {"invalid users", &share.invalid_users},
            {"read list", &share.read_list},
            {"write list", &share.write_list},
        };
        for (const auto& row : lists)
            if (is_called(name, row.name))
                *row.list = parse_list(value);
        const struct {
            const char* name;
            std::string* text;
            bool is_global;
        } texts[] = {
            {"path", &share.path, false},
            {"directory", &share.path, false},
            {"comment", &share.comment, false},
            {"msdfs proxy", &share.msdfs_proxy, false},
            {"netbios name", &server_.netbios_name, true},
            {"workgroup", &server_.workgroup, true},
            {"server string", &server_.comment, true},
            {"security", &server_.security, true},
            {"winbind separator", &server_.winbind_separator, true},
        };
        for (const auto& row : texts)
            if (is_called(name, row.name) && !(row.is_global && current_))
                *row.text = value;
        if (is_called(name, "csc policy") &&
            !is_one_of(value, {"manual", "documents", "programs", "disable"}))
            refuse(line, "an offline policy is unknown: \"" + value + "\"");
    }

    Source source_;
    Server server_;
    Share defaults_;                 // what [global] says for all shares after it
    std::optional<size_t> current_;  // nothing: [global], or no section yet
};

// A text without the quotation marks at its ends, unless there are others within.
std::string unquoted(const std::string& text) {
    const size_t first = text.find_first_not_of('"');
    if (first == std::string::npos)
        return "";
    const std::string bare = text.substr(first, text.find_last_not_of('"') + 1 - first);
    return bare.find('"') == std::string::npos ? bare : text;
}

constexpr char unknown[] = "\x01";  // in place of what only the moment of the connection decides

}  // namespace

Server parse(const std::string& text) {
    Server server = Loader(text).load();
    for (size_t number = 0; number < server.shares.size(); ++number) {
        const std::string& name = server.shares[number].name;
        if (name.find('%') != std::string::npos)
            server.by_variable.push_back(number);
        else if (const auto folded = fold(name); folded)
            server.by_name.insert({*folded, number});
    }
    return server;
}

// smb.conf(5), VARIABLE SUBSTITUTIONS; %$ without a parenthesis is none.
std::string expand(const Server& server, const std::string& text, const Person& person,
                   const Share* share) {
    if (text.find('%') == std::string::npos)
        return text;
    std::string expanded;
    for (size_t at = 0; at < text.size(); ++at) {
        const char letter = text[at] == '%' && at + 1 < text.size() ? text[at + 1] : '\0';
        const size_t end = text.find(')', at);
        ++at;
        if (letter == '\0') {
            expanded += text[--at];
        } else if (letter == '$' && at + 1 < text.size() && text[at + 1] == '(' &&
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
    return expanded;
}

std::string name_of(const Server& server, const Share& share, const Person& person) {
    return unquoted(expand(server, share.name, person, nullptr));
}

std::string comment_of(const Server& server, const Share& share, const Person& person) {
    return unquoted(expand(server, share.comment, person, &share));
}

std::string plain_path(const std::string& path) {
    std::vector<std::string_view> parts;
    for (size_t at = 0; at < path.size();) {
        const size_t end = std::min(path.find('/', at), path.size());
        const std::string_view part = std::string_view(path).substr(at, end - at);
        at = end + 1;
        if (part == ".." && !parts.empty())
            parts.pop_back();
        if (part != ".." && part != "." && !part.empty())
            parts.push_back(part);
    }
    std::string plain;
    for (const std::string_view part : parts)
        plain.append("/").append(part);
    return plain.empty() ? "/" : plain;
}

std::string folder_of(const Server& server, const Share& share, const Person& person) {
    return share.path.empty() ? ""
                              : plain_path(unquoted(expand(server, share.path, person, &share)));
}

}  // namespace rights::smb
