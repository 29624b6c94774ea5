// The tests' words for the root directory of an appliance: its files, runs of the program in it,
// and what such a run leaves behind.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

// What a file has in it that is not there.
inline const std::string no_file = "(no such file)";

// How a run has ended. A program that was killed has a status above 128.
struct Outcome {
    int status;
    std::string out, err;
};

// What a run leaves behind: the text of each file that a service has, by its name without folders,
// "out" with numbers for addresses, and "err", which ends in "status N" unless N is 0.
using Texts = std::map<std::string, std::string>;

// A root directory of its own under the temporary directory: a copy of a folder of the sources. A
// path without a leading '/' is meant under /etc/korvel.
class Root {
  public:
    explicit Root(const std::string& appliance = "tests/appliance");
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

    // Changes fields of the lines of a list that begin with a name, by "field=value" separated by ';'.
    void change(const std::string& list, const std::string& name, const std::string& fields);

    // Runs the program with arguments, and redirections, as a shell reads them. `limits` are
    // options of tests/launch.cpp, which hold for the program alone; `output` is a pipe or a
    // redirection for standard output.
    Outcome run(const std::string& arguments, const std::string& limits = "",
                const std::string& output = "");

    Texts texts(const std::string& arguments);

    // The shell command of such a run.
    std::string command(const std::string& arguments, const std::string& limits = "") const;

  private:
    std::filesystem::path folder_, root_;
};

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
