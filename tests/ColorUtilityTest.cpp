#include "color/ColorUtility.h"

#include "color/ImageUtils.h"
#include "engine/Image.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>

#include <array>
#include <tuple>

using Quelm::Topology::ClrRGB;
using Quelm::Topology::ColorUtility;
using Quelm::Topology::ImageUtils;

namespace
{

using Rgb = std::array<unsigned, 3>;

Rgb rgb(const ClrRGB& c)
{
    return {c.r, c.g, c.b};
}

void setPixel(vsk::Image& img, int x, int y, unsigned char r, unsigned char g, unsigned char b)
{
    unsigned char* p = img.GetPixel(x, y);
    p[0] = r;
    p[1] = g;
    p[2] = b;
}

}  // namespace

TEST(ColorPixels, GetPixelReadsTheFirstThreeChannelsWithSubstitution)
{
    vsk::Image img(3, 2, 4);
    setPixel(img, 2, 1, 10, 20, 30);
    img.GetPixel(2, 1)[3] = 99;  // alpha is ignored
    setPixel(img, 0, 1, 40, 0, 0);
    EXPECT_EQ(rgb(ColorUtility::getPixel(&img, 2, 1)), (Rgb{10, 20, 30}));
    EXPECT_EQ(rgb(ImageUtils::getPixel(&img, 2, 1)), (Rgb{10, 20, 30}));
    EXPECT_EQ(rgb(ColorUtility::getPixel(&img, 0, 1)), (Rgb{40, 40, 40}));
    EXPECT_EQ(rgb(ColorUtility::getPixel(nullptr, 0, 0)), (Rgb{0, 0, 0}));
}

TEST(ColorPixels, BlurIsUnnormalisedAndItsUpperBoundsAreInclusive)
{
    vsk::Image uniform(9, 9, 3);
    std::fill(uniform.Buffer().begin(), uniform.Buffer().end(), 100);
    EXPECT_EQ(rgb(ColorUtility::getAvgBlurPixel(&uniform, 4, 4)), (Rgb{306, 306, 306}));
    // At the top-left corner only dx, dy in {0, 1, 2} are read: 50 + 2*25 + 2*12 + 12 + 2*6 + 3.
    EXPECT_EQ(rgb(ColorUtility::getAvgBlurPixel(&uniform, 0, 0)), (Rgb{151, 151, 151}));
    EXPECT_EQ(rgb(ColorUtility::getAvgBlurPixel(nullptr, 0, 0)), (Rgb{0, 0, 0}));

    // Around (6, 3) in an 8-wide image, dx = +2 gives X = 8 = width, which is read: byte offset
    // (8 * Y + 8) * 3 is pixel (0, Y + 1). Column 9 (dx = +3) is never read.
    vsk::Image img(8, 8, 3);
    setPixel(img, 0, 4, 160, 160, 160);  // X = 8, Y = 3 (dy = 0): divisor 8
    EXPECT_EQ(rgb(ColorUtility::getAvgBlurPixel(&img, 6, 3)), (Rgb{20, 20, 20}));
    setPixel(img, 1, 4, 255, 255, 255);  // X = 9
    EXPECT_EQ(rgb(ColorUtility::getAvgBlurPixel(&img, 6, 3)), (Rgb{20, 20, 20}));
}

TEST(ColorPixels, BlurGivesTheSameResultOnOneThreadAndMany)
{
    vsk::Image img(16, 16, 3);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x)
            setPixel(img, x, y, static_cast<unsigned char>(50 + x * 8),
                     static_cast<unsigned char>(100 + y * 8), 200);
    ClrRGB serial[12][12];
    {
        tbb::global_control limit(tbb::global_control::max_allowed_parallelism, 1);
        for (int y = 2; y < 14; ++y)
            for (int x = 2; x < 14; ++x)
                serial[y - 2][x - 2] = ColorUtility::getAvgBlurPixel(&img, x, y);
    }
    // No contribution has a zero channel here, so the summation order cannot change a result:
    // any difference would come from a lost or doubled update.
    tbb::parallel_for(2, 14,
                      [&](int y)
                      {
                          for (int x = 2; x < 14; ++x)
                              EXPECT_TRUE(ColorUtility::getAvgBlurPixel(&img, x, y) == serial[y - 2][x - 2]);
                      });
}

