#pragma once

#include "color/ClrRGB.h"

namespace vsk
{
class Image;
}

namespace Quelm::Topology
{

// Stateless helpers on texture pixels and hues.
class ImageUtils
{
public:
    ImageUtils& operator=(const ImageUtils&) { return *this; }

    // As ColorUtility::getPixel: the first three channels of (x, y) via the ClrRGB constructor,
    // no bounds check, black for a null image.
    static ClrRGB getPixel(vsk::Image* img, int x, int y);
    // Hue in whole degrees (floored) from atan, not atan2: between -90 and 90. A zero
    // denominator ((r - g) + (r - b) = 0) gives +-90; a grey gives NaN.
    static float getHuefromRGB(ClrRGB c);
    // Quantises each channel down into one of 16 bins of width 255 / 16, in place.
    static void reduceBinSize(ClrRGB& c);
};

}  // namespace Quelm::Topology
