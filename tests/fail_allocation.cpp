// Lets one allocation fail: the one whose number is given to fail_allocation, or is in the
// environment as FAIL_ALLOCATION; it then leaves the file /failed behind. Linked with the linker's
// --wrap.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static int left = 0;  // up to and with the allocation that is to fail; 0: none is
static bool noted = false;

void fail_allocation(int number);
void fail_allocation(int number) {
    left = number;
}

// The C library's own start comes before, and cannot do without memory.
__attribute__((constructor)) static void arm() {
    const char* number = getenv("FAIL_ALLOCATION");
    noted = number != nullptr;
    left = noted ? atoi(number) : 0;
}

static bool fails() {
    if (left == 0 || --left != 0)
        return false;
    if (noted)
        close(open("/failed", O_WRONLY | O_CREAT, 0600));
    errno = ENOMEM;
    return true;
}

#define FAILING(result, failure, name, parameters, ...)                                            \
    extern "C" result __real_##name parameters;                                                    \
    extern "C" result __wrap_##name parameters;                                                    \
    result __wrap_##name parameters {                                                              \
        return fails() ? failure : __real_##name(__VA_ARGS__);                                     \
    }

FAILING(void*, nullptr, malloc, (size_t size), size)
FAILING(void*, nullptr, calloc, (size_t count, size_t size), count, size)
FAILING(void*, nullptr, realloc, (void* old, size_t size), old, size)
FAILING(char*, nullptr, strdup, (const char* text), text)
FAILING(char*, nullptr, strndup, (const char* text, size_t length), text, length)
FAILING(FILE*, nullptr, fdopen, (int file, const char* mode), file, mode)
FAILING(DIR*, nullptr, opendir, (const char* path), path)
FAILING(ssize_t, -1, getline, (char** line, size_t* size, FILE* file), line, size, file)
