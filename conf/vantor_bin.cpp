// The appliance's support library: keyed settings files.
#include "conf/vantor_bin.h"

#include "base/os.h"

#include <algorithm>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

static bool is_key(const char* key) {
    return strpbrk(key, "=\n") == nullptr;
}

// Takes the first line off the front of a text that is not empty; gives it without its newline.
static std::string_view take_line(std::string_view* text) {
    const std::string_view line(text->data(), std::min(text->find('\n'), text->size()));
    text->remove_prefix(std::min(line.size() + 1, text->size()));
    return line;
}

// Copies a value into an area of `size` bytes, cut to fit and terminated.
static int copy_value(std::string_view text, char* value, int size) {
    const size_t kept = std::min(text.size(), static_cast<size_t>(size) - 1);
    memcpy(value, text.data(), kept);
    value[kept] = '\0';
    return 1;
}

// Looks a key up by reading the file from the front, without the heap.
static int scan(const char* path, std::string_view key, char* value, int size) {
    const Descriptor file(open_settings(path));
    enum { in_key, in_value, in_other_line } state = in_key;
    size_t matched = 0;
    int used = 0;
    char chunk[4096];
    ssize_t got = 0;
    while (file != -1 && (got = read(file, chunk, sizeof chunk)) > 0) {
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
                if (matched == key.size() && byte == '=')
                    state = in_value;
                else if (matched == key.size() || byte != key[matched++])
                    state = in_other_line;
            }
        }
    }
    if (state != in_value)
        return 0;
    value[used] = '\0';
    return got == 0;
}

// Reads the bytes of a file into the heap. Returns false when the file cannot be read to its end,
// when memory runs out, and for a file without end.
static bool read_bytes(int file, Text* bytes, size_t* size) {
    constexpr size_t most = 16 << 20;
    struct stat status = {};
    fstat(file, &status);
    const auto expected = static_cast<size_t>(std::clamp<off_t>(status.st_size, 0, most));
    size_t capacity = 0;
    for (*size = 0;;) {
        if (*size == capacity) {
            capacity = capacity == 0 ? expected + 512 : 2 * capacity;
            auto* larger =
                capacity > 2 * most ? nullptr : static_cast<char*>(realloc(bytes->get(), capacity));
            if (larger == nullptr)
                return false;
            (void)bytes->release();
            bytes->reset(larger);
        }
        const ssize_t got = read(file, bytes->get() + *size, capacity - *size);
        if (got <= 0)
            return got == 0;
        *size += static_cast<size_t>(got);
    }
}

SettingsFile::SettingsFile(const char* path) : path_(path) {
    const Descriptor file(open_settings(path));
    indexed_ = file == -1 || (read_bytes(file, &bytes_, &size_) && index_lines());
}

// `line` is the first byte of a line that has a '=', which no key has: so the comparison ends
// inside the line.
bool SettingsFile::has_key(const char& line, std::string_view key) {
    return strncmp(&line, key.data(), key.size()) == 0 && (&line)[key.size()] == '=';
}

bool SettingsFile::index_lines() {
    std::string_view rest(bytes_.get(), size_);
    const auto lines = static_cast<size_t>(std::count(rest.begin(), rest.end(), '\n'));
    if (!lines_.reserve(lines + 1))
        return false;
    while (!rest.empty()) {
        const std::string_view line = take_line(&rest);
        const size_t key_length = line.find('=');
        if (key_length != std::string_view::npos)
            lines_.add({line.data(), key_length}, line.data());
    }
    return true;
}

int SettingsFile::find(const char* key, char* value, int size) const {
    if (!is_key(key) || size <= 0)
        return 0;
    if (!indexed_)
        return scan(path_, key, value, size);
    const char* line = lines_ ? lines_.find(key) : nullptr;
    if (line == nullptr)
        return 0;
    const char* text = line + strlen(key) + 1;
    std::string_view rest(text, static_cast<size_t>(bytes_.get() + size_ - text));
    return copy_value(take_line(&rest), value, size);
}

int get_StringbyKey(const char* path, const char* key, char* value, int size) {
    return SettingsFile(path).find(key, value, size);
}

namespace {

struct close_stream {
    void operator()(FILE* stream) const { fclose(stream); }
};
using Stream = std::unique_ptr<FILE, close_stream>;

// The path that a new content is to replace: that of a regular file, links followed, or of nothing
// yet. NULL for all else, and when memory runs out.
Text target_of(const char* path) {
    struct stat status;
    if (lstat(path, &status) == -1)
        return Text(errno == ENOENT ? strdup(path) : nullptr);
    if (stat(path, &status) == -1 || !S_ISREG(status.st_mode))
        return nullptr;
    return Text(realpath(path, nullptr));
}

void write_text(FILE* out, std::string_view text) {
    if (!text.empty())  // of an empty file there are no bytes, not even at NULL
        fwrite(text.data(), 1, text.size(), out);
}

// Writes the content with one pair stored.
void write_with_pair(FILE* out, std::string_view content, std::string_view key, const char* value) {
    std::string_view rest = content;
    while (!rest.empty()) {
        const std::string_view line = take_line(&rest);
        if (line.size() > key.size() && line.starts_with(key) && line[key.size()] == '=') {
            content = {content.data(), static_cast<size_t>(line.data() - content.data())};
            break;
        }
    }
    write_text(out, content);
    if (!content.empty() && content.back() != '\n')
        write_text(out, "\n");
    write_text(out, key);
    write_text(out, "=");
    write_text(out, value);
    write_text(out, "\n");
    write_text(out, rest);
}

// Writes what is to replace the file `target` into the new file `successor`.
bool write_successor(const char* target, int successor, const char* key, const char* value) {
    Text bytes;
    size_t size = 0;
    const Descriptor old(open_input(target));
    struct stat status = {};
    if (old != -1 && (fstat(old, &status) == -1 || !read_bytes(old, &bytes, &size) ||
                      fchown(successor, status.st_uid, status.st_gid) == -1 ||
                      fchmod(successor, status.st_mode & 07777) == -1))
        return false;
    if (old == -1 && errno != ENOENT)
        return false;
    const Stream out(fdopen(dup(successor), "w"));
    if (!out)
        return false;
    write_with_pair(out.get(), {bytes.get(), size}, key, value);
    return !ferror(out.get()) && fflush(out.get()) == 0 && fsync(successor) == 0;
}

}  // namespace

int set_StringbyKey(const char* path, const char* key, const char* value) {
    if (!is_key(key) || strchr(value, '\n') != nullptr)
        return -1;
    const Text target = target_of(path);
    if (!target)
        return -1;
    const char* slash = strrchr(target.get(), '/');
    const int folder_length = slash != nullptr ? static_cast<int>(slash - target.get()) + 1 : 0;
    char folder[PATH_MAX];
    char successor[PATH_MAX];
    if (snprintf(folder, sizeof folder, "%.*s.", folder_length, target.get()) >= PATH_MAX ||
        snprintf(successor, sizeof successor, "%.*s.XXXXXX", folder_length, target.get()) >=
            PATH_MAX)
        return -1;
    const Descriptor lock(lock_folder(folder, 10));
    const Descriptor file(mkostemp(successor, O_CLOEXEC));
    if (file == -1)
        return -1;
    if (write_successor(target.get(), file, key, value) && rename(successor, target.get()) == 0)
        return 0;
    unlink(successor);
    return -1;
}
