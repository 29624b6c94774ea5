// The report: every folder that a service gives, and what each service gives of it to whom.
#pragma once

#include "access/machine/model.h"

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
    std::string clients;   // of services that know no people: from where
    bool differs = false;  // from the first cell of its row that gives something
};

// One folder or one iSCSI disk.
struct Row {
    std::string name;    // of the share, or of the iSCSI target; else empty
    std::string folder;  // absolute path
    bool is_share = false;
    std::vector<Cell> cells;
    std::vector<Giver> not_serving;  // those whose file is there, of a share
};

struct Note {
    std::string file;
    int line = 0;
    std::string text;
};

struct Report {
    std::vector<Person> people;  // those who are asked about
    bool all_people = true;
    std::vector<Row> rows;  // shares in the order of the settings, then all else by folder
    std::vector<Note> notes;
};

// `users`: who is asked about; all when it is empty.
Report make_report(const Machine& machine, const std::vector<std::string>& users);

// False when nobody has any right.
bool gives_something(const Cell& cell);

// The names of the people who have this right in a cell, in order.
std::vector<std::string> people_with(const Report& report, const Cell& cell, Right right);

// From where, and who: of a cell whose service knows no people.
std::string clients_in_words(const Cell& cell);

// "SMB [backup$], FTP".
std::string in_words(const std::vector<Giver>& givers);

void print_text(const Report& report, FILE* out);
void print_html(const Report& report, const std::string& title, FILE* out);
void print_json(const Report& report, FILE* out);

// Who gains and who loses what, one line each; returns the number of lines.
int print_difference(const Report& before, const Report& after, FILE* out);

}  // namespace tavrogen::access
