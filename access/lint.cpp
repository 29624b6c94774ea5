// tavrogen-lint: names each setting that tavrogen writes faithfully and a service misreads.
#include "access/model.h"

#include <algorithm>
#include <errno.h>
#include <getopt.h>
#include <stdio.h>
#include <string.h>
#include <tuple>

using rights::Effect;
using rights::Finding;
using rights::Machine;

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

auto place(const Finding& finding) {
    return std::tie(finding.file, finding.line, finding.cause);
}

// The findings of all services, those of one cause joined, worst first.
std::vector<Finding> find_all(const Machine& machine) {
    using Check = std::vector<Finding>(const Machine&);
    static constexpr Check* checks[] = {rights::check_smb,   rights::check_ftp,
                                        rights::check_atalk, rights::check_nfs,
                                        rights::check_iscsi, rights::check_syslog};
    const Machine settings = machine.after_run();
    std::vector<Finding> joined;
    for (Check* check : checks)
        for (const Finding& finding : check(settings)) {
            const auto same = std::find_if(joined.begin(), joined.end(), [&](const Finding& other) {
                return place(other) == place(finding) && !finding.cause.empty();
            });
            if (same == joined.end()) {
                joined.push_back(finding);
                continue;
            }
            same->services.insert(finding.services.begin(), finding.services.end());
            same->effect = std::min(same->effect, finding.effect);
            if (same->who.find(finding.who) == std::string::npos)
                same->who += "; " + finding.who;
        }
    std::stable_sort(joined.begin(), joined.end(), [](const Finding& left, const Finding& right) {
        return std::tie(left.effect, left.file, left.line) <
               std::tie(right.effect, right.file, right.line);
    });
    return joined;
}

void print(const Finding& finding) {
    std::string services;
    for (const rights::Service service : finding.services)
        services += (services.empty() ? "" : ", ") + std::string(rights::name_of(service));
    const std::string line = finding.line > 0 ? ':' + std::to_string(finding.line) : "";
    const std::string cure = finding.cure.empty() ? "" : ", " + finding.cure;
    printf("%s%s: %s: %s: %s: %s%s\n", finding.file.c_str(), line.c_str(), services.c_str(),
           effects[static_cast<int>(finding.effect)], finding.who.c_str(), finding.cause.c_str(),
           cure.c_str());
}

int lint(const Options& options) {
    const Machine machine(options.root);
    if (!is_readable(machine))
        return trouble;
    int status = clean;
    for (const Finding& finding : find_all(machine))
        if (finding.effect <= options.at_least) {
            print(finding);
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
