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

bool is_key(const char* key) {
    return strpbrk(key, "=\n") == nullptr;
}

}  // namespace

int get_StringbyKey(const char* path, const char* key, char* value, int size) {
    const Descriptor file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (file == -1 || !is_key(key) || size <= 0)
        return 0;
    const size_t key_length = strlen(key);
    const size_t in_value = key_length + 1;
    const size_t elsewhere = key_length + 2;
    size_t matched = 0;  // of the key and its '=', in this line; or one of the two states above
    size_t room = static_cast<size_t>(size) - 1;
    char chunk[4096];
    ssize_t got = 0;
    while ((got = read(file, chunk, sizeof chunk)) > 0) {
        const char* const end = chunk + got;
        for (const char* at = chunk; at < end;) {
            if (matched <= key_length && *at == (matched < key_length ? key[matched] : '=')) {
                ++matched;
                ++at;
                continue;
            }
            const size_t left = static_cast<size_t>(end - at);
            const void* newline = memchr(at, '\n', left);
            const size_t length =
                newline ? static_cast<size_t>(static_cast<const char*>(newline) - at) : left;
            if (matched == in_value) {
                const size_t kept = length < room ? length : room;
                memcpy(value, at, kept);
                value += kept;
                room -= kept;
            } else {
                matched = elsewhere;
            }
            if (newline && matched == in_value) {
                *value = '\0';
                return 1;
            }
            if (newline)
                matched = 0;
            at += newline ? length + 1 : length;
        }
    }
    if (matched != in_value)
        return 0;
    *value = '\0';
    return 1;
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
    if (!in && errno != ENOENT)
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
    if (!out)
        close(descriptor);
    else if (write_successor(in.get(), out.get(), key, value) &&
             rename(successor, target.get()) == 0)
        return 0;
    unlink(successor);
    return -1;
}

int grep_file(const char* path, const char* text, char* line, int size) {
    const Stream file = open_input(path);
    if (!file)
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
    const Descriptor socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return socket_ != -1 && ioctl(socket_, request, answer) == 0;
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
