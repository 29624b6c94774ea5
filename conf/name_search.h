// Searches a record chain by name, again and again, in time that does not grow with the chain.
#pragma once

#include "include/debug.h"

#include <stdlib.h>
#include <string.h>

// Finds the first record of a chain that has a given name (exactly) and that counts. The chain
// is walked from a first record along one of its links; it must not change meanwhile.
//
// At trace level `level` and above, each search is a plain walk that prints a line
// "PROMPT NAME vs RECORD NAME" for every record that it compares. Below, one walk at the start
// fills a hash table with the record to be found for each name; only where memory runs out, or
// for a few records, it stays with the walk.
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
        if (debug >= level_ || records <= few)
            return;
        size_t slots = 8;
        while (slots < 2 * records)
            slots *= 2;
        table_ = static_cast<const Record**>(calloc(slots, sizeof *table_));
        if (table_ == nullptr)
            return;
        mask_ = slots - 1;
        for (const Record* record = first_; record != nullptr; record = record->*step_) {
            const Record** slot = slot_of(record->*name_of);
            if (*slot == nullptr && counts_(*record))
                *slot = record;
        }
    }
    ~NameSearch() { free(table_); }
    NameSearch(const NameSearch&) = delete;
    NameSearch& operator=(const NameSearch&) = delete;

    // The record, or NULL.
    const Record* find(const char* name) const {
        if (table_ != nullptr)
            return *slot_of(name);
        for (const Record* record = first_; record != nullptr; record = record->*step_) {
            trace(level_, "%s%s vs %s\n", prompt_, name, record->*name_of);
            if (strcmp(name, record->*name_of) == 0 && counts_(*record))
                return record;
        }
        return nullptr;
    }

  private:
    static constexpr size_t few = 3;

    // The slot that holds the record of that name, or the empty one where it would stand.
    const Record** slot_of(const char* name) const {
        size_t hash = 2166136261U;  // FNV-1a
        for (const char* at = name; *at != '\0'; ++at)
            hash = (hash ^ static_cast<unsigned char>(*at)) * 16777619U;
        size_t slot = hash & mask_;
        while (table_[slot] != nullptr && strcmp(name, table_[slot]->*name_of) != 0)
            slot = (slot + 1) & mask_;
        return &table_[slot];
    }

    const Record* first_;
    Record* Record::*step_;
    int level_;
    const char* prompt_;
    bool (*counts_)(const Record&);
    const Record** table_ = nullptr;
    size_t mask_ = 0;
};
