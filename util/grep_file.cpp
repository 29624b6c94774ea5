// Searches a file for a line.
#include "util/grep_file.h"

#include "base/os.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int grep_file(const char* path, const char* text, char* line, int size) {
    const int descriptor = open_input(path);
    FILE* file = descriptor != -1 ? fdopen(descriptor, "r") : nullptr;
    if (file == nullptr) {
        if (descriptor != -1)
            close(descriptor);
        return 0;
    }
    char* whole = nullptr;
    size_t capacity = 0;
    ssize_t length = 0;
    bool found = false;
    while (!found && size > 0 && (length = getline(&whole, &capacity, file)) > 0) {
        if (whole[length - 1] == '\n')
            whole[length - 1] = '\0';
        found = strstr(whole, text) != nullptr;
    }
    if (found)
        snprintf(line, static_cast<size_t>(size), "%s", whole);
    free(whole);
    fclose(file);
    return found;
}
