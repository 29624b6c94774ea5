// Takes proftpd.conf apart.
#include "access/services/ftp.h"

#include <algorithm>
#include <string.h>

namespace tavrogen::access::ftp {

namespace {

// What the program writes outside of limits and nobody's rights depend on.
constexpr char directives[] =
    " ServerName ServerType DefaultServer ServerIdent AuthPAM AuthPAMConfig AuthOrder Port"
    " Umask TimesGMT UseReverseDNS MaxInstances User Group RootLogin DefaultRoot TimeoutIdle"
    " TimeoutLogin DefaultTransferMode TimeoutNoTransfer ShowSymLinks CharsetLocal"
    " CharsetRemote ScoreboardFile AllowStoreRestart AllowOverwrite AllowRetrieveRestart"
    " SocketOptions UserAlias HideNoAccess IgnoreHidden ";

// Live: letters count in either case.
bool same(const std::string& left, const char* right) {
    return strcasecmp(left.c_str(), right) == 0;
}

// --- Lines and words.

struct Line {
    int number;  // of its last part
    std::string text;
};

bool is_space(char byte) {
    return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

// Live: a line is read in parts of at most 4,096 bytes, each of which is a line of its own.
// A backslash at its end joins it to the next one, unless it is a comment.
std::vector<Line> split_lines(const std::string& text) {
    constexpr size_t most = 4096;
    std::vector<Line> lines;
    Line line = {};
    const auto end_line = [&] {
        const auto first = std::find_if_not(line.text.begin(), line.text.end(), is_space);
        line.text.erase(line.text.begin(), first);
        if (!line.text.empty() && line.text[0] != '#')
            lines.push_back(line);
        line.text.clear();
    };
    for (const std::string& part : lines_of(text)) {
        ++line.number;
        size_t at = 0;
        for (; line.text.size() + part.size() - at > most; end_line()) {
            const size_t room = most - line.text.size();
            line.text += part.substr(at, room);
            at += room;
        }
        line.text += part.substr(at);
        const size_t first = line.text.find_first_not_of(" \t\n\v\f\r");
        const bool comment = first != std::string::npos && line.text[first] == '#';
        if (line.text.ends_with('\\') && !comment)
            line.text.pop_back();
        else
            end_line();
    }
    end_line();
    return lines;
}

// Live: %{env:NAME} stands for a variable of the server's environment, also inside a word. Those
// that every start has become a byte that no name has.
void replace_variables(std::string* word) {
    size_t at = 0;
    while (word->size() > 7 && (at = word->find("%{env:", at)) != std::string::npos) {
        const size_t end = word->find('}', at);
        if (end == std::string::npos)
            return;
        const std::string name = word->substr(at + 6, end - at - 6);
        word->replace(at, end + 1 - at, name == "HOME" || name == "PATH" ? "\x01" : "");
    }
}

// The words of a line: a '"' at a word's start groups up to the next one, in between a backslash
// takes the next byte as it is; a '#' at a word's start ends the line.
std::vector<std::string> split_words(const std::string& line) {
    std::vector<std::string> words;
    for (size_t at = 0;;) {
        while (at < line.size() && is_space(line[at]))
            ++at;
        if (at == line.size() || line[at] == '#')
            break;
        const bool quoted = line[at] == '"';
        at += quoted;
        std::string word;
        for (; at < line.size() && (quoted ? line[at] != '"' : !is_space(line[at])); ++at) {
            if (quoted && line[at] == '\\' && at + 1 < line.size())
                ++at;
            word += line[at];
        }
        at += at < line.size();
        replace_variables(&word);
        words.push_back(word);
    }
    // "<Directory /mnt>": the mark at the line's end belongs to the first word.
    if (words.size() > 1 && words[0].starts_with('<') && words.back().ends_with('>')) {
        words.back().pop_back();
        if (words.back().empty())
            words.pop_back();
        if (!words[0].ends_with('>'))
            words[0] += '>';
    }
    return words;
}

// The names of an AllowUser or the like: words are cut at commas, and empty pieces are dropped.
std::vector<std::string> split_names(const std::vector<std::string>& words) {
    std::vector<std::string> names;
    for (size_t word = 1; word < words.size(); ++word) {
        if (words[word].empty())
            names.emplace_back();
        for (const std::string& name : words_of(words[word], ","))
            names.push_back(name);
    }
    return names;
}

}  // namespace

// --- The file.

class Parser {
  public:
    explicit Parser(Server* server) : server_(*server) {}

