#pragma once

#include "common/oxmvertex.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace Quelm::Topology
{

// Hash table from a welding key to a value (a vertex handle or a raw index), for welds whose map
// order never shows in the result. Keys are equal exactly when oxmvertex's operator== says so, as
// in the ordered maps of the interface; a NaN key never equals anything, so each one gets its own
// entry.
//
// Built for millions of keys: the probed array holds only 8-byte slots (a hash tag and the
// position of the entry), so it stays small enough for the caches, while keys and values sit in a
// dense array filled in insertion order. A key is compared only when its tag matches.
template <class Value>
class VertexWeldTable
{
public:
    explicit VertexWeldTable(size_t expectedKeys = 0)
    {
        entries_.reserve(expectedKeys);
        rehash(capacityFor(expectedKeys));
    }

    // The value stored under `key`, or `value` after inserting it; `.second` tells whether the
    // key was inserted.
    std::pair<Value, bool> findOrInsert(const Objects::oxmvertex& key, Value value)
    {
        if (2 * (entries_.size() + 1) > slots_.size())
            rehash(2 * slots_.size());
        const uint64_t h = mixedHash(key);
        const auto tag = static_cast<uint32_t>(h);  // low bits; the slot comes from the top bits
        for (size_t i = static_cast<size_t>(h >> shift_);; i = (i + 1) & mask_)
        {
            Slot& slot = slots_[i];
            if (slot.entry == kEmpty)
            {
                slot = {tag, static_cast<uint32_t>(entries_.size())};
                entries_.push_back({key, value});
                return {value, true};
            }
            if (slot.tag == tag)
            {
                const Entry& entry = entries_[slot.entry];
                if (entry.key == key)
                    return {entry.value, false};
            }
        }
    }

    // Asks the cache for the slot where a probe for `key` starts; a hint, with no effect on the
    // table. Issued some keys ahead, it hides the one cache miss that a probe mostly costs.
    void prefetch(const Objects::oxmvertex& key) const
    {
        __builtin_prefetch(&slots_[static_cast<size_t>(mixedHash(key) >> shift_)]);
    }

    size_t size() const { return entries_.size(); }

private:
    static constexpr uint32_t kEmpty = 0xFFFFFFFFu;

    struct Slot
    {
        uint32_t tag = 0;
        uint32_t entry = kEmpty;
    };

    struct Entry
    {
        Objects::oxmvertex key;
        Value value;
    };

    // Fibonacci hashing on top of the key's hash. Coordinates on a regular grid have all-zero low
    // mantissa bits, which leave a plain hash's low bits alike; the product's top bits mix all.
    static uint64_t mixedHash(const Objects::oxmvertex& key)
    {
        return static_cast<uint64_t>(Objects::oxmvertexHash()(key)) * 0x9E3779B97F4A7C15ull;
    }

    static size_t capacityFor(size_t keys)
    {
        size_t capacity = 64;
        while (capacity < 2 * keys)
            capacity *= 2;
        return capacity;
    }

    void rehash(size_t capacity)
    {
        slots_.assign(capacity, Slot());
        mask_ = capacity - 1;
        shift_ = 64;
        for (size_t c = capacity; c > 1; c /= 2)
            --shift_;
        for (uint32_t e = 0; e < entries_.size(); ++e)
        {
            const uint64_t h = mixedHash(entries_[e].key);
            size_t i = static_cast<size_t>(h >> shift_);
            while (slots_[i].entry != kEmpty)
                i = (i + 1) & mask_;
            slots_[i] = {static_cast<uint32_t>(h), e};
        }
    }

    std::vector<Slot> slots_;
    std::vector<Entry> entries_;
    size_t mask_ = 0;
    int shift_ = 64;  // 64 - log2(capacity)
};

}  // namespace Quelm::Topology
