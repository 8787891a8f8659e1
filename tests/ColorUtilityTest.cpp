#include "color/ColorUtility.h"

#include "color/ImageUtils.h"
#include "engine/Image.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>

using Quelm::Topology::ClrRGB;
using Quelm::Topology::ColorUtility;
using Quelm::Topology::ImageUtils;

namespace
{

void expectRgb(const ClrRGB& c, unsigned r, unsigned g, unsigned b)
{
    EXPECT_EQ(c.r, r);
    EXPECT_EQ(c.g, g);
    EXPECT_EQ(c.b, b);
}

vsk::Image uniformImage(unsigned w, unsigned h, unsigned channels, unsigned char value)
{
    vsk::Image img(w, h, channels);
    std::fill(img.Buffer().begin(), img.Buffer().end(), value);
    return img;
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
    expectRgb(ColorUtility::getPixel(&img, 2, 1), 10, 20, 30);
    expectRgb(ImageUtils::getPixel(&img, 2, 1), 10, 20, 30);
    expectRgb(ColorUtility::getPixel(&img, 0, 1), 40, 40, 40);
    expectRgb(ColorUtility::getPixel(nullptr, 0, 0), 0, 0, 0);
}

TEST(ColorPixels, BlurOfAUniformImageIsUnnormalised)
{
    vsk::Image img = uniformImage(9, 9, 3, 100);
    expectRgb(ColorUtility::getAvgBlurPixel(&img, 4, 4), 306, 306, 306);
    // At the top-left corner only dx, dy in {0, 1, 2} are read: 50 + 2*25 + 2*12 + 12 + 2*6 + 3.
    expectRgb(ColorUtility::getAvgBlurPixel(&img, 0, 0), 151, 151, 151);
    expectRgb(ColorUtility::getAvgBlurPixel(nullptr, 0, 0), 0, 0, 0);
}

TEST(ColorPixels, BlurReadsColumnWidthAsThePixelThatStartsTheNextRow)
{
    // Around (6, 3) in an 8-wide image, dx = +2 gives X = 8 = width, which is read (inclusive
    // bound): byte offset (8 * Y + 8) * 3 is pixel (0, Y + 1).
    vsk::Image img(8, 8, 3);
    setPixel(img, 0, 4, 160, 160, 160);  // X = 8, Y = 3 (dy = 0): divisor 8
    const ClrRGB c = ColorUtility::getAvgBlurPixel(&img, 6, 3);
    expectRgb(c, 20, 20, 20);
    // Column 9 (dx = +3) is never read: a bright pixel at (1, 4) changes nothing.
    setPixel(img, 1, 4, 255, 255, 255);
    expectRgb(ColorUtility::getAvgBlurPixel(&img, 6, 3), 20, 20, 20);
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
                          {
                              EXPECT_TRUE(ColorUtility::getAvgBlurPixel(&img, x, y) == serial[y - 2][x - 2]);
                          }
                      });
}

TEST(ColorAdjust, KeyCombineAndContrast)
{
    expectRgb(ColorUtility::getClrFromKey(0x123456), 0x12, 0x34, 0x56);
    expectRgb(ColorUtility::getClrFromKey(0x120000), 0x12, 0, 0);
    expectRgb(ColorUtility::getClrFromKey(0x7F123456), 0x12, 0x34, 0x56);  // high byte ignored

    ClrRGB a(100, 50, 10);
    ClrRGB b(20, 40, 1);
    expectRgb(ColorUtility::getCombineClr(a, 0.5f, b, 0.5f), 60, 45, 5);
    ClrRGB c(100, 3, 1);
    ClrRGB d(0, 0, 0);
    expectRgb(ColorUtility::getCombineClr(c, 0.5f, d, 1.0f), 50, 1, 50);  // zero blue takes red

    ClrRGB e(100, 3, 1);
    ClrRGB& same = ColorUtility::performColorContrast(e, 0.5f);
    EXPECT_EQ(&same, &e);
    expectRgb(e, 50, 1, 0);
}

TEST(ColorAdjust, ReductionAndBinsFloorToTheirSteps)
{
    ClrRGB c(200, 100, 50);
    expectRgb(ColorUtility::performColorReduction(c, 4), 191, 63, 0);
    expectRgb(c, 200, 100, 50);  // unchanged
    ClrRGB full(255, 128, 1);
    expectRgb(ColorUtility::performColorReduction(full, 1), 255, 0, 0);  // no substitution

    ClrRGB bins(255, 16, 15);
    ImageUtils::reduceBinSize(bins);
    expectRgb(bins, 255, 15, 0);
}

TEST(ColorAdjust, SaturationMovesChannelsAroundPerceivedBrightness)
{
    // Perceived brightness P = sqrt(0.299 * 200^2 + 0.587 * 100^2 + 0.114 * 50^2) = 134.59...
    ClrRGB same(200, 100, 50), grey(200, 100, 50), vivid(200, 100, 50);
    ColorUtility::performColorSaturation(same, 1.0);
    expectRgb(same, 200, 100, 50);
    EXPECT_EQ(&ColorUtility::performColorSaturation(grey, 0.0), &grey);
    expectRgb(grey, 134, 134, 134);
    ColorUtility::performColorSaturation(vivid, 2.0);
    expectRgb(vivid, 265, 65, 65502);  // 2 * 50 - P is below zero and wraps
}

TEST(ColorAdjust, SaturationUsesTheSinglePrecisionWeights)
{
    // With the decimal weights 0.299/0.587/0.114 the brightness of (1000, 1000, 1000) would be
    // exactly 1000; the widened float weights add up to 1.0000000075, which lifts it just
    // past 1000, so a channel of 1000 lands on 999 after (c - P) * 2 + P truncates.
    ClrRGB c(1000, 1000, 1000);
    ColorUtility::performColorSaturation(c, 2.0);
    expectRgb(c, 999, 999, 999);
}

TEST(ImageHue, AtanHueInWholeDegrees)
{
    EXPECT_EQ(ImageUtils::getHuefromRGB(ClrRGB::raw(255, 0, 0)), 0.0f);
    // (g - b) * 1.732 / ((r - g) + (r - b)) = 1.732 / -1 for pure green: atan gives -60.
    EXPECT_EQ(ImageUtils::getHuefromRGB(ClrRGB::raw(0, 255, 0)), -60.0f);
    // 2r = g + b gives a zero denominator, exactly so in float when b = 0 and g = 2r.
    EXPECT_EQ(ImageUtils::getHuefromRGB(ClrRGB::raw(100, 200, 0)), 90.0f);
    EXPECT_EQ(ImageUtils::getHuefromRGB(ClrRGB::raw(100, 0, 200)), -90.0f);
    // 2r = g + b again, but the scaled channels do not cancel exactly: the differences are taken
    // in double, where the denominator's sign differs from a single-precision evaluation.
    EXPECT_EQ(ImageUtils::getHuefromRGB(ClrRGB::raw(5, 9, 1)), -90.0f);
    EXPECT_EQ(ImageUtils::getHuefromRGB(ClrRGB::raw(5, 1, 9)), 89.0f);
}
