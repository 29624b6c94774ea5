// Whom the sections of proftpd.conf let in, by the rules of Debian 12's proftpd 1.3.8.
//
// The rules are those of its documentation (the pages "Configuring <Limits>" and "Configuring a
// <Directory>"); where it is silent, "Live:" marks what logins to the server show.
#include "access/services/ftp.h"

#include <algorithm>
#include <fnmatch.h>
#include <regex.h>
#include <strings.h>

namespace tavrogen::access::ftp {

namespace {

// --- The order of <Directory> sections.

size_t common_length(const std::string& left, const std::string& right) {
    size_t length = 0;
    while (length < left.size() && length < right.size() && left[length] == right[length])
        ++length;
    return length;
}

// The section that a path lies in, by the text of the paths alone.
Section* closest(const std::vector<std::unique_ptr<Section>>& sections, const Section& inner,
                 size_t* length) {
    Section* found = nullptr;
    *length = 0;
    for (const auto& section : sections) {
        if (section.get() == &inner)
            continue;
        const std::string& path = section->path;
        const size_t last = path.find_last_not_of("*/");
        const size_t size = last == std::string::npos ? 0 : last + 1;
        if (size >= inner.path.size() || inner.path[size] != '/' ||
            inner.path.compare(0, size, path, 0, size) != 0)
            continue;
        size_t deeper_length = 0;
        Section* deeper = closest(section->folders, inner, &deeper_length);
        const size_t own_length = common_length(inner.path, path);
        if (deeper == nullptr && own_length > *length) {
            found = section.get();
            *length = own_length;
        } else if (deeper_length > *length) {
            found = deeper;
            *length = deeper_length;
        }
    }
    return found;
}

// Live: each section moves into the closest one around it, and becomes its first. Those that are
// another one for each user stay outside.
void nest(Section* outer) {
    std::vector<Section*> all;
    for (const auto& section : outer->folders)
        all.push_back(section.get());
    for (Section* section : all) {
        size_t length = 0;
        Section* parent =
            section->for_each_user ? nullptr : closest(outer->folders, *section, &length);
        if (parent == nullptr)
            continue;
        const auto at = std::find_if(outer->folders.begin(), outer->folders.end(),
                                     [&](const auto& owner) { return owner.get() == section; });
        parent->folders.insert(parent->folders.begin(), std::move(*at));
        outer->folders.erase(at);
        section->parent = parent;
    }
    for (const auto& section : outer->folders)
        nest(section.get());
}

// --- The section of a path.

// Live: a '[' without its ']' matches nothing, where fnmatch(3) takes it as it is.
bool has_open_bracket(const std::string& pattern) {
    for (size_t at = 0; at < pattern.size(); ++at) {
        if (pattern[at] == '\\') {
            ++at;
            continue;
        }
        if (pattern[at] != '[')
            continue;
        size_t end = at + 1;
        end += end < pattern.size() && (pattern[end] == '!' || pattern[end] == '^');
        end = pattern.find(']', end + 1);
        if (end == std::string::npos)
            return true;
        at = end;
    }
    return false;
}

bool matches(const std::string& pattern, const std::string& path) {
    const size_t literal = std::min(pattern.find_first_of("*?[\\"), pattern.size());
    if (pattern.compare(0, literal, path, 0, literal) != 0)
        return false;
    if (literal + 1 == pattern.size() && pattern.back() == '*')
        return true;
    // The flags are 0: a '*' takes slashes, too.
    return !has_open_bracket(pattern) && fnmatch(pattern.c_str(), path.c_str(), 0) == 0;
}

bool covers(const Section& section, const std::string& path, const std::string& user) {
    std::string name = section.path;
    for (size_t at = 0; section.for_each_user && (at = name.find("%u", at)) != std::string::npos;
         at += user.size())
        name.replace(at, 2, user);
    if (name.ends_with("/*"))
        return name == path || matches(name, path);
    while (name.size() > 1 && name.ends_with('/'))
        name.pop_back();
    const std::string inside = name + (name == "/" ? "*" : "/*");
    // Live: only a pattern covers the folder itself otherwise than by its very name.
    return name == path || matches(inside, path) ||
           (name.find_first_of("*?[") != std::string::npos && matches(inside, path + '/'));
}

const Section* section_of(const Section& outer, const std::string& path, const std::string& user) {
    for (const auto& section : outer.folders) {
        if (!covers(*section, path, user))
            continue;
        const Section* inner = section_of(*section, path, user);
        return inner != nullptr ? inner : section.get();
    }
    return nullptr;
}

// --- Limits ("Configuring <Limits>").

bool matches_pattern(const std::string& pattern, const std::string& name) {
    regex_t compiled;
    if (regcomp(&compiled, pattern.c_str(), REG_EXTENDED | REG_NOSUB) != 0)
        return false;
    const bool found = regexec(&compiled, name.c_str(), 0, nullptr, 0) == 0;
    regfree(&compiled);
    return found;
}

struct Visitor {
    std::string user;
    const std::vector<std::string>* groups;
};

bool is_meant(const Rule& rule, const std::string& name, const Visitor& visitor) {
    const bool negated = name.starts_with('!');
    const std::string_view plain = std::string_view(name).substr(negated);
    const bool found = rule.subject == Rule::user
                           ? plain == visitor.user
                           : std::count(visitor.groups->begin(), visitor.groups->end(), plain) > 0;
    return found != negated;
}

bool is_meant(const Rule& rule, const Visitor& visitor) {
    const auto meant = [&](const std::string& name) { return is_meant(rule, name, visitor); };
    if (rule.subject == Rule::everybody)
        return true;
    if (rule.match == Rule::pattern) {
        const auto fits = [&](const std::string& name) {
            return matches_pattern(rule.names[0], name);
        };
        return rule.subject == Rule::user
                   ? fits(visitor.user)
                   : std::any_of(visitor.groups->begin(), visitor.groups->end(), fits);
    }
    return rule.match == Rule::any_of ? std::any_of(rule.names.begin(), rule.names.end(), meant)
                                      : std::all_of(rule.names.begin(), rule.names.end(), meant);
}

// Whether the lines that let in, or those that keep out, mean a visitor. Live: a list without a
// name means everybody if it is the last one of its kind, nobody otherwise.
bool is_meant(const Limit& limit, bool allows, const Visitor& visitor) {
    bool empty[] = {false, false, false};  // by subject: the last list names nobody
    for (const Rule& rule : limit.rules) {
        if (rule.allows != allows)
            continue;
        const bool names_somebody = rule.subject == Rule::everybody || !rule.names.empty();
        if (names_somebody && is_meant(rule, visitor))
            return true;
        empty[rule.subject] = !names_somebody;
    }
    return empty[Rule::user] || empty[Rule::group];
}

enum class Word { none, allowed, denied };

Word word_of(const Limit& limit, const Visitor& visitor) {
    const bool allowed = is_meant(limit, true, visitor);
    const bool denied = is_meant(limit, false, visitor);
    if (limit.deny_first)
        return denied || !allowed ? Word::denied : Word::allowed;
    return allowed ? Word::allowed : denied ? Word::denied : Word::none;
}

struct Decision {
    Word word = Word::none;
    const Section* section = nullptr;
};

// A section's own word counts before that of the section around it, the server's comes last.
Decision decide(const Section* section, const char* command, const Visitor& visitor) {
    for (; section != nullptr; section = section->parent)
        for (const Limit& limit : section->limits) {
            const auto named = [&](const std::string& name) {
                return strcasecmp(name.c_str(), command) == 0;
            };
            if (std::none_of(limit.commands.begin(), limit.commands.end(), named))
                continue;
            const Word word = word_of(limit, visitor);
            if (word != Word::none)
                return {word, section};
        }
    return {};
}

// A command's own limits count before those of its group, and those before ALL.
Decision decide(const Section* section, std::initializer_list<const char*> commands,
                const Visitor& visitor) {
    for (const char* command : commands)
        if (const Decision decision = decide(section, command, visitor);
            decision.word != Word::none)
            return decision;
    return {Word::allowed, nullptr};
}

bool has_user_paths(const Section& outer) {
    return std::any_of(outer.folders.begin(), outer.folders.end(), [](const auto& section) {
        return section->for_each_user || has_user_paths(*section);
    });
}

// `section` is that of the folder's files, or NULL.
Given given_by(const Section& outer, const Section* section, const Visitor& visitor) {
    if (decide(&outer, "LOGIN", visitor).word == Word::denied)
        return {};
    const Section* rules = section != nullptr ? section : &outer;
    const Decision read = decide(rules, {"RETR", "READ", "ALL"}, visitor);
    const Decision write = decide(rules, {"STOR", "WRITE", "ALL"}, visitor);
    return {read.word == Word::allowed, write.word == Word::allowed, section, read.section,
            write.section};
}

bool is_below(const std::string& folder, const std::string& root) {
    return root == "/" || folder == root || folder.starts_with(root + '/');
}

}  // namespace

void arrange(Section* outer) {
    // Live: the last section of the file is searched first.
    std::reverse(outer->folders.begin(), outer->folders.end());
    nest(outer);
}

bool Server::takes_as_anonymous(const std::string& name) const {
    return std::any_of(anonymous_.begin(), anonymous_.end(), [&](const auto& section) {
        return section->user == name ||
               std::count(section->aliases.begin(), section->aliases.end(), name) > 0;
    });
}

std::vector<Given> Server::give(const Machine& machine, const std::string& path) const {
    const std::string folder = plain_path(path);
    const Given anonymous = give_without_account(machine, path);
    const bool same_for_all = !has_user_paths(main_);
    const Section* section = section_of(main_, folder + "/file", "");
    std::vector<Given> all;
    for (const Person& person : machine.people()) {
        Given& given = all.emplace_back();
        if (takes_as_anonymous(person.name)) {
            given = anonymous;
            continue;
        }
        if (!is_below(folder, root_) || (person.name == "root" && !root_login_))
            continue;
        if (!same_for_all)
            section = section_of(main_, folder + "/file", person.name);
        given = given_by(main_, section, {person.name, &person.groups});
    }
    return all;
}

Given Server::give_without_account(const Machine& machine, const std::string& path) const {
    const std::string folder = plain_path(path);
    Given most;
    for (const auto& section : anonymous_) {
        if (!is_below(folder, section->path))
            continue;
        const std::vector<std::string> no_groups;
        Visitor visitor = {section->user, &no_groups};
        for (const Person& person : machine.people())
            if (person.name == section->user)
                visitor.groups = &person.groups;
        const Given given =
            given_by(*section, section_of(*section, folder + "/file", section->user), visitor);
        if (given.read + given.write > most.read + most.write || most.section == nullptr)
            most = given;
    }
    return most;
}

bool Server::has(const std::string& folder) const {
    return is_below(plain_path(folder), root_);
}

static const Section* section_at(const Section& outer, int line) {
    for (const auto& section : outer.folders) {
        if (section->line == line)
            return section.get();
        if (const Section* inner = section_at(*section, line))
            return inner;
    }
    return nullptr;
}

bool Server::covers(int line, const std::string& folder) const {
    const Section* section = section_at(main_, line);
    for (size_t number = 0; section == nullptr && number < anonymous_.size(); ++number)
        section = section_at(*anonymous_[number], line);
    return section != nullptr && ftp::covers(*section, plain_path(folder) + "/file", "\n");
}

static void collect_paths(const Section& section, std::vector<std::string>* paths) {
    for (const auto& folder : section.folders) {
        paths->push_back(folder->path);
        collect_paths(*folder, paths);
    }
}

std::vector<std::string> Server::paths() const {
    std::vector<std::string> paths;
    collect_paths(main_, &paths);
    for (const auto& section : anonymous_)
        collect_paths(*section, &paths);
    return paths;
}

}  // namespace tavrogen::access::ftp
