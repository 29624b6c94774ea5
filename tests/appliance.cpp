// The tests' words for an appliance.
#include "tests/appliance.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

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

static std::vector<std::string> split(const std::string& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

Appliance::Appliance(const std::string& model) {
    std::string name = fs::temp_directory_path() / "tavrogen-test.XXXXXX";
    folder_ = mkdtemp(name.data());
    root_ = folder_ / "root";
    fs::copy(fs::path(SOURCE_FOLDER) / model, root_, fs::copy_options::recursive);
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

void Appliance::set(const std::string& file, const std::string& setting) {
    unset(file, setting.substr(0, setting.find('=')));
    write(file, read(file) + setting + "\n");
}

void Appliance::unset(const std::string& file, const std::string& key) {
    std::istringstream lines(read(file));
    std::string kept;
    for (std::string line; getline(lines, line);)
        if (!line.starts_with(key + "="))
            kept += line + "\n";
    write(file, kept);
}

Outcome Appliance::run(const std::string& arguments, bool output) {
    const std::string program = environment("TAVROGEN_PROGRAM", PROGRAM);
    std::vector<std::string> words = {SOURCE_FOLDER "/scripts/sandbox", "--host", host};
    if (!eth0.empty())
        words.insert(words.end(), {"--eth0", eth0});
    for (const auto& option : split(environment("TAVROGEN_SANDBOX_OPTIONS", SANDBOX_OPTIONS)))
        words.push_back(option);
    words.insert(words.end(), {root_, program});
    for (const auto& argument : split(arguments))
        words.push_back(argument);
    std::vector<char*> argv;
    for (auto& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    const fs::path out = folder_ / "out";
    const fs::path err = folder_ / "err";
    const pid_t child = fork();
    if (child == 0) {
        const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
        dup2(open(out.c_str(), flags, 0600), STDOUT_FILENO);
        dup2(open(err.c_str(), flags, 0600), STDERR_FILENO);
        if (!output)
            close(STDOUT_FILENO);
        execv(argv[0], argv.data());
        _exit(125);
    }
    int status = 0;
    waitpid(child, &status, 0);
    Outcome run = {WEXITSTATUS(status), slurp(out), slurp(err)};
    EXPECT_NE(run.status, 125) << "the sandbox does not work here: " << run.err;
    return run;
}

std::string Appliance::read(const std::string& path) const {
    return slurp(at(path));
}

void Appliance::expect_files(const std::string& name) const {
    const fs::path folder = fs::path(SOURCE_FOLDER) / "tests/expected" / name;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file())
            continue;
        const std::string path = "/" + entry.path().lexically_relative(folder).string();
        EXPECT_EQ(slurp(entry), read(path)) << name << path;
    }
}

std::string Share::line() const {
    const std::string flag = std::to_string(served);
    return name + "<>" + volume + "<>Folder<>" + rw_users + "<>" + rw_groups + "<>" + ro_users +
           "<>" + ro_groups + "<>" + flag + "<>" + flag + "<>" + flag + "<>0<><>" +
           std::to_string(read_only) + "<>" + std::to_string(trashbox) + "<>0<>0\n";
}

std::string open_share(const std::string& name, int read_only, int served, int trashbox) {
    return Share{name, "all", "all", "all", "all", read_only, served, trashbox}.line();
}

std::string expected(const std::string& name) {
    return slurp(fs::path(SOURCE_FOLDER) / "tests/expected" / name);
}

std::string part(const std::string& text, const std::string& begin, const std::string& end) {
    const size_t from = text.find(begin);
    const size_t to = from == text.npos ? from : text.find(end, from + begin.size());
    return to == text.npos ? "" : text.substr(from, to + end.size() - from);
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
