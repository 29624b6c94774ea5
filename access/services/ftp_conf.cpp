// Takes proftpd.conf apart as Debian 12's proftpd 1.3.8 does.
//
// The rules are those of its documentation (the pages "Configuring ProFTPD" and "Directives");
// where it is silent, "Live:" marks what the server shows.
#include "access/services/ftp.h"

#include <algorithm>
#include <regex.h>
#include <string.h>
#include <strings.h>

namespace tavrogen::access::ftp {

namespace {

// The directives of the modules that Debian compiles in, and the two that only the appliance's own
// server knows. Live: letters count in either case.
constexpr char directives[] =
    " "
    "AccessDenyMsg AccessGrantMsg Allow AllowAll AllowChrootSymlinks AllowClass "
    "AllowEmptyPasswords AllowFilter AllowForeignAddress AllowGroup AllowLogSymlinks "
    "AllowOverride AllowOverwrite AllowRetrieveRestart AllowStoreRestart AllowUser "
    "AnonAllowRobots AnonRejectPasswords AnonRequirePassword AuthAliasOnly AuthFileOptions "
    "AuthGroupFile AuthOrder AuthPAM AuthPAMConfig AuthPAMOptions AuthUnixOptions "
    "AuthUserFile AuthUsingAlias CapabilitiesEngine CapabilitiesRootRevoke CapabilitiesSet "
    "CDPath CharsetLocal CharsetRemote CommandBufferSize ControlsACLs ControlsAuthFreshness "
    "ControlsEngine ControlsInterval ControlsLog ControlsMaxClients ControlsSocket "
    "ControlsSocketACL ControlsSocketOwner CreateHome DebugLevel DefaultAddress DefaultChdir "
    "DefaultRoot DefaultServer DefaultTransferMode DeferWelcome Define DelayControlsACLs "
    "DelayEngine DelayOnEvent DelayTable DeleteAbortedStores Deny DenyAll DenyClass "
    "DenyFilter DenyGroup DenyUser DirFakeGroup DirFakeMode DirFakeUser DisplayChdir "
    "DisplayConnect DisplayFileTransfer DisplayLogin DisplayQuit ExtendedLog FactsAdvertise "
    "FactsDefault FactsOptions From FSCachePolicy FSOptions Group GroupOwner HiddenStores "
    "HideFiles HideGroup HideNoAccess HideUser IgnoreHidden Include IncludeOptions "
    "LangDefault LangEngine LangOptions LangPath ListOptions ListStyle LoadFile LoadModule "
    "LogFormat LogOptions MasqueradeAddress MaxClients MaxClientsPerClass MaxClientsPerHost "
    "MaxClientsPerUser MaxCommandRate MaxConnectionRate MaxConnectionsPerHost MaxHostsPerUser "
    "MaxInstances MaxLoginAttempts MaxPasswordSize MaxRetrieveFileSize MaxStoreFileSize "
    "MaxTransfersPerHost MaxTransfersPerUser ModuleControlsACLs ModuleOrder ModulePath "
    "MultilineRFC2228 Order PassivePorts PathAllowFilter PathDenyFilter PersistentPasswd "
    "PidFile Port ProcessTitles Protocols RegexOptions RequireValidShell RewriteHome "
    "RLimitChroot RLimitCPU RLimitMemory RLimitOpenFiles RootLogin RootRevoke Satisfy "
    "ScoreboardFile ScoreboardMutex ScoreboardScrub ServerAdmin ServerAlias ServerIdent "
    "ServerLog ServerName ServerType SetEnv ShowSymlinks SocketBindTight SocketOptions "
    "StoreUniquePrefix SyslogFacility SyslogLevel SystemLog TCPBackLog TCPNoDelay TimeoutIdle "
    "TimeoutLinger TimeoutLogin TimeoutNoTransfer TimeoutSession TimeoutStalled TimesGMT "
    "Trace TraceLog TraceOptions TransferLog TransferOptions TransferRate Umask UnsetEnv "
    "UseEncoding UseFtpUsers UseGlobbing UseIPv6 UseLastlog User UserAlias UserDirRoot "
    "UseReverseDNS UserOwner UserPassword UseSendfile WtmpLog ";

bool same(const std::string& left, const char* right) {
    return strcasecmp(left.c_str(), right) == 0;
}

bool is_directive(const std::string& word) {
    const std::string sought = ' ' + word + ' ';
    return word.find(' ') == std::string::npos && strcasestr(directives, sought.c_str()) != nullptr;
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

// Live: %{env:NAME} stands for a variable of the server's environment, also inside a word. Which
// variables there are is not known; this is what a start from root's shell gives.
void replace_variables(std::string* word) {
    size_t at = 0;
    while (word->size() > 7 && (at = word->find("%{env:", at)) != std::string::npos) {
        const size_t end = word->find('}', at);
        if (end == std::string::npos)
            return;
        const std::string name = word->substr(at + 6, end - at - 6);
        word->replace(at, end + 1 - at, name == "HOME" ? "/root" : name == "PATH" ? "/bin" : "");
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
        const std::string& text = words[word];
        if (text.find(',') == std::string::npos) {
            names.push_back(text);
            continue;
        }
        for (size_t at = 0; at < text.size();) {
            const size_t end = std::min(text.find(',', at), text.size());
            if (end > at)
                names.push_back(text.substr(at, end - at));
            at = end + 1;
        }
    }
    return names;
}

bool is_pattern(const std::string& text) {
    regex_t compiled;
    if (regcomp(&compiled, text.c_str(), REG_EXTENDED | REG_NOSUB) != 0)
        return false;
    regfree(&compiled);
    return true;
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
            if (skipping_ > 0 ? !skip(words[0]) : !read(words))
                recover_ = true;
        }
        line_ = 0;
        if (contexts_.size() > 1 || skipping_ > 0)
            refuse("a section is not closed");
        arrange(&server_.main_);
        for (const auto& section : server_.anonymous_)
            arrange(section.get());
    }

