// Searches a record chain by name, again and again.
#pragma once

#include "base/c_string.h"
#include "base/messages.h"
#include "base/name_index.h"

// Finds the first record with exactly this name for which counts(record) is true. The chain is
// walked from a first record along one of its links; it must not change meanwhile.
//
// At trace level `level` and above, each search is a plain walk that prints a line
// "PROMPT NAME vs RECORD NAME" for every record that it compares. Below, one walk at the start
// fills an index; if memory runs out for that, the searches walk.
template <class Record, auto name_of>
class NameSearch {
  public:
    NameSearch(
        const Record* first, Record* Record::*step, int level, const char* prompt,
        bool (*counts)(const Record&) = [](const Record&) { return true; })
        : first_(first), step_(step), level_(level), prompt_(prompt), counts_(counts) {
        size_t records = 0;
        for (const Record* record = first_; record != nullptr; record = record->*step_)
            ++records;
        if (debug >= level_ || !index_.reserve(records))
            return;
        for (const Record* record = first_; record != nullptr; record = record->*step_)
            if (counts_(*record))
                index_.add(record->*name_of, record);
    }

    // The record, or NULL.
    const Record* find(const char* name) const {
        if (index_)
            return index_.find(name);
        for (const Record* record = first_; record != nullptr; record = record->*step_) {
            trace(level_, "%s%s vs %s\n", prompt_, name, record->*name_of);
            if (equal(name, record->*name_of) && counts_(*record))
                return record;
        }
        return nullptr;
    }

  private:
    const Record* first_;
    Record* Record::*step_;
    int level_;
    const char* prompt_;
    bool (*counts_)(const Record&);
    NameIndex<Record> index_;
};
