#pragma once

#include "common/oxmvertex.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Quelm::Topology
{

// Open-addressing hash table from a welding key to a value (a vertex handle or a raw index), for
// welds whose map order never shows in the result. Keys are equal exactly when oxmvertex's
// operator== says so, as in the ordered maps of the interface; a NaN key never equals anything,
// so each one gets its own entry. Several times faster than std::map or std::unordered_map on
// millions of keys: one flat array, linear probing, no node allocations.
template <class Value>
class VertexWeldTable
{
public:
    explicit VertexWeldTable(size_t expectedKeys = 0) { rehash(capacityFor(expectedKeys)); }

    // The value stored under `key`, or `value` after inserting it; `.second` tells whether the
    // key was inserted.
    std::pair<Value, bool> findOrInsert(const Objects::oxmvertex& key, Value value)
    {
        if (2 * (size_ + 1) > slots_.size())
            rehash(2 * slots_.size());
        const size_t mask = slots_.size() - 1;
        for (size_t i = Objects::oxmvertexHash()(key) & mask;; i = (i + 1) & mask)
        {
            Slot& slot = slots_[i];
            if (!slot.used)
            {
                slot.key = key;
                slot.value = value;
                slot.used = true;
                ++size_;
                return {value, true};
            }
            if (slot.key == key)
                return {slot.value, false};
        }
    }

    size_t size() const { return size_; }

private:
    struct Slot
    {
        Objects::oxmvertex key;
        Value value{};
        bool used = false;
    };

    static size_t capacityFor(size_t keys)
    {
        size_t capacity = 64;
        while (capacity < 2 * keys)
            capacity *= 2;
        return capacity;
    }

    void rehash(size_t capacity)
    {
        std::vector<Slot> old(capacity);
        old.swap(slots_);
        size_ = 0;
        const size_t mask = slots_.size() - 1;
        for (const Slot& slot : old)
        {
            if (!slot.used)
                continue;
            size_t i = Objects::oxmvertexHash()(slot.key) & mask;
            while (slots_[i].used)
                i = (i + 1) & mask;
            slots_[i] = slot;
            ++size_;
        }
    }

    std::vector<Slot> slots_;
    size_t size_ = 0;
};

}  // namespace Quelm::Topology
