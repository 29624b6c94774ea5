// The report: every folder that a service gives, and what each service gives of it to whom.
#pragma once

#include "access/machine/meaning.h"
#include "access/machine/reading.h"
#include "access/machine/text.h"

#include <stdio.h>

namespace tavrogen::access {

// A service that gives a folder.
struct Giver {
    Service service;
    std::string share;  // as the clients see it, where it is not called like the row
};

// What services give of a folder. Those that give the same have one cell.
struct Cell {
    std::vector<Giver> givers;
    std::vector<Right> people;  // one for each of Report::people; empty: whoever the user
    Right guest = Right::none;
    std::string clients;     // of services that know no people: from where
    const char* state = "";  // of services that do not give it: why
    bool differs = false;    // from the first cell of its row that gives something
    bool is_rest = false;    // the shares below are excepted
};

// One folder or one iSCSI disk.
struct Row {
    std::string name;    // of the share, or of the iSCSI target; else empty
    std::string folder;  // absolute path
    bool is_share = false;
    std::vector<Cell> cells;  // those of services that do not give it are the last ones
};

struct Note {
    std::string file;
    int line = 0;
    std::string text;
    bool stops = false;  // the service does not start
    Service service;
};

// A group of the appliance that stands for its members where all have a right.
struct Team {
    std::string name;
    std::vector<size_t> members;  // of Report::people
};

struct Report {
    std::string appliance, root;  // its name, if it has one, and where its files are
    bool planned = false;         // as after a run of tavrogen
    bool all_people = true;
    std::vector<Person> people;  // those who are asked about; groups of a domain stand among them
    std::vector<Team> teams;     // largest first
    std::vector<Row> rows;       // shares in the order of the settings, then all else by folder
    std::vector<Note> notes;     // those of services that do not start come first
    std::vector<std::pair<Service, std::string>> missing;  // services without a file, and the file
    bool has_any_file = false;
};

// `users`: who is asked about; all when it is empty.
Report make_report(const Machine& machine, const std::vector<std::string>& users);

// False when nobody has any right.
bool gives_something(const Cell& cell);

// "alice rw, group staff r, without an account r"; or from where, or why not.
std::string in_words(const Report& report, const Cell& cell);

// "SMB [backup$], FTP".
std::string in_words(const std::vector<Giver>& givers);

// "file:line: text".
std::string in_words(const Note& note);

// What the files that are missing mean for the report; empty when all are there.
std::string missing_in_words(const Report& report);

void print_text(const Report& report, FILE* out);
void print_html(const Report& report, FILE* out);
void print_json(const Report& report, FILE* out);

// Who gains and who loses what, one line each; returns the number of lines.
int print_difference(const Report& before, const Report& after, FILE* out);

}  // namespace tavrogen::access
