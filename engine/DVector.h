#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace vsk
{

// A growable array kept in fixed-size blocks: element i lies in block i / BlockSize at position
// i % BlockSize. Growing allocates new blocks and never moves existing elements, so references to
// elements stay valid until the array shrinks or is destroyed.
template <class T, size_t BlockSize = 4096>
class dvector
{
public:
    dvector() = default;
    dvector(const dvector& other) { *this = other; }
    dvector(dvector&&) noexcept = default;
    dvector& operator=(dvector&&) noexcept = default;
    dvector& operator=(const dvector& other)
    {
        if (this == &other)
            return *this;
        blocks_.clear();
        size_ = 0;
        blocks_.reserve(other.blocks_.size());
        for (const auto& block : other.blocks_)
        {
            blocks_.push_back(std::make_unique<T[]>(BlockSize));
            std::copy(block.get(), block.get() + BlockSize, blocks_.back().get());
        }
        size_ = other.size_;
        return *this;
    }

    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

    T& operator[](size_t i) { return blocks_[i / BlockSize][i % BlockSize]; }
    const T& operator[](size_t i) const { return blocks_[i / BlockSize][i % BlockSize]; }
    T& back() { return (*this)[size_ - 1]; }

    void push_back(const T& value)
    {
        if (size_ == blocks_.size() * BlockSize)
            blocks_.push_back(std::make_unique<T[]>(BlockSize));
        (*this)[size_++] = value;
    }
    void pop_back() { --size_; }

    // Grows (new elements set to `fill`) or shrinks to `count` elements; shrinking frees whole
    // blocks past the end.
    void resize(size_t count, const T& fill = T())
    {
        while (size_ < count)
            push_back(fill);
        if (count < size_)
        {
            size_ = count;
            blocks_.resize((count + BlockSize - 1) / BlockSize);
        }
    }
    void clear()
    {
        blocks_.clear();
        size_ = 0;
    }

    // Bytes held by the blocks (allocated capacity, not just the used part).
    size_t allocatedBytes() const { return blocks_.size() * BlockSize * sizeof(T); }

private:
    std::vector<std::unique_ptr<T[]>> blocks_;
    size_t size_ = 0;
};

}  // namespace vsk
