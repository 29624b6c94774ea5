// The appliance's support library: keyed settings files, line search, network interfaces.
#include "conf/vantor_bin.h"

#include "conf/owners.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <net/if.h>
#include <netinet/in.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Owns a file descriptor; -1 owns nothing.
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ != -1)
            close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    operator int() const { return number_; }

  private:
    int number_;
};

// Opens a settings file; -1 on failure. Does not wait for the writer of a FIFO.
int open_settings(const char* path) {
    return open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

// The settings file that has been read last (SettingsCache).
struct {
    int users = 0;
    char path[64] = "";  // empty: none
    bool whole = false;  // all of it is in the content; a file that cannot be opened has none
    size_t size = 0;
    char content[65536];
} cache;

void fill_cache(const char* path) {
    strcpy(cache.path, path);
    cache.size = 0;
    const Descriptor file(open_settings(path));
    ssize_t got = file == -1 ? 0 : 1;
    while (got > 0 && cache.size < sizeof cache.content) {
        got = read(file, cache.content + cache.size, sizeof cache.content - cache.size);
        cache.size += got > 0 ? static_cast<size_t>(got) : 0;
    }
    cache.whole = got == 0;
}

// Caches the file, where caching is wanted. False when its whole content is not in the cache.
bool is_cached(const char* path) {
    if (cache.users == 0 || *path == '\0' || strlen(path) >= sizeof cache.path)
        return false;
    if (strcmp(path, cache.path) != 0)
        fill_cache(path);
    return cache.whole;
}

// Reads a settings file byte by byte, without the heap.
class ByteReader {
  public:
    // cppcheck-suppress uninitMemberVar // the chunk is filled before it is read
    explicit ByteReader(const char* path)
        : cached_(is_cached(path)), file_(cached_ ? -1 : open_settings(path)) {
        if (cached_) {
            bytes_ = cache.content;
            end_ = cache.size;
        }
    }

    // The next byte; EOF at the end of the file and when it cannot be read.
    int peek() {
        if (at_ == end_ && !fill())
            return EOF;
        return static_cast<unsigned char>(bytes_[at_]);
    }

    void advance() { ++at_; }

    // True when it is known already that the byte so far ahead is another one.
    bool rules_out(char byte, size_t ahead) const {
        return end_ - at_ > ahead && bytes_[at_ + ahead] != byte;
    }

    // Moves behind a text that comes next; stops where another byte comes, and gives false.
    bool pass(const char* text) {
        while (*text != '\0' && peek() == static_cast<unsigned char>(*text)) {
            advance();
            ++text;
        }
        return *text == '\0';
    }

    // Moves behind the next newline; false when there is none.
    bool pass_line() {
        do {
            const void* newline = memchr(bytes_ + at_, '\n', end_ - at_);
            if (newline != nullptr) {
                at_ = static_cast<size_t>(static_cast<const char*>(newline) - bytes_) + 1;
                return true;
            }
        } while (fill());
        return false;
    }

    bool failed() const { return failed_; }

  private:
    bool fill() {
        at_ = end_ = 0;
        if (file_ == -1)
            return false;
        const ssize_t got = read(file_, chunk_, sizeof chunk_);
        failed_ = got < 0;
        end_ = got > 0 ? static_cast<size_t>(got) : 0;
        return got > 0;
    }

    bool cached_;
    Descriptor file_;
    bool failed_ = false;
    char chunk_[4096];
    const char* bytes_ = chunk_;
    size_t at_ = 0;
    size_t end_ = 0;
};

bool is_key(const char* key) {
    return strpbrk(key, "=\n") == nullptr;
}

// Copies the rest of a line, cut to fit and terminated. False when it cannot be read.
bool copy_line(ByteReader& bytes, char* line, int size) {
    int used = 0;
    for (int byte = bytes.peek(); byte != EOF && byte != '\n'; byte = bytes.peek()) {
        if (used < size - 1)
            line[used++] = static_cast<char>(byte);
        bytes.advance();
    }
    line[used] = '\0';
    return !bytes.failed();
}

}  // namespace

SettingsCache::SettingsCache() {
    ++cache.users;
    cache.path[0] = '\0';
}

SettingsCache::~SettingsCache() {
    --cache.users;
}

