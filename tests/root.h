// The tests' words for the root directory of an appliance: its files, runs of the program in it,
// and what such a run leaves behind.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

// With TAVROGEN_RECORD in the environment, what is compared with a file is written there instead.

// What a file has in it that is not there.
inline const std::string no_file = "(no such file)";

// How a run has ended. A program that was killed has a status above 128.
struct Outcome {
    int status;
    std::string out, err;
};

// A root directory of its own under the temporary directory: a copy of the models (folders under
// tests/models, each over the one before). A path without a leading '/' is meant under
// /etc/korvel.
class Root {
  public:
    using Models = std::vector<std::string>;
    explicit Root(const Models& models = {"small"});
    ~Root();
    Root(Root&&) = delete;

    std::string host = "appliance";
    std::string eth0;  // "MAC,ADDRESS/LENGTH"; empty: there is none

    std::filesystem::path at(const std::string& path) const;
    std::string read(const std::string& path) const;               // no_file where there is none
    void write(const std::string& path, const std::string& text);  // with the folders above it
    void remove(const std::string& path);
    void obstruct(const std::string& path);  // by a folder in its place

    // Changes a keyed file by settings separated by ';': stores "key=value", removes "key".
    void change(const std::string& file, const std::string& settings);

    // Runs the program with arguments, and redirections, as a shell reads them. `limits` are
    // options of tests/launch.cpp, which hold for the program alone; `output` is a pipe or a
    // redirection for standard output.
    Outcome run(const std::string& arguments, const std::string& limits = "",
                const std::string& output = "");

    // The shell command of such a run.
    std::string command(const std::string& arguments, const std::string& limits = "") const;

    // Runs the program, and gathers all that it has left behind in a folder beside the root:
    // "out" and "err", with numbers for addresses, "status" unless it is 0, the new files, and
    // "modes" with their modes. Returns the folder.
    std::filesystem::path gather(const std::string& name, const std::string& arguments);

    // Compares what a run leaves behind with the folder tests/expected/NAME.
    void expect_outcome(const std::string& behaviour, const std::string& arguments,
                        const std::string& name);

  private:
    std::filesystem::path folder_, root_;
    std::set<std::filesystem::path> inputs_;
};

// Changes of the files of a root, and the behaviour that they show. The input is lines of
//   tavrogen ARG...         the arguments, where they are not those of the other cases
//   set FILE SETTINGS       as Root::change
//   write FILE              with what stands in the lines that follow, further to the right
//   no FILE
//   folder FILE             in its place
//   link FILE TARGET        in its place
struct Case {
    std::string behaviour, input;
};

// Cases of the same models: each compares what its changes change in the outcome of a run.
class Cases {
  public:
    Cases(const Root::Models& models, const std::string& arguments)
        : models_(models), arguments_(arguments), base_(models) {}

    // Compares with the file NAME under tests, up to the first difference. It has a section for
    // each case: its behaviour, its input, and the lines that differ in each file and stream.
    void expect(const std::vector<Case>& rows, const std::string& name);

  private:
    std::string run(const Case& row);

    Root::Models models_;
    std::string arguments_;
    Root base_;
    std::map<std::string, std::filesystem::path> outcomes_;  // of the base, by arguments
};

// The cases of a file under tests/cases. Its first two lines name the models and the arguments.
void expect_case_file(const std::string& name);

// Shows what is wrong, for which input and where: the lines in which two texts differ.
void expect_same(const std::string& behaviour, const std::string& input, const std::string& path,
                 const std::string& expected, const std::string& seen);

// The lines that differ, marked - and +, each with the line before and after it.
std::string differing_lines(const std::string& expected, const std::string& seen);

// At most so many lines of a text, each of a bearable length.
std::string beginning(const std::string& text, size_t most);

// A line in its own bytes: \xHH is a byte, {N} stands for N of the byte before it, and \c at the end
// for no newline.
std::string unescaped(const std::string& line);

// The text with a number for each address, in the order in which an action names them.
std::string numbered(const std::string& text);

// Compares a text with the file tests/expected/NAME.
void expect_recorded(const std::string& behaviour, const std::string& input,
                     const std::string& name, const std::string& seen);

// The differences of the files of two folders, each file of them under its name.
std::string difference(const std::filesystem::path& before, const std::filesystem::path& after,
                       int context);

// One line of a share list; by default a share that nobody may use, served by every service.
struct Share {
    std::string name;
    std::string rw_users = "", rw_groups = "", ro_users = "", ro_groups = "";
    int read_only = 0, served = 1;
    std::string volume = "array1";

    std::string line() const;
};

// The line of a share that is open to everyone.
std::string open_share(const std::string& name, int read_only = 0, int served = 1,
                       const std::string& volume = "array1");

// The bytes of a file under tests/expected.
std::string expected(const std::string& name);

// A text as one word of a shell command.
std::string quoted(const std::string& text);

// What a shell command prints.
std::string output_of(const std::string& command);

// True where the text has the words in it.
bool has(const std::string& text, const std::string& words);

// The lines of a text, each with its newline.
std::vector<std::string> lines_of(const std::string& text);

// The lines of a text that begin with a word.
std::string lines_with(const std::string& text, const std::string& word);

// The part of a text from the first `begin` on up to the next `end`, both included; empty where
// there is none.
std::string part(const std::string& text, const std::string& begin, const std::string& end);

// The value of a variable of the environment.
std::string environment(const char* name, const std::string& otherwise = "");
