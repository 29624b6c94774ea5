// The tests' words for an appliance.
#include "tests/appliance.h"

#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;

static std::string slurp(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file || fs::is_directory(path))
        return "(no such file)";
    return {std::istreambuf_iterator<char>(file), {}};
}

static std::string environment(const char* name, const char* otherwise) {
    const char* value = getenv(name);
    return value ? value : otherwise;
}

Appliance::Appliance(std::initializer_list<const char*> models) {
    std::string name = fs::temp_directory_path() / "tavrogen-test.XXXXXX";
    folder_ = mkdtemp(name.data());
    root_ = folder_ / "root";
    for (const auto* model : models)
        fs::copy(fs::path(SOURCE_FOLDER) / model, root_,
                 fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    std::error_code not_linked;  // then the sandbox copies the program
    fs::create_hard_link(environment("TAVROGEN_PROGRAM", PROGRAM), root_ / "tavrogen", not_linked);
}

Appliance::~Appliance() {
    fs::remove_all(folder_);
}

fs::path Appliance::at(const std::string& path) const {
    return root_.string() + (path.starts_with('/') ? path : "/etc/korvel/" + path);
}

void Appliance::write(const std::string& path, const std::string& text) {
    fs::create_directories(at(path).parent_path());
    std::ofstream(at(path), std::ios::binary) << text;
}

void Appliance::remove(const std::string& path) {
    fs::remove_all(at(path));
}

void Appliance::obstruct(const std::string& path) {
    remove(path);
    fs::create_directories(at(path));
}

void Appliance::change(const std::string& file, const std::string& settings) {
    std::istringstream changes(settings);
    for (std::string setting; getline(changes, setting, ';');) {
        const std::string key = setting.substr(0, setting.find('=')) + "=";
        std::istringstream lines(read(file));
        std::string text;
        for (std::string line; getline(lines, line);)
            text += line.starts_with(key) ? "" : line + "\n";
        write(file, text + (has(setting, "=") ? setting + "\n" : ""));
    }
}

Outcome Appliance::run(const std::string& arguments, bool output) {
    const fs::path out = folder_ / "out", err = folder_ / "err";
    const std::string command = SOURCE_FOLDER "/scripts/sandbox --host " + host +
                                (eth0.empty() ? "" : " --eth0 " + eth0) + " " +
                                environment("TAVROGEN_SANDBOX_OPTIONS", SANDBOX_OPTIONS) + " " +
                                root_.string() + " " + environment("TAVROGEN_PROGRAM", PROGRAM) +
                                " " + arguments + " 2>" + err.string() + " >";
    const int status = system((command + (output ? out.string() : "&-")).c_str());
    const Outcome outcome = {WEXITSTATUS(status), slurp(out), slurp(err)};
    EXPECT_NE(outcome.status, 125) << "the sandbox does not work here: " << outcome.err;
    return outcome;
}

std::string Appliance::read(const std::string& path) const {
    return slurp(at(path));
}

void Appliance::expect_files(const std::string& name) const {
    const fs::path folder = fs::path(SOURCE_FOLDER) / "tests/expected" / name;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string path = "/" + entry.path().lexically_relative(folder).string();
        EXPECT_EQ(slurp(entry), read(path)) << name << path;
    }
}

std::string Share::line() const {
    const std::string flag = std::to_string(served);
    return name + "<>" + volume + "<>Folder<>" + rw_users + "<>" + rw_groups + "<>" + ro_users +
           "<>" + ro_groups + "<>" + flag + "<>" + flag + "<>" + flag + "<>0<><>" +
           std::to_string(read_only) + "<>0<>0<>0\n";
}

std::string open_share(const std::string& name, int read_only, int served,
                       const std::string& volume) {
    return Share{name, "all", "all", "all", "all", read_only, served, volume}.line();
}

std::string expected(const std::string& name) {
    return slurp(fs::path(SOURCE_FOLDER) / "tests/expected" / name);
}

std::string part(const std::string& text, const std::string& begin, const std::string& end) {
    const size_t from = text.find(begin);
    const size_t to = from == text.npos ? from : text.find(end, from + begin.size());
    return to == text.npos ? "" : text.substr(from, to + end.size() - from);
}

bool has(const std::string& text, const std::string& words) {
    return text.find(words) != text.npos;
}

std::string lines_with(const std::string& text, const std::string& word) {
    std::istringstream lines(text);
    std::string found;
    for (std::string line; getline(lines, line);)
        if (line.starts_with(word))
            found += line + "\n";
    return found;
}

std::string masked(const std::string& text) {
    return std::regex_replace(text, std::regex("0x[0-9a-f]+"), "ADDR");
}

void missing(const std::string& program) {
    if (getenv("CI") != nullptr)
        FAIL() << program << " is not installed";
    GTEST_SKIP() << program << " is not installed";
}
