// The fuzzers of all that reads text from outside: `fuzz TARGET [libFuzzer option...] CORPUS`.
#include "base/c_string.h"
#include "base/heap.h"
#include "conf/list_words.h"
#include "conf/vantor_bin.h"
#include "include/debug.h"
#include "tests/private_mounts.h"
#include "util/utils.h"
#include "writers/writers.h"

#include <algorithm>
#include <fstream>
#include <string.h>
#include <string>
#include <string_view>
#include <sys/stat.h>

using std::string;

// What must hold of a result, beyond what the sanitizers watch.
static void expect(bool holds) {
    if (!holds)
        abort();
}

// The part of an input up to a separator, taken off its front.
static string take_part(string* input) {
    const size_t end = std::min(input->find('\x1c'), input->size());
    const string part = input->substr(0, end);
    input->erase(0, end + 1);
    return part;
}

static string take_text(string* input) {
    return take_part(input).c_str();
}

static void store(const string& path, const string& content) {
    std::ofstream file(path);
    expect(file && (file << content).flush());
}

static void tokenizer(string input) {
    const string line = take_text(&input);
    const HeapString area(str_duplicate(line.c_str()));  // of the exact size: its end is guarded
    const char* const end = area.get() + line.size();
    for (const char *at = area.get(), *next = at; at <= end; at = next) {
        char field[8];
        char* whole = nullptr;
        next = get_words_with_allocate(at, &whole);
        expect(get_words(at, field, sizeof field) == next);
        expect(next == at + strcspn(at, "<>") + 2 && string(at, next - 2) == whole);
        expect(string(whole).substr(0, 7) == field);
        free(whole);
    }
}

// The text that str_replace is to make: every match from the left, none inside a replacement.
static string replaced(string text, const string& pattern, const string& replacement) {
    if (pattern.starts_with('^'))
        return replacement + text;
    for (size_t at = 0; !pattern.empty() && (at = text.find(pattern, at)) != text.npos;
         at += replacement.size())
        text.replace(at, pattern.size(), replacement);
    return text;
}

static void strings(string input) {
    const int number = to_int(take_text(&input).c_str());
    const string text = take_text(&input);
    const string pattern = take_text(&input);
    const string replacement = take_text(&input);
    string area = text + string((text.size() + 1) * replacement.size(), '\0');
    str_replace(area.data(), pattern.c_str(), replacement.c_str());
    expect(area.c_str() == replaced(text, pattern, replacement));
    area = text;
    str_cut_sjis(area.data(), number);
    const auto length = static_cast<size_t>(number);
    expect(number < 0 || strlen(area.c_str()) == std::min(length, text.size()));

    char* list = str_duplicate(text.c_str());
    VntSambaFormatShaper(&list, number & 1);
    const string once = list;
    VntSambaFormatShaper(&list, number & 1);
    expect(once == list);
    free(list);
}

// The settings library, against the plainest reading of a file.
static void keys(string input) {
    static constexpr char path[] = "/etc/korvel/info";
    const string key = take_text(&input);
    const string value = take_text(&input);
    store(path, input);

    char found[32];
    const size_t at = ("\n" + input).find("\n" + key + "=");
    const bool is_there = at != input.npos && key.find_first_of("=\n") == key.npos;
    const string rest = is_there ? input.substr(at + key.size() + 1) : "";
    const string shown = rest.substr(0, std::min<size_t>(rest.find('\n'), sizeof found - 1));
    expect(get_StringbyKey(path, key.c_str(), found, sizeof found) == is_there);
    expect(!is_there || memcmp(found, shown.c_str(), shown.size() + 1) == 0);

    const char* match = nullptr;
    string line;
    while (match == nullptr && !input.empty()) {
        line = input.substr(0, input.find('\n'));
        input.erase(0, line.size() + 1);
        match = strstr(line.c_str(), value.c_str());
    }
    expect(grep_file(path, value.c_str(), found, sizeof found) == (match != nullptr));
    expect(match == nullptr || strncmp(line.c_str(), found, sizeof found - 1) == 0);

    if (set_StringbyKey(path, key.c_str(), value.c_str()) == 0)
        expect(get_StringbyKey(path, key.c_str(), found, sizeof found) &&
               value.substr(0, sizeof found - 1) == found);
}

static constexpr const char* appliance[] = {
#include "fuzz/input_files.inc"
};

static string name;  // of the target

// The input is all files of an appliance.
static void writer(string input) {
    for (const char* path : appliance)
        store(path, take_part(&input));
    for (const service& service : services)
        expect(name != service.name || service.write() == 0);
}

static constexpr struct {
    const char* name;
    void (*run)(string input);
} targets[] = {
    {"tokenizer", tokenizer},
    {"strings", strings},
    {"keys", keys},
};

// Gives this process /etc, /tmp and /proc/mounts of its own, empty: the product writes there.
static void enter_private_root() {
    expect(enter_private_mounts());
    for (const char* folder : {"/etc", "/tmp"})
        expect(mount("tmpfs", folder, "tmpfs", 0, nullptr) == 0);
    for (const char* folder : {"korvel", "samba", "proftpd", "atalk", "pam.d"})
        expect(mkdir((string("/etc/") + folder).c_str(), 0777) == 0);
    store("/etc/mounts", "");
    expect(mount("/etc/mounts", "/proc/self/mounts", nullptr, MS_BIND, nullptr) == 0);
    for (const char* path : appliance)
        store(path, "");
}

static void (*run)(string) = nullptr;

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    name = *argc > 1 ? (*argv)[1] : "";
    for (const auto& target : targets)
        if (name == target.name)
            run = target.run;
    for (const service& service : services)
        if (name == service.name)
            run = writer;
    if (run == nullptr) {
        for (const auto& target : targets)
            puts(target.name);
        for (const service& service : services)
            puts(service.name);
        exit(!name.empty());
    }
    (*argv)[1] = (*argv)[0];
    ++*argv;
    --*argc;
    enter_private_root();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    debug = size % 2 == 0 ? 0 : 11;  // also with every trace
    run(string(reinterpret_cast<const char*>(data), size));
    return 0;
}