int get_StringbyKey(const char* path, const char* key, char* value, int size) {
    if (!is_key(key) || size <= 0)
        return 0;
    const size_t key_length = strlen(key);
    ByteReader bytes(path);
    do {
        if (!bytes.rules_out('=', key_length) && bytes.pass(key) && bytes.pass("="))
            return copy_line(bytes, value, size);
    } while (bytes.pass_line());
    return 0;
}

// Copies a settings file (NULL: an empty one) with one pair stored.
static bool copy_with_pair(FILE* in, FILE* out, const char* key, const char* value) {
    const size_t key_length = strlen(key);
    bool stored = false;
    char last = '\n';
    char* line = nullptr;
    size_t capacity = 0;
    ssize_t length = 0;
    while (in != nullptr && (length = getline(&line, &capacity, in)) > 0) {
        const size_t used = static_cast<size_t>(length);
        if (!stored && used > key_length && memcmp(line, key, key_length) == 0 &&
            line[key_length] == '=') {
            fprintf(out, "%s=%s\n", key, value);
            stored = true;
            last = '\n';
        } else {
            fwrite(line, 1, used, out);
            last = line[used - 1];
        }
    }
    free(line);
    if (!stored)
        fprintf(out, "%s%s=%s\n", last == '\n' ? "" : "\n", key, value);
    return (in == nullptr || feof(in)) && !ferror(out);
}

// Writes the settings file that is to replace `in` into the temporary file `out`.
static bool write_successor(FILE* in, FILE* out, const char* key, const char* value) {
    if (in != nullptr) {
        struct stat old = {};
        if (fstat(fileno(in), &old) == -1 || fchown(fileno(out), old.st_uid, old.st_gid) == -1 ||
            fchmod(fileno(out), old.st_mode & 07777) == -1)
            return false;
    }
    return copy_with_pair(in, out, key, value) && fflush(out) == 0 && fsync(fileno(out)) == 0;
}

int set_StringbyKey(const char* path, const char* key, const char* value) {
    if (!is_key(key) || strchr(value, '\n') != nullptr)
        return -1;
    const Stream in = open_input(path);
    struct stat dangling = {};
    if (!in && (errno != ENOENT || lstat(path, &dangling) == 0))
        return -1;
    const Text target(in ? realpath(path, nullptr) : strdup(path));
    char successor[PATH_MAX];
    if (!target || snprintf(successor, sizeof successor, "%s.XXXXXX", target.get()) >=
                       static_cast<int>(sizeof successor))
        return -1;
    const int descriptor = mkostemp(successor, O_CLOEXEC);
    if (descriptor == -1)
        return -1;
    Stream out(fdopen(descriptor, "w"));
    if (!out) {
        close(descriptor);
    } else if (write_successor(in.get(), out.get(), key, value) &&
               rename(successor, target.get()) == 0) {
        cache.path[0] = '\0';
        return 0;
    }
    unlink(successor);
    return -1;
}

int grep_file(const char* path, const char* text, char* line, int size) {
    const Stream file = open_input(path);
    if (!file || size <= 0)
        return 0;
    char* whole = nullptr;
    size_t capacity = 0;
    ssize_t length = 0;
    bool found = false;
    while (!found && (length = getline(&whole, &capacity, file.get())) > 0) {
        if (whole[length - 1] == '\n')
            whole[length - 1] = '\0';
        found = strstr(whole, text) != nullptr;
    }
    if (found)
        snprintf(line, static_cast<size_t>(size), "%s", whole);
    free(whole);
    return found;
}

// Asks the kernel for one address of an interface.
static bool ask_interface(const char* interface, unsigned long request, ifreq* answer) {
    *answer = {};
    if (strlen(interface) >= sizeof answer->ifr_name)
        return false;
    strcpy(answer->ifr_name, interface);
    const Descriptor probe(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return probe != -1 && ioctl(probe, request, answer) == 0;
}

int Netdev_GetHwAddr(const char* interface, unsigned char* address) {
    ifreq answer;
    if (!ask_interface(interface, SIOCGIFHWADDR, &answer))
        return -1;
    memcpy(address, answer.ifr_hwaddr.sa_data, 6);
    return 0;
}

int Netdev_GetIpAddr(const char* interface, unsigned char* address) {
    ifreq answer;
    if (!ask_interface(interface, SIOCGIFADDR, &answer))
        return -1;
    sockaddr_in inet;
    memcpy(&inet, &answer.ifr_addr, sizeof inet);
    memcpy(address, &inet.sin_addr, 4);
    return 0;
}
