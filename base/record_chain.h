// The doubly linked record chains: the head is the caller's, all further records are on the heap.
//
// A record has `prev` (NULL in the head) and `next` (NULL in the last record).
#pragma once

#include "base/messages.h"

#include <stdlib.h>

// Links a zeroed record after `last`, the last of its chain, and returns it. If memory runs out,
// says so on standard error and returns NULL with the chain as it was.
template <class Record>
Record* grow(Record* last) {
    auto* record = static_cast<Record*>(calloc(1, sizeof(Record)));
    if (record == nullptr) {
        complain("Can't allocate memory\n");
        return nullptr;
    }
    record->prev = last;
    last->next = record;
    return record;
}

// Takes the last record, which is not the head, off its chain, frees it and returns the one
// before it.
template <class Record>
Record* drop_last(Record* record) {
    Record* previous = record->prev;
    previous->next = nullptr;
    free(record);
    return previous;
}

template <class Record>
Record* last_of(Record* record) {
    while (record->next != nullptr)
        record = record->next;
    return record;
}

// Frees every record but the head, from the last one back, each after `before_free(record)`.
// Returns the head.
template <class Record, class BeforeFree>
Record* release_followers(Record* record, BeforeFree before_free) {
    record = last_of(record);
    while (record->prev != nullptr) {
        before_free(record);
        record = drop_last(record);
    }
    return record;
}

// The same; traces each record as one `what` that `function` frees.
template <class Record>
Record* release_followers(Record* record, const char* function, const char* what) {
    return release_followers(record, [=](Record* freed) {
        trace(1, "%s in load_config: free memory for %s......%p done.\n", function, what,
              static_cast<void*>(freed));
    });
}