  private:
    enum class Kind { server, anonymous, directory, limit };
    struct Context {
        Kind kind;
        Section* section;
        const char* closing;
        bool has_content = false;
    };

    bool refuse(const std::string& text) {
        if (!recover_)  // else it follows from the last refusal
            server_.errors_.push_back({line_, true, text});
        return false;
    }

    bool refuse_here(const std::string& word) { return refuse(word + " is not allowed here"); }

    // After a refusal, reading goes on at the next section, for the sake of further refusals.
    void recover(const std::string& word) {
        const bool outermost = same(word, "<Anonymous>") || same(word, "</Anonymous>");
        if (!recover_ || (!outermost && !same(word, "<Directory>")))
            return;
        while (contexts_.size() > 1 &&
               (contexts_.back().kind == Kind::limit || contexts_.back().kind == Kind::directory ||
                same(word, "<Anonymous>")))
            contexts_.pop_back();
        recover_ = false;
    }

    bool skip(const std::string& word) {
        if (same(word, "<IfModule>") || same(word, "<IfDefine>") || same(word, "<VirtualHost>") ||
            same(word, "<Class>"))
            ++skipping_;
        if (same(word, "</IfModule>") || same(word, "</IfDefine>") ||
            same(word, "</VirtualHost>") || same(word, "</Class>"))
            --skipping_;
        return true;
    }

    bool read(const std::vector<std::string>& words) {
        recover(words[0]);
        if (words[0].starts_with("</"))
            return close(words);
        here().has_content = true;
        if (words[0].starts_with('<'))
            return open(words);
        return read_directive(words);
    }

    Context& here() { return contexts_.back(); }
    bool is_here(Kind kind) { return here().kind == kind; }

    bool close(const std::vector<std::string>& words) {
        if (same(words[0], "</Global>") && is_here(Kind::server))
            return true;
        if (contexts_.size() == 1 || !same(words[0], here().closing))
            return refuse_here(words[0]);
        // Debian's server refuses "</Limit READ>"; the appliance's own takes it.
        if (words.size() > 1 && !is_here(Kind::limit))
            return refuse(words[0] + " has a word too many");
        // Live: a <Directory> without a word in it does not count.
        if (is_here(Kind::directory) && !here().has_content)
            contexts_[contexts_.size() - 2].section->folders.pop_back();
        contexts_.pop_back();
        return true;
    }

    bool open(const std::vector<std::string>& words) {
        const std::string& word = words[0];
        if (same(word, "<Global>"))  // holds for all servers, of which there is one
            return is_here(Kind::server) || refuse_here(word);
        if (same(word, "<Limit>"))
            return open_limit(words);
        if (same(word, "<Directory>"))
            return open_directory(words);
        if (same(word, "<Anonymous>"))
            return open_anonymous(words);
        // None of the modules that are asked about are compiled in, nothing is defined, and other
        // servers' rules are not this one's.
        if (skip(word) && skipping_ > 0)
            return true;
        return refuse("unknown directive \"" + word + '"');
    }

