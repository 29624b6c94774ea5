// How the writers open and fill the files that they write.
#include "writers/output.h"

#include "include/debug.h"

#include <string.h>

Stream open_conf(const char* path) {
    Stream out = open_output(path);
    if (out)
        trace(0, "file:%s\n", path);
    else
        fprintf(stderr, "cannot open %s\n", path);
    return out;
}

void put_all(FILE* out, std::initializer_list<std::string_view> texts) {
    char block[256];  // one call to the stream for most lines
    size_t used = 0;
    for (const std::string_view text : texts) {
        if (text.size() > sizeof block - used) {
            put(out, std::string_view(block, used));
            used = 0;
        }
        if (text.size() > sizeof block) {
            put(out, text);
            continue;
        }
        memcpy(block + used, text.data(), text.size());
        used += text.size();
    }
    put(out, std::string_view(block, used));
}
