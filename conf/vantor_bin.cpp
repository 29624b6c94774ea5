// The support library's settings files and its search.
#include "conf/vantor_bin.h"

#include "base/os.h"
#include "base/output.h"
#include "base/transfer.h"
#include "conf/whole_file.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

static bool is_key(const char* key) {
    return strpbrk(key, "=\n") == nullptr;
}

int get_StringbyKey(const char* path, const char* key, char* value, int size) {
    if (!is_key(key) || size <= 0)
        return 0;
    const std::string_view wanted = key;
    const Descriptor file(open_input(path));
    enum { in_key, in_value, in_other_line } state = in_key;
    size_t matched = 0;
    int used = 0;
    char chunk[4096];
    ssize_t got = 0;
    while (file != -1 && (got = read_some(file, chunk, sizeof chunk)) > 0) {
        for (const char byte : std::string_view(chunk, static_cast<size_t>(got))) {
            if (byte == '\n') {
                if (state == in_value) {
                    value[used] = '\0';
                    return 1;
                }
                state = in_key;
                matched = 0;
            } else if (state == in_value) {
                if (used < size - 1)
                    value[used++] = byte;
            } else if (state == in_key) {
                if (matched == wanted.size() && byte == '=')
                    state = in_value;
                else if (matched == wanted.size() || byte != wanted[matched++])
                    state = in_other_line;
            }
        }
    }
    if (state != in_value)
        return 0;
    value[got == 0 ? used : 0] = '\0';  // half a value is none
    return got == 0;
}

namespace {

// The path to replace, links followed; a missing file keeps its path. NULL for what is not a
// regular file, and if memory runs out.
HeapString target_of(const char* path) {
    struct stat status;
    if (lstat(path, &status) == -1)
        return HeapString(errno == ENOENT ? strdup(path) : nullptr);
    if (stat(path, &status) == -1 || !S_ISREG(status.st_mode))
        return nullptr;
    return HeapString(realpath(path, nullptr));
}

// Puts the content with one pair stored.
void put_with_pair(Output& out, std::string_view content, std::string_view key, const char* value) {
    std::string_view rest = content;
    while (!rest.empty()) {
        const std::string_view line = take_line(&rest);
        if (line.size() > key.size() && line.starts_with(key) && line[key.size()] == '=') {
            content = content.substr(0, static_cast<size_t>(line.data() - content.data()));
            break;
        }
    }
    put(out, content);
    if (!content.empty() && content.back() != '\n')
        put(out, "\n");
    put(out, key, "=", value, "\n", rest);
}

// Writes what is to replace the file `target` into the new file `successor`.
bool write_successor(const char* target, int successor, const char* key, const char* value) {
    Output out(successor);
    WholeFile content;
    const Descriptor old(open_input(target));
    if (old == -1 && errno != ENOENT)
        return false;
    struct stat status = {};
    if (old != -1 && (fstat(old, &status) == -1 || !content.read(old, PTRDIFF_MAX / 2) ||
                      fchown(successor, status.st_uid, status.st_gid) == -1 ||
                      fchmod(successor, status.st_mode & 07777) == -1))
        return false;
    put_with_pair(out, content.bytes(), key, value);
    return out.flush() && fsync(successor) == 0;
}

}  // namespace

int set_StringbyKey(const char* path, const char* key, const char* value) {
    if (!is_key(key) || strchr(value, '\n') != nullptr)
        return -1;
    const HeapString target = target_of(path);
    if (!target)
        return -1;
    const char* slash = strrchr(target.get(), '/');
    const int folder_length = slash != nullptr ? static_cast<int>(slash - target.get()) + 1 : 0;
    char successor[PATH_MAX];
    if (snprintf(successor, sizeof successor, "%.*s.XXXXXX", folder_length, target.get()) >=
        PATH_MAX)
        return -1;
    const int file = mkostemp(successor, O_CLOEXEC);
    if (file == -1)
        return -1;
    if (write_successor(target.get(), file, key, value) && rename(successor, target.get()) == 0)
        return 0;
    unlink(successor);
    return -1;
}

int grep_file(const char* path, const char* text, char* line, int size) {
    const Descriptor file(open_input(path));
    WholeFile content;
    if (size <= 0 || file == -1 || !content.read(file, PTRDIFF_MAX / 2))
        return 0;
    std::string_view rest = content.bytes();
    while (!rest.empty()) {
        std::string_view found = take_line(&rest);
        found = found.substr(0, found.find('\0'));
        if (found.find(text) == std::string_view::npos)
            continue;
        line[found.copy(line, static_cast<size_t>(size) - 1)] = '\0';
        return 1;
    }
    return 0;
}
