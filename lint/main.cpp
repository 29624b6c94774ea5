// tavrogen-lint: names each setting that tavrogen writes faithfully and a service will misread.
#include "base/text.h"
#include "conf/load_config.h"
#include "base/record_chain.h"
#include "lint/samba_names.h"

#include <arpa/inet.h>
#include <ctype.h>
#include <errno.h>
#include <memory>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

struct close_stream {
    void operator()(FILE* stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, close_stream>;

Stream open_input(const char* path) {
    return Stream(fopen(path, "re"));
}

constexpr char share_file[] = "/etc/korvel/shareinfo";
constexpr char usb_share_file[] = "/etc/korvel/usbshareinfo";
constexpr char info_file[] = "/etc/korvel/info";
constexpr char msdfs_file[] = "/etc/korvel/msdfs";
constexpr char nfs_file[] = "/etc/korvel/nfs_info";

// A line of a settings file; 0 stands for the file as a whole.
struct Place {
    const char* file;
    int line;
};

FILE* findings;  // standard output; the loaders' own words go elsewhere
int finding_count = 0;

__attribute__((format(printf, 2, 3))) void report(Place place, const char* format, ...) {
    ++finding_count;
    fprintf(findings, place.line > 0 ? "%s:%d: " : "%s: ", place.file, place.line);
    va_list values;
    va_start(values, format);
    vfprintf(findings, format, values);
    va_end(values);
    fputc('\n', findings);
}

// Everything that the findings are made of. Loaded by the program's own loaders, so that a value
// is cut, carried over or taken for on as it will be.
struct Settings {
    SHARE_INFO shares;
    int share_count;  // 0: not even the head is one
    SHARE_INFO usb_shares;
    int usb_share_count;
    OFFLINE offline;
    SHARE_HIDDEN hidden;
    SHARE_VFS vfs;
    SYS_INFO info;
    MSDFS_INFO msdfs;
    NFS_INFO nfs;
};

// Says so when a file cannot be read; a file that need not be there may be missing.
bool readable(const char* path, bool needed) {
    const Stream file = open_input(path);
    if (!file && errno == ENOENT && !needed)
        return true;
    if (file && (fgetc(file.get()) != EOF || !ferror(file.get())))
        return true;
    fprintf(stderr, "tavrogen-lint: cannot read %s: %s\n", path, strerror(errno));
    return false;
}

// Returns false when a file cannot be read or memory runs out.
bool load(Settings* settings) {
    bool loaded = readable(share_file, true) && readable(info_file, true);
    for (const char* path :
         {usb_share_file, "/etc/korvel/offlinefile", "/etc/korvel/shareinfo.hidden",
          "/etc/korvel/shareinfo.vfs", msdfs_file, nfs_file})
        loaded = loaded && readable(path, false);
    if (!loaded)
        return false;
    settings->usb_share_count = load_usbshareinfo(&settings->usb_shares);
    load_offlinefile(&settings->offline);
    load_shareinfo_hidden(&settings->hidden);
    load_shareinfo_vfs(&settings->vfs);
    load_info(&settings->info);
    load_nfs_info(&settings->nfs);
    settings->share_count = load_shareinfo(&settings->shares);
    return settings->share_count != -1 && load_msdfsinfo(&settings->msdfs) == 0;
}

// The line of a key; line 0 when it is missing.
Place place_of(const char* path, const char* key) {
    const Stream file = open_input(path);
    char* line = nullptr;
    size_t capacity = 0;
    int found = 0;
    const size_t length = strlen(key);
    for (int number = 1; file && found == 0 && getline(&line, &capacity, file.get()) > 0; ++number)
        if (strncmp(line, key, length) == 0 && line[length] == '=')
            found = number;
    free(line);
    return {path, found};
}

// Reports a value that ends its line of smb.conf in a backslash.
void check_line_end(Place place, const char* what, const char* value) {
    const size_t length = strlen(value);
    if (length > 0 && value[length - 1] == '\\')
        report(place, "smb.conf: the backslash that ends %s takes the next line with it", what);
}

bool has_blank(const char* text) {
    while (*text != '\0' && !isspace(static_cast<unsigned char>(*text)))
        ++text;
    return *text != '\0';
}

// True when the text has a variable of smb.conf(5), such as %U.
bool has_variable(const char* text) {
    for (const char* at = text; (at = strchr(at, '%')) != nullptr; ++at)
        if (at[1] != '\0' && strchr("DGHIJLMNPRSTUVadfghijmptuvw$", at[1]) != nullptr)
            return true;
    return false;
}

// --- smb.conf: the sections, in the order of the file.

struct Section {
    char name[64];
    char folded[64];  // as Samba compares it
    Place place;
    Section* prev;
    Section* next;
};

// Owns the chain of the sections so far.
class Sections {
  public:
    ~Sections() {
        release_followers(&head_, [](Section*) {});
    }

    // Adds a section; reports it when Samba will take it for another one. Returns false when
    // memory runs out.
    bool add(Place place, const char* name, const char* suffix = "") {
        Section* section = grow(last_);
        if (section == nullptr)
            return false;
        last_ = section;
        section->place = place;
        snprintf(section->name, sizeof section->name, "%s%s", name, suffix);
        strcpy(section->folded, section->name);
        fold_case(section->folded);
        if (strchr(name, ']') != nullptr)
            report(place, "smb.conf: the name \"%s\" ends at its ]", name);
        for (const char* special : {"global", "globals", "homes", "printers"})
            if (equal(section->folded, special))
                report(place, "smb.conf: [%s] is a section with a meaning of its own",
                       section->name);
        for (const Section* other = head_.next; other != section; other = other->next) {
            if (!equal(section->folded, other->folded))
                continue;
            report(place,
                   other->place.line > 0 ? "smb.conf: [%s] merges with [%s] of %s:%d"
                                         : "smb.conf: [%s] merges with [%s] of %s",
                   section->name, other->name, other->place.file, other->place.line);
            break;
        }
        return true;
    }

  private:
    Section head_ = {};  // stands for no section
    Section* last_ = &head_;
};

template <class Record>
const Record* record_of(const SHARE_INFO& share, const Record* record) {
    while (record != nullptr && !equal(record->name, share.name))
        record = record->next;
    return record;
}

// Only the last list of "valid users" and of "read list" ends its line.
void check_access_lists(Place place, const SHARE_INFO& share, bool usb) {
    const char* read_list = usb || is_set(share.ro_groups) ? share.ro_groups : share.ro_users;
    const char* valid_users = share.rw_groups;  // of a USB share: a comma ends the other lists
    for (const char* list : {share.rw_users, share.ro_groups, share.ro_users})
        if (!usb && !is_set(valid_users))
            valid_users = list;
    const char* comma = strrchr(valid_users, ',');
    const bool quoted = !usb && strchr(comma != nullptr ? comma : valid_users, '+') != nullptr;
    check_line_end(place, "the read list", read_list);
    if (!quoted)
        check_line_end(place, "the valid users", valid_users);
}

bool check_samba_share(Place place, const SHARE_INFO& share, const Settings& settings, bool usb,
                       Sections* sections) {
    if (!share.smb)
        return true;
    if (!share.read_only)
        check_line_end(place, "the comment", share.comment);
    const char* folder = usb ? share.volume : share.name;
    check_line_end(place, "the path", folder);
    check_access_lists(place, share, usb);
    const OFFLINE* offline = usb ? nullptr : record_of(share, &settings.offline);
    if (offline != nullptr && offline->enabled)
        check_line_end(place, "the offline policy", offline->policy);
    if (has_variable(share.comment))
        report(place, "smb.conf: the comment has a %% that begins a variable");
    if (has_variable(folder))
        report(place, "smb.conf: the path has a %% that begins a variable");
    const SHARE_HIDDEN* hidden = record_of(share, &settings.hidden);
    return sections->add(place, share.name, hidden != nullptr && !hidden->enabled ? "$" : "");
}

bool check_samba(const Settings& settings) {
    const SYS_INFO& info = settings.info;
    const MSDFS_INFO& msdfs = settings.msdfs;
    const MSDFS_LINK* link = msdfs.links;
    while (link->prev != nullptr)
        link = link->prev;
    const bool linked = msdfs.root_as_link != 0;
    const struct {
        const char* file;
        const char* key;
        const char* value;
        bool written;
    } rows[] = {
        {info_file, "string", info.string, true},
        {info_file, "wins", info.wins, true},
        {info_file, "wg", info.wg, true},
        {info_file, "pdc", info.pdc, info.sec_domain != 0},
        {info_file, "ad_dns", info.ad_dns, info.sec_ads != 0},
        {info_file, "auth_server", info.auth_server, info.sec_server != 0},
        {msdfs_file, "msdfs_root_path", msdfs.root->path, msdfs.enabled && !linked},
        {msdfs_file, "msdfs_link1_unc1", link->unc1 + 1, msdfs.enabled && linked},
    };
    for (const auto& row : rows)
        if (row.written)
            check_line_end(place_of(row.file, row.key), row.key, row.value);

    Sections sections;
    bool added = true;
    if (msdfs.enabled)
        added = sections.add(place_of(msdfs_file, "msdfs_root_name"), msdfs.root->name);
    if (info.info_visible)
        added = added && sections.add(place_of(info_file, "info_visible"), "info");
    // A USB share counts also while its disk is not there.
    const SHARE_INFO* share = &settings.usb_shares;
    for (int line = 1; line <= 2 && share != nullptr; ++line, share = share->next)
        added =
            added && check_samba_share({usb_share_file, line}, *share, settings, true, &sections);
    if (info.sec_server && info.auth_user_auto_add && info.auth_test)
        added =
            added && sections.add(place_of(info_file, "auth_test_folder"), info.auth_test_folder);
    int line = 1;
    for (share = &settings.shares; share != nullptr; share = share->next, ++line)
        added = added && check_samba_share({share_file, line}, *share, settings, false, &sections);
    return added;
}

// --- proftpd.conf: the directories; every share has one, also a share that FTP does not serve.

bool in_same_place(const SHARE_INFO& left, const SHARE_INFO& right) {
    return equal(left.name, right.name) && equal(left.volume, right.volume);
}

void check_proftpd_share(Place place, const SHARE_INFO& share, const Settings& settings) {
    char path[128];
    snprintf(path, sizeof path, "/mnt/%s/%s", share.volume, share.name);
    if (*share.name == '\0')
        report(place, "proftpd.conf: a share without a name stands for its whole volume");
    if (equal(share.name, ".") || equal(share.name, "..") || strchr(share.name, '/') != nullptr)
        report(place, "proftpd.conf: the path \"%s\" is not that of a folder of the volume", path);
    if (has_blank(share.name))
        report(place, "proftpd.conf: the path \"%s\" ends at its blank", path);
    const char* bracket = strchr(share.name, '[');
    if (strpbrk(share.name, "*?") != nullptr ||
        (bracket != nullptr && strchr(bracket, ']') != nullptr))
        report(place, "proftpd.conf: the path \"%s\" is a pattern", path);
    if (equal(share.name, "spool") || equal(share.name, "lost+found") ||
        equal(settings.msdfs.root->path, path))
        report(place, "proftpd.conf: the path \"%s\" is the appliance's own", path);
    int line = 1;
    for (const SHARE_INFO* other = &settings.shares; other != &share; other = other->next, ++line) {
        if (!in_same_place(*other, share))
            continue;
        report(place, "proftpd.conf: the path \"%s\" is also that of %s:%d, which is fatal", path,
               share_file, line);
        break;
    }
}

// Each of the first two records has its volume for a directory; a missing one has its disk.
void check_proftpd_usb_shares(const Settings& settings) {
    if (settings.usb_share_count < 1)
        return;
    const SHARE_INFO& first = settings.usb_shares;
    const SHARE_INFO* second = first.next;
    int line = 1;
    for (const SHARE_INFO* share : {&first, second}) {
        const Place place = {usb_share_file, line++};
        if (share == nullptr)
            break;
        if (strchr(share->volume, '\n') != nullptr)
            report(place, "proftpd.conf: the line is short, and its newline is written");
        else if (!is_set(share->volume))
            report(place, "proftpd.conf: a USB share without a volume stands for /mnt itself");
        else if (share == second && equal(share->volume, first.volume))
            report(place, "proftpd.conf: the path \"/mnt/%s\" is also that of %s:1, which is fatal",
                   share->volume, usb_share_file);
        else if (second == nullptr && equal(share->volume, "usbdisk2"))
            report(place,
                   "proftpd.conf: the path \"/mnt/usbdisk2\" is also that of the missing "
                   "line 2, which is fatal");
    }
}

// --- All else.

void check_atalk_share(Place place, const SHARE_INFO& share) {
    if (share.atalk && strchr(share.name, '"') != nullptr)
        report(place, "AppleVolumes.default: the name \"%s\" ends at its quote", share.name);
}

bool exported(const SHARE_INFO& share, const SHARE_VFS& list) {
    for (const SHARE_VFS* vfs = &list; vfs != nullptr; vfs = vfs->next)
        if (equal(vfs->name, share.name) && to_int(vfs->nfs, 0) == 1)
            return true;
    return false;
}

// True for a dotted mask, ones before zeros, and for a number of bits.
bool is_mask(const char* text) {
    in_addr mask = {};
    if (inet_pton(AF_INET, text, &mask) == 1) {
        const uint32_t zeros = ~ntohl(mask.s_addr);
        return (zeros & (zeros + 1)) == 0;
    }
    const size_t digits = strspn(text, "0123456789");
    return digits > 0 && text[digits] == '\0' && to_int(text) <= 32;
}

void check_exports_share(Place place, const SHARE_INFO& share) {
    if (has_blank(share.name))
        report(place, "exports: the path of \"%s\" ends at its blank", share.name);
    if (strchr(share.name, '"') != nullptr)
        report(place, "exports: the path of %s loses its quote", share.name);
}

void check_exports_clients(const NFS_INFO& nfs) {
    in_addr network = {};
    if (inet_pton(AF_INET, nfs.nfs_networkaddress, &network) != 1)
        report(place_of(nfs_file, "nfs_networkaddress"), "exports: \"%s\" is no network address",
               nfs.nfs_networkaddress);
    if (!is_mask(nfs.nfs_subnetmask))
        report(place_of(nfs_file, "nfs_subnetmask"), "exports: \"%s\" is no network mask",
               nfs.nfs_subnetmask);
}

void check_switches(const SYS_INFO& info) {
    const struct {
        const char* key;
        int value;
        bool asked;  // by a writer
    } rows[] = {
        {"info_visible", info.info_visible, true},
        {"syslog_forward", info.syslog_forward, true},
        {"auth_user_auto_add", info.auth_user_auto_add, info.sec_server != 0},
        {"auth_test", info.auth_test, info.sec_server != 0},
    };
    for (const auto& row : rows)
        if (row.asked && row.value == 255)
            report({info_file, 0}, "the key %s is missing, which counts as on", row.key);
}

void check_syslog(const SYS_INFO& info) {
    if (info.syslog_forward && (info.forward_system || info.forward_file_smb) &&
        *info.syslog_forward_target == '\0')
        report(place_of(info_file, "syslog_forward_target"),
               "syslog.conf: messages are forwarded to no host");
}

// Returns false when memory runs out.
bool check(const Settings& settings) {
    bool any_exported = false;
    int line = 0;
    const SHARE_INFO* share = settings.share_count > 0 ? &settings.shares : nullptr;
    for (; share != nullptr; share = share->next) {
        const Place place = {share_file, ++line};
        if (strchr(share->name, '\n') != nullptr || strchr(share->volume, '\n') != nullptr) {
            report(place, "proftpd.conf: the line is blank or short, and its newline is written");
            continue;
        }
        check_proftpd_share(place, *share, settings);
        check_atalk_share(place, *share);
        if (!exported(*share, settings.vfs))
            continue;
        any_exported = true;
        check_exports_share(place, *share);
    }
    check_proftpd_usb_shares(settings);
    const bool checked = check_samba(settings);
    check_switches(settings.info);
    check_syslog(settings.info);
    if (any_exported)
        check_exports_clients(settings.nfs);
    return checked;
}

// Keeps standard output for the findings, and what the loaders print there away from it.
bool set_apart_findings() {
    const int copy = dup(STDOUT_FILENO);
    const int sink = memfd_create("traces", MFD_CLOEXEC);
    if (copy == -1 || sink == -1 || dup2(sink, STDOUT_FILENO) == -1)
        return false;
    close(sink);
    findings = fdopen(copy, "w");
    return findings != nullptr;
}

}  // namespace

int main(int argc, char**) {
    enum { clean, found, trouble };
    if (argc != 1) {
        fputs("usage: tavrogen-lint\n", stderr);
        return trouble;
    }
    if (!set_apart_findings()) {
        perror("tavrogen-lint");
        return trouble;
    }
    debug = -1;
    Settings settings = {};
    const bool checked = load(&settings) && check(settings);
    close_shareinfo(&settings.shares);
    close_shareinfo(&settings.usb_shares);
    close_offlinefile(&settings.offline);
    close_shareinfo_hidden(&settings.hidden);
    close_shareinfo_vfs(&settings.vfs);
    close_msdfsinfo(&settings.msdfs);
    const bool told = fclose(findings) == 0;
    if (!checked || !told)
        return trouble;
    return finding_count > 0 ? found : clean;
}
