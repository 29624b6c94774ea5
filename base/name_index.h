// Finds items by name in time that does not grow with their number.
#pragma once

#include <stdint.h>
#include <stdlib.h>
#include <string_view>

// A hash table with a slot or more for each item (open addressing). The items stay where they are
// and must not change their names; `has_name(item, name)` compares.
template <class Item, bool (*has_name)(const Item&, std::string_view)>
class NameIndex {
  public:
    NameIndex() = default;
    ~NameIndex() { free(slots_); }
    NameIndex(const NameIndex&) = delete;
    NameIndex& operator=(const NameIndex&) = delete;

    // Makes room for so many items, once. Returns false when memory runs out.
    bool reserve(size_t items) {
        size_t slots = 8;
        while (slots < 2 * items)
            slots *= 2;
        slots_ = static_cast<const Item**>(calloc(slots, sizeof *slots_));
        mask_ = slots - 1;
        return slots_ != nullptr;
    }

    // Adds an item, unless one of that name is there.
    void add(std::string_view name, const Item* item) {
        const Item*& slot = slots_[slot_of(name)];
        if (slot == nullptr)
            slot = item;
    }

    // The item of that name, or NULL.
    const Item* find(std::string_view name) const { return slots_[slot_of(name)]; }

    explicit operator bool() const { return slots_ != nullptr; }

  private:
    // The slot that holds the item of that name, or the empty one where it would stand.
    size_t slot_of(std::string_view name) const {
        uint32_t hash = 2166136261U;  // FNV-1a
        for (const char byte : name)
            hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
        size_t slot = hash & mask_;
        while (slots_[slot] != nullptr && !has_name(*slots_[slot], name))
            slot = (slot + 1) & mask_;
        return slot;
    }

    const Item** slots_ = nullptr;
    size_t mask_ = 0;
};