    void parse(const std::string& text) {
        for (const Line& line : split_lines(text)) {
            line_ = line.number;
            const auto words = split_words(line.text);
            if (words.empty())
                continue;
            if (skipping_)
                skipping_ = !same(words[0], "</IfModule>");
            else if (!read(words))
                recover_ = true;
        }
        line_ = 0;
        if (inside_ || directory_ != nullptr || limit_ != nullptr)
            refuse("a section is not closed");
        if (!server_.doubts_.empty())
            server_.errors_.clear();  // they may be wrong, too
        server_.folders_.nest();
        server_.anonymous_folders_.nest();
    }

  private:
    bool refuse(const std::string& text) {
        if (!recover_)  // else it follows from the last refusal
            server_.errors_.push_back({line_, true, text});
        return false;
    }

    bool refuse_here(const std::string& word) { return refuse(word + " is not allowed here"); }

    bool doubt() {
        if (server_.doubts_.empty())
            server_.doubts_.push_back({line_, false, not_understood});
        return true;
    }

    Section& section() {
        return directory_ != nullptr ? *directory_ : inside_ ? server_.anonymous_ : server_.main_;
    }

    // After a refusal, reading goes on at the next section, for the sake of further refusals.
    void recover(const std::string& word) {
        const bool outermost = same(word, "<Anonymous>") || same(word, "</Anonymous>");
        if (!recover_ || (!outermost && !same(word, "<Directory>")))
            return;
        limit_ = nullptr;
        directory_ = nullptr;
        inside_ = inside_ && !same(word, "<Anonymous>");
        recover_ = false;
    }

    bool read(const std::vector<std::string>& words) {
        const std::string& word = words[0];
        recover(word);
        if (word.starts_with("</"))
            return close(words);
        if (same(word, "<Limit>"))
            return open_limit(words);
        if (same(word, "<Directory>"))
            return open_directory(words);
        if (same(word, "<Anonymous>"))
            return open_anonymous(words);
        if (same(word, "<IfModule>"))  // of TLS, which has no part in this
            return skipping_ = true;
        if (word.starts_with('<') && word.ends_with('>'))
            return doubt();
        return read_directive(words);
    }

    bool close(const std::vector<std::string>& words) {
        // Debian's server refuses "</Limit READ>"; the appliance's own takes it.
        if (limit_ != nullptr && same(words[0], "</Limit>")) {
            limit_ = nullptr;
            return true;
        }
        const bool is_directory = directory_ != nullptr && same(words[0], "</Directory>");
        const bool is_anonymous =
            directory_ == nullptr && inside_ && same(words[0], "</Anonymous>");
        if (limit_ != nullptr || (!is_directory && !is_anonymous))
            return refuse_here(words[0]);
        if (words.size() > 1)
            return refuse(words[0] + " has a word too many");
        directory_ = nullptr;
        inside_ = inside_ && is_directory;
        return true;
    }

    bool open_limit(const std::vector<std::string>& words) {
        if (limit_ != nullptr)
            return refuse("a <Limit> begins inside another");
        if (words.size() < 2)
            return refuse("a <Limit> names no command");
        auto& limits = section().limits;
        limits.insert(limits.begin(), Limit());
        limit_ = &limits.front();
        for (size_t word = 1; word < words.size(); ++word) {
            limit_->commands.push_back(words[word]);
            for (char& letter : limit_->commands.back())
                letter = static_cast<char>(toupper(letter));
            const std::string& command = limit_->commands.back();
            if (command != "ALL" && command != "READ" && command != "WRITE" &&
                command != "SITE_CHMOD")
                doubt();
        }
        return true;
    }

    bool open_directory(const std::vector<std::string>& words) {
        if (limit_ != nullptr || directory_ != nullptr)
            return refuse("a <Directory> begins inside another section");
        if (words.size() < 2)
            return refuse("a <Directory> has no path");
        if (!words[1].starts_with('/'))
            return doubt();
        // Live: inside <Anonymous>, a path may be there twice.
        Folders& folders = inside_ ? server_.anonymous_folders_ : server_.folders_;
        if (!folders.add(words[1], &section()) && !inside_)
            return refuse("there are two <Directory> sections for \"" + words[1] + '"');
        directory_ = &folders.back();
        return true;
    }

