// A file of records, one a line, read into a record chain.
#pragma once

#include "conf/owners.h"
#include "conf/record_chain.h"
#include "include/debug.h"

#include <string.h>

// A line area holds lines of up to `line_size` - 1 bytes and, behind them, `line_spare` zero bytes
// for a cursor that has moved on by two for each field that a line lacks (conf/list_words.h).
// A record of more fields raises the number.
inline constexpr int line_size = 40000;
inline constexpr int most_fields = 16;  // of a share
inline constexpr int line_spare = 2 * most_fields;

// Reads lines as fgets does into an area of `size` bytes and `line_spare` more, given zeroed.
// Every byte beyond what fgets has read is zero: what the last line used is zeroed before the next
// one. Behind a NUL in a line, the rest of the line stands.
class LineReader {
  public:
    LineReader(FILE* stream, char* area, int size) : stream_(stream), area_(area), size_(size) {}

    // The next line; NULL at the end.
    const char* next() {
        memset(area_, 0, used_);
        if (fgets(area_, size_, stream_) == nullptr)
            return nullptr;
        used_ = strlen(area_);
        if (used_ == 0 || area_[used_ - 1] != '\n')  // it may go on behind a NUL
            used_ = static_cast<size_t>(size_);
        return area_;
    }

  private:
    FILE* stream_;
    char* area_;
    int size_;
    size_t used_ = 0;
};

// Opens a list file; reports a failure on standard error.
inline Stream open_list(const char* path) {
    Stream file = open_input(path);
    if (!file)
        fprintf(stderr, "Can't Open : %s\n", path);
    return file;
}

// Allocates a zeroed line area; reports a failure on standard error.
inline Text allocate_line() {
    Text line(static_cast<char*>(calloc(line_size + line_spare, 1)));
    if (!line)
        fputs("Can't allocate memory\n", stderr);
    return line;
}

// Reads the list file `path` into the chain of `head`, which is zeroed first. Each further record
// is announced with the trace `prompt`; `parse(line, record)` fills a zeroed record and returns
// NULL when memory runs out; `discard(record)` then frees what it has allocated, the record is
// dropped and the reading ends (a head record is kept, and the reading goes on).
// Returns the number of lines read; or -1 when the file cannot be opened or memory runs out.
template <class Record, class Parse, class Discard>
int load_list_file(const char* path, Record* head, const char* prompt, Parse parse,
                   Discard discard) {
    *head = {};
    const Stream file = open_list(path);
    if (!file)
        return -1;
    const Text area = allocate_line();
    if (!area)
        return -1;
    LineReader lines(file.get(), area.get(), line_size);
    Record* record = head;
    int count = 0;
    while (const char* line = lines.next()) {
        if (count > 0) {
            trace(1, "%s", prompt);
            record = grow(record);
            if (record == nullptr)
                return -1;
            trace(1, "%p done.\n", static_cast<void*>(record));
        }
        if (parse(line, record) == nullptr && count > 0) {
            discard(record);
            drop_last(record);
            return count;
        }
        ++count;
    }
    return count;
}
