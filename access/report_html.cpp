// The report as one HTML page without outside parts, for the screen and for paper.
#include "access/report.h"

#include <algorithm>

namespace tavrogen::access {

namespace {

constexpr size_t table_columns = 20;  // what a landscape page holds
constexpr size_t flat_columns = 8;    // with more, the names stand upright
constexpr size_t shown_names = 1;     // in the head of a column of three or more; all stand below

constexpr char head[] =
    "<style>\n"
    "@page { size: landscape; margin: 12mm }\n"
    "body { font: 14px/1.35 sans-serif; margin: 1.5em; color: #111; background: #fff }\n"
    "h1 { font-size: 1.5em } h2 { font-size: 1.15em; margin-top: 2em }\n"
    "table { border-collapse: collapse; margin: 1em 0 2em;\n"
    "  print-color-adjust: exact; -webkit-print-color-adjust: exact }\n"
    "th, td { border: 1px solid #999; padding: .2em .45em; text-align: center }\n"
    "th { font-weight: normal; background: #fff } tbody th { text-align: left }\n"
    "td, th[scope=row] { white-space: nowrap } td.free { white-space: normal }\n"
    "thead { break-inside: avoid } thead th { position: sticky; top: 0; background: #eee; vertical-align: bottom }\n"
    ".upright thead th.person { writing-mode: vertical-rl; text-align: left;\n"
    "  transform: rotate(180deg); padding: .45em .2em }\n"
    "tbody { border-top: 2px solid #333; break-inside: avoid }\n"
    "b { display: block; overflow-wrap: anywhere } .folder { font-size: .85em; overflow-wrap: anywhere }\n"
    ".w { background: #f6c28b } .r { background: #cfe2f7 } .n, .off { color: #777 }\n"
    ".free { text-align: left } .d { font-weight: bold; outline: 2px solid #b00; outline-offset: "
    "-2px }\n"
    "@media print { body { margin: 0; font-size: 8pt } thead th { position: static }\n"
    "  table + table { break-before: page } }\n"
    "</style>\n";

constexpr char legend[] =
    "<p><span class=\"w\">&nbsp;rw&nbsp;</span> may read and write,\n"
    "<span class=\"r\">&nbsp;r&nbsp;</span> may only read, <span class=\"n\">&ndash;</span> "
    "neither.\n"
    "<span class=\"d\">&nbsp;!&nbsp;</span> The service gives something else than the first one "
    "of the\nsame folder. People who may do the same everywhere share a column.</p>\n";

std::string escaped(const std::string& text) {
    static const std::map<char, const char*> marked_up = {
        {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}};
    std::string safe;
    for (const char byte : as_utf8(text))
        if (const auto at = marked_up.find(byte); at != marked_up.end())
            safe += at->second;
        else if (byte >= ' ' && byte != 127)
            safe += byte;
        else
            safe += "\uFFFD";  // no page may hold it
    return safe;
}

// People who have the same right in every cell; the first one stands for all.
struct Column {
    std::vector<size_t> people;
};

std::vector<Column> columns_of(const Report& report) {
    std::map<std::vector<Right>, size_t> known;
    std::vector<Column> columns;
    for (size_t person = 0; person < report.people.size(); ++person) {
        std::vector<Right> all;
        for (const Row& row : report.rows)
            for (const Cell& cell : row.cells)
                if (!cell.people.empty())
                    all.push_back(cell.people[person]);
        const auto [at, is_new] = known.insert({all, columns.size()});
        if (is_new)
            columns.emplace_back();
        columns[at->second].people.push_back(person);
    }
    return columns;
}

std::string names_of(const Report& report, const Column& column) {
    std::string names;
    const size_t count = column.people.size();
    const size_t shown = count > shown_names + 1 ? shown_names : count;
    for (size_t number = 0; number < shown; ++number)
        names += (number > 0 ? ",<br>" : "") + escaped(report.people[column.people[number]].name);
    return count == shown ? names : names + "<br>and " + std::to_string(count - shown) + " others";
}

class Page {
  public:
    Page(const Report& report, FILE* out)
        : report_(report), columns_(columns_of(report)), out_(out) {}

    void print(const std::string& title) {
        fprintf(out_,
                "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                "<title>%s</title>\n%s</head>\n<body>\n<h1>%s</h1>\n%s",
                escaped(title).c_str(), head, escaped(title).c_str(), legend);
        print_section("Shares", true);
        print_section("No shares, but reachable", false);
        print_long_columns();
        print_notes();
        fputs("</body>\n</html>\n", out_);
    }

  private:
    void print_section(const char* title, bool shares) {
        if (std::none_of(report_.rows.begin(), report_.rows.end(),
                         [&](const Row& row) { return row.is_share == shares; }))
            return;
        fprintf(out_, "<h2>%s</h2>\n", title);
        first_ = 0;
        do {
            last_ = std::min(columns_.size(), first_ + table_columns);
            print_table(shares);
            first_ = last_;
        } while (first_ < columns_.size());
    }

