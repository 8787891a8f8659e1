#include "color/ColorUtility.h"

#include <cmath>

namespace Quelm::Topology
{

ClrRGB ColorUtility::getClrFromKey(long key)
{
    return ClrRGB::raw(static_cast<unsigned short>((key >> 16) & 255),
                       static_cast<unsigned short>((key >> 8) & 255), static_cast<unsigned short>(key & 255));
}

ClrRGB ColorUtility::getCombineClr(ClrRGB& a, float wa, ClrRGB& b, float wb)
{
    return (a * wa) + (b * wb);
}

ClrRGB& ColorUtility::performColorContrast(ClrRGB& c, float f)
{
    c = c * f;
    return c;
}

ClrRGB ColorUtility::performColorReduction(ClrRGB& c, int levels)
{
    const float step = 255.0f / static_cast<float>(levels);
    auto quantise = [step](unsigned short channel)
    { return ClrRGB::truncate(std::floor(static_cast<float>(channel) / step) * step); };
    return ClrRGB::raw(quantise(c.r), quantise(c.g), quantise(c.b));
}

ClrRGB& ColorUtility::performColorSaturation(ClrRGB& c, double s)
{
    // The weights are the single-precision constants widened to double; results depend on it.
    const double wr = static_cast<double>(0.299f);
    const double wg = static_cast<double>(0.587f);
    const double wb = static_cast<double>(0.114f);
    const double r = c.r;
    const double g = c.g;
    const double b = c.b;
    const double p = std::sqrt(r * r * wr + g * g * wg + b * b * wb);
    c = ClrRGB::raw(ClrRGB::truncate((r - p) * s + p), ClrRGB::truncate((g - p) * s + p),
                    ClrRGB::truncate((b - p) * s + p));
    return c;
}

}  // namespace Quelm::Topology
