#include "color/ImageUtils.h"

#include "color/ColorUtility.h"

#include <cmath>

namespace Quelm::Topology
{

ClrRGB ImageUtils::getPixel(vsk::Image* img, int x, int y)
{
    return ColorUtility::getPixel(img, x, y);
}

float ImageUtils::getHuefromRGB(ClrRGB c)
{
    // The channels are scaled in single precision, then widened: the differences and the whole
    // expression are evaluated in double.
    const double r = c.r / 255.0f;
    const double g = c.g / 255.0f;
    const double b = c.b / 255.0f;
    const double numerator = (g - b) * 1.732;
    const double denominator = (r - g) + (r - b);
    const double h = std::atan(numerator / denominator);
    return static_cast<float>(std::floor(h * 180.0 / 3.141592653589793));
}

void ImageUtils::reduceBinSize(ClrRGB& c)
{
    const float binWidth = 15.9375f;  // 255 / 16
    auto quantise = [binWidth](unsigned short channel)
    { return ClrRGB::truncate(std::floor(static_cast<float>(channel) / binWidth) * binWidth); };
    c = ClrRGB::raw(quantise(c.r), quantise(c.g), quantise(c.b));
}

}  // namespace Quelm::Topology