TEST(ColorAdjust, KeyCombineContrastReductionAndBins)
{
    ClrRGB a(100, 50, 10), b(20, 40, 1), c(100, 3, 1), black(0, 0, 0), contrast(100, 3, 1);
    ClrRGB reduce(200, 100, 50), full(255, 128, 1), bins(255, 16, 15);
    ImageUtils::reduceBinSize(bins);
    EXPECT_EQ(&ColorUtility::performColorContrast(contrast, 0.5f), &contrast);
    const std::tuple<const char*, ClrRGB, Rgb> rows[] = {
        {"key", ColorUtility::getClrFromKey(0x123456), {0x12, 0x34, 0x56}},
        {"key, no substitution", ColorUtility::getClrFromKey(0x120000), {0x12, 0, 0}},
        {"key, high byte ignored", ColorUtility::getClrFromKey(0x7F123456), {0x12, 0x34, 0x56}},
        {"combine", ColorUtility::getCombineClr(a, 0.5f, b, 0.5f), {60, 45, 5}},
        {"combine, zero blue takes red", ColorUtility::getCombineClr(c, 0.5f, black, 1.0f), {50, 1, 50}},
        {"contrast, in place", contrast, {50, 1, 0}},
        {"reduction, step 63.75", ColorUtility::performColorReduction(reduce, 4), {191, 63, 0}},
        {"reduction leaves its argument", reduce, {200, 100, 50}},
        {"reduction, no substitution", ColorUtility::performColorReduction(full, 1), {255, 0, 0}},
        {"bins of 15.9375", bins, {255, 15, 0}},
    };
    for (const auto& [what, got, expected] : rows)
        EXPECT_EQ(rgb(got), expected) << what;
}

TEST(ColorAdjust, SaturationMovesChannelsAroundPerceivedBrightness)
{
    // Perceived brightness P = sqrt(0.299 * 200^2 + 0.587 * 100^2 + 0.114 * 50^2) = 134.59...
    ClrRGB same(200, 100, 50), grey(200, 100, 50), vivid(200, 100, 50), white(1000, 1000, 1000);
    ColorUtility::performColorSaturation(same, 1.0);
    EXPECT_EQ(rgb(same), (Rgb{200, 100, 50}));
    EXPECT_EQ(&ColorUtility::performColorSaturation(grey, 0.0), &grey);
    EXPECT_EQ(rgb(grey), (Rgb{134, 134, 134}));
    ColorUtility::performColorSaturation(vivid, 2.0);
    EXPECT_EQ(rgb(vivid), (Rgb{265, 65, 65502}));  // 2 * 50 - P is below zero and wraps
    // The weights are the single-precision values widened to double: they add up to 1.0000000075,
    // which lifts the brightness of (1000, 1000, 1000) just past 1000, so (c - P) * 2 + P gives 999.
    ColorUtility::performColorSaturation(white, 2.0);
    EXPECT_EQ(rgb(white), (Rgb{999, 999, 999}));
}

TEST(ImageHue, AtanHueInWholeDegrees)
{
    const std::pair<Rgb, float> rows[] = {
        {{255, 0, 0}, 0.0f},
        {{0, 255, 0}, -60.0f},   // (g - b) * 1.732 / ((r - g) + (r - b)) = 1.732 / -1: atan gives -60
        {{100, 200, 0}, 90.0f},  // 2r = g + b: a zero denominator, exactly so in float when b = 0
        {{100, 0, 200}, -90.0f},
        // 2r = g + b again, but the scaled channels do not cancel exactly: the differences are
        // taken in double, where the denominator's sign differs from a single-precision evaluation
        {{5, 9, 1}, -90.0f},
        {{5, 1, 9}, 89.0f},
    };
    for (const auto& [in, hue] : rows)
        EXPECT_EQ(ImageUtils::getHuefromRGB(ClrRGB::raw(in[0], in[1], in[2])), hue)
            << in[0] << ", " << in[1] << ", " << in[2];
}
