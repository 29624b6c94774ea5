// Lets calls of the C library fail as they may in life: a build of the program and the tests of
// functions are linked with it (--wrap). The environment says what happens, as FAIL:
//   allocation NUMBER   that allocation fails
//   reading BYTES PATH  a file can be read so far (EIO)
//   writing NUMBER      that write(2) fails (ENOSPC)
//   interrupted 0       every other read and write is interrupted (EINTR)
//   stepwise BYTES      no read or write moves more
//   leased 0 PATH       a file of such a path is open to who waits for it alone (EWOULDBLOCK)
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static char what[16] = "";
static char path[64] = "";
static size_t number = 0;
static int unreadable = -1;  // the descriptor of the file that can be read only in part
static size_t readable = 0;  // bytes of it

static bool is(const char* name) {
    return strcmp(what, name) == 0;
}

// In a test of functions: from now on, the allocation of that number fails; 0: none.
void fail_allocation(int allocation);
void fail_allocation(int allocation) {
    strcpy(what, "allocation");
    number = static_cast<size_t>(allocation);
}

// The C library's own start comes before, and cannot do without memory.
__attribute__((constructor)) static void arm() {
    const char* plan = getenv("FAIL");
    if (plan != nullptr)
        sscanf(plan, "%15s %zu %63s", what, &number, path);
}

static ssize_t failure(int code) {
    errno = code;
    return -1;
}

// True once, for the call of the number; it leaves the file /failed behind.
static bool fails_at_last(const char* name) {
    if (!is(name) || number == 0 || --number != 0)
        return false;
    if (getenv("FAIL") != nullptr)
        close(creat("/failed", 0600));
    return true;
}

static bool is_interrupted() {
    static bool second = false;
    return is("interrupted") && (second = !second);
}

extern "C" {
ssize_t __real_read(int file, void* area, size_t size);
ssize_t __wrap_read(int file, void* area, size_t size);
ssize_t __wrap_read(int file, void* area, size_t size) {
    if (is_interrupted())
        return failure(EINTR);
    if (is("stepwise") && size > number)
        size = number;
    if (file != unreadable)
        return __real_read(file, area, size);
    if (readable == 0)
        return failure(EIO);
    const ssize_t got = __real_read(file, area, size < readable ? size : readable);
    readable -= static_cast<size_t>(got);
    return got;
}

ssize_t __real_write(int file, const void* bytes, size_t size);
ssize_t __wrap_write(int file, const void* bytes, size_t size);
ssize_t __wrap_write(int file, const void* bytes, size_t size) {
    if (is_interrupted())
        return failure(EINTR);
    if (fails_at_last("writing"))
        return failure(ENOSPC);
    return __real_write(file, bytes, is("stepwise") && size > number ? number : size);
}

int __real_open64(const char* name, int flags, mode_t mode);
int __wrap_open64(const char* name, int flags, mode_t mode);
int __wrap_open64(const char* name, int flags, mode_t mode) {
    if (is("leased") && (flags & O_NONBLOCK) != 0 && strncmp(name, path, strlen(path)) == 0)
        return static_cast<int>(failure(EWOULDBLOCK));
    const int file = __real_open64(name, flags, mode);
    if (is("reading") && strcmp(name, path) == 0) {
        unreadable = file;
        readable = number;
    } else if (file == unreadable) {
        unreadable = -1;
    }
    return file;
}
}

#define FAILING(result, failure, name, parameters, ...)                                            \
    extern "C" result __real_##name parameters;                                                    \
    extern "C" result __wrap_##name parameters;                                                    \
    result __wrap_##name parameters {                                                              \
        return fails_at_last("allocation") ? failure : __real_##name(__VA_ARGS__);                 \
    }

FAILING(void*, nullptr, malloc, (size_t size), size)
FAILING(void*, nullptr, calloc, (size_t count, size_t size), count, size)
FAILING(void*, nullptr, realloc, (void* old, size_t size), old, size)
FAILING(char*, nullptr, strdup, (const char* text), text)
FAILING(char*, nullptr, strndup, (const char* text, size_t length), text, length)
FAILING(DIR*, nullptr, opendir, (const char* folder), folder)
