// Reads /etc/atalk/AppleVolumes.default back as afpd of Netatalk 2.0 does: AppleVolumes.default(5),
// and afpd.conf(5) for guests.
#include "access/machine/crowd.h"
#include "access/machine/reading.h"
#include "access/machine/text.h"
#include "access/services/judge.h"

#include <algorithm>
#include <limits.h>
#include <strings.h>

namespace tavrogen::access {

namespace {

constexpr char volume_file[] = "/etc/atalk/AppleVolumes.default";
constexpr size_t longest_line = 8191, longest_word = PATH_MAX, longest_name = 27;

struct Line {
    std::string text;
    int number;  // of the first of the lines that it is joined from
};

// A return ends a line, too; a backslash at the end takes the next line with it.
std::vector<Line> config_lines(const std::string& text) {
    std::vector<Line> lines;
    int number = 1;
    bool begins = true;
    for (const char byte : text) {
        if (begins)
            lines.push_back({"", number});
        std::string& line = lines.back().text;
        number += byte == '\n';
        const bool ends = byte == '\n' || byte == '\r';
        const bool joins = ends && line.ends_with('\\');
        if (joins)
            line.pop_back();
        else if (!ends)
            line += byte;
        begins = (ends && !joins) || line.size() == longest_line;
    }
    return lines;
}

// The words of a line, at blanks and tabs outside double quotes. A word that is too long, or whose
// quote is not closed, ends the reading of the line.
std::vector<std::string> words_of(const std::string& line) {
    std::vector<std::string> words;
    std::string word;
    bool begun = false, quoted = false;
    for (const char byte : line + '\n') {
        if (byte == '"') {
            quoted = !quoted;
            begun = true;
        } else if (quoted || (byte != ' ' && byte != '\t' && byte != '\n')) {
            word += byte;
            begun = true;
            if (word.size() > longest_word)
                return words;
        } else if (begun) {
            words.push_back(word);
            word.clear();
            begun = false;
        }
    }
    return words;
}

// One volume, as its line gives it.
struct Volume {
    std::string path;
    std::string name;
    std::string allow, deny, rwlist, rolist;
    bool read_only = false;
    int line = 0;
};

// A word with a colon is an option, known or not; any other one is the name. An option without a
// value counts for nothing.
void read_word(const std::string& word, Volume* volume) {
    const size_t colon = word.find(':');
    if (colon == std::string::npos) {
        volume->name = word;
        return;
    }
    const std::string value = word.substr(colon + 1);
    const std::string option = word.substr(0, colon);
    const struct {
        const char* name;
        std::string* list;
    } rows[] = {{"allow", &volume->allow},
                {"deny", &volume->deny},
                {"rwlist", &volume->rwlist},
                {"rolist", &volume->rolist}};
    for (const auto& row : rows)
        if (strcasecmp(option.c_str(), row.name) == 0 && !value.empty())
            *row.list = value;
    if (strcasecmp(option.c_str(), "options") == 0)
        for (const std::string& flag : names_in(value))
            volume->read_only = volume->read_only || strcasecmp(flag.c_str(), "ro") == 0;
}

// Puts in what stands for the variables ("Variable Substitution"). What depends on the session is
// shown as a word in brackets.
std::string substitute(const std::string& text, const std::string& path) {
    std::string result;
    for (size_t at = 0; at < text.size(); ++at) {
        const char letter = text[at] == '$' ? text[at + 1] : '\0';
        if (letter == '$') {
            result += '$';
        } else if (letter == 'b' || letter == 'd') {
            result += letter == 'd' ? path : path.substr(path.rfind('/') + 1);
        } else if (letter != '\0' && std::string("cfghisuvz").find(letter) != std::string::npos) {
            result += "(varies)";
        } else {
            result += text[at];
            continue;
        }
        ++at;
    }
    return result;
}

std::vector<Volume> read_volumes(const std::string& text) {
    std::vector<Volume> volumes;
    for (const Line& line : config_lines(text)) {
        const std::vector<std::string> words = words_of(line.text);
        if (words.empty() || !words[0].starts_with('/'))
            continue;  // the line of defaults says nothing of who may use a volume
        Volume volume;
        volume.line = line.number;
        for (size_t word = 1; word < words.size(); ++word)
            read_word(words[word], &volume);
        volume.path = substitute(words[0], "");
        if (volume.name.empty())
            volume.name = volume.path.substr(volume.path.rfind('/') + 1);
        volume.name = substitute(volume.name, volume.path);
        if (!volume.name.empty())
            volumes.push_back(volume);
    }
    return volumes;
}

// A list without any name holds everybody: "allow".
bool names_nobody(const std::string& list) {
    return list.find_first_not_of(',') == std::string::npos;
}

// Marks those whom a list names.
std::vector<bool> listed(const std::string& list, const Crowd& crowd) {
    std::vector<bool> marked(crowd.people().size());
    for (const std::string& name : access::words_of(list, ","))
        for (const size_t person :
             name.starts_with('@') ? crowd.group(name.substr(1)) : crowd.account(name))
            marked[person] = true;
    return marked;
}

std::vector<Right> rights_on(const Volume& volume, const Crowd& crowd) {
    const auto allowed = listed(volume.allow, crowd), denied = listed(volume.deny, crowd);
    const auto readers = listed(volume.rolist, crowd), writers = listed(volume.rwlist, crowd);
    std::vector<Right> rights(crowd.people().size());
    for (size_t person = 0; person < rights.size(); ++person)
        if ((names_nobody(volume.allow) || allowed[person]) && !denied[person])
            rights[person] = volume.read_only || readers[person] ||
                                     (!names_nobody(volume.rwlist) && !writers[person])
                                 ? Right::read
                                 : Right::write;
    return rights;
}

// The domain of the appliance, with its separator; empty outside a domain.
std::string domain_prefix(const Machine& machine) {
    const std::string domain = setting(machine, "/etc/korvel/info", "domain").value;
    const bool member = domain == "on" || domain == "ad";
    return member ? setting(machine, "/etc/korvel/info", "wg").value.substr(0, 29) + '+' : "";
}

// Who may log in, a guest last; accounts of the domain do so without its name.
std::vector<Person> logins_of(const Machine& machine) {
    const std::string prefix = domain_prefix(machine);
    std::vector<Person> logins = machine.people();
    for (Person& person : logins)
        if (!prefix.empty() && person.name.starts_with(prefix))
            person.name.erase(0, prefix.size());
    logins.push_back({"nobody", {}, ""});
    return logins;
}

std::string folded(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return name;
}

std::vector<Grant> read_grants(const Machine& machine, const std::vector<Volume>& volumes) {
    const Crowd crowd(logins_of(machine));
    const bool guests = machine.file("/etc/atalk/afpd.conf").value_or("").find("uams_guest.so") !=
                        std::string::npos;
    std::map<std::string, std::vector<bool>> taken;  // by name: who has an earlier volume of it
    std::vector<Grant> grants;
    for (const Volume& volume : volumes) {
        Grant grant = {};
        grant.service = Service::atalk;
        grant.share = volume.name.substr(0, longest_name);
        grant.folder = volume.path;
        grant.line = volume.line;
        grant.people = rights_on(volume, crowd);
        if (!guests)
            grant.people.back() = Right::none;
        const bool is_text = as_utf8(volume.name) == volume.name;
        auto& has_one = taken[folded(volume.name)];
        has_one.resize(grant.people.size());
        for (size_t person = 0; person < has_one.size(); ++person)
            if (has_one[person] || !is_text)
                grant.people[person] = Right::none;
            else
                has_one[person] = grant.people[person] != Right::none;
        grant.guest = grant.people.back();
        grant.people.pop_back();
        grants.push_back(grant);
    }
    return grants;
}

// --- The judge.

// A local account of the name of a listed domain account is not told from it, and in a domain
// does not log in.
std::vector<Right> with_domain(const Machine& machine, const IntendedShare& share,
                               std::vector<Right> people) {
    const std::string prefix = domain_prefix(machine);
    for (size_t number = 0; number < people.size() && !prefix.empty(); ++number)
        for (const size_t list : {rw_users, ro_users})
            for (const std::string& name : names_in(share.lists[list]))
                if (name == prefix + machine.people()[number].name)
                    people[number] = share.people[number];
    return people;
}

// What the server gives from these volumes of a share, set against what is meant.
std::optional<Difference> judge_share(const Machine& machine, const IntendedShare& share,
                                      const std::vector<const Grant*>& grants) {
    std::vector<Right> people(machine.people().size(), Right::none);
    Right guest = Right::none;
    std::string elsewhere, name = share.name;
    bool exposes = false;
    for (const Grant* grant : grants) {
        name = grant->share;
        if (grant->folder == share.folder) {
            people = with_domain(machine, share, grant->people);
            guest = grant->guest;
        } else {
            elsewhere = grant->folder;
            exposes = machine.is_directory(grant->folder);
        }
    }
    auto found = compare(machine, share, Service::atalk, people, guest);
    if (!found && name != share.name)
        found = Difference{Service::atalk, Effect::looks, share.file,
                           share.line,     share.name,    "its name is shown as " + quoted(name)};
    if (found && !elsewhere.empty())
        found->what += ", the volume is " + elsewhere;
    if (found && exposes)
        found->effect = Effect::exposes;
    return found;
}

// A volume that is no share's, such as that of a line without a volume.
bool is_stray(const Grant& grant) {
    const bool is_info = grant.folder == "/mnt/info" && grant.share == "info";
    const auto given = [](Right right) { return right != Right::none; };
    return !is_info &&
           (given(grant.guest) || std::any_of(grant.people.begin(), grant.people.end(), given));
}

}  // namespace

Reading read_apple_volumes(const Machine& machine) {
    Reading reading;
    const auto text = machine.file(volume_file);
    reading.present = text.has_value();
    reading.grants = read_grants(machine, read_volumes(text.value_or("")));
    return reading;
}

Differences judge_atalk(const Machine& machine) {
    const auto text = machine.file(volume_file);
    if (!text)
        return {};
    std::vector<IntendedShare> shares;
    std::vector<std::string> beginnings;
    for (const bool usb : {true, false})  // in the order of the file
        for (const IntendedShare& share : intended_shares(machine))
            if (share.usb == usb && share.services.contains(Service::atalk)) {
                shares.push_back(share);
                beginnings.push_back(share.folder + " \"");
            }
    const std::vector<Span> spans = spans_of(*text, beginnings);
    std::map<int, size_t> share_at;  // by the first lines of their spans
    for (size_t number = 0; number < spans.size(); ++number)
        if (spans[number].begin > 0)
            share_at[spans[number].begin] = number;
    const std::vector<Grant> grants = read_grants(machine, read_volumes(*text));
    std::vector<std::vector<const Grant*>> given(shares.size());
    Differences found;
    for (const Grant& grant : grants) {
        const auto after = share_at.upper_bound(grant.line);
        const size_t number = after == share_at.begin() ? 0 : std::prev(after)->second;
        if (after != share_at.begin() && spans[number].holds(grant.line))
            given[number].push_back(&grant);
        else if (is_stray(grant))
            found.push_back({Service::atalk, Effect::exposes, "", 0, quoted(grant.share),
                             "the volume is " + grant.folder});
    }
    for (size_t number = 0; number < shares.size(); ++number)
        if (auto difference = judge_share(machine, shares[number], given[number]))
            found.push_back(*difference);
    return found;
}

}  // namespace tavrogen::access
