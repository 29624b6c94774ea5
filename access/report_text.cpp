// The report as text for a terminal.
#include "access/report.h"

namespace tavrogen::access {

namespace {

std::string joined(const std::vector<std::string>& names) {
    std::string words;
    for (const std::string& name : names) {
        const bool blank = name.find(' ') != std::string::npos;
        words += (words.empty() ? "" : " ") + (blank ? '"' + name + '"' : name);
    }
    return words;
}

std::string rights_in_words(const Report& report, const Cell& cell) {
    if (!cell.clients.empty())
        return clients_in_words(cell);
    std::string words;
    const auto say = [&](const std::string& who, Right right) {
        words += (words.empty() ? "" : ", ") + who + (right == Right::write ? " rw" : " r");
    };
    for (const Right right : {Right::write, Right::read}) {
        const auto names = people_with(report, cell, right);
        if (report.all_people && names.size() > 1 && names.size() == cell.people.size())
            say("everyone", right);
        else if (!names.empty())
            say(joined(names), right);
    }
    if (cell.guest != Right::none)
        say("without an account", cell.guest);
    return words.empty() ? "nobody" : words;
}

void print_line(FILE* out, bool differs, const std::string& services, const std::string& rights) {
    fprintf(out, "  %c %-20s %s\n", differs ? '!' : ' ', printable(services, out).c_str(),
            printable(rights, out).c_str());
}

}  // namespace

void print_text(const Report& report, FILE* out) {
    bool others = false;
    for (const Row& row : report.rows) {
        if (!row.is_share && !others) {
            fputs("--- No shares, but reachable\n", out);
            others = true;
        }
        const std::string name = row.name.empty() ? "" : printable(row.name, out) + "  ";
        fprintf(out, "%s%s\n", name.c_str(), printable(row.folder, out).c_str());
        for (const Cell& cell : row.cells)
            print_line(out, cell.differs, in_words(cell.givers), rights_in_words(report, cell));
        if (!row.not_serving.empty())
            print_line(out, false, in_words(row.not_serving), "not served");
    }
    for (const Note& note : report.notes) {
        const std::string line = note.line > 0 ? ':' + std::to_string(note.line) : "";
        fprintf(out, "%s%s: %s\n", note.file.c_str(), line.c_str(),
                printable(note.text, out).c_str());
    }
}

}  // namespace tavrogen::access
