// The tests' words for an appliance: its files, its host name, a run of the program on it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

// What a run has left behind. A program that was killed has a status above 128.
struct Outcome {
    int status;
    std::string out, err;
};

// A root directory of its own under the temporary directory: at first a copy of tests/appliance,
// which has well-formed settings for every service, or of other folders, each over the one
// before. A path without a leading '/' is meant under /etc/korvel.
class Appliance {
  public:
    explicit Appliance(std::initializer_list<const char*> models = {"tests/appliance"});
    ~Appliance();
    Appliance(Appliance&&) = delete;

    std::string host = "appliance";
    std::string eth0;  // "MAC,ADDRESS/LENGTH"; empty: there is none

    std::filesystem::path at(const std::string& path) const;
    void write(const std::string& path, const std::string& text);  // with the folders above it
    void remove(const std::string& path);
    void obstruct(const std::string& path);  // by a folder in its place

    // Changes a keyed file by settings separated by ';': stores "key=value", removes "key".
    void change(const std::string& file, const std::string& settings);

    // Runs the program with arguments as a shell reads them; `output` false: with standard output
    // closed.
    Outcome run(const std::string& arguments, bool output = true);

    // The bytes of a file; "(no such file)" where there is none.
    std::string read(const std::string& path) const;

    // Compares every file under tests/expected/NAME with that of this appliance.
    void expect_files(const std::string& name) const;

  private:
    std::filesystem::path folder_, root_;
};

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

// The part of a text from the first `begin` on up to the next `end`, both included; empty where
// there is none.
std::string part(const std::string& text, const std::string& begin, const std::string& end);

// True where the text has the words in it.
bool has(const std::string& text, const std::string& words);

// The lines of a text that begin with a word.
std::string lines_with(const std::string& text, const std::string& word);

// The text with "ADDR" for every address.
std::string masked(const std::string& text);

// Skips a test for the lack of a program, which in CI must not be lacking.
void missing(const std::string& program);
