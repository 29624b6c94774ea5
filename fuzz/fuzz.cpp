// The fuzzers of all that reads text from outside: `fuzz TARGET [libFuzzer option...] CORPUS`.
#include "conf/list_words.h"
#include "conf/load_config.h"
#include "conf/number.h"
#include "conf/owners.h"
#include "conf/vantor_bin.h"
#include "fuzz/private_root.h"
#include "include/debug.h"
#include "util/mount_probe.h"
#include "util/utils.h"
#include "writers/writers.h"

#include <algorithm>
#include <fcntl.h>
#include <string.h>
#include <string>
#include <string_view>
#include <unistd.h>

using std::string;
using std::string_view;

// What must hold of a result, beyond what the sanitizers watch.
static void expect(bool holds) {
    if (!holds)
        abort();
}

// The part of an input up to a separator, taken off its front.
static string_view take_part(string_view* input) {
    const size_t end = std::min(input->find('\x1c'), input->size());
    const string_view part = input->substr(0, end);
    input->remove_prefix(std::min(end + 1, input->size()));
    return part;
}

static string take_text(string_view* input) {
    return string(take_part(input)).c_str();
}

static void store(const char* path, string_view content) {
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666);
    expect(write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()));
    close(file);
}

static string contents(const char* path) {
    string text;
    char chunk[4096];
    const int file = open(path, O_RDONLY);
    for (ssize_t got = 0; (got = read(file, chunk, sizeof chunk)) > 0;)
        text.append(chunk, static_cast<size_t>(got));
    close(file);
    return text;
}

static void tokenizer(string_view input) {
    const string line = take_text(&input);
    const Text area(str_duplicate(line.c_str()));  // of the exact size: its end is guarded
    const char* const end = area.get() + line.size();
    for (const char *at = area.get(), *next = at; at <= end; at = next) {
        char field[8];
        char* whole = nullptr;
        next = get_words_with_allocate(at, &whole);
        expect(get_words(at, field, sizeof field) == next);
        expect(next == at + strcspn(at, "<>") + 2 && string_view(at, next - 2) == whole);
        expect(string_view(whole).substr(0, 7) == field);
        free(whole);
    }
}

static void replacing(const string& text, const string& pattern, const string& replacement) {
    string expected;
    size_t from = 0;
    if (pattern.starts_with('^'))
        expected = replacement;
    else if (!pattern.empty())
        for (size_t match = 0; (match = text.find(pattern, from)) != text.npos;
             from = match + pattern.size())
            expected += text.substr(from, match - from) + replacement;
    expected += text.substr(from);
    const auto area = std::make_unique<char[]>(std::max(expected.size(), text.size()) + 1);
    strcpy(area.get(), text.c_str());
    str_replace(area.get(), pattern.c_str(), replacement.c_str());
    expect(expected == area.get());
}

static void strings(string_view input) {
    const int number = to_int(take_text(&input).c_str());
    const string text = take_text(&input);
    const string pattern = take_text(&input);
    replacing(text, pattern, take_text(&input));

    const Text cut(str_duplicate(text.c_str()));
    str_cut_sjis(cut.get(), number);
    const size_t length = number < 0 ? text.size() : static_cast<size_t>(number);
    expect(strlen(cut.get()) == std::min(length, text.size()));

    char* list = str_duplicate(text.c_str());
    VntSambaFormatShaper(&list, number & 1);
    const string once = list;
    VntSambaFormatShaper(&list, number & 1);
    expect(once == list);
    free(list);
}

static constexpr char settings[] = "/etc/korvel/info";

// Where the value of a key begins, read in the plainest way; npos: there is none.
static size_t value_of(const string& key, const string& file) {
    const size_t at = ("\n" + file).find("\n" + key + "=");
    return key.find_first_of("=\n") != key.npos || at == file.npos ? file.npos
                                                                   : at + key.size() + 1;
}

static void expect_lookup(const string& key, const string& file) {
    char read[32];
    const size_t at = value_of(key, file);
    expect(get_StringbyKey(settings, key.c_str(), read, sizeof read) == (at != file.npos));
    if (at == file.npos)
        return;
    const string value = file.substr(at, file.find('\n', at) - at).substr(0, sizeof read - 1);
    expect(memcmp(read, value.c_str(), value.size() + 1) == 0);
}

static void expect_search(const string& text, string_view file) {
    char line[32];
    const char* found = nullptr;
    string whole;
    while (found == nullptr && !file.empty()) {
        whole = file.substr(0, file.find('\n'));
        file.remove_prefix(std::min(whole.size() + 1, file.size()));
        found = strstr(whole.c_str(), text.c_str());
    }
    expect(grep_file(settings, text.c_str(), line, sizeof line) == (found != nullptr));
    expect(found == nullptr || string(whole.c_str()).substr(0, sizeof line - 1) == line);
}

static void keys(string_view input) {
    const string key = take_text(&input);
    const string value = take_text(&input);
    string file(input);
    store(settings, file);
    expect_lookup(key, file);
    expect_search(value, file);
    if (set_StringbyKey(settings, key.c_str(), value.c_str()) != 0) {
        expect(key.find_first_of("=\n") != key.npos || value.find('\n') != value.npos);
    } else if (const size_t at = value_of(key, file); at != file.npos) {
        file.replace(at, file.find('\n', at) - at, value);
        if (at + value.size() == file.size())
            file += '\n';
    } else {
        file += (file.empty() || file.ends_with('\n') ? "" : "\n") + key + "=" + value + "\n";
    }
    expect(contents(settings) == file);
    expect_lookup(key, file);
}