    void print_table(bool shares) {
        fprintf(out_,
                "<table%s>\n<thead><tr><th scope=\"col\">Folder</th><th scope=\"col\">"
                "Service</th>",
                last_ - first_ > flat_columns ? " class=\"upright\"" : "");
        for (size_t column = first_; column < last_; ++column)
            fprintf(out_, "<th scope=\"col\" class=\"person\">%s</th>",
                    names_of(report_, columns_[column]).c_str());
        fputs("<th scope=\"col\" class=\"person\">without an account</th></tr></thead>\n", out_);
        for (const Row& row : report_.rows)
            if (row.is_share == shares)
                print_row(row);
        fputs("</table>\n", out_);
    }

    void print_row(const Row& row) {
        const size_t lines = row.cells.size() + (row.not_serving.empty() ? 0 : 1);
        const std::string name = row.name.empty() ? "" : "<b>" + escaped(row.name) + "</b>";
        fprintf(out_,
                "<tbody>\n<tr><th scope=\"rowgroup\" rowspan=\"%zu\">%s"
                "<span class=\"folder\">%s</span></th>",
                std::max<size_t>(lines, 1), name.c_str(), escaped(row.folder).c_str());
        const char* start = "";
        const Cell* first = nullptr;
        for (const Cell& cell : row.cells) {
            fputs(start, out_);
            start = "<tr>";
            print_cell(cell, cell.differs ? first : nullptr);
            if (first == nullptr && !cell.differs && gives_something(cell))
                first = &cell;
            fputs("</tr>\n", out_);
        }
        if (lines > row.cells.size() || lines == 0) {
            fprintf(out_,
                    "%s<th scope=\"row\" class=\"off\">%s</th><td class=\"free off\" "
                    "colspan=\"%zu\">not served</td></tr>\n",
                    start, in_words(row.not_serving).c_str(), last_ - first_ + 1);
        }
        fputs("</tbody>\n", out_);
    }

    // `other`: the cell that this one differs from, if it does.
    void print_cell(const Cell& cell, const Cell* other) {
        fprintf(out_, "<th scope=\"row\"%s>%s%s</th>", other != nullptr ? " class=\"d\"" : "",
                other != nullptr ? "! " : "", escaped(in_words(cell.givers)).c_str());
        if (!cell.clients.empty()) {
            fprintf(out_, "<td class=\"free %c%s\" colspan=\"%zu\">%s%s</td>",
                    cell.guest == Right::write ? 'w' : 'r', other != nullptr ? " d" : "",
                    last_ - first_ + 1, other != nullptr ? "! " : "",
                    escaped(clients_in_words(cell)).c_str());
            return;
        }
        for (size_t column = first_; column < last_; ++column) {
            const size_t person = columns_[column].people.front();
            print_right(cell.people[person], other != nullptr && !other->people.empty() &&
                                                 other->people[person] != cell.people[person]);
        }
        print_right(cell.guest, other != nullptr && other->guest != cell.guest);
    }

    void print_right(Right right, bool differs) {
        static constexpr const char* words[] = {"&ndash;", "r", "w", "rw"};
        static constexpr char classes[] = "nrww";
        const auto number = static_cast<size_t>(right);
        fprintf(out_, "<td class=\"%c%s\">%s%s</td>", classes[number], differs ? " d" : "",
                differs ? "! " : "", words[number]);
    }

    void print_long_columns() {
        const char* title = "<h2>People who share a column</h2>\n<ul>\n";
        const char* end = "";
        for (const Column& column : columns_) {
            if (column.people.size() <= shown_names + 1)
                continue;
            fprintf(out_, "%s<li>", title);
            for (size_t number = 0; number < column.people.size(); ++number)
                fprintf(out_, "%s%s", number > 0 ? ", " : "",
                        escaped(report_.people[column.people[number]].name).c_str());
            fputs("</li>\n", out_);
            title = "";
            end = "</ul>\n";
        }
        fputs(end, out_);
    }

    void print_notes() {
        if (report_.notes.empty())
            return;
        fputs("<h2>Notes</h2>\n<ul>\n", out_);
        for (const Note& note : report_.notes)
            fprintf(out_, "<li>%s:%d: %s</li>\n", escaped(note.file).c_str(), note.line,
                    escaped(note.text).c_str());
        fputs("</ul>\n", out_);
    }

    const Report& report_;
    std::vector<Column> columns_;
    FILE* out_;
    size_t first_ = 0;  // of the columns of this table
    size_t last_ = 0;
};

}  // namespace

void print_html(const Report& report, const std::string& title, FILE* out) {
    Page(report, out).print(title);
}

}  // namespace tavrogen::access
