// Reads /etc/korvel/offlinefile, /etc/korvel/shareinfo.hidden and /etc/korvel/shareinfo.vfs.
#include "conf/list_file.h"
#include "conf/list_words.h"
#include "conf/load_config.h"

// These records own no heap text.
static constexpr auto nothing_to_discard = [](auto*) {};

static const char* parse_offline(const char* at, OFFLINE* offline) {
    at = take(at, offline->name);
    at = take_switch(at, offline->enabled);
    at = take(at, offline->policy);
    for (auto& text : offline->reserved)
        at = take(at, text);
    trace(1, "load_offlinefile in load_config: %s\t%s\t%s\n", offline->name,
          offline->enabled ? "enable" : "disable", offline->policy);
    return at;
}

int load_offlinefile(OFFLINE* head) {
    return load_list_file(
        "/etc/korvel/offlinefile", head,
        "load_offlinefile in load_config: allocate memory for OFFLINE structure......",
        parse_offline, nothing_to_discard);
}

void close_offlinefile(OFFLINE* record) {
    release_followers(record, "close_offlinefile", "OFFLINE structure");
    trace(1, "close_offlinefile in load_config: close offlineinfo.\n");
}

static const char* parse_hidden(const char* at, SHARE_HIDDEN* hidden) {
    at = take(at, hidden->name);
    at = take_switch(at, hidden->enabled);
    for (auto& text : hidden->reserved)
        at = take(at, text);
    trace(1, "load_shareinfo_hidden in load_config: %s\t%s\n", hidden->name,
          hidden->enabled ? "enable" : "disable");
    return at;
}

int load_shareinfo_hidden(SHARE_HIDDEN* head) {
    return load_list_file(
        "/etc/korvel/shareinfo.hidden", head,
        "load_shareinfo_hidden in load_config: allocate memory for SHARE_HIDDEN structure......",
        parse_hidden, nothing_to_discard);
}

void close_shareinfo_hidden(SHARE_HIDDEN* record) {
    release_followers(record, "close_shareinfo_hidden", "SHARE_HIDDEN structure");
    trace(1, "close_shareinfo_hidden in load_config: close shareinfo_hidden.\n");
}

static const char* parse_vfs(const char* at, SHARE_VFS* vfs) {
    at = take(at, vfs->name);
    at = take_switch(at, vfs->trash);
    at = take_switch(at, vfs->audit);
    at = take(at, vfs->nfs);
    for (auto& text : vfs->reserved)
        at = take(at, text);
    trace(1, "load_shareinfo_vfs in load_config: %s\ttrash %s\taudit %s\n", vfs->name,
          vfs->trash ? "enable" : "disable", vfs->audit ? "enable" : "disable");
    return at;
}

int load_shareinfo_vfs(SHARE_VFS* head) {
    return load_list_file(
        "/etc/korvel/shareinfo.vfs", head,
        "load_shareinfo_vfs in load_config: allocate memory for SHARE_VFS structure......",
        parse_vfs, nothing_to_discard);
}

void close_shareinfo_vfs(SHARE_VFS* record) {
    release_followers(record, "close_shareinfo_vfs", "SHARE_VFS structure");
    trace(1, "close_shareinfo_vfs in load_config: close shareinfo_vfs.\n");
}
