// The tests' words for the root directory of an appliance.
#include "tests/root.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using std::string;

static string slurp(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file || fs::is_directory(path))
        return no_file;
    return {std::istreambuf_iterator<char>(file), {}};
}

static void store(const fs::path& path, const string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

string environment(const char* name, const string& otherwise) {
    const char* value = getenv(name);
    return value ? value : otherwise;
}

string quoted(const string& text) {
    return "'" + std::regex_replace(text, std::regex("'"), "'\\''") + "'";
}

string output_of(const string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    string text;
    for (int byte = 0; (byte = getc(pipe)) != EOF;)
        text += static_cast<char>(byte);
    pclose(pipe);
    return text;
}

bool has(const string& text, const string& words) {
    return text.find(words) != text.npos;
}

std::vector<string> lines_of(const string& text) {
    std::vector<string> lines;
    for (size_t at = 0, end = 0; at < text.size(); at = end) {
        end = std::min(text.find('\n', at), text.size() - 1) + 1;
        lines.push_back(text.substr(at, end - at));
    }
    return lines;
}

string lines_with(const string& text, const string& word) {
    string found;
    for (const string& line : lines_of(text))
        found += line.starts_with(word) ? line : "";
    return found;
}

string part(const string& text, const string& begin, const string& end) {
    const size_t from = text.find(begin);
    const size_t to = from == text.npos ? from : text.find(end, from + begin.size());
    return to == text.npos ? "" : text.substr(from, to + end.size() - from);
}

// What an action has freed comes again in the next one.
string numbered(const string& text) {
    static const std::regex address("0x[0-9a-f]+");
    std::map<string, size_t> numbers;
    string result;
    for (string line : lines_of(text)) {
        if (line.starts_with("optarg:"))
            numbers.clear();
        for (std::smatch found; std::regex_search(line, found, address);) {
            const size_t number = numbers.emplace(found.str(), numbers.size() + 1).first->second;
            line.replace(static_cast<size_t>(found.position()), found.str().size(),
                         "ADDRESS" + std::to_string(number));
        }
        result += line;
    }
    return result;
}

Root::Root(const string& appliance) {
    umask(022);
    string name = fs::temp_directory_path() / "tavrogen-test.XXXXXX";
    folder_ = mkdtemp(name.data());
    root_ = folder_ / "root";
    fs::copy(fs::path(SOURCE_FOLDER) / appliance, root_, fs::copy_options::recursive);
    const string program = environment("TAVROGEN_PROGRAM", PROGRAM);
    std::error_code not_linked;  // then the sandbox copies the program
    fs::create_hard_link(program, root_ / "tavrogen", not_linked);
}

Root::~Root() {
    // A sandbox that has been left waiting may still be clearing up: then once more.
    std::error_code failure;
    do
        fs::remove_all(folder_, failure);
    while (failure == std::errc::no_such_file_or_directory);
}

fs::path Root::at(const string& path) const {
    return root_.string() + (path.starts_with('/') ? path : "/etc/korvel/" + path);
}

string Root::read(const string& path) const {
    return slurp(at(path));
}

void Root::write(const string& path, const string& text) {
    store(at(path), text);
}

void Root::remove(const string& path) {
    fs::remove_all(at(path));
}

void Root::obstruct(const string& path) {
    remove(path);
    fs::create_directories(at(path));
}

void Root::change(const string& file, const string& settings) {
    std::istringstream changes(settings);
    for (string setting; getline(changes, setting, ';');) {
        const string key = setting.substr(0, setting.find('=')) + "=";
        string text;
        for (const string& line : lines_of(read(file)))
            text += line.starts_with(key) ? "" : line;
        write(file, text + (has(setting, "=") ? setting + "\n" : ""));
    }
}

static const std::vector<string> share_fields = {
    "name",  "volume", "comment", "rw_users", "rw_groups", "ro_users", "ro_groups", "smb",
    "atalk", "ftp",    "rsync",   "text",     "read_only", "trashbox", "flag",      "value"};

static const std::map<string, std::vector<string>> list_fields = {
    {"shareinfo", share_fields},
    {"usbshareinfo", share_fields},
    {"offlinefile", {"name", "enabled", "policy"}},
    {"shareinfo.hidden", {"name", "enabled"}},
    {"shareinfo.vfs", {"name", "trash", "audit", "nfs"}},
};

void Root::change(const string& list, const string& name, const string& fields) {
    const auto& names = list_fields.at(list);
    string text;
    for (string line : lines_of(read(list))) {
        std::istringstream changes(line.starts_with(name + "<>") ? fields : "");
        for (string change; getline(changes, change, ';');) {
            const size_t equals = change.find('=');
            const auto field = std::find(names.begin(), names.end(), change.substr(0, equals));
            ASSERT_NE(field, names.end()) << change;
            size_t at = 0;
            for (auto before = names.begin(); before != field; ++before)
                at = line.find("<>", at) + 2;
            line.replace(at, line.find("<>", at) - at, change.substr(equals + 1));
        }
        text += line;
    }
    write(list, text);
}

Texts Root::texts(const string& arguments) {
    const Outcome outcome = run(arguments);
    Texts texts = {{"out", numbered(outcome.out)}, {"err", outcome.err}};
    if (outcome.status != 0)
        texts["err"] += "status " + std::to_string(outcome.status) + "\n";
    for (const string file :
         {"/etc/samba/smb.conf", "/etc/pam_smb.conf", "/etc/proftpd/proftpd.conf", "/etc/pam.d/ftp",
          "/etc/pam.d/netatalk", "/etc/atalk/AppleVolumes.default", "/etc/atalk/afpd.conf",
          "/etc/syslog.conf", "/etc/ietd.conf", "/etc/initiators.allow", "/etc/initiators.deny",
          "/etc/exports"})
        texts[file.substr(file.rfind('/') + 1)] = read(file);
    return texts;
}

string Root::command(const string& arguments, const string& limits) const {
    const string sandbox = quoted(SOURCE_FOLDER "/scripts/sandbox") + " --host " + host + " " +
                           (eth0.empty() ? "" : "--eth0 " + eth0) + " ";
    const string options = environment("TAVROGEN_SANDBOX_OPTIONS", SANDBOX_OPTIONS);
    const string program = environment("TAVROGEN_PROGRAM", PROGRAM);
    if (limits.empty())
        return sandbox + options + " " + quoted(root_) + " " + quoted(program) + " " + arguments;
    // The sandbox starts the launcher, and that the program, or its emulator.
    const auto bring = [&](const fs::path& from, const char* name) {
        fs::copy(from, root_ / name, fs::copy_options::overwrite_existing);
    };
    bring(program, "program");
    const string emulated = "--emulator ";
    const bool is_emulated = options.starts_with(emulated);
    if (is_emulated)
        bring(options.substr(emulated.size()), "emulator");
    fs::remove(root_ / "tavrogen");
    return sandbox + (is_emulated ? "" : options) + " " + quoted(root_) + " " + quoted(LAUNCHER) +
           " " + limits + (is_emulated ? " /emulator -0 tavrogen" : "") + " /program " + arguments;
}

Outcome Root::run(const string& arguments, const string& limits, const string& output) {
    const fs::path out = folder_ / "out", err = folder_ / "err", status = folder_ / "status";
    const string line = "{ 2>" + quoted(err) + " " + command(arguments, limits) + "; echo $? >" +
                        quoted(status) + "; } " + (output.empty() ? ">" + quoted(out) : output);
    store(out, "");
    std::ignore = system(line.c_str());
    const Outcome outcome = {atoi(slurp(status).c_str()), slurp(out), slurp(err)};
    EXPECT_NE(outcome.status, 125) << "the sandbox does not work here: " << outcome.err;
    return outcome;
}

string beginning(const string& text, size_t most) {
    string shown;
    for (const string& line : lines_of(text)) {
        if (most-- == 0)
            return shown + "...\n";
        shown += line.size() < 300 ? line : line.substr(0, 300) + "...\n";
    }
    return shown;
}

string differing_lines(const string& expected, const string& seen) {
    string name = fs::temp_directory_path() / "tavrogen-test.XXXXXX";
    const fs::path folder = mkdtemp(name.data());
    store(folder / "expected", expected);
    store(folder / "seen", seen);
    const string lines =
        output_of("cd " + quoted(folder) + "; diff -aU1 expected seen | tail -n +3");
    fs::remove_all(folder);
    return lines;
}

void expect_same(const string& behaviour, const string& input, const string& path,
                 const string& expected, const string& seen) {
    if (expected != seen)
        ADD_FAILURE() << behaviour << "\n"
                      << beginning(input, 8) << (input.ends_with('\n') ? "" : "\n") << path << "\n"
                      << beginning(differing_lines(expected, seen), 24);
}

string unescaped(const string& line) {
    string text;
    for (size_t at = 0; at < line.size(); ++at) {
        if (line.substr(at, 2) == "\\c")
            return text;
        if (line.substr(at, 2) == "\\x") {
            text += static_cast<char>(std::stoi(line.substr(at + 2, 2), nullptr, 16));
            at += 3;
        } else if (line[at] == '{' && isdigit(line[at + 1])) {
            text.append(std::stoul(line.substr(at + 1)) - 1, text.back());
            at = line.find('}', at);
        } else {
            text += line[at];
        }
    }
    return text;
}

string Share::line() const {
    const string flag = std::to_string(served);
    return name + "<>" + volume + "<>Folder<>" + rw_users + "<>" + rw_groups + "<>" + ro_users +
           "<>" + ro_groups + "<>" + flag + "<>" + flag + "<>" + flag + "<>0<><>" +
           std::to_string(read_only) + "<>0<>0<>0\n";
}

string open_share(const string& name, int read_only, int served, const string& volume) {
    return Share{name, "all", "all", "all", "all", read_only, served, volume}.line();
}
