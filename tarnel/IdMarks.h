#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace Quelm::Topology::detail
{

// One byte of state per element ID (0 until set), in pages allocated on first write: a call
// that touches a few IDs of a large mesh pays for a page table of maxId / 4096 pointers, not for
// maxId bytes. IDs must be below the maxId given at construction. Reading from several threads
// is safe once the writes are done.
class IdMarks
{
public:
    explicit IdMarks(unsigned maxId) : pages_((static_cast<size_t>(maxId) >> kShift) + 1) {}

    uint8_t get(unsigned id) const
    {
        const std::unique_ptr<uint8_t[]>& page = pages_[id >> kShift];
        return page ? page[id & kMask] : 0;
    }
    void set(unsigned id, uint8_t value)
    {
        std::unique_ptr<uint8_t[]>& page = pages_[id >> kShift];
        if (!page)
            page = std::make_unique<uint8_t[]>(kPageSize);  // value-initialised: zeros
        page[id & kMask] = value;
    }

    // Calls f(id) for every ID whose mark is not 0, in ascending order. O(maxId / 4096 + set pages).
    template <class F>
    void forEachMarked(F&& f) const
    {
        for (size_t p = 0; p < pages_.size(); ++p)
            if (const uint8_t* page = pages_[p].get())
                for (size_t i = 0; i < kPageSize; ++i)
                    if (page[i])
                        f(static_cast<unsigned>((p << kShift) | i));
    }

private:
    static constexpr unsigned kShift = 12;
    static constexpr size_t kPageSize = size_t(1) << kShift;
    static constexpr unsigned kMask = (1u << kShift) - 1;
    std::vector<std::unique_ptr<uint8_t[]>> pages_;
};

}  // namespace Quelm::Topology::detail
