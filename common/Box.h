#pragma once

#include "common/Vector.h"

#include <algorithm>
#include <limits>

namespace Quelm::Objects
{

// Axis-aligned box. The default box is empty (minimum above maximum) and grows to contain what is
// included into it.
template <typename T>
class Box
{
public:
    Box()
        : min_(std::numeric_limits<T>::max(), std::numeric_limits<T>::max(), std::numeric_limits<T>::max()),
          max_(std::numeric_limits<T>::lowest(), std::numeric_limits<T>::lowest(),
               std::numeric_limits<T>::lowest())
    {
    }
    Box(const Vector3<T>& min, const Vector3<T>& max) : min_(min), max_(max) {}

    const Vector3<T>& getMin() const { return min_; }
    const Vector3<T>& getMax() const { return max_; }

    // True when the minimum lies above the maximum on some axis (nothing was ever included).
    bool isEmpty() const { return min_.x > max_.x || min_.y > max_.y || min_.z > max_.z; }

    void includePoint(const Vector3<T>& p)
    {
        min_ = {std::min(min_.x, p.x), std::min(min_.y, p.y), std::min(min_.z, p.z)};
        max_ = {std::max(max_.x, p.x), std::max(max_.y, p.y), std::max(max_.z, p.z)};
    }

    // Grows this box to contain `other`; an empty `other` changes nothing.
    void includeBox(const Box& other)
    {
        if (other.isEmpty())
            return;
        includePoint(other.min_);
        includePoint(other.max_);
    }

    Vector3<T> getExtents() const { return max_ - min_; }
    Vector3<T> getCenter() const { return (min_ + max_) / T(2); }

    // The largest of the three extents; 0 for an empty box.
    T getLongestAxisLength() const
    {
        if (isEmpty())
            return T(0);
        const Vector3<T> e = getExtents();
        return std::max(e.x, std::max(e.y, e.z));
    }

    T getDiagonalLength() const { return isEmpty() ? T(0) : getExtents().length(); }

    // Makes the box a cube about its centre, every side as long as the longest one.
    // An empty box stays empty.
    void makeCube()
    {
        if (isEmpty())
            return;
        const T half = getLongestAxisLength() / T(2);
        const Vector3<T> c = getCenter();
        min_ = {c.x - half, c.y - half, c.z - half};
        max_ = {c.x + half, c.y + half, c.z + half};
    }

private:
    Vector3<T> min_;
    Vector3<T> max_;
};

}  // namespace Quelm::Objects
