// A file of records, one a line, read into a record chain.
#pragma once

#include "base/line_reader.h"
#include "base/messages.h"
#include "base/record_chain.h"

// The lines of a list file, read in pieces of at most 39,999 bytes. A cursor moves two bytes past
// the end of a line for each field that the line lacks (conf/list_words.h): so there are zero bytes
// for as many fields as a record has. A record of more fields raises the number.
inline constexpr int most_fields = 16;  // of a share
using ListReader = LineReader<40000, 2 * most_fields>;

// Reads the list file `path` into the chain of `head`, which is zeroed first. Each further record
// is announced with the trace `prompt`; `parse(line, record)` fills a zeroed record and returns
// NULL when memory runs out; `discard(record)` then frees what it has allocated, the record is
// dropped and the reading ends (a head record is kept, and the reading goes on).
// Returns the number of lines read; or -1 when the file cannot be opened, which standard error
// says, or memory runs out.
template <class Record, class Parse, class Discard>
int load_list_file(const char* path, Record* head, const char* prompt, Parse parse,
                   Discard discard) {
    *head = {};
    ListReader lines(path);
    if (!lines) {
        complain("Can't Open : %s\n", path);
        return -1;
    }
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
