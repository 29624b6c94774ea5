// The report as one HTML page without outside parts, for screens of any width and for paper.
#include "access/report.h"

#include <algorithm>
#include <time.h>
#include <utility>

namespace tavrogen::access {

namespace {

constexpr size_t table_columns = 20;  // what a landscape page holds
constexpr size_t flat_columns = 8;    // with more, the names stand upright
constexpr size_t most_columns = 60;   // with more, the rights are told in words
constexpr size_t shown_names = 1;     // in the head of a column of three or more; all stand below

constexpr char head[] =
    "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
    "<style>\n"
    ":root { color-scheme: light dark; --w: #f6c28b; --r: #cfe2f7; --head: #eee; --grey: #666;\n"
    "  --page: #fff; --ink: #111 }\n"
    "@media screen and (prefers-color-scheme: dark) { :root { --w: #7a4a10; --r: #1f4468;\n"
    "  --head: #333; --grey: #aaa; --page: #161616; --ink: #eee } }\n"
    "@page { size: landscape; margin: 12mm }\n"
    "body { font: 14px/1.35 sans-serif; margin: 1.5em; color: var(--ink); background: var(--page);\n"
    "  overflow-wrap: anywhere }\n"
    "h1 { font-size: 1.5em } h2 { font-size: 1.15em; margin-top: 2em }\n"
    "table { border-collapse: collapse; margin: 1em 0 2em; overflow-wrap: normal;\n"
    "  print-color-adjust: exact; -webkit-print-color-adjust: exact }\n"
    "th, td { border: 1px solid #999; padding: .2em .45em; text-align: center }\n"
    "th { font-weight: normal; background: var(--page) } tbody th { text-align: left }\n"
    "td, th[scope=row] { white-space: nowrap } td.free { white-space: normal; text-align: left;\n"
    "  min-width: 12em }\n"
    "thead { break-inside: avoid } thead th { position: sticky; top: 0; background: var(--head);\n"
    "  vertical-align: bottom }\n"
    ".upright thead th.person { writing-mode: vertical-rl; text-align: left;\n"
    "  transform: rotate(180deg); padding: .45em .2em }\n"
    "tbody { border-top: 2px solid #777; break-inside: avoid }\n"
    "th[scope=rowgroup] { min-width: 9em; overflow-wrap: break-word }\n"
    "b { display: block } .folder { font-size: .85em }\n"
    ".w { background: var(--w) } .r { background: var(--r) } .n, .off { color: var(--grey) }\n"
    ".d { font-weight: bold; outline: 2px solid #b00; outline-offset: -2px }\n"
    ".stop { border: 2px solid #b00; padding: .3em .6em; font-weight: bold }\n"
    "@media screen and (max-width: 60em) { body { margin: .8em } .table { overflow-x: auto }\n"
    "  thead th { position: static } }\n"
    "@media screen and (max-width: 32em) { table { font-size: .85em } th, td { padding: .2em .3em }\n"
    "  th[scope=row] { white-space: normal } th[scope=rowgroup] { min-width: 7.5em }\n"
    "  td.free { min-width: 8em } }\n"
    "@media print { body { margin: 0; font-size: 8pt } thead th { position: static }\n"
    "  .table + .table { break-before: page } }\n"
    "</style>\n";

constexpr char legend[] =
    "<p><span class=\"w\">&nbsp;rw&nbsp;</span> may read and write,\n"
    "<span class=\"w\">&nbsp;w&nbsp;</span> may only upload,\n"
    "<span class=\"r\">&nbsp;r&nbsp;</span> may only read, <span class=\"n\">&ndash;</span> "
    "none of these.\n"
    "<span class=\"d\">&nbsp;!&nbsp;</span> The service gives something else than the first one "
    "of the\nsame folder. People who may do the same everywhere share a column.</p>\n";

constexpr char limits[] =
    "<h2>What is not looked at</h2>\n"
    "<p>The page shows what the services&rsquo; files say. It does not look at the permissions of "
    "the\nfiles in the folders, at passwords and closed accounts, at the members of a "
    "domain&rsquo;s groups,\nat firewalls, or at whether a service runs.</p>\n";

std::string escaped(const std::string& text) {
    std::string safe;
    for (const char byte : without_controls(text))
        if (byte == '&')
            safe += "&amp;";
        else if (byte == '<')
            safe += "&lt;";
        else if (byte == '>')
            safe += "&gt;";
        else
            safe += byte;
    return safe;
}

// People who have the same right in every cell.
using Column = std::vector<size_t>;

std::vector<Column> columns_of(const Report& report) {
    std::vector<std::string> rights(report.people.size());
    for (const Row& row : report.rows)
        for (const Cell& cell : row.cells)
            for (size_t person = 0; person < cell.people.size(); ++person)
                rights[person] += static_cast<char>(cell.people[person]);
    std::map<std::string, size_t> known;
    std::vector<Column> columns;
    for (size_t person = 0; person < rights.size(); ++person) {
        const auto [at, is_new] = known.insert({rights[person], columns.size()});
        if (is_new)
            columns.emplace_back();
        columns[at->second].push_back(person);
    }
    return columns;
}

// A path that may go on in the next line behind each slash.
std::string broken(const std::string& path) {
    std::string broken;
    for (const char byte : path)
        broken.append(byte == '/' && !broken.empty() ? "<wbr>" : "").append(1, byte);
    return broken;
}

class Page {
  public:
    Page(const Report& report, FILE* out)
        : report_(report), columns_(columns_of(report)), in_words_(columns_.size() > most_columns),
          out_(out) {}

