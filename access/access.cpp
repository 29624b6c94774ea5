// tavrogen-access: shows who may do what by which service, read back from the services' files.
#include "access/report.h"

#include <algorithm>
#include <errno.h>
#include <getopt.h>
#include <string.h>

using tavrogen::access::Machine;
using tavrogen::access::Report;

namespace {

enum { same, differs, trouble };  // exit statuses

constexpr char help[] =
    "usage: tavrogen-access [OPTION...] [USER...]\n"
    "Shows who may read and write what by which service, of everybody or of some users.\n"
    "  --root DIR    an appliance root (default: this machine's own)\n"
    "  --planned     show what a run of tavrogen would write, not the files as they stand\n"
    "  --before DIR  show only who has gained and who has lost what since the root was as DIR\n"
    "  --html FILE   write the report as one HTML page\n"
    "  --json        write it as JSON\n"
    "  --help, --version\n"
    "Exit status: 0 done, 1 with --before: somebody has gained or lost something, 2 trouble.\n";

struct Options {
    std::string root = "/";
    std::optional<std::string> before, html;
    int planned = 0, json = 0;  // as getopt_long(3) sets them
    std::vector<std::string> users;
};

int complain(const std::string& what, const char* why) {
    fprintf(stderr, "tavrogen-access: %s: %s\n", tavrogen::access::printable(what, stderr).c_str(),
            why);
    return trouble;
}

// Returns the status to end with, or -1 to go on.
int parse(int count, char** words, Options* options) {
    const option known[] = {
        {"root", required_argument, nullptr, 'r'}, {"before", required_argument, nullptr, 'b'},
        {"html", required_argument, nullptr, 'w'}, {"planned", no_argument, &options->planned, 1},
        {"json", no_argument, &options->json, 1},  {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'v'},    {},
    };
    for (int letter = 0; (letter = getopt_long(count, words, "", known, nullptr)) != -1;)
        if (letter == 'r') {
            options->root = optarg;
        } else if (letter == 'b') {
            options->before = optarg;
        } else if (letter == 'w') {
            options->html = optarg;
        } else if (letter == 'v') {
            puts("tavrogen-access " TAVROGEN_VERSION);
            return same;
        } else if (letter != 0) {
            fputs(help, letter == 'h' ? stdout : stderr);
            return letter == 'h' ? same : trouble;
        }
    options->users.assign(words + optind, words + count);
    if (options->root.empty() || options->before == "")
        return complain(options->root.empty() ? "--root" : "--before",
                        "an empty name is no folder");
    if (options->before && (options->html || options->json != 0))
        return complain("--before", "its lines are text, without --html and --json");
    return -1;
}

int write_html(const Report& report, const std::string& path) {
    FILE* out = fopen(path.c_str(), "we");
    if (out == nullptr)
        return complain(path, Machine::reason(errno));
    print_html(report, out);
    const bool failed = ferror(out) != 0;
    return fclose(out) != 0 || failed ? complain(path, strerror(errno)) : same;
}

// A file that cannot be read would count as missing, and the report would be wrong.
bool is_readable(const Machine& machine) {
    for (const char* path :
         {"/etc/samba/smb.conf", "/etc/proftpd/proftpd.conf", "/etc/atalk/AppleVolumes.default",
          "/etc/atalk/afpd.conf", "/etc/exports", "/etc/ietd.conf", "/etc/initiators.allow",
          "/etc/initiators.deny", tavrogen::access::share_file, tavrogen::access::usb_share_file,
          "/etc/passwd", "/etc/group"})
        if (!machine.file(path) && errno != ENOENT) {
            complain(path, Machine::reason(errno));
            return false;
        }
    return true;
}

// Nothing when there is trouble, which is told.
std::optional<Report> report_of(const std::string& root, bool planned, const Options& options) {
    Machine machine(root);
    if (!machine.is_directory("/etc")) {
        complain(machine.place("/"), "no appliance: it has no folder etc");
        return {};
    }
    if (!is_readable(machine))
        return {};
    machine.add_domain_groups();
    for (const std::string& user : options.users)
        if (std::none_of(machine.people().begin(), machine.people().end(),
                         [&](const auto& person) { return person.name == user; })) {
            complain(user, "no such account");
            return {};
        }
    Report report = make_report(planned ? machine.after_run() : machine, options.users);
    const auto host = tavrogen::access::lines_of(machine.file("/etc/hostname").value_or(""));
    report.appliance = host.empty() ? "" : host.front();
    report.root = root;
    report.planned = planned;
    return report;
}

int show(const Options& options) {
    const auto report = report_of(options.root, options.planned != 0, options);
    if (!report)
        return trouble;
    if (options.before) {
        const auto old = report_of(*options.before, false, options);
        return !old ? trouble : print_difference(*old, *report, stdout) > 0 ? differs : same;
    }
    if (options.html)
        if (const int status = write_html(*report, *options.html); status != same)
            return status;
    if (options.json != 0)
        print_json(*report, stdout);
    else if (!options.html)
        print_text(*report, stdout);
    return same;
}

}  // namespace

int main(int count, char** words) {
    Options options;
    int status = parse(count, words, &options);
    if (status == -1)
        status = show(options);
    if (fflush(stdout) != 0 || ferror(stdout) != 0)
        return complain("standard output", strerror(errno));
    return status;
}
