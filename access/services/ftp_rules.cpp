// Whom the sections of proftpd.conf let in.
#include "access/services/ftp.h"

#include <algorithm>
#include <fnmatch.h>

namespace tavrogen::access::ftp {

namespace {

// --- The order of <Directory> sections.

constexpr char wildcards[] = "*?[\\";

std::string without_end(const std::string& path, const char* end) {
    return path.substr(0, path.find_last_not_of(end) + 1);
}

size_t common_length(const std::string& left, const std::string& right) {
    const auto [at, other] = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    return static_cast<size_t>(at - left.begin());
}

// Live: a '[' without its ']' matches nothing, where fnmatch(3) takes it as it is.
bool has_open_bracket(const std::string& pattern) {
    const size_t open = pattern.rfind('[');
    return open != std::string::npos && pattern.find(']', open + 2) == std::string::npos;
}

bool matches(const std::string& pattern, const std::string& path) {
    const size_t literal = std::min(pattern.find_first_of(wildcards), pattern.size());
    if (pattern.compare(0, literal, path, 0, literal) != 0)
        return false;
    if (literal + 1 == pattern.size() && pattern.back() == '*')
        return true;
    // The flags are 0: a '*' takes slashes, too.
    return !has_open_bracket(pattern) && fnmatch(pattern.c_str(), path.c_str(), 0) == 0;
}

// Of a section whose path is a pattern.
bool covers(const std::string& section, const std::string& path) {
    if (section.ends_with("/*"))
        return section == path || matches(section, path);
    const std::string name = without_end(section, "/");
    // Live: only a pattern covers the folder itself otherwise than by its very name.
    return name == path || matches(name + "/*", path) ||
           (name.find_first_of("*?[") != std::string::npos && matches(name + "/*", path + '/'));
}

// --- Limits.

using Mask = std::vector<char>;  // one for each of the people

// Counts for each how many names of a rule mean him: NAME, or all but him by "!NAME".
std::vector<size_t> hits_of(const Rule& rule, const Crowd& crowd) {
    std::vector<size_t> hits(crowd.people().size());
    const auto fits = [&](const std::string& name) {
        return name.find(rule.names[0]) != std::string::npos;
    };
    for (size_t person = 0; person < hits.size() && rule.match == Rule::part; ++person) {
        const auto& [name, groups, primary, is_group] = crowd.people()[person];
        hits[person] = rule.subject == Rule::user ? fits(name)
                                                  : std::any_of(groups.begin(), groups.end(), fits);
    }
    if (rule.match == Rule::part)
        return hits;
    for (const std::string& name : rule.names) {
        const bool negated = name.starts_with('!');
        const std::string plain = name.substr(negated);
        for (size_t& one : hits)
            one += negated;
        for (const size_t person :
             rule.subject == Rule::user ? crowd.account(plain) : crowd.group(plain))
            negated ? --hits[person] : ++hits[person];
    }
    return hits;
}

// Whom the lines that let in, or those that keep out, mean. Live: a list without a name means
// everybody if it is the last one of its kind, nobody otherwise.
Mask meant(const Limit& limit, bool allows, const Crowd& crowd) {
    Mask mask(crowd.people().size());
    bool empty[] = {false, false, false};  // by subject: the last list names nobody
    bool all = false;
    for (const Rule& rule : limit.rules) {
        if (rule.allows != allows)
            continue;
        all = all || rule.subject == Rule::everybody;
        empty[rule.subject] = rule.subject != Rule::everybody && rule.names.empty();
        const auto hits = hits_of(rule, crowd);
        const size_t wanted = rule.match == Rule::all_of ? rule.names.size() : 1;
        for (size_t person = 0; person < hits.size() && !empty[rule.subject]; ++person)
            mask[person] |= hits[person] >= wanted;
    }
    if (all || empty[Rule::user] || empty[Rule::group])
        mask.assign(mask.size(), 1);
    return mask;
}

// Who may do what a command stands for. A section's own word counts before that of the section
// around it, the server's comes last; and the command's own limits count before those of ALL.
Mask allowed(const Section* section, const char* command, const Crowd& crowd) {
    Mask decided(crowd.people().size()), allowed(decided.size(), 1);
    for (const std::string_view sought : {command, "ALL"})
        for (const Section* at = section; at != nullptr; at = at->parent)
            for (const Limit& limit : at->limits) {
                if (std::find(limit.commands.begin(), limit.commands.end(), sought) ==
                        limit.commands.end() ||
                    (limit.rules.empty() && !limit.deny_first))
                    continue;
                const Mask in = meant(limit, true, crowd), out = meant(limit, false, crowd);
                for (size_t person = 0; person < decided.size(); ++person) {
                    if (decided[person])
                        continue;
                    decided[person] = limit.deny_first || in[person] || out[person];
                    if (decided[person])
                        allowed[person] = in[person] && !(limit.deny_first && out[person]);
                }
            }
    return allowed;
}

std::vector<Right> given_by(const Section& section, const Crowd& crowd) {
    const Mask read = allowed(&section, "READ", crowd), write = allowed(&section, "WRITE", crowd);
    std::vector<Right> given;
    for (size_t person = 0; person < read.size(); ++person)
        given.push_back(static_cast<Right>(read[person] | write[person] << 1));
    return given;
}

bool is_below(const std::string& folder, const std::string& root) {
    return root == "/" || folder == root || folder.starts_with(root + '/');
}

}  // namespace

bool Folders::add(const std::string& path, Section* outer) {
    outer_ = outer;
    sections_.push_back(std::make_unique<Section>());
    sections_.back()->path = path;
    return known_.insert(path).second;
}

// Live: each section lies in the closest one around it, by the text of the paths alone. Those that
// are another one for each user ("%u") cover no folder that is asked about here.
void Folders::nest() {
    std::unordered_map<std::string, Numbers> by_base;
    for (size_t number = sections_.size(); number-- > 0;)
        by_base[without_end(sections_[number]->path, "*/")].push_back(number);
    for (size_t number = 0; number < sections_.size(); ++number) {
        Section& section = *sections_[number];
        const std::string& path = section.path;
        section.parent = outer_;
        for (size_t slash = path.rfind('/');
             section.parent == outer_ && slash<path.size(); slash = slash> 0
                 ? path.rfind('/', slash - 1)
                 : std::string::npos) {
            size_t length = 0;
            for (const size_t other : by_base[path.substr(0, slash)])
                if (const size_t common = common_length(path, sections_[other]->path);
                    other != number && common > length) {
                    section.parent = sections_[other].get();
                    length = common;
                }
        }
        if (outer_->parent == nullptr && path.find("%u") != std::string::npos)
            continue;  // not so of the <Anonymous>
        if (path.find_first_of(wildcards) != std::string::npos)
            patterns_[section.parent].push_back(number);
        else
            by_name_[without_end(path, "/")].push_back(number);
    }
}

// Live: of the outermost sections that cover a path the last one of the file is taken, of the
// others the first one.
const Section* Folders::find_in(const Section* outer, const std::string& path) const {
    size_t best = sections_.size();
    const auto take = [&](size_t number) {
        if (best == sections_.size() || (outer == outer_ ? number > best : number < best))
            best = number;
    };
    for (size_t end = path.size(); end != std::string::npos;
         end = end > 0 ? path.rfind('/', end - 1) : end - 1)
        if (const auto at = by_name_.find(path.substr(0, end)); at != by_name_.end())
            for (const size_t number : at->second)
                if (sections_[number]->parent == outer)
                    take(number);
    if (const auto at = patterns_.find(outer); at != patterns_.end())
        for (const size_t number : at->second)
            if (covers(sections_[number]->path, path))
                take(number);
    if (best == sections_.size())
        return nullptr;
    const Section* inner = find_in(sections_[best].get(), path);
    return inner != nullptr ? inner : sections_[best].get();
}

const Section* Folders::find(const std::string& path) const {
    return find_in(outer_, path);
}

std::vector<std::string> Folders::paths() const {
    std::vector<std::string> paths;
    for (const auto& section : sections_)
        paths.push_back(section->path);
    return paths;
}

bool Server::has(const std::string& folder) const {
    return is_below(plain_path(folder), root_);
}

std::vector<Right> Server::give(const std::string& folder) const {
    if (!has(folder))
        return std::vector<Right>(crowd_.people().size());
    const Section* section = folders_.find(plain_path(folder) + "/file");
    auto all = given_by(section != nullptr ? *section : main_, crowd_);
    for (const std::string& name : anonymous_names_)
        for (const size_t person : crowd_.account(name))
            all[person] = give_without_account(folder);
    return all;
}

Right Server::give_without_account(const std::string& folder) const {
    if (!guest_ || !is_below(plain_path(folder), anonymous_.path))
        return Right::none;
    const Section* section = anonymous_folders_.find(plain_path(folder) + "/file");
    return given_by(section != nullptr ? *section : anonymous_, *guest_)[0];
}

std::vector<std::string> Server::paths() const {
    auto paths = folders_.paths();
    for (const std::string& path : anonymous_folders_.paths())
        paths.push_back(path);
    return paths;
}

}  // namespace tavrogen::access::ftp
