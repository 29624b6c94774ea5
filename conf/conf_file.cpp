// The settings wrappers.
#include "conf/conf_file.h"

#include "base/c_string.h"
#include "base/messages.h"
#include "conf/vantor_bin.h"

static int lookup(const char* wrapper, const SettingsFile& file, const char* key, char* value,
                  int size) {
    if (file.find(key, value, size))
        return 0;
    say("%s:key=[%s] not found in %s.\n", wrapper, key, file.path());
    return -1;
}

int LoadConfFileString(const SettingsFile& file, const char* key, char* value, int size) {
    return lookup("LoadConfFileString", file, key, value, size);
}

template <class Number>
static int lookup_number(const char* wrapper, const SettingsFile& file, const char* key,
                         Number* value) {
    char digits[128];
    if (lookup(wrapper, file, key, digits, sizeof digits) != 0)
        return -1;
    *value = static_cast<Number>(to_int(digits));
    return 0;
}

int LoadConfFileInt(const SettingsFile& file, const char* key, int* value) {
    return lookup_number("LoadConfFileInt", file, key, value);
}

int LoadConfFileChar(const SettingsFile& file, const char* key, unsigned char* value) {
    return lookup_number("LoadConfFileChar", file, key, value);
}

int LoadConfFileOnOff(const SettingsFile& file, const char* key) {
    char word[128];
    if (lookup("LoadConfFileOnOff", file, key, word, sizeof word) != 0)
        return -1;
    return equal(word, "on");
}

int SaveConfFileString(const char* file, const char* key, const char* value) {
    if (set_StringbyKey(file, key, value) == 0) {
        say("SaveConfFileString:key[%s] value[%s]\n", key, value);
        return 0;
    }
    say("SaveConfFileString:key=[%s] value[%s] save fail in %s.\n", key, value, file);
    return -1;
}
