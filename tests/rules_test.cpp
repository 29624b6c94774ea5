// The rules under tests/rules: what a change of the small appliance (tests/appliance) changes
// in the files and streams of a run.
//
// A file begins with "run ARGUMENTS", and with the blocks of lines that it needs often:
//   define NAME
//   |LINE                   % stands for the word after NAME in a line {NAME WORD}
// A rule is "== NAME", the changes after three blanks, and the outcome. The changes:
//   FILE KEY=VALUE;KEY      stores and removes settings of a keyed file
//   LIST NAME FIELD=VALUE;FIELD=VALUE   changes fields of a line of a list
//   FILE + LINE             adds a line at the end
//   FILE only LINE          makes it the only line
//   no FILE, folder FILE    removes it, puts a folder in its place
//   host NAME, eth0 MAC,ADDRESS/LENGTH
//   run ARGUMENTS           other ones than those of the file
//   like RULE               makes the changes of another rule first; the outcome starts from there
// The outcome is compared with that of the same run before the changes:
//   @ FILE                  the lines below are about this file; otherwise, about the first one
//   -LINE, +LINE            what goes and what comes, in order
//   -FIRST ... LAST         a line, all up to the next LAST, and that one; -FIRST ... up to the end
//   gone FILE...            there are no such files
//   = FILE                  the lines below are the whole file
// FILE may be "out" or "err", too; "out" counts only where it is named. "err" ends in a line
// "status N" unless N is 0. Addresses are ADDRESS, and numbered in whole files. {N} stands for N of
// the byte before it, \xHH for a byte, and \c at the end for no newline.
#include "tests/root.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <regex>
#include <sstream>

using std::string;
using Lines = std::vector<string>;

// The lines that a rule has about a file.
struct About {
    string file;
    bool whole;
    Lines lines;
};

struct Rule {
    string file, name, arguments;  // of the file, where no change says "run"
    Lines changes = {};
    std::vector<About> outcome = {};
    bool is_whole_run = false;  // the first of a file: it is about all files
};

static void PrintTo(const Rule& rule, std::ostream* out) {
    *out << "tests/rules/" << rule.file << ": " << rule.name;
}

using Blocks = std::map<string, Lines>;

// A line in its own bytes, or the lines of the block that it names; all after the mark.
static Lines expanded(const string& mark, const string& line, const Blocks& blocks) {
    const size_t blank = std::min(line.find_first_of(" }"), line.size());
    const auto block =
        line.starts_with('{') ? blocks.find(line.substr(1, blank - 1)) : blocks.end();
    if (block == blocks.end())
        return {mark + unescaped(line)};
    Lines lines;
    for (string part : block->second) {
        if (const size_t at = part.find('%'); at != part.npos)
            part.replace(at, 1, line.substr(blank + 1, line.size() - blank - 2));
        for (const string& each : expanded(mark, part, blocks))
            lines.push_back(each);
    }
    return lines;
}

static std::vector<Rule> rules_of(const string& file) {
    std::ifstream text(SOURCE_FOLDER "/tests/rules/" + file);
    std::vector<Rule> rules;
    Blocks blocks;
    string arguments, block;
    for (string line; getline(text, line);) {
        const string rest = line.substr(std::min(line.find(' '), line.size() - 1) + 1);
        if (line.starts_with("== ")) {
            rules.push_back({file, rest, arguments});
            rules.back().is_whole_run = rules.size() == 1;
        } else if (rules.empty()) {
            if (line.starts_with("run "))
                arguments = rest;
            else if (line.starts_with("define "))
                block = rest;
            else if (line.starts_with('|'))
                blocks[block].push_back(line.substr(1));
        } else {
            auto& outcome = rules.back().outcome;
            if (line.starts_with("   ") && outcome.empty()) {
                rules.back().changes.push_back(line.substr(3));
                continue;
            }
            if (line.starts_with("@ ") || line.starts_with("= ")) {
                outcome.push_back({rest, line[0] == '=', {}});
                continue;
            }
            if (line.starts_with("gone ")) {
                std::istringstream files(rest);
                for (string each; files >> each;)
                    outcome.push_back({each, true, {"+" + no_file}});
                continue;
            }
            if (outcome.empty())
                outcome.push_back({rules[0].outcome[0].file, false, {}});
            const string marked = outcome.back().whole ? "+" + line : line;
            for (const string& each : expanded(marked.substr(0, 1), marked.substr(1), blocks))
                outcome.back().lines.push_back(each + "\n");
        }
    }
    return rules;
}

static const std::vector<Rule>& all_rules() {
    static const auto all = [] {
        std::set<std::filesystem::path> files;  // in the order of their names
        for (const auto& entry : std::filesystem::directory_iterator(SOURCE_FOLDER "/tests/rules"))
            files.insert(entry.path().filename());
        std::vector<Rule> rules;
        for (const auto& file : files)
            for (const Rule& rule : rules_of(file))
                rules.push_back(rule);
        return rules;
    }();
    return all;
}

