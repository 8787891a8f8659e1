#pragma once

#include "common/Vector.h"

#include <cstdint>
#include <cstring>
#include <functional>

namespace Quelm::Objects
{

// Welding key of a vertex: position, texture coordinate, and whether the coordinate is set.
// Normals take no part: two keys are the same vertex exactly when all three fields match.
struct oxmvertex
{
    Vector3<float> position;
    Vector2<float> texCoord;
    uint8_t hasTexCoord = 0;

    oxmvertex() = default;
    oxmvertex(const Vector3<float>& p, const Vector2<float>& t, uint8_t hasT)
        : position(p), texCoord(t), hasTexCoord(hasT)
    {
    }

    // Position first; with equal positions a key without coordinate comes first; then the
    // coordinate.
    bool operator<(const oxmvertex& o) const
    {
        if (position < o.position)
            return true;
        if (position > o.position)
            return false;
        if (hasTexCoord != o.hasTexCoord)
            return hasTexCoord < o.hasTexCoord;
        return texCoord < o.texCoord;
    }
    bool operator==(const oxmvertex& o) const
    {
        return position == o.position && hasTexCoord == o.hasTexCoord && texCoord == o.texCoord;
    }
};

// Hash consistent with oxmvertex's equality (for internal hash maps; +0.0 and -0.0 compare
// equal, so they are folded to one bit pattern first).
struct oxmvertexHash
{
    size_t operator()(const oxmvertex& k) const noexcept
    {
        const float f[5] = {k.position.x + 0.0f, k.position.y + 0.0f, k.position.z + 0.0f,
                            k.texCoord.x + 0.0f, k.texCoord.y + 0.0f};
        uint64_t h = 1469598103934665603ull ^ k.hasTexCoord;
        for (float v : f)
        {
            uint32_t bits;
            std::memcpy(&bits, &v, sizeof bits);
            h = (h ^ bits) * 0x9E3779B97F4A7C15ull;
            h ^= h >> 29;
        }
        return static_cast<size_t>(h);
    }
};

}  // namespace Quelm::Objects
