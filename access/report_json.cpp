// The report as JSON (RFC 8259).
#include "access/report.h"

namespace tavrogen::access {

namespace {

std::string in_json(const std::string& text) {
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

std::string truth(bool value) {
    return value ? "true" : "false";
}

constexpr const char* words[] = {"none", "read", "upload", "write"};  // by Right

// "a, b" of the texts that `literal` makes of the items, without empty ones.
template <class Items, class Literal>
std::string joined(const Items& items, Literal literal) {
    std::string list;
    for (const auto& item : items)
        if (const std::string text = literal(item); !text.empty())
            append(&list, text);
    return list;
}

std::string givers_in_json(const std::vector<Giver>& givers) {
    return joined(givers, [](const Giver& giver) {
        const std::string share = giver.share.empty() ? "" : ", \"as\": " + in_json(giver.share);
        return "{\"name\": " + in_json(std::string(name_of(giver.service))) + share + '}';
    });
}

// People, or groups of a domain, with their rights.
std::string holders_in_json(const Report& report, const Cell& cell, bool groups) {
    std::string holders;
    for (size_t person = 0; person < cell.people.size(); ++person)
        if (cell.people[person] != Right::none && report.people[person].is_group == groups)
            append(&holders,
                   in_json(groups ? report.people[person].groups[0] : report.people[person].name) +
                       ": " + quoted(words[static_cast<int>(cell.people[person])]));
    return '{' + holders + '}';
}

std::string cell_in_json(const Report& report, const Cell& cell) {
    if (*cell.state != '\0')
        return "";
    std::string json = "{\"services\": [" + givers_in_json(cell.givers) + ']';
    json += ", \"people\": " + holders_in_json(report, cell, false);
    if (const std::string groups = holders_in_json(report, cell, true); groups != "{}")
        json += ", \"groups\": " + groups;
    json += std::string(", \"guests\": \"") + words[static_cast<int>(cell.guest)] + '"';
    if (!cell.clients.empty())
        json += ", \"clients\": " + in_json(cell.clients);
    if (cell.is_rest)
        json += ", \"shares below excepted\": true";
    return json + ", \"differs\": " + truth(cell.differs) + '}';
}

std::string row_in_json(const Report& report, const Row& row) {
    return "\n    {\"name\": " + in_json(row.name) + ", \"folder\": " + in_json(row.folder) +
           ", \"share\": " + truth(row.is_share) + ", \"not served by\": [" +
           joined(row.cells,
                  [](const Cell& cell) {
                      return *cell.state != '\0' ? givers_in_json(cell.givers) : "";
                  }) +
           "], \"rights\": [" +
           joined(row.cells, [&](const Cell& cell) { return cell_in_json(report, cell); }) + "]}";
}

}  // namespace

void print_json(const Report& report, FILE* out) {
    const auto person_in_json = [](const Person& person) {
        const auto name = [](const std::string& group) { return in_json(group); };
        return person.is_group ? ""
                               : "\n    {\"name\": " + in_json(person.name) + ", \"groups\": [" +
                                     joined(person.groups, name) + "]}";
    };
    const auto note_in_json = [](const Note& note) {
        return "\n    {\"file\": " + in_json(note.file) +
               ", \"line\": " + std::to_string(note.line) + ", \"stops\": " + truth(note.stops) +
               ", \"text\": " + in_json(note.text) + '}';
    };
    const auto missing_in_json = [](const auto& one) {
        return "{\"name\": " + in_json(std::string(name_of(one.first))) +
               ", \"file\": " + in_json(one.second) + '}';
    };
    fprintf(out,
            "{\n  \"appliance\": %s,\n  \"root\": %s,\n  \"planned\": %s,\n  \"people\": [%s],\n"
            "  \"missing\": [%s],\n  \"folders\": [",
            in_json(report.appliance).c_str(), in_json(report.root).c_str(),
            truth(report.planned).c_str(), joined(report.people, person_in_json).c_str(),
            joined(report.missing, missing_in_json).c_str());
    for (size_t row = 0; row < report.rows.size(); ++row)
        fprintf(out, "%s%s", row > 0 ? ", " : "", row_in_json(report, report.rows[row]).c_str());
    fprintf(out, "],\n  \"notes\": [%s]\n}\n", joined(report.notes, note_in_json).c_str());
}

}  // namespace tavrogen::access