    void print() {
        const std::string of = report_.appliance.empty() ? "" : " on " + escaped(report_.appliance);
        const std::string title = "Who may do what" + of;
        char date[32] = "";
        const time_t now = time(nullptr);
        tm local = {};
        if (localtime_r(&now, &local) != nullptr)
            strftime(date, sizeof date, "%Y-%m-%d %H:%M", &local);
        fprintf(out_,
                "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                "<title>%s</title>\n%s</head>\n<body>\n<h1>%s</h1>\n<p>%s %s, read %s.</p>\n",
                title.c_str(), head, title.c_str(),
                report_.planned ? "As tavrogen would write the files of"
                                : "As the services&rsquo; files stand below",
                escaped(report_.root).c_str(), date);
        print_notes(true);
        if (const std::string missing = missing_in_words(report_); !missing.empty())
            fprintf(out_, "<p>%s</p>\n", escaped(missing).c_str());
        fputs(legend, out_);
        print_section("Shares", true);
        print_section("No shares, but reachable", false);
        print_long_columns();
        print_notes(false);
        fprintf(out_, "%s</body>\n</html>\n", limits);
    }

  private:
    void print_section(const char* title, bool shares) {
        if (std::none_of(report_.rows.begin(), report_.rows.end(),
                         [&](const Row& row) { return row.is_share == shares; }))
            return;
        fprintf(out_, "<h2>%s</h2>\n", title);
        first_ = last_ = 0;
        do {
            first_ = last_;
            last_ = in_words_ ? first_ : std::min(columns_.size(), first_ + table_columns);
            print_table(shares);
        } while (!in_words_ && last_ < columns_.size());
    }

    void print_table(bool shares) {
        fprintf(out_,
                "<div class=\"table\"><table%s>\n<thead><tr><th scope=\"col\">Folder</th>"
                "<th scope=\"col\">Service</th>",
                last_ - first_ > flat_columns ? " class=\"upright\"" : "");
        for (size_t column = first_; column < last_; ++column)
            fprintf(out_, "<th scope=\"col\" class=\"person\">%s</th>",
                    names_of(columns_[column]).c_str());
        fprintf(out_, "<th scope=\"col\" class=\"person\">%s</th></tr></thead>\n",
                in_words_ ? "Who" : "without an account");
        for (const Row& row : report_.rows)
            if (row.is_share == shares)
                print_row(row);
        fputs("</table></div>\n", out_);
    }