    bool open_limit(const std::vector<std::string>& words) {
        if (is_here(Kind::limit))
            return refuse("a <Limit> begins inside another");
        if (words.size() < 2)
            return refuse("a <Limit> names no command");
        Section* section = here().section;
        section->limits.insert(section->limits.begin(), Limit());
        Limit& limit = section->limits.front();
        limit.line = line_;
        limit.commands.assign(words.begin() + 1, words.end());
        contexts_.push_back({Kind::limit, section, "</Limit>"});
        return true;
    }

    bool open_directory(const std::vector<std::string>& words) {
        if (is_here(Kind::limit) || is_here(Kind::directory))
            return refuse("a <Directory> begins inside another section");
        if (words.size() < 2)
            return refuse("a <Directory> has no path");
        Section* outer = here().section;
        std::string path = words[1];
        if (!path.starts_with('/') && !path.starts_with('~')) {
            if (!is_here(Kind::anonymous))
                return refuse("the path of a <Directory> does not begin with a slash");
            path = outer->path + '/' + path;
        }
        const auto is_same = [&](const auto& other) { return other->path == path; };
        // Live: inside <Anonymous>, a path may be there twice.
        if (is_here(Kind::server) &&
            std::any_of(outer->folders.begin(), outer->folders.end(), is_same))
            return refuse("there are two <Directory> sections for \"" + path + '"');
        auto section = std::make_unique<Section>();
        section->path = path;
        section->for_each_user = is_here(Kind::server) && path.find("%u") != std::string::npos;
        section->line = line_;
        section->parent = outer;
        contexts_.push_back({Kind::directory, section.get(), "</Directory>"});
        outer->folders.push_back(std::move(section));
        return true;
    }

    bool open_anonymous(const std::vector<std::string>& words) {
        if (!is_here(Kind::server))
            return refuse("an <Anonymous> begins inside another section");
        if (words.size() < 2)
            return refuse("an <Anonymous> has no path");
        auto section = std::make_unique<Section>();
        section->path = words[1];
        section->line = line_;
        section->parent = &server_.main_;
        contexts_.push_back({Kind::anonymous, section.get(), "</Anonymous>"});
        server_.anonymous_.push_back(std::move(section));
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
        if (!is_directive(words[0]))
            return refuse("unknown directive \"" + words[0] + '"');
        if (words.size() < 2)
            return true;
        if (is_here(Kind::anonymous) && same(words[0], "User"))
            here().section->user = words[1];
        if (is_here(Kind::anonymous) && same(words[0], "UserAlias") && words.size() > 2)
            here().section->aliases.push_back(words[1]);
        if (is_here(Kind::server) && same(words[0], "DefaultRoot") && words.size() == 2 &&
            words[1].starts_with('/'))
            server_.root_ = words[1];
        if (is_here(Kind::server) && same(words[0], "RootLogin"))
            server_.root_login_ = same(words[1], "on");
        return true;
    }

    // Live: without a word about it, one name of the users suffices, and all groups are needed.
    // Such a word is itself one of the names, and counts only before another word.
    bool read_rule(const std::vector<std::string>& words, Rule rule) {
        if (!is_here(Kind::limit))
            return (rule.subject == Rule::everybody && contexts_.size() > 1) ||
                   refuse_here(words[0]);
        rule.match = rule.subject == Rule::group ? Rule::all_of : Rule::any_of;
        if (rule.subject == Rule::everybody ? words.size() > 1 : words.size() < 2)
            return refuse(words[0] + " has the wrong number of words");
        const std::string how = words.size() > 2 ? words[1] : "";
        if (same(how, "regex")) {
            rule.match = Rule::pattern;
            if (words.size() > 3)
                return refuse(words[0] + " has the wrong number of words");
            if (!is_pattern(words[2]))
                return refuse(words[0] + " has no valid pattern");
            rule.names = {words[2]};
        } else {
            rule.match = same(how, "or")    ? Rule::any_of
                         : same(how, "and") ? Rule::all_of
                                            : rule.match;
            rule.names = split_names(words);
        }
        here().section->limits.front().rules.push_back(rule);
        return true;
    }

    bool read_order(const std::vector<std::string>& words) {
        if (!is_here(Kind::limit))
            return refuse_here(words[0]);
        std::string order;
        for (size_t word = 1; word < words.size(); ++word)
            order += words[word];
        if (!same(order, "deny,allow") && !same(order, "allow,deny"))
            return refuse("Order has no valid value");
        here().section->limits.front().deny_first = same(order, "deny,allow");
        return true;
    }

    Server& server_;
    std::vector<Context> contexts_ = {{Kind::server, &server_.main_, ""}};
    int line_ = 0;
    int skipping_ = 0;  // sections that do not count
    bool recover_ = false;
};

Server::Server(const std::string& text) {
    Parser(this).parse(text);
}

}  // namespace tavrogen::access::ftp
