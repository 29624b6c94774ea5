// Objects and C strings on the heap, freed by their owner.
#pragma once

#include <memory>
#include <new>
#include <stdlib.h>

struct free_heap {
    template <class Object>
    void operator()(Object* object) const {
        object->~Object();
        free(object);
    }
};
template <class Object>
using Heap = std::unique_ptr<Object, free_heap>;
using HeapString = Heap<char>;

// Makes an object from its arguments. Returns NULL if memory runs out.
template <class Object, class... Arguments>
Heap<Object> allocate(Arguments... arguments) {
    void* area = malloc(sizeof(Object));
    return Heap<Object>(area != nullptr ? new (area) Object(arguments...) : nullptr);
}
