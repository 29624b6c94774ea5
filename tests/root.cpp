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

static bool recording() {
    return getenv("TAVROGEN_RECORD") != nullptr;
}

string expected(const string& name) {
    return slurp(fs::path(SOURCE_FOLDER) / "tests/expected" / name);
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

// The text with a number for each address: in the order in which an action names them, since what
// it has freed comes again in the next one.
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

Root::Root(const Models& models) {
    umask(022);
    string name = fs::temp_directory_path() / "tavrogen-test.XXXXXX";
    folder_ = mkdtemp(name.data());
    root_ = folder_ / "root";
    for (const auto& model : models)
        fs::copy(fs::path(SOURCE_FOLDER) / (has(model, "/") ? model : "tests/models/" + model),
                 root_, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    const string program = environment("TAVROGEN_PROGRAM", PROGRAM);
    std::error_code not_linked;  // then the sandbox copies the program
    fs::create_hard_link(program, root_ / "tavrogen", not_linked);
    for (const auto& entry : fs::recursive_directory_iterator(root_))
        inputs_.insert(entry.path());
    inputs_.insert({root_ / "tavrogen", root_ / "program", root_ / "emulator"});
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
    inputs_.insert(at(path));
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

fs::path Root::gather(const string& name, const string& arguments) {
    const fs::path seen = folder_ / name;
    fs::remove_all(seen);
    const Outcome outcome = run(arguments);
    store(seen / "out", numbered(outcome.out));
    store(seen / "err", outcome.err);
    if (outcome.status != 0)
        store(seen / "status", std::to_string(outcome.status) + "\n");
    std::set<string> modes;
    for (const auto& entry : fs::recursive_directory_iterator(root_)) {
        if (inputs_.contains(entry.path()))
            continue;
        const fs::path path = entry.path().lexically_relative(root_);
        struct stat status = {};
        lstat(entry.path().c_str(), &status);
        std::ostringstream mode;
        mode << path.string() << " " << std::oct << status.st_mode << "\n";
        modes.insert(mode.str());
        if (entry.is_regular_file())
            store(seen / path, slurp(entry));
    }
    string listed;
    for (const string& mode : modes)
        listed += mode;
    store(seen / "modes", listed);
    return seen;
}

string difference(const fs::path& before, const fs::path& after, int context) {
    const string text = output_of("cd " + quoted(before) + " && LC_ALL=C diff -rNaU" +
                                  std::to_string(context) + " . " + quoted(after));
    static const std::regex heading(
        "diff -rN[^\n]* \\./([^ \n]*) [^\n]*\n---[^\n]*\n\\+\\+\\+[^\n]*\n");
    static const std::regex gone("(@@ -1[,0-9]* )\\+0,0 @@\n(-[^\n]*\n)*");
    return std::regex_replace(std::regex_replace(text, heading, "$1:\n"), gone, "(gone)\n");
}

// At most so many lines of a text, each of a bearable length.
string beginning(const string& text, size_t most) {
    string shown;
    for (const string& line : lines_of(text)) {
        if (most-- == 0)
            return shown + "...\n";
        shown += line.size() < 300 ? line : line.substr(0, 300) + "...\n";
    }
    return shown;
}

static void fail(const string& behaviour, const string& input, const string& path,
                 const string& differences) {
    ADD_FAILURE() << behaviour << "\n"
                  << beginning(input, 8) << (input.ends_with('\n') ? "" : "\n") << path << "\n"
                  << beginning(differences, 24);
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
        fail(behaviour, input, path, differing_lines(expected, seen));
}

void expect_recorded(const string& behaviour, const string& input, const string& name,
                     const string& seen) {
    if (recording())
        store(fs::path(SOURCE_FOLDER) / "tests/expected" / name, seen);
    expect_same(behaviour, input, "tests/expected/" + name, expected(name), seen);
}

void Root::expect_outcome(const string& behaviour, const string& arguments, const string& name) {
    const fs::path seen = gather("seen", arguments);
    const fs::path path = fs::path(SOURCE_FOLDER) / "tests/expected" / name;
    if (recording()) {
        fs::remove_all(path);
        fs::create_directories(path.parent_path());
        fs::copy(seen, path, fs::copy_options::recursive);
    }
    const string differences = difference(path, seen, 3);
    if (!differences.empty())
        fail(behaviour, arguments + "\n", "tests/expected/" + name, differences);
}

// A line of a case file in its own bytes: \xHH is a byte, {N} stands for N of the byte before it,
// and \c at the end for no newline.
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

// Makes the changes of a case. Returns the arguments of its run: its own or the usual ones.
static string arrange(Root& root, const string& input, const string& usual) {
    string arguments = usual, written, text;
    for (const string& line : lines_of(input)) {
        std::istringstream words(line);
        string verb, path, rest;
        words >> verb >> path;
        getline(words >> std::ws, rest);
        if (line.starts_with("     "))
            root.write(written, text += unescaped(line.substr(5)));
        else if (verb == "tavrogen")
            arguments = line.substr(line.find('-'), line.size() - line.find('-') - 1);
        else if (verb == "set")
            root.change(path, unescaped(rest));
        else if (verb == "write")
            root.write(written = path, text = "");
        else if (verb == "folder")
            root.obstruct(path);
        else
            root.remove(path);
        if (verb == "link")
            fs::create_symlink(rest, root.at(path));
    }
    return arguments;
}

string Cases::run(const Case& row) {
    Root root(models_);
    const string used = arrange(root, row.input, arguments_);
    fs::path& before = outcomes_[used];
    if (before.empty())
        before = base_.gather("base" + std::to_string(outcomes_.size()), used);
    return "== " + row.behaviour + "\n" + row.input +
           difference(before, root.gather("seen", used), 1);
}

static std::vector<string> sections_of(const fs::path& path) {
    std::vector<string> sections = {""};
    for (const string& line : lines_of(slurp(path))) {
        if (line.starts_with("== "))
            sections.emplace_back();
        sections.back() += line;
    }
    return sections;
}

static Case case_of(const string& section) {
    const auto lines = lines_of(section);
    Case row = {lines[0].substr(3, lines[0].size() - 4), ""};
    for (size_t line = 1; line < lines.size() && lines[line].starts_with("   "); ++line)
        row.input += lines[line];
    return row;
}

void Cases::expect(const std::vector<Case>& rows, const string& name) {
    const fs::path path = fs::path(SOURCE_FOLDER) / "tests" / name;
    const auto sections = sections_of(path);
    string all = sections[0];
    for (size_t row = 0; row < rows.size() && !testing::Test::HasFailure(); ++row) {
        const string seen = run(rows[row]);
        all += seen;
        if (!recording())
            expect_same(rows[row].behaviour, rows[row].input, "tests/" + name,
                        row + 1 < sections.size() ? sections[row + 1] : "", seen);
    }
    if (recording())
        store(path, all);
}

void expect_case_file(const string& name) {
    const auto sections = sections_of(fs::path(SOURCE_FOLDER) / "tests/cases" / name);
    const auto heading = lines_of(sections[0]);
    const auto after_word = [](const string& line) {
        return line.substr(line.find(' ') + 1, line.size() - line.find(' ') - 2);
    };
    std::istringstream models(after_word(heading[0]));
    std::vector<Case> rows;
    for (size_t i = 1; i < sections.size(); ++i)
        rows.push_back(case_of(sections[i]));
    Cases({std::istream_iterator<string>(models), {}}, after_word(heading[1]))
        .expect(rows, "cases/" + name);
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