template <class Record, auto load, auto close_list>
static void list() {
    Record head;
    const int lines = load(&head);
    int records = 0;
    for (const Record* record = &head; record != nullptr; record = record->next)
        ++records;
    expect(records == std::max(lines, 1));
    close_list(&head);
}

static void groups() {
    GROUP_INFO head = {};
    int count = 0;
    expect(load_groupinfo(&head, &count) == 0 && count >= 0);
    close_groupinfo(&head);
}

static void info() {
    SYS_INFO record;
    expect(load_info(&record) == 0);
    IconvCodeCharset(record.codepage);
}

static void msdfs() {
    MSDFS_INFO record;
    expect(load_msdfsinfo(&record) == 0 && record.root != nullptr && record.links != nullptr);
    close_msdfsinfo(&record);
}

static void iscsi_disks() {
    ISCSI_INFO record;
    ISCSI_DISKS head;
    load_iscsi_info(&record);
    expect(load_iscsi_disks(&head) == 1);
    close_iscsi_disks(&head);
}

static void nfs_info() {
    NFS_INFO record;
    load_nfs_info(&record);
}

static void mounts() {
    int type = 0;
    isMounted("/mnt/usbdisk1", &type);
    expect(type >= 0 && type <= 7);
}

static constexpr const char* appliance[] = {
#include "fuzz/appliance_files.inc"
};

// One fuzzer: of text in memory, of a loader (an input is each of the files that it loads), or of
// a writer (an input is all files of an appliance, and `files` are written).
struct target {
    const char* name;
    void (*run)(string_view);
    void (*load)();
    int (*make)();
    const char* files[3];
};

static constexpr target targets[] = {
    {"tokenizer", tokenizer, nullptr, nullptr, {}},
    {"strings", strings, nullptr, nullptr, {}},
    {"keys", keys, nullptr, nullptr, {}},
    {"shareinfo",
     nullptr,
     list<SHARE_INFO, load_shareinfo, close_shareinfo>,
     nullptr,
     {"/etc/korvel/shareinfo"}},
    {"offlinefile",
     nullptr,
     list<OFFLINE, load_offlinefile, close_offlinefile>,
     nullptr,
     {"/etc/korvel/offlinefile"}},
    {"shareinfo.hidden",
     nullptr,
     list<SHARE_HIDDEN, load_shareinfo_hidden, close_shareinfo_hidden>,
     nullptr,
     {"/etc/korvel/shareinfo.hidden"}},
    {"shareinfo.vfs",
     nullptr,
     list<SHARE_VFS, load_shareinfo_vfs, close_shareinfo_vfs>,
     nullptr,
     {"/etc/korvel/shareinfo.vfs"}},
    {"group", nullptr, groups, nullptr, {"/etc/group"}},
    {"info", nullptr, info, nullptr, {"/etc/korvel/info", "/etc/korvel/diskinfo"}},
    {"msdfs", nullptr, msdfs, nullptr, {"/etc/korvel/msdfs"}},
    {"nfs_info", nullptr, nfs_info, nullptr, {"/etc/korvel/nfs_info"}},
    {"iscsi_disks1",
     nullptr,
     iscsi_disks,
     nullptr,
     {"/etc/korvel/iscsi_info", "/etc/korvel/iscsi_disks1", "/etc/korvel/iscsi_disks2"}},
    {"mounts", nullptr, mounts, nullptr, {"/proc/mounts"}},
    {"samba", nullptr, nullptr, make_samba_conf, {"/etc/samba/smb.conf", "/etc/pam_smb.conf"}},
    {"proftpd",
     nullptr,
     nullptr,
     make_proftpd_conf,
     {"/etc/proftpd/proftpd.conf", "/etc/pam.d/ftp"}},
    {"atalk",
     nullptr,
     nullptr,
     make_atalk_conf,
     {"/etc/atalk/AppleVolumes.default", "/etc/pam.d/netatalk", "/etc/atalk/afpd.conf"}},
    {"syslog", nullptr, nullptr, make_syslog_conf, {"/etc/syslog.conf"}},
    {"iscsi",
     nullptr,
     nullptr,
     make_iscsi_conf,
     {"/etc/ietd.conf", "/etc/initiators.allow", "/etc/initiators.deny"}},
    {"nfs", nullptr, nullptr, make_nfs_exports, {"/etc/exports"}},
};

static const target* chosen = nullptr;

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    for (const target& row : targets)
        if (*argc > 1 && strcmp((*argv)[1], row.name) == 0)
            chosen = &row;
    if (chosen == nullptr) {
        for (const target& row : targets)
            puts(row.name);
        exit(*argc > 1);
    }
    (*argv)[1] = (*argv)[0];
    ++*argv;
    --*argc;
    enter_private_root();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    string_view input(reinterpret_cast<const char*>(data), size);
    debug = size % 2 == 0 ? 0 : 11;  // also with every trace
    if (chosen->run != nullptr) {
        chosen->run(input);
    } else if (chosen->load != nullptr) {
        for (const char* path : chosen->files)
            if (path != nullptr)
                store(path, input);
        chosen->load();
    } else {
        for (const char* path : appliance)
            store(path, take_part(&input));
        expect(chosen->make() == 0);
        for (const char* path : chosen->files) {
            const string text = path != nullptr ? contents(path) : "";
            expect(text.empty() || text.ends_with('\n'));
        }
    }
    return 0;
}
