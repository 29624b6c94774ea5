// tavrogen-lint: names each setting that tavrogen writes faithfully and a service misreads.
#include "access/causes.h"
#include "access/machine/door.h"
#include "access/machine/text.h"

#include <algorithm>
#include <errno.h>
#include <getopt.h>
#include <stdio.h>
#include <string.h>

namespace tavrogen::access {
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
            if (options->root.empty()) {
                fputs("tavrogen-lint: --root needs a folder\n", stderr);
                return trouble;
            }
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
    auto missing = missing_inputs(machine);
    if (!machine.file("/etc/passwd"))
        missing["/etc/passwd"] = errno;
    for (const auto& [path, why] : missing) {
        if (why == ENOENT && path != info_file && path != share_file)
            continue;
        const std::string place = machine.place(path);
        fprintf(stderr, "tavrogen-lint: cannot read %s: %s\n",
                (place.empty() ? path : place).c_str(), Machine::reason(why));
        return false;
    }
    return true;
}

using Services = std::set<Service>;

std::string in_words(const Services& services) {
    std::vector<std::string> names;
    for (const Service service : services)
        names.emplace_back(name_of(service));
    return listed(names);
}

// "NAME: what", by services where they do not all do the same: "NAME: SMB: what; NAME: FTP: else".
std::string who_in_words(const Finding& finding, const Services& all) {
    std::map<std::pair<std::string, std::string>, Services> services_of;
    for (const Difference& effect : finding.effects)
        services_of[{effect.subject, effect.what}].insert(effect.service);
    std::map<std::pair<Services, std::string>, std::vector<std::string>> subjects_of;
    for (const auto& [hit, services] : services_of)
        subjects_of[{services, hit.second}].push_back(hit.first);
    std::vector<std::string> clauses;
    for (const auto& [hit, subjects] : subjects_of) {
        std::string clause = listed(subjects);
        if (hit.first != all)
            clause += (clause.empty() ? "" : ": ") + in_words(hit.first);
        clauses.push_back(clause + (clause.empty() ? "" : ": ") + hit.second);
    }
    std::string words;
    for (const std::string& clause : clauses)
        words += (words.empty() ? "" : "; ") + clause;
    return words;
}

void print(const Finding& finding) {
    Services services;
    for (const Difference& effect : finding.effects)
        services.insert(effect.service);
    const std::string line = finding.line > 0 ? ':' + std::to_string(finding.line) : "";
    const std::string text = in_words(services) + ": " +
                             effects[static_cast<int>(finding.effect())] + ": " +
                             who_in_words(finding, services) + ": " + finding.cause.text +
                             (finding.cause.cure.empty() ? "" : ", ") + finding.cause.cure;
    printf("%s%s: %s\n", finding.file.c_str(), line.c_str(), printable(text, stdout).c_str());
}

int lint(const Options& options) {
    const Machine machine(options.root);
    if (!is_readable(machine))
        return trouble;
    int status = clean;
    for (const Finding& finding : find_causes(machine))
        if (finding.effect() <= options.at_least) {
            print(finding);
            status = found;
        }
    return status;
}

}  // namespace
}  // namespace tavrogen::access

int main(int count, char** words) {
    using namespace tavrogen::access;
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
