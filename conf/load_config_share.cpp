// Reads /etc/korvel/shareinfo and /etc/korvel/usbshareinfo.
#include "base/messages.h"
#include "conf/list_file.h"
#include "conf/list_words.h"
#include "conf/load_config.h"

#include <initializer_list>
#include <stdlib.h>

// 16 fields: the most of all records (max_fields, conf/list_file.h).
static const char* parse_share(const char* at, SHARE_INFO* share) {
    at = take(at, share->name);
    at = take(at, share->volume);
    at = take(at, share->comment);
    at = take(at, share->rw_users);
    at = take(at, share->rw_groups);
    at = take(at, share->ro_users);
    at = take(at, share->ro_groups);
    at = take(at, share->smb);
    at = take(at, share->atalk);
    at = take(at, share->ftp);
    at = take(at, share->rsync);
    at = take(at, share->reserved_text);
    at = take(at, share->read_only);
    at = take(at, share->trashbox);
    at = take(at, share->reserved_flag);
    return take(at, share->reserved_value);
}

static void free_lists(SHARE_INFO* share) {
    for (char** list : {&share->rw_users, &share->rw_groups, &share->ro_users, &share->ro_groups}) {
        free(*list);
        *list = nullptr;
    }
}

int load_shareinfo_file(const char* path, SHARE_INFO* head) {
    return load_list_file(path, head, "allocate share memory ", parse_share, free_lists);
}

int load_shareinfo(SHARE_INFO* head) {
    return load_shareinfo_file("/etc/korvel/shareinfo", head);
}

int load_usbshareinfo(SHARE_INFO* head) {
    return load_shareinfo_file("/etc/korvel/usbshareinfo", head);
}

void close_shareinfo(SHARE_INFO* head) {
    int followers = 0;  // Kept: the trace counts the records after the head, not all of them.
    for (const SHARE_INFO* share = head->next; share != nullptr; share = share->next)
        ++followers;
    trace(1, "close_shareinfo in load_config: share count is %d.\n", followers);
    head = release_followers(head, [](SHARE_INFO* share) {
        free_lists(share);
        trace(1, "free %p\n", static_cast<void*>(share));
    });
    free_lists(head);  // `next` is NULL by now: walking a closed list touches no freed record
    trace(1, "close_shareinfo in load_config: close shareinfo.\n");
}

void dump_shareinfo(const SHARE_INFO* share) {
    for (int index = 0; share != nullptr; share = share->next, ++index)
        say("%d:%s:%s smb=%d atalk=%d ftp=%d rsync=%d RO=%d\n", index, share->name, share->volume,
            share->smb, share->atalk, share->ftp, share->rsync, share->read_only);
}
