// How the writers open the files that they write.
#include "writers/output.h"

#include "include/debug.h"

Stream open_conf(const char* path) {
    Stream out = open_output(path);
    if (out)
        trace(0, "file:%s\n", path);
    else
        fprintf(stderr, "cannot open %s\n", path);
    return out;
}
