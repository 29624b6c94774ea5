// The report as text for a terminal.
#include "access/report.h"

#include <algorithm>

namespace tavrogen::access {

// The columns that a text takes, of letters that take one.
static size_t width_of(const std::string& text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
    }));
}

void print_text(const Report& report, FILE* out) {
    const auto print_line = [&](const std::string& line) {
        fprintf(out, "%s\n", printable(line, out).c_str());
    };
    constexpr size_t widest = 40;
    size_t width = 20;
    for (const Row& row : report.rows)
        for (const Cell& cell : row.cells)
            width = std::max(width, std::min(widest, width_of(in_words(cell.givers))));

    const auto first_note = std::find_if(report.notes.begin(), report.notes.end(),
                                         [](const Note& note) { return !note.stops; });
    for (auto note = report.notes.begin(); note != first_note; ++note)
        print_line(in_words(*note));
    if (const std::string missing = missing_in_words(report); !missing.empty())
        print_line(missing);
    bool others = false;
    for (const Row& row : report.rows) {
        if (!row.is_share && !others)
            print_line("--- No shares, but reachable");
        others = others || !row.is_share;
        print_line((row.name.empty() ? "" : row.name + "  ") + row.folder);
        for (const Cell& cell : row.cells) {
            std::string line = (cell.differs ? "  ! " : "    ") + in_words(cell.givers);
            line.append(width + 4 - std::min(width + 4, width_of(line)), ' ');
            print_line(line + ' ' + in_words(report, cell));
        }
    }
    for (auto note = first_note; note != report.notes.end(); ++note)
        print_line(in_words(*note));
}

}  // namespace tavrogen::access
