// What the services have written, and whether it can be read.
#include "tests/faults/outputs.h"

#include <regex>

namespace fs = std::filesystem;
using std::string;

std::map<string, string> outputs(const Root& root) {
    std::map<string, string> texts;
    for (const auto& entry : fs::recursive_directory_iterator(root.at("/etc"))) {
        const string path = "/" + entry.path().lexically_relative(root.at("/")).string();
        const bool is_input = std::regex_search(path, std::regex("/korvel/|/\\.|/group|/vantor"));
        if (entry.is_regular_file() && !is_input)
            texts[path] = root.read(path);
    }
    return texts;
}

string fault_in(const string& path, const string& text) {
    if (text.empty())
        return "";
    const bool is_marked = path == "/etc/samba/smb.conf" || has(path, "AppleVolumes");
    if (!text.ends_with(is_marked ? "\n#####END#####\n" : "\n"))
        return "the end is missing";
    if (has(text, "(null)"))
        return "(null)";
    static const std::regex tag(" *<(/?)([A-Z][A-Za-z]*)( [^>\n]*)?>\n");
    std::vector<string> open;
    for (const string& line : lines_of(path.ends_with("proftpd.conf") ? text : "")) {
        std::smatch found;
        if (!std::regex_match(line, found, tag))
            continue;
        if (found[1].length() == 0) {
            open.push_back(found[2]);
        } else {
            if (open.empty() || open.back() != found[2])
                return "no block to close: " + line;
            open.pop_back();
        }
    }
    return open.empty() ? "" : "an open block: " + open.back();
}
