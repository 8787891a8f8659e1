#pragma once

#include "engine/DVector.h"

#include <vector>

namespace vsk
{

// Fixed-size records addressed by unsigned index, recycled through a free list. Records live in a
// block-chunked array, so they never move while the pool grows.
template <class T>
class MemoryPool
{
public:
    // Index of a fresh record set to T().
    unsigned allocate()
    {
        if (!free_.empty())
        {
            const unsigned index = free_.back();
            free_.pop_back();
            records_[index] = T();
            return index;
        }
        records_.push_back(T());
        return static_cast<unsigned>(records_.size() - 1);
    }
    // Returns a record to the pool; the caller forgets its index.
    void release(unsigned index) { free_.push_back(index); }

    T& operator[](unsigned index) { return records_[index]; }
    const T& operator[](unsigned index) const { return records_[index]; }

    // Records in use.
    size_t count() const { return records_.size() - free_.size(); }
    void clear()
    {
        records_.clear();
        free_.clear();
    }
    size_t allocatedBytes() const { return records_.allocatedBytes() + free_.capacity() * sizeof(unsigned); }

private:
    dvector<T, 1024> records_;
    std::vector<unsigned> free_;
};

}  // namespace vsk