    std::string names_of(const Column& column) const {
        const size_t shown = column.size() > shown_names + 1 ? shown_names : column.size();
        std::string names;
        for (size_t number = 0; number < shown; ++number)
            names += (number > 0 ? ",<br>" : "") + escaped(report_.people[column[number]].name);
        const size_t others = column.size() - shown;
        return others == 0 ? names : names + "<br>and " + std::to_string(others) + " others";
    }

    void print_row(const Row& row) {
        fprintf(out_,
                "<tbody>\n<tr><th scope=\"rowgroup\" rowspan=\"%zu\">%s"
                "<span class=\"folder\">%s</span></th>",
                std::max<size_t>(row.cells.size(), 1),
                row.name.empty() ? "" : ("<b>" + escaped(row.name) + "</b>").c_str(),
                broken(escaped(row.folder)).c_str());
        if (row.cells.empty())
            fprintf(out_, "<td class=\"free off\" colspan=\"%zu\">not served</td></tr>\n",
                    last_ - first_ + 2);
        const Cell* first = nullptr;
        for (const Cell& cell : row.cells) {
            print_cell(cell, cell.differs ? first : nullptr);
            if (first == nullptr && gives_something(cell))
                first = &cell;
            fprintf(out_, "</tr>\n%s", &cell == &row.cells.back() ? "" : "<tr>");
        }
        fputs("</tbody>\n", out_);
    }

    // `other`: the cell that this one differs from, if it does.
    void print_cell(const Cell& cell, const Cell* other) {
        fprintf(out_, "<th scope=\"row\"%s>%s%s</th>", other != nullptr ? " class=\"d\"" : "",
                other != nullptr ? "! " : "", escaped(in_words(cell.givers)).c_str());
        if (in_words_ || !cell.clients.empty() || *cell.state != '\0') {
            const char* kind = *cell.state != '\0'                                   ? "off"
                               : !cell.clients.empty() && cell.guest == Right::write ? "w"
                               : !cell.clients.empty()                               ? "r"
                                                                                     : "n";
            fprintf(out_, "<td class=\"free %s%s\" colspan=\"%zu\">%s%s</td>", kind,
                    other != nullptr ? " d" : "", last_ - first_ + 1, other != nullptr ? "! " : "",
                    escaped(in_words(report_, cell)).c_str());
            return;
        }
        for (size_t column = first_; column < last_; ++column) {
            const size_t person = columns_[column].front();
            print_right(cell.people[person], other != nullptr && !other->people.empty() &&
                                                 other->people[person] != cell.people[person]);
        }
        print_right(cell.guest, other != nullptr && other->guest != cell.guest);
    }

    void print_right(Right right, bool differs) {
        static constexpr const char* words[] = {"&ndash;", "r", "w", "rw"};
        static constexpr const char* classes[] = {"n", "r", "w", "w"};
        const auto number = static_cast<size_t>(right);
        fprintf(out_, "<td class=\"%s%s\">%s%s</td>", classes[number], differs ? " d" : "",
                differs ? "! " : "", words[number]);
    }

    void print_long_columns() {
        std::string lists;
        for (const Column& column : columns_) {
            std::string names;
            for (const size_t person : column)
                append(&names, escaped(report_.people[person].name));
            if (!in_words_ && column.size() > shown_names + 1)
                lists += "<li>" + names + "</li>\n";
        }
        if (!lists.empty())
            fprintf(out_, "<h2>People who share a column</h2>\n<ul>\n%s</ul>\n", lists.c_str());
    }

    void print_notes(bool stops) {
        const char* start = "<h2>Notes</h2>\n";
        for (const Note& note : report_.notes)
            if (note.stops == stops)
                fprintf(out_, "%s<p%s>%s</p>\n", stops ? "" : std::exchange(start, ""),
                        stops ? " class=\"stop\"" : "", escaped(in_words(note)).c_str());
    }

    const Report& report_;
    const std::vector<Column> columns_;
    const bool in_words_;
    FILE* out_;
    size_t first_ = 0;  // of the columns of this table
    size_t last_ = 0;   // the one after them
};

}  // namespace

void print_html(const Report& report, FILE* out) {
    Page(report, out).print();
}

}  // namespace tavrogen::access
