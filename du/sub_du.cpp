// The listing of a directory's subdirectories.
#include "du/sub_du.h"

#include "base/messages.h"

#include <dirent.h>
#include <initializer_list>
#include <memory>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// One name in the list of directories. The last node is empty: append() fills it.
struct dir_node {
    char* name;  // heap, owned
    dir_node* next;
    dir_node* prev;
};

struct close_directory {
    void operator()(DIR* directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, close_directory>;

// Frees the list from its last node back to the first.
void release_list(dir_node* node) {
    while (node != nullptr) {
        dir_node* previous = node->prev;
        free(node->name);
        free(node);
        node = previous;
    }
}

dir_node* allocate_node() {
    return static_cast<dir_node*>(calloc(1, sizeof(dir_node)));
}

int out_of_memory(dir_node* list) {
    complain("can't allocate memory\n");
    release_list(list);
    return -1;
}

// True for an entry that is to be listed.
bool is_listed(DIR* directory, const char* name) {
    struct stat status;
    if (fstatat(dirfd(directory), name, &status, 0) == -1 || !S_ISDIR(status.st_mode))
        return false;
    for (const char* own : {".", "..", "lost+found", "spool"})
        if (strcmp(name, own) == 0)
            return false;
    return true;
}

// Stores a name in the empty node at the end of the list and puts a new one after it. Returns
// the new node, or NULL if memory runs out.
dir_node* append(dir_node* node, const char* name) {
    node->name = strdup(name);
    dir_node* empty = allocate_node();
    if (node->name == nullptr || empty == nullptr) {
        free(empty);
        return nullptr;
    }
    trace(1, "dir_use in sub_du: found %s.\n", name);
    empty->prev = node;
    node->next = empty;
    return empty;
}

// Prints one path and reports it if it cannot be opened. A path that does not fit is left out,
// since its beginning may be the path of another directory.
void print_subdirectory(const char* directory, const char* name) {
    char path[255];
    const char* slash = strcmp(directory, "/") == 0 ? "" : "/";
    if (snprintf(path, sizeof path, "%s%s%s", directory, slash, name) >=
        static_cast<int>(sizeof path))
        return;
    say("\t%s\n", path);
    // Kept: a relative path is opened from inside the directory, where it leads to something else.
    if (!Directory(opendir(path)))
        complain("cannot open 2nd directory: %s\n", path);
}

}  // namespace

int dir_use(const char* directory) {
    dir_node* first = allocate_node();
    if (first == nullptr)
        return out_of_memory(nullptr);
    trace(1, "dir_use in sub_du: seach %s.\n", directory);
    Directory entries(opendir(directory));
    if (!entries) {
        complain("cannot open directory: %s\n", directory);
        release_list(first);
        return -1;
    }
    // chdir fails where nothing may be searched; fstatat then fails for each entry, and none is
    // listed.
    (void)!chdir(directory);

    dir_node* last = first;
    int count = 0;
    while (const dirent* entry = readdir(entries.get())) {
        if (!is_listed(entries.get(), entry->d_name))
            continue;
        dir_node* next = append(last, entry->d_name);
        if (next == nullptr)
            return out_of_memory(last);
        last = next;
        ++count;
    }
    entries.reset();
    trace(1, "dir_use in sub_du: found %d directories.\n", count);

    for (const dir_node* node = first; node->name != nullptr; node = node->next)
        print_subdirectory(directory, node->name);
    say("\t%s\n", directory);
    release_list(last);
    return 0;
}
