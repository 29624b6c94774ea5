// A file of records, one a line, read into a record chain.
#pragma once

#include "base/heap.h"
#include "base/line_reader.h"
#include "base/messages.h"
#include "base/record_chain.h"

// The lines of a list file, read in pieces of at most 39,999 bytes. A cursor moves two bytes past
// the end of a line for each field that the line lacks (conf/list_words.h), so as many zero bytes
// follow the line as the fields of a record need. If a record gets more fields, raise this.
inline constexpr int max_fields = 16;  // of a share
using ListReader = LineReader<40000, 2 * max_fields>;

// Opens a list file. Its reader is on the heap, since the stack of an appliance's process may be
// small. If the file cannot be opened or memory runs out, standard error says so; returns NULL.
inline Heap<ListReader> open_list_file(const char* path) {
    const int file = open_input(path);
    if (file == -1) {
        complain("Can't Open : %s\n", path);
        return nullptr;
    }
    Heap<ListReader> lines = allocate<ListReader>(file);
    if (!lines) {
        complain("Can't allocate memory\n");
        close(file);
    }
    return lines;
}

// Zeroes `head` and reads the list file `path` into its chain, one line a record. The trace
// `prompt` announces each further record. parse(line, record) fills a zeroed record; NULL from it
// means that memory ran out: discard(record) frees what the record has, the record is dropped and
// reading ends. The head is never dropped; reading then goes on.
// Returns the number of lines; or -1 if the file cannot be opened or memory for the line or for a
// record runs out, which standard error says.
template <class Record, class Parse, class Discard>
int load_list_file(const char* path, Record* head, const char* prompt, Parse parse,
                   Discard discard) {
    *head = {};
    const Heap<ListReader> lines = open_list_file(path);
    if (!lines)
        return -1;
    Record* record = head;
    int count = 0;
    while (const char* line = lines->next()) {
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