// Makes the changes of a rule. Returns its arguments.
static string arrange(Root& root, const Rule& rule) {
    string arguments = rule.arguments;
    for (const string& change : rule.changes) {
        std::istringstream words(change);
        string word, path, rest;
        words >> word >> path;
        getline(words, rest);
        rest.erase(0, 1);
        const string all = change.substr(change.find(' ') + 1);
        if (word == "run") {
            arguments = all;
        } else if (word == "host") {
            root.host = unescaped(path);
        } else if (word == "eth0") {
            root.eth0 = path;
        } else if (word == "like") {
            const auto same = [&](const Rule& other) {
                return other.file == rule.file && other.name == all;
            };
            const auto other = std::find_if(all_rules().begin(), all_rules().end(), same);
            if (other == all_rules().end())
                ADD_FAILURE() << "no such rule: " << all;
            else
                arrange(root, *other);
        } else if (word == "no") {
            root.remove(path);
        } else if (word == "folder") {
            root.obstruct(path);
        } else if (path == "+") {
            root.write(word, root.read(word) + unescaped(rest + "\n"));
        } else if (path == "only") {
            root.write(word, unescaped(rest + "\n"));
        } else if (rest.empty() || has(path, "=")) {
            root.change(word, unescaped(all));
        } else {
            root.change(word, path, unescaped(rest));
        }
    }
    return arguments;
}

// The run that a rule starts from: without its changes, but for those of the rules it is like.
static const Texts& before(const Rule& rule, const string& arguments) {
    static std::map<Lines, Texts> runs;
    Rule base = rule;
    std::erase_if(base.changes, [](const string& change) { return !change.starts_with("like "); });
    Lines key = base.changes;
    key.push_back(arguments);
    Texts& texts = runs[key];
    if (texts.empty()) {
        Root root;
        arrange(root, base);
        texts = root.texts(arguments);
    }
    return texts;
}

// The place after the lines of an edit, where they stand at a place of a text; else the place.
static size_t past(const string& edit, const Lines& text, size_t at) {
    const string line = edit.substr(1);
    const size_t dots = std::min(line.find(" ... "), line.find(" ...\n"));
    if (at == text.size() || (text[at] != line && text[at] != line.substr(0, dots) + "\n"))
        return at;
    if (dots == line.npos)
        return at + 1;
    if (line.substr(dots) == " ...\n")
        return text.size();
    const auto first = text.begin() + static_cast<ptrdiff_t>(at);
    const auto last = std::find(first, text.end(), line.substr(dots + 5));
    return last == text.end() ? at : static_cast<size_t>(last - text.begin()) + 1;
}

// Where the edits do not lead, in their order, from one text to the other; empty where they do.
static string wrong_place(const Lines& edits, const Lines& before, const Lines& after) {
    using At = std::array<size_t, 3>;
    std::set<At> seen;
    At furthest = {};
    for (std::vector<At> open = {{0, 0, 0}}; !open.empty();) {
        const auto [edit, from, to] = open.back();
        open.pop_back();
        if (!seen.insert({edit, from, to}).second)
            continue;
        if (edit == edits.size() && from == before.size() && to == after.size())
            return "";
        if (from + to >= furthest[1] + furthest[2])
            furthest = {edit, from, to};
        if (from < before.size() && to < after.size() && before[from] == after[to])
            open.push_back({edit, from + 1, to + 1});
        if (edit == edits.size())
            continue;
        const bool comes = edits[edit][0] == '+';
        const size_t past_from = comes ? from : past(edits[edit], before, from);
        const size_t past_to = comes ? past(edits[edit], after, to) : to;
        if (past_from + past_to > from + to)
            open.push_back({edit + 1, past_from, past_to});
    }
    const auto line = [](const Lines& lines, size_t at) {
        return at < lines.size() ? lines[at] : "(the end)\n";
    };
    return "wrong from here on: before, " + line(before, furthest[1]) + "now, " +
           line(after, furthest[2]) + "in the rule, " + line(edits, furthest[0]) + "all changes:\n";
}

class Rules : public testing::TestWithParam<Rule> {};

TEST_P(Rules, Hold) {
    const Rule& rule = GetParam();
    Root root;
    const string arguments = arrange(root, rule);
    const Texts after = root.texts(arguments);
    string input;
    for (const string& change : rule.changes)
        input += "   " + change + "\n";
    const auto expect = [&](const string& file, const Lines& edits, const string& usual,
                            const string& seen) {
        const string wrong = wrong_place(edits, lines_of(usual), lines_of(seen));
        if (!wrong.empty())
            ADD_FAILURE() << "tests/rules/" << rule.file << ": " << rule.name << "\n"
                          << input << file << ":\n"
                          << wrong << beginning(differing_lines(usual, seen), 24);
    };
    std::set<string> named = {"out"};
    for (const auto& [file, whole, lines] : rule.outcome) {
        ASSERT_TRUE(after.contains(file)) << "the rule names no file of a service: " << file;
        named.insert(file);
        // Which address is which only matters in a whole text.
        const auto without_numbers = [&](const string& text) {
            static const std::regex address("ADDRESS[0-9]+");
            return file == "out" ? std::regex_replace(text, address, "ADDRESS") : text;
        };
        const string seen = whole ? after.at(file) : without_numbers(after.at(file));
        const string usual = whole ? "" : without_numbers(before(rule, arguments).at(file));
        expect(file, lines, usual, seen);
    }
    for (const auto& [file, seen] : after)
        if (!named.contains(file)) {
            const string& usual =
                rule.is_whole_run ? file == "err" ? "" : no_file : before(rule, arguments).at(file);
            expect(file, {}, usual, seen);
        }
}

INSTANTIATE_TEST_SUITE_P(Of, Rules, testing::ValuesIn(all_rules()), [](const auto& rule) {
    return rule.param.file + "_" + std::regex_replace(rule.param.name, std::regex("\\W+"), "_");
});
