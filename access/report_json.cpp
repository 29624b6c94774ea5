// The report as JSON (RFC 8259).
#include "access/report.h"

namespace tavrogen::access {

namespace {

std::string quoted(const std::string& text) {
    std::string literal = "\"";
    for (const char byte : as_utf8(text)) {
        if (byte == '"' || byte == '\\')
            literal += '\\';
        if (static_cast<unsigned char>(byte) >= ' ') {
            literal += byte;
            continue;
        }
        char escape[8];
        snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(byte));
        literal += escape;
    }
    return literal + '"';
}

const char* in_word(Right right) {
    static constexpr const char* words[] = {"none", "read", "upload", "write"};
    return words[static_cast<int>(right)];
}

// "[a, b]" of the texts that `literal` makes of the items.
template <class Items, class Literal>
std::string list_of(const Items& items, Literal literal) {
    std::string list;
    for (const auto& item : items)
        list += (list.empty() ? "" : ", ") + literal(item);
    return '[' + list + ']';
}

std::string givers_in_json(const std::vector<Giver>& givers) {
    return list_of(givers, [](const Giver& giver) {
        const std::string share = giver.share.empty() ? "" : ", \"as\": " + quoted(giver.share);
        return "{\"name\": " + quoted(name_of(giver.service)) + share + '}';
    });
}

std::string cell_in_json(const Report& report, const Cell& cell) {
    std::string people;
    for (size_t person = 0; person < cell.people.size(); ++person)
        if (cell.people[person] != Right::none)
            people += (people.empty() ? "" : ", ") + quoted(report.people[person].name) + ": \"" +
                      in_word(cell.people[person]) + '"';
    std::string json = "{\"services\": " + givers_in_json(cell.givers);
    json += ", \"people\": {" + people + "}, \"guests\": \"" + in_word(cell.guest) + '"';
    if (!cell.clients.empty())
        json += ", \"clients\": " + quoted(cell.clients);
    return json + ", \"differs\": " + (cell.differs ? "true}" : "false}");
}

std::string row_in_json(const Report& report, const Row& row) {
    return "\n    {\"name\": " + quoted(row.name) + ", \"folder\": " + quoted(row.folder) +
           ", \"share\": " + (row.is_share ? "true" : "false") +
           ", \"not served by\": " + givers_in_json(row.not_serving) + ", \"rights\": " +
           list_of(row.cells, [&](const Cell& cell) { return cell_in_json(report, cell); }) + '}';
}

}  // namespace

void print_json(const Report& report, FILE* out) {
    const std::string people = list_of(report.people, [](const Person& person) {
        return "\n    {\"name\": " + quoted(person.name) +
               ", \"groups\": " + list_of(person.groups, quoted) + '}';
    });
    const std::string rows =
        list_of(report.rows, [&](const Row& row) { return row_in_json(report, row); });
    const std::string notes = list_of(report.notes, [](const Note& note) {
        return "\n    {\"file\": " + quoted(note.file) +
               ", \"line\": " + std::to_string(note.line) + ", \"text\": " + quoted(note.text) +
               '}';
    });
    fprintf(out, "{\n  \"people\": %s,\n  \"folders\": %s,\n  \"notes\": %s\n}\n", people.c_str(),
            rows.c_str(), notes.c_str());
}

}  // namespace tavrogen::access
