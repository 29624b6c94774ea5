// Finds items by name in time that does not grow with their number.
#pragma once

#include <stdint.h>
#include <stdlib.h>
#include <string_view>

// A hash table (open addressing), at most half full. It owns neither the items nor their names,
// which stay where they are.
template <class Item>
class NameIndex {
  public:
    NameIndex() = default;
    ~NameIndex() { free(slots_); }
    NameIndex(const NameIndex&) = delete;
    NameIndex& operator=(const NameIndex&) = delete;

    // Makes room for so many items, once. Returns false if memory runs out.
    bool reserve(size_t items) {
        size_t slots = 8;
        while (slots < 2 * items)
            slots *= 2;
        slots_ = static_cast<Slot*>(calloc(slots, sizeof *slots_));
        mask_ = slots - 1;
        return slots_ != nullptr;
    }

    // Adds an item, unless one of that name is there.
    void add(std::string_view name, const Item* item) {
        Slot& slot = slot_of(name);
        if (slot.item == nullptr)
            slot = {name, item};
    }

    // The item of that name, or NULL.
    const Item* find(std::string_view name) const { return slot_of(name).item; }

    explicit operator bool() const { return slots_ != nullptr; }

  private:
    struct Slot {
        std::string_view name;
        const Item* item;  // NULL: the slot is empty
    };

    // The slot that holds the item of that name, or the empty one where it would stand.
    Slot& slot_of(std::string_view name) const {
        uint32_t hash = 2166136261U;  // FNV-1a
        for (const char byte : name)
            hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
        size_t slot = hash & mask_;
        while (slots_[slot].item != nullptr && slots_[slot].name != name)
            slot = (slot + 1) & mask_;
        return slots_[slot];
    }

    Slot* slots_ = nullptr;
    size_t mask_ = 0;
};
