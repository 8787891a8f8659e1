#pragma once

namespace Quelm::Objects
{

// Three float channels; black by default.
struct Color3
{
    float r = 0.0f, g = 0.0f, b = 0.0f;

    Color3() = default;
    Color3(float r_, float g_, float b_) : r(r_), g(g_), b(b_) {}
    bool operator==(const Color3& o) const { return r == o.r && g == o.g && b == o.b; }
};

}  // namespace Quelm::Objects
