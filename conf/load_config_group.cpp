// Reads /etc/group.
#include "conf/list_file.h"
#include "conf/load_config.h"

#include <stdlib.h>
#include <string.h>

// Copies the bytes from `text` to `end` into a zeroed area of `size` bytes, cut to leave the last
// one zero.
static void copy_cut(char* area, size_t size, const char* text, const char* end) {
    const size_t length = static_cast<size_t>(end - text);
    memcpy(area, text, length < size ? length : size - 1);
}

enum class parsed { accepted, rejected, out_of_memory };

// Splits a line "name:password:ID:members\n" into a cleared record.
static parsed parse_group(const char* line, GROUP_INFO* group) {
    const char* name_end = strchr(line, ':');
    const char* password_end = name_end ? strchr(name_end + 1, ':') : nullptr;
    const char* id_end = password_end ? strchr(password_end + 1, ':') : nullptr;
    const char* members_end = id_end ? strchr(id_end + 1, '\n') : nullptr;
    // Kept: a last line without its newline is rejected, too, where one expects it to be read.
    if (members_end == nullptr)
        return parsed::rejected;
    copy_cut(group->GroupName, sizeof group->GroupName, line, name_end);
    copy_cut(group->GroupID, sizeof group->GroupID, password_end + 1, id_end);
    group->GroupUser = strndup(id_end + 1, static_cast<size_t>(members_end - id_end - 1));
    if (group->GroupUser == nullptr) {
        complain("Can't allocate memory\n");
        return parsed::out_of_memory;
    }
    return parsed::accepted;
}

// Empties the last record of a chain; its link to the one before it stays.
static void clear_group(GROUP_INFO* group) {
    GROUP_INFO* previous = group->prev;
    free(group->GroupUser);
    *group = {};
    group->prev = previous;
}

int load_groupinfo(GROUP_INFO* head, int* count) {
    const Heap<ListReader> lines = open_list_file("/etc/group");
    if (!lines)
        return -1;
    *count = 0;
    *head = {};
    GROUP_INFO* group = head;
    bool vacant = true;  // the current record is free for the next line
    while (const char* line = lines->next()) {
        if (!vacant) {
            trace(1, "allocate group memory ");
            group = grow(group);
            if (group == nullptr)
                return -1;
            trace(1, "done.\n");
        }
        clear_group(group);
        const parsed outcome = parse_group(line, group);
        if (outcome == parsed::out_of_memory)
            return -1;
        vacant = outcome == parsed::rejected;
        if (vacant) {
            // Kept: the line after a malformed one overwrites the group before it; *count still
            // includes that group.
            if (group != head)
                group = drop_last(group);
            continue;
        }
        trace(1, "%d: GroupName = %s\n", *count, group->GroupName);
        trace(1, "%d: GroupID = %s\n", *count, group->GroupID);
        trace(1, "%d: GroupUser = %s\n", *count, group->GroupUser);
        ++*count;
    }
    return 0;
}

void release_groupinfo(GROUP_INFO* head) {
    clear_group(release_followers(head, [](GROUP_INFO* group) { free(group->GroupUser); }));
}

void close_groupinfo(GROUP_INFO* head) {
    int followers = 0;  // Kept: the trace counts the records after the head, not all of them.
    for (const GROUP_INFO* group = head->next; group != nullptr; group = group->next)
        ++followers;
    trace(1, "close_groupinfo in load_config: group count is %d.\n", followers);
    release_groupinfo(head);
    trace(1, "close_groupinfo in load_config: close groupinfo.\n");
}
