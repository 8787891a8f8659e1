#pragma once

#include "engine/Wm4Vector.h"

namespace vsk
{

using Vector3f = Wm4::Vector3f;
using Vector3d = Wm4::Vector3d;
using Vector2f = Wm4::Vector2f;

// Two unsigned IDs (an edge's vertices or triangles).
struct Index2i
{
    unsigned i[2] = {0, 0};

    Index2i() = default;
    Index2i(unsigned a, unsigned b) : i{a, b} {}
    unsigned operator[](int k) const { return i[k]; }
    unsigned& operator[](int k) { return i[k]; }
    bool operator==(const Index2i& o) const { return i[0] == o.i[0] && i[1] == o.i[1]; }
    bool operator!=(const Index2i& o) const { return !(*this == o); }
};

// Three unsigned IDs (a triangle's vertices, in winding order, or its neighbours).
struct Index3i
{
    unsigned i[3] = {0, 0, 0};

    Index3i() = default;
    Index3i(unsigned a, unsigned b, unsigned c) : i{a, b, c} {}
    unsigned operator[](int k) const { return i[k]; }
    unsigned& operator[](int k) { return i[k]; }
    bool operator==(const Index3i& o) const { return i[0] == o.i[0] && i[1] == o.i[1] && i[2] == o.i[2]; }
    bool operator!=(const Index3i& o) const { return !(*this == o); }
};

}  // namespace vsk
