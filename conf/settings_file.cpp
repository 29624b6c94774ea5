// The settings file that a wrapper asks.
#include "conf/settings_file.h"

#include "base/os.h"
#include "conf/vantor_bin.h"

#include <algorithm>
#include <string.h>

void SettingsFile::load() {
    constexpr size_t limit = 16 << 20;  // bytes; a larger file may have no end
    const Descriptor file(open_input(path_));
    loaded_ = file == -1 || (file_.read(file, limit) && index_keys());
}

bool SettingsFile::index_keys() {
    std::string_view rest = file_.bytes();
    const auto lines = static_cast<size_t>(std::count(rest.begin(), rest.end(), '\n'));
    if (!values_.reserve(lines + 1))
        return false;
    while (!rest.empty()) {
        const std::string_view line = take_line(&rest);
        const size_t key_length = line.find('=');
        if (key_length != std::string_view::npos)
            values_.add(line.substr(0, key_length), line.data() + key_length + 1);
    }
    return true;
}

int SettingsFile::find(const char* key, char* value, int size) const {
    if (!loaded_)
        return get_StringbyKey(path_, key, value, size);
    const char* begin = values_ ? values_.find(key) : nullptr;
    if (begin == nullptr || size <= 0)
        return 0;
    std::string_view rest = file_.bytes();
    rest.remove_prefix(static_cast<size_t>(begin - rest.data()));
    const std::string_view text = rest.empty() ? rest : take_line(&rest);
    value[text.copy(value, static_cast<size_t>(size) - 1)] = '\0';
    return 1;
}
