// The bytes of a whole file, on the heap.
#include "conf/whole_file.h"

#include "base/transfer.h"

#include <algorithm>
#include <sys/stat.h>

bool WholeFile::read(int file, size_t limit) {
    struct stat status = {};
    fstat(file, &status);
    const off_t expected = std::clamp<off_t>(status.st_size, 0, static_cast<off_t>(limit));
    size_t capacity = 0;
    while (size_ <= limit) {
        if (size_ == capacity) {
            capacity = capacity == 0 ? static_cast<size_t>(expected) + 512 : 2 * capacity;
            auto* larger = static_cast<char*>(realloc(bytes_.get(), capacity));
            if (larger == nullptr)
                return false;
            (void)bytes_.release();
            bytes_.reset(larger);
        }
        const ssize_t got = read_some(file, bytes_.get() + size_, capacity - size_);
        if (got <= 0)
            return got == 0;
        size_ += static_cast<size_t>(got);
    }
    return false;
}

std::string_view take_line(std::string_view* text) {
    const std::string_view line = text->substr(0, text->find('\n'));
    text->remove_prefix(std::min(line.size() + 1, text->size()));
    return line;
}
