// The settings wrappers.
#include "conf/conf_file.h"

#include "conf/text.h"
#include "conf/vantor_bin.h"

#include <stdio.h>

static int lookup(const char* wrapper, const char* file, const char* key, char* value, int size) {
    if (get_StringbyKey(file, key, value, size))
        return 0;
    printf("%s:key=[%s] not found in %s.\n", wrapper, key, file);
    return -1;
}

int LoadConfFileString(const char* file, const char* key, char* value, int size) {
    return lookup("LoadConfFileString", file, key, value, size);
}

int LoadConfFileInt(const char* file, const char* key, int* value) {
    char digits[128];
    if (lookup("LoadConfFileInt", file, key, digits, sizeof digits) != 0)
        return -1;
    *value = to_int(digits);
    return 0;
}

int LoadConfFileChar(const char* file, const char* key, unsigned char* value) {
    char digits[128];
    if (lookup("LoadConfFileChar", file, key, digits, sizeof digits) != 0)
        return -1;
    *value = static_cast<unsigned char>(to_int(digits));
    return 0;
}

int LoadConfFileOnOff(const char* file, const char* key) {
    char word[128];
    if (lookup("LoadConfFileOnOff", file, key, word, sizeof word) != 0)
        return -1;
    return equal(word, "on");
}

int SaveConfFileString(const char* file, const char* key, const char* value) {
    if (set_StringbyKey(file, key, value) == 0) {
        printf("SaveConfFileString:key[%s] value[%s]\n", key, value);
        return 0;
    }
    printf("SaveConfFileString:key=[%s] value[%s] save fail in %s.\n", key, value, file);
    return -1;
}
