#pragma once

namespace Quelm::Topology
{

// A colour in HSV: h in degrees [0, 360), s a fraction, v the channel maximum divided by 255
// (above 1 for 16-bit channels over 255).
struct ClrHSV
{
    float h = 0.0f;
    float s = 0.0f;
    float v = 0.0f;

    ClrHSV() = default;
    ClrHSV(float hue, float saturation, float value) : h(hue), s(saturation), v(value) {}
};

// True only when b is strictly greater than a in all of h, s and v. Not a strict weak order:
// do not use it to sort or as a map key.
inline bool operator<(const ClrHSV& a, const ClrHSV& b)
{
    return b.h > a.h && b.s > a.s && b.v > a.v;
}

}  // namespace Quelm::Topology
