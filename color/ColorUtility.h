#pragma once

#include "color/ClrHSV.h"
#include "color/ClrRGB.h"

#include <boost/shared_ptr.hpp>

namespace vsk
{
class GSurface;
class Image;
class UVLayerMesh;
}  // namespace vsk

namespace Quelm::Topology
{

// Stateless colour operations: HSV conversion and comparison, texture pixel sampling, colour
// blending and adjustment, and the texture colour of one triangle of a surface. Nothing is thrown
// and nothing is printed.
class ColorUtility
{
public:
    ColorUtility& operator=(const ColorUtility&) { return *this; }

    // --- HSV ------------------------------------------------------------------------------------

    // HSV of `c` in single precision, channels divided by 255. Keeps one non-textbook case: when
    // green is the maximum and blue the minimum, h = 60 * (2 - (r - g) / delta).
    static ClrHSV RGB2HSV(ClrRGB c);
    // True when hue, saturation and value are all strictly within their tolerances, on scales of
    // 0..100 (the hue distance wraps around the circle and is at most 50).
    static bool compareHSV(ClrHSV a, ClrHSV b, float hTol, float sTol, float vTol);

    // --- Pixels ---------------------------------------------------------------------------------

    // The first three channels of pixel (x, y) via the ClrRGB constructor (a zero green or blue
    // byte becomes the red byte). No bounds check: (x, y) must lie inside the image, which must
    // have at least 3 channels. Black for a null image.
    static ClrRGB getPixel(vsk::Image* img, int x, int y);
    // Unnormalised 5 x 5 weighted sum around (x, y) (the kernel weights add up to 3.125, so the
    // result is brighter than the neighbourhood). Neighbours with X < 0, X > width, Y < 0 or
    // Y > height are skipped: the upper bounds are inclusive, so near the right or bottom edge a
    // pixel past the row or past the image is read. Black for a null image.
    static ClrRGB getAvgBlurPixel(vsk::Image* img, int x, int y);

    // --- Colour adjustments ---------------------------------------------------------------------

    // Unpacks 0xRRGGBB, without grey substitution.
    static ClrRGB getClrFromKey(long key);
    // a * wa + b * wb: truncating float products, summed via the constructor.
    static ClrRGB getCombineClr(ClrRGB& a, float wa, ClrRGB& b, float wb);
    // c = c * f (truncating float product); returns c.
    static ClrRGB& performColorContrast(ClrRGB& c, float f);
    // Quantises each channel down to a multiple of 255 / levels; c is left unchanged.
    static ClrRGB performColorReduction(ClrRGB& c, int levels);
    // Moves each channel away from (s > 1) or towards (s < 1) the perceived brightness
    // sqrt(0.299 r^2 + 0.587 g^2 + 0.114 b^2); s = 1 leaves c unchanged. Returns c.
    static ClrRGB& performColorSaturation(ClrRGB& c, double s);

    // --- Triangle colour ------------------------------------------------------------------------

    // Texture colour of triangle `tID`: four samples (centre and the three corner-centre
    // midpoints) of the image of the material of the triangle's group in `uvMesh`, each divided
    // by 4 and summed via the constructor. A corner whose UV lies outside [0, 1) samples at pixel
    // (0, 0); v is not flipped (v = 0 is image row 0). Black when the surface or layer is null,
    // the layer has no triangle `tID`, or there is no material, texture or image, or the image
    // has fewer than 3 channels or no pixels.
    static ClrRGB getTriangleColor(boost::shared_ptr<vsk::GSurface> surface, vsk::UVLayerMesh* uvMesh,
                                   unsigned tID);
};

}  // namespace Quelm::Topology
