#pragma once

#include "engine/DVector.h"
#include "engine/EngineAssert.h"

#include <cstdint>

namespace vsk
{

// Count of a slot that holds no element (never used, or freed). Live counts are 1..0x7FFFFFFE.
constexpr int32_t _RCV_INVALID_REFCOUNT = 0x7FFFFFFF;

// One slot: a reference count in front of the element.
template <class T>
struct RefEntry
{
    int32_t nRefCount = _RCV_INVALID_REFCOUNT;
    T data{};
};

// Slots addressed by stable unsigned IDs. A slot is live while its count lies in 1..0x7FFFFFFE;
// removing an element leaves a hole, and no other element changes its ID. Freed slots are not
// reused, so IDs are handed out in increasing order and `maxIndex` only grows.
template <class T>
class RefCountedVector
{
public:
    static constexpr int32_t kMaxLiveCount = 0x7FFFFFFE;

    bool isValid(unsigned nIndex) const
    {
        if (nIndex >= entries_.size())
            return false;
        const int32_t count = entries_[nIndex].nRefCount;
        return count >= 1 && count <= kMaxLiveCount;
    }
    // The slot's count; _RCV_INVALID_REFCOUNT past the end.
    int32_t refCount(unsigned nIndex) const
    {
        return nIndex < entries_.size() ? entries_[nIndex].nRefCount : _RCV_INVALID_REFCOUNT;
    }

    // Live elements.
    unsigned count() const { return liveCount_; }
    // One past the highest slot ever used.
    unsigned maxIndex() const { return static_cast<unsigned>(entries_.size()); }

    // Unchecked element access: callers test isValid first.
    T& operator[](unsigned nIndex) { return entries_[nIndex].data; }
    const T& operator[](unsigned nIndex) const { return entries_[nIndex].data; }

    // Appends a live element with count 1 and returns its ID.
    unsigned insert(const T& value)
    {
        entries_.push_back(RefEntry<T>{1, value});
        ++liveCount_;
        return static_cast<unsigned>(entries_.size() - 1);
    }

    // Slots insertAt may add past the current end in one call: a guard against garbage IDs, far
    // above any mesh this storage is meant for.
    static constexpr unsigned kMaxGrowth = 1u << 26;

    // Puts a live element with count 1 into slot `nIndex`, growing the array with holes as needed.
    // Refused (false, reported) when the slot is already live; refused silently when `nIndex`
    // lies more than kMaxGrowth past the end.
    bool insertAt(const T& value, unsigned nIndex)
    {
        if (nIndex >= maxIndex() && nIndex - maxIndex() >= kMaxGrowth)
            return false;
        if (!VSK_ASSERT_MSG(!isValid(nIndex), "! isValid(nIndex)"))
            return false;
        if (nIndex >= entries_.size())
            entries_.resize(static_cast<size_t>(nIndex) + 1);
        RefEntry<T>& r = entries_[nIndex];
        VSK_ASSERT(r.nRefCount < 0 || r.nRefCount == _RCV_INVALID_REFCOUNT);
        r.nRefCount = 1;
        r.data = value;
        ++liveCount_;
        return true;
    }

    void increment(unsigned nIndex)
    {
        if (VSK_ASSERT(isValid(nIndex)) && entries_[nIndex].nRefCount < kMaxLiveCount)
            ++entries_[nIndex].nRefCount;
    }

    // Drops one reference; the slot becomes a hole when its count reaches zero.
    void decrement(unsigned nIndex)
    {
        if (!VSK_ASSERT(isValid(nIndex)))
            return;
        if (--entries_[nIndex].nRefCount == 0)
            release(nIndex);
    }

    // Makes a live slot a hole whatever its count.
    void remove(unsigned nIndex)
    {
        if (!VSK_ASSERT(isValid(nIndex)))
            return;
        entries_[nIndex].nRefCount = 0;
        release(nIndex);
    }

    void clear()
    {
        entries_.clear();
        liveCount_ = 0;
    }

    size_t allocatedBytes() const { return entries_.allocatedBytes(); }

private:
    void release(unsigned nIndex)
    {
        VSK_ASSERT(refCount(nIndex) == 0);
        entries_[nIndex].nRefCount = _RCV_INVALID_REFCOUNT;
        entries_[nIndex].data = T{};
        --liveCount_;
    }

    dvector<RefEntry<T>> entries_;
    unsigned liveCount_ = 0;
};

}  // namespace vsk