    bool open_anonymous(const std::vector<std::string>& words) {
        if (inside_ || limit_ != nullptr || directory_ != nullptr)
            return refuse("an <Anonymous> begins inside another section");
        if (words.size() < 2)
            return refuse("an <Anonymous> has no path");
        inside_ = true;
        server_.anonymous_.parent = &server_.main_;
        server_.anonymous_.path = words[1];
        return true;
    }

    bool read_directive(const std::vector<std::string>& words) {
        static constexpr struct {
            const char* name;
            Rule::Subject subject;
            bool allows;
        } rules[] = {
            {"AllowUser", Rule::user, true},     {"DenyUser", Rule::user, false},
            {"AllowGroup", Rule::group, true},   {"DenyGroup", Rule::group, false},
            {"AllowAll", Rule::everybody, true}, {"DenyAll", Rule::everybody, false},
        };
        for (const auto& row : rules)
            if (same(words[0], row.name))
                return read_rule(words, {row.subject, Rule::any_of, row.allows, {}});
        if (same(words[0], "Order"))
            return read_order(words);
        const auto is_word = [&](const char* name) { return same(words[0], name); };
        if (strcasestr(directives, (' ' + words[0] + ' ').c_str()) == nullptr) {
            const bool is_name = limit_ == nullptr && words.size() > 1 && isupper(words[0][0]) &&
                                 std::all_of(words[0].begin(), words[0].end(), isalnum);
            return is_name ? doubt() : refuse("unknown directive \"" + words[0] + '"');
        }
        if (words.size() < 2)
            return true;
        if (inside_ && (is_word("User") || is_word("UserAlias")))
            server_.anonymous_names_.insert(words[1]);
        if (!inside_ && is_word("DefaultRoot"))
            words[1].starts_with('/') ? void(server_.root_ = words[1]) : void(doubt());
        return true;
    }

    // Live: without a word about it, one name of the users suffices, and all groups are needed.
    // Such a word is itself one of the names, and counts only before another word.
    bool read_rule(const std::vector<std::string>& words, Rule rule) {
        if (limit_ == nullptr)
            return rule.subject == Rule::everybody ? doubt() : refuse_here(words[0]);
        rule.match = rule.subject == Rule::group ? Rule::all_of : Rule::any_of;
        if (rule.subject == Rule::everybody ? words.size() > 1 : words.size() < 2)
            return refuse(words[0] + " has the wrong number of words");
        const std::string how = words.size() > 2 ? words[1] : "";
        rule.names = split_names(words);
        if (same(how, "regex")) {
            rule.match = Rule::part;
            rule.names = {words[2]};
            if (words.size() > 3)
                return refuse(words[0] + " has the wrong number of words");
            if (words[2].find_first_of("\\^$.[]()|*+?{}") != std::string::npos)
                return doubt();
        } else if (same(how, "or")) {
            rule.match = Rule::any_of;
        } else if (same(how, "and")) {
            rule.match = Rule::all_of;
        }
        limit_->rules.push_back(rule);
        return true;
    }

    bool read_order(const std::vector<std::string>& words) {
        if (limit_ == nullptr)
            return refuse_here(words[0]);
        limit_->deny_first = words.size() == 2 && same(words[1], "deny,allow");
        return limit_->deny_first || doubt();
    }

    Server& server_;
    bool inside_ = false;           // the <Anonymous>
    Section* directory_ = nullptr;  // that is open
    Limit* limit_ = nullptr;        // that is open
    int line_ = 0;
    bool skipping_ = false;
    bool recover_ = false;
};

Server::Server(const std::string& text, const Machine& machine) : crowd_(machine.people()) {
    Parser(this).parse(text);
    if (anonymous_.path.empty())
        return;
    Person guest = {"guest", {}, ""};
    for (const Person& person : machine.people())
        if (person.name == guest.name)
            guest = person;
    guest_ = std::make_unique<Crowd>(std::vector<Person>{guest});
}

}  // namespace tavrogen::access::ftp
