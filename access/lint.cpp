// tavrogen-lint: names each setting that tavrogen writes faithfully and a service misreads.
#include "access/machine/model.h"

#include <algorithm>
#include <errno.h>
#include <getopt.h>
#include <stdio.h>
#include <string.h>
#include <tuple>

using tavrogen::access::Effect;
using tavrogen::access::Finding;
using tavrogen::access::Machine;

namespace {

enum { clean, found, trouble };  // exit statuses

constexpr const char* effects[] = {"exposes", "stops", "breaks", "looks"};  // by Effect

constexpr char help[] =
    "usage: tavrogen-lint [OPTION...]\n"
    "Names the settings that tavrogen writes faithfully and a service misreads, worst first.\n"
    "  --root DIR         an appliance root (default: this machine's own)\n"
    "  --at-least EFFECT  only findings of this effect and worse ones: exposes, stops, breaks,\n"
    "                     looks (default)\n"
    "  --help, --version\n"
    "Exit status: 0 nothing to name, 1 findings, 2 trouble.\n";

struct Options {
    std::string root = "/";
    Effect at_least = Effect::looks;
};

// Returns the status to end with, or -1 to go on.
int parse(int count, char** words, Options* options) {
    static constexpr option known[] = {
        {"root", required_argument, nullptr, 'r'},
        {"at-least", required_argument, nullptr, 'a'},
        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'v'},
        {},
    };
    for (int letter = 0; (letter = getopt_long(count, words, "", known, nullptr)) != -1;) {
        if (letter == 'r') {
            options->root = optarg;
        } else if (letter == 'a') {
            const auto* effect =
                std::find_if(std::begin(effects), std::end(effects),
                             [](const char* name) { return strcmp(name, optarg) == 0; });
            if (effect == std::end(effects)) {
                fprintf(stderr, "tavrogen-lint: no effect is called %s\n", optarg);
                return trouble;
            }
            options->at_least = static_cast<Effect>(effect - effects);
        } else if (letter == 'h') {
            fputs(help, stdout);
            return clean;
        } else if (letter == 'v') {
            puts("tavrogen-lint " TAVROGEN_VERSION);
            return clean;
        } else {
            fputs(help, stderr);
            return trouble;
        }
    }
    if (optind == count)
        return -1;
    fputs(help, stderr);
    return trouble;
}

// A setting that cannot be read would count as missing, and the findings would be wrong.
bool is_readable(const Machine& machine) {
    static constexpr struct {
        const char* name;
        bool needed;
    } files[] = {
        {"info", true},        {"shareinfo", true},         {"usbshareinfo", false},
        {"msdfs", false},      {"shareinfo.hidden", false}, {"shareinfo.vfs", false},
        {"diskinfo", false},   {"offlinefile", false},      {"nfs_info", false},
        {"iscsi_info", false},
    };
    for (const auto& file : files) {
        const std::string path = std::string("/etc/korvel/") + file.name;
        if (machine.file(path) || (!file.needed && errno == ENOENT))
            continue;
        fprintf(stderr, "tavrogen-lint: cannot read %s: %s\n", machine.place(path).c_str(),
                strerror(errno));
        return false;
    }
    return true;
}

// What services do about one cause.
struct Joined {
    std::vector<Finding> parts;

    const Finding& first() const { return parts.front(); }
    Effect effect() const {
        return std::min_element(parts.begin(), parts.end(),
                                [](const Finding& left, const Finding& right) {
                                    return left.effect < right.effect;
                                })
            ->effect;
    }
};

auto cause_of(const Finding& finding) {
    return std::tie(finding.file, finding.line, finding.cause);
}

// The findings of all services, those of one cause joined, worst first.
std::vector<Joined> find_all(const Machine& machine) {
    using Check = std::vector<Finding>(const Machine&);
    static constexpr Check* checks[] = {
        tavrogen::access::check_smb, tavrogen::access::check_ftp,   tavrogen::access::check_atalk,
        tavrogen::access::check_nfs, tavrogen::access::check_iscsi, tavrogen::access::check_syslog};
    const Machine settings = machine.after_run();
    std::vector<Joined> all;
    for (Check* check : checks)
        for (const Finding& finding : check(settings)) {
            const auto same = std::find_if(all.begin(), all.end(), [&](const Joined& other) {
                return cause_of(other.first()) == cause_of(finding);
            });
            if (same == all.end())
                all.push_back({{finding}});
            else
                same->parts.push_back(finding);
        }
    const auto badness = [](const Joined& joined) {
        return std::make_tuple(joined.effect(), joined.first().file, joined.first().line);
    };
    std::stable_sort(all.begin(), all.end(), [&](const Joined& left, const Joined& right) {
        return badness(left) < badness(right);
    });
    return all;
}

using Services = std::set<tavrogen::access::Service>;

std::string in_words(const Services& services) {
    std::string words;
    for (const tavrogen::access::Service service : services)
        words += (words.empty() ? "" : ", ") + std::string(tavrogen::access::name_of(service));
    return words;
}

// "NAME: what", by services where they do not all do the same: "NAME: SMB: what; NAME: FTP: else".
std::string who_in_words(const Joined& joined) {
    using Hit = std::pair<std::string, std::string>;  // who, and what happens to him
    std::map<Hit, Services> services_of;
    Services all;
    for (const Finding& part : joined.parts) {
        const size_t colon = part.who.find(": ");
        const size_t end = std::min(colon, part.who.size());
        const Hit hit = {part.who.substr(0, end), part.who.substr(end)};
        services_of[hit].insert(part.services.begin(), part.services.end());
        all.insert(part.services.begin(), part.services.end());
    }
    std::map<std::pair<Services, std::string>, std::string> names_of;
    for (const auto& [hit, services] : services_of) {
        std::string& names = names_of[{services, hit.second}];
        names += (names.empty() ? "" : ", ") + hit.first;
    }
    std::string words;
    for (const auto& [hit, names] : names_of)
        words += (words.empty() ? "" : "; ") + names +
                 (hit.first == all ? "" : ": " + in_words(hit.first)) + hit.second;
    return words;
}

void print(const Joined& joined) {
    Services services;
    for (const Finding& part : joined.parts)
        services.insert(part.services.begin(), part.services.end());
    const Finding& first = joined.first();
    const std::string line = first.line > 0 ? ':' + std::to_string(first.line) : "";
    const std::string text =
        in_words(services) + ": " + effects[static_cast<int>(joined.effect())] + ": " +
        who_in_words(joined) + ": " + first.cause + (first.cure.empty() ? "" : ", ") + first.cure;
    printf("%s%s: %s\n", first.file.c_str(), line.c_str(),
           tavrogen::access::printable(text, stdout).c_str());
}

int lint(const Options& options) {
    const Machine machine(options.root);
    if (!is_readable(machine))
        return trouble;
    int status = clean;
    for (const Joined& joined : find_all(machine))
        if (joined.effect() <= options.at_least) {
            print(joined);
            status = found;
        }
    return status;
}

}  // namespace

int main(int count, char** words) {
    Options options;
    int status = parse(count, words, &options);
    if (status == -1)
        status = lint(options);
    if (fflush(stdout) != 0 || ferror(stdout) != 0) {
        perror("tavrogen-lint: standard output");
        return trouble;
    }
    return status;
}
