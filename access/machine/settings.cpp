// Reads the settings files into lines, and changes single values in them.
#include "access/machine/settings.h"

#include "access/machine/text.h"
#include "include/share_info.h"

#include <algorithm>

namespace tavrogen::access {

namespace {

constexpr const char* side_files[] = {"/etc/korvel/shareinfo.hidden", "/etc/korvel/shareinfo.vfs",
                                      offline_file};

std::vector<std::string> keyed_files() {
    std::vector<std::string> files = {info_file, msdfs_file, disk_file, "/etc/korvel/nfs_info",
                                      "/etc/korvel/iscsi_info"};
    for (int number = 1; number <= 10; ++number)
        files.push_back("/etc/korvel/iscsi_disks" + std::to_string(number));
    return files;
}

bool is_share_file(const std::string& file) {
    return file == share_file || file == usb_share_file;
}

bool is_keyed(const Unit& unit) {
    return !unit.key.empty();
}

// Where a field stands in its line. What is not there stands at the end.
struct Range {
    size_t begin, end;
    int missing = 0;  // fields before it
};

Range range_of(const Unit& unit, const std::string& line) {
    if (is_keyed(unit))
        return {unit.key.size() + 1, std::min(line.find('\0'), line.size())};
    if (unit.field == whole_line)
        return {0, line.size()};
    const bool is_group = unit.file == group_file;
    const std::string_view ends = is_group ? std::string_view(":") : std::string_view("<>\0", 3);
    size_t at = 0;
    for (int field = 0; at <= line.size(); ++field) {
        const size_t end = std::min(line.find_first_of(ends, at), line.size());
        if (field == unit.field)
            return {at, end};
        if (end == line.size())
            return {end, end, unit.field - field};
        at = end + (is_group ? 1 : 2);
    }
    return {line.size(), line.size()};
}

std::string name_in(const std::string& line) {
    const auto fields = fields_of(line);
    return fields.empty() ? "" : fields[0].substr(0, sizeof SHARE_INFO::name - 1);
}

}  // namespace

Accounts::Accounts(const Machine& machine) {
    const auto passwd = machine.file("/etc/passwd"), group = machine.file(group_file);
    for (const std::string& line : lines_of(passwd.value_or("")))
        users.insert(line.substr(0, line.find(':')));
    for (const std::string& line : lines_of(group.value_or("")))
        groups.insert(line.substr(0, line.find(':')));
    const std::string domain = setting(machine, info_file, "domain").value;
    complete = passwd && group && domain != "on" && domain != "ad" && domain != "server";
}

bool Accounts::lacks(const std::string& name, size_t list) const {
    if (!complete || name == "all" || name == "admin" || name == "guest")
        return false;
    return list % 2 == 0 ? !users.contains(name)
                         : !groups.contains(name.substr(name.starts_with('@')));
}

Settings::Settings(const Machine& machine) : machine_(machine) {
    std::vector<std::string> files = keyed_files();
    files.insert(files.end(), std::begin(side_files), std::end(side_files));
    files.insert(files.end(), {share_file, usb_share_file, group_file});
    for (const std::string& file : files)
        if (const auto text = machine.file(file)) {
            std::vector<Line>& lines = files_[file];
            for (const std::string& line : lines_of(*text))
                lines.push_back({static_cast<int>(lines.size()) + 1, line});
        }
}

std::vector<Unit> Settings::units() const {
    std::vector<Unit> units;
    for (const std::string& file : keyed_files()) {
        const auto lines = files_.find(file);
        if (lines == files_.end())
            continue;
        std::set<std::string> keys;
        for (const Line& line : lines->second) {
            const std::string key = line.text.substr(0, line.text.find('='));
            if (key.size() < line.text.size() && !key.empty() && keys.insert(key).second)
                units.push_back({file, line.number, 0, key});
        }
        for (const char* key : {"info_visible", "syslog_forward"})  // that count as on
            if (file == info_file && !keys.contains(key))
                units.push_back({file, 0, 0, key});
    }
    const struct {
        const char* file;
        std::vector<int> fields;
    } records[] = {
        {share_file, {whole_line, 0, 1, 2, 3, 4, 5, 6}},
        {usb_share_file, {whole_line, 0, 1, 2, 3, 4, 5, 6}},
        {offline_file, {2}},
        {group_file, {3}},
    };
    for (const auto& kind : records)
        if (const auto lines = files_.find(kind.file); lines != files_.end())
            for (const Line& line : lines->second)
                for (const int field : kind.fields)
                    units.push_back({kind.file, line.number, field, ""});
    return units;
}

const Settings::Line* Settings::line_of(const Unit& unit) const {
    const auto file = files_.find(unit.file);
    if (file == files_.end())
        return nullptr;
    const auto at =
        std::lower_bound(file->second.begin(), file->second.end(), unit.line,
                         [](const Line& line, int number) { return line.number < number; });
    return at != file->second.end() && at->number == unit.line ? &*at : nullptr;
}

std::string Settings::get(const Unit& unit) const {
    const Line* line = line_of(unit);
    if (line == nullptr)
        return "";
    const Range range = range_of(unit, line->text);
    return line->text.substr(range.begin, range.end - range.begin);
}

std::string Settings::folder_of(const Unit& unit) const {
    const Line* line = line_of(unit);
    auto fields = fields_of(line->text);
    fields.resize(2);
    const std::string volume = "/mnt/" + fields[1].substr(0, sizeof SHARE_INFO::volume - 1);
    return plain_path(unit.file == usb_share_file ? volume : volume + '/' + name_in(line->text));
}

void Settings::rename_beside(const std::string& name, const std::string& other) {
    const auto has_name = [&](const Line& line) { return name_in(line.text) == name; };
    std::vector<Line*> records;
    for (const char* file : side_files)
        for (Line& line : files_[file])
            if (has_name(line))
                records.push_back(&line);
    for (const char* file : {share_file, usb_share_file})
        if (!records.empty() && std::any_of(files_[file].begin(), files_[file].end(), has_name))
            return;  // they are that share's, too
    for (Line* record : records) {
        const Range range = range_of({"", 0, 0, ""}, record->text);
        record->text.replace(range.begin, range.end - range.begin, other);
    }
}

void Settings::set(const Unit& unit, const std::string& value) {
    if (unit.line == 0) {
        std::vector<Line>& lines = files_[unit.file];
        lines.insert(lines.begin(), {0, unit.key + '=' + value});
        return;
    }
    Line* line = const_cast<Line*>(line_of(unit));
    if (line == nullptr)
        return;  // taken away
    const bool moves = is_share_file(unit.file) && unit.field < 2;
    const std::string name = name_in(line->text), folder = moves ? folder_of(unit) : "";
    const Range range = range_of(unit, line->text);
    std::string text;
    for (int field = 0; field < range.missing; ++field)
        text += "<>";
    line->text.replace(range.begin, range.end - range.begin, text + value);
    if (!moves)
        return;
    machine_.move(folder, folder_of(unit));
    if (name_in(line->text) != name)
        rename_beside(name, name_in(line->text));
}

void Settings::keep_only(const std::set<Place>& records) {
    // The place of a USB share in its file is that of its disk.
    std::erase_if(files_[share_file], [&](const Line& line) {
        const bool goes = !records.contains({share_file, line.number});
        if (goes)
            machine_.move(folder_of({share_file, line.number, 0, ""}), "");
        return goes;
    });
}

Machine Settings::machine() const {
    std::map<std::string, std::string> texts;
    for (const auto& [file, lines] : files_) {
        if (lines.empty() && !machine_.is_there(file))
            continue;
        std::string& text = texts[file];
        for (const Line& line : lines)
            text.append(line.text).append("\n");
    }
    return machine_.with(texts);
}

int Settings::own_line(const std::string& file, int line) const {
    const auto at = files_.find(file);
    if (at == files_.end() || line <= 0 || static_cast<size_t>(line) > at->second.size())
        return line;
    return at->second[static_cast<size_t>(line) - 1].number;
}

std::vector<Place> Settings::shares() const {
    std::vector<Place> places;
    for (const char* file : {share_file, usb_share_file})
        if (const auto lines = files_.find(file); lines != files_.end())
            for (const Line& line : lines->second)
                places.emplace_back(file, line.number);
    return places;
}

}  // namespace tavrogen::access
