#include "color/ClrRGB.h"

#include "color/ClrHSV.h"
#include "color/ColorUtility.h"

#include <gtest/gtest.h>

#include <array>
#include <tuple>
#include <utility>

using Quelm::Topology::ClrHSV;
using Quelm::Topology::ClrRGB;
using Quelm::Topology::ColorUtility;

namespace
{

using Rgb = std::array<unsigned, 3>;

Rgb rgb(const ClrRGB& c)
{
    return {c.r, c.g, c.b};
}

}  // namespace

// Channels wrap modulo 65536, never saturate; results built through the constructor replace a zero
// green or blue by red (grey substitution), float scaling truncates toward zero and does not.
TEST(ClrRGBArithmetic, OperatorsWrapAndSubstituteAsDocumented)
{
    using US = unsigned short;
    const std::tuple<const char*, ClrRGB, Rgb> rows[] = {
        {"(200, 0, 0) is grey", ClrRGB(200, 0, 0), {200, 200, 200}},
        {"zero red is kept", ClrRGB(0, 5, 0), {0, 5, 0}},
        {"only the zero channel", ClrRGB(7, 0, 9), {7, 7, 9}},
        {"default", ClrRGB(), {0, 0, 0}},
        {"raw", ClrRGB::raw(7, 0, 0), {7, 0, 0}},
        {"a - a", ClrRGB(10, 20, 30) - ClrRGB(10, 20, 30), {0, 0, 0}},
        {"zero g, b take r", ClrRGB(100, 20, 30) - ClrRGB(1, 20, 30), {99, 99, 99}},
        {"- wraps", ClrRGB(1, 20, 30) - ClrRGB(2, 20, 30), {65535, 65535, 65535}},
        {"+ wraps", ClrRGB(60000, 1, 1) + ClrRGB(10000, 1, 1), {4464, 2, 2}},
        {"* mod 65536", ClrRGB(65535, 300, 2) * ClrRGB(65535, 300, 3), {1, 24464, 6}},
        {"/ blue 0 takes red", ClrRGB(100, 50, 9) / ClrRGB(3, 7, 10), {33, 7, 33}},
        {"* 1.5", ClrRGB(100, 100, 100) * 1.5f, {150, 150, 150}},
        {"* 0.5 keeps zero blue", ClrRGB(100, 3, 1) * 0.5f, {50, 1, 0}},
        {"/ 2.0", ClrRGB(100, 3, 7) / 2.0f, {50, 1, 3}},
        {"* 2.0 low 16 bits", ClrRGB(40000, 2, 2) * 2.0f, {14464, 4, 4}},
        {"* -1 wraps", ClrRGB(10, 10, 10) * -1.0f, {65526, 65526, 65526}},
        {"* -0.5 toward zero", ClrRGB(10, 10, 10) * -0.5f, {65531, 65531, 65531}},
        // compound forms on temporaries: each returns its modified operand
        {"-= ClrRGB", ClrRGB(100, 20, 30) -= ClrRGB(1, 20, 30), {99, 99, 99}},
        {"+= k", ClrRGB(10, 20, 30) += US(5), {15, 25, 35}},
        {"-= k: g hits 0, takes r", ClrRGB(15, 25, 35) -= US(25), {65526, 65526, 10}},
        {"*= k", ClrRGB(6, 8, 10) *= US(2), {12, 16, 20}},
        {"/= k", ClrRGB(12, 16, 20) /= US(4), {3, 4, 5}},
        {"*= float", ClrRGB(100, 3, 1) *= 0.5f, {50, 1, 0}},
        {"/= float", ClrRGB::raw(50, 1, 0) /= 0.25f, {200, 4, 0}},
    };
    for (const auto& [what, got, expected] : rows)
        EXPECT_EQ(rgb(got), expected) << what;

    EXPECT_TRUE(ClrRGB(9, 0, 0) == ClrRGB(9, 9, 9));  // compared after the substitution
    EXPECT_FALSE(ClrRGB(1, 2, 3) == ClrRGB(1, 2, 4));
    EXPECT_FALSE(ClrRGB(1, 2, 3) == ClrRGB(1, 5, 3));
}

TEST(ClrRGBArithmetic, ShiftsChangeTheirOperandAndTakeTheCountModulo32)
{
    ClrRGB c(0x8001, 0x10, 0x3);
    EXPECT_EQ(&(c >> 1), &c);
    EXPECT_EQ(rgb(c), (Rgb{0x4000, 0x8, 0x1}));
    c << 2;
    EXPECT_EQ(rgb(c), (Rgb{0x0000, 0x20, 0x4}));  // 0x10000 wraps to 0
    c >> 33;                                      // 33 mod 32 = 1
    EXPECT_EQ(rgb(c), (Rgb{0, 0x10, 0x2}));
    ClrRGB d(1, 1, 1);
    d << 32;  // 32 mod 32 = 0: unchanged
    EXPECT_EQ(rgb(d), (Rgb{1, 1, 1}));
}

TEST(ClrRGBArithmetic, AvgHalvesBothArguments)
{
    ClrRGB a(10, 20, 30), b(30, 20, 10);
    EXPECT_EQ(rgb(ClrRGB::avg(a, b)), (Rgb{20, 20, 20}));
    EXPECT_EQ(rgb(a), (Rgb{5, 10, 15}));
    EXPECT_EQ(rgb(b), (Rgb{15, 10, 5}));
}

TEST(ClrHSVOrder, LessThanNeedsAllThreeStrictlyGreater)
{
    EXPECT_FALSE(ClrHSV(1, 1, 1) < ClrHSV(2, 2, 1));
    EXPECT_TRUE(ClrHSV(1, 1, 1) < ClrHSV(2, 2, 2));
    EXPECT_FALSE(ClrHSV(2, 2, 2) < ClrHSV(1, 1, 1));
    // Not lexicographic: neither of these is less than the other.
    EXPECT_FALSE(ClrHSV(1, 5, 5) < ClrHSV(2, 1, 1));
    EXPECT_FALSE(ClrHSV(2, 1, 1) < ClrHSV(1, 5, 5));
}

TEST(RGB2HSV, PrimaryGreyOverRangeAndTieBreakingCases)
{
    // every value here is exact in single precision
    const std::pair<Rgb, std::array<float, 3>> rows[] = {
        {{255, 0, 0}, {0, 1, 1}},
        {{0, 0, 0}, {0, 0, 0}},
        {{510, 510, 510}, {0, 0, 2}},
        {{0, 0, 255}, {240, 1, 1}},
        {{255, 0, 255}, {300, 1, 1}},  // max r, min g
        {{0, 255, 255}, {180, 1, 1}},  // max g (tie g, b keeps g), min r
        {{255, 255, 0}, {60, 1, 1}},   // max r (tie keeps r), min b
        // max g, min b uses (r - g): the textbook hue of (0.5, 1, 0) would be 90
        {{255, 510, 0}, {150, 1, 2}},
    };
    for (const auto& [in, expected] : rows)
    {
        const ClrHSV c = ColorUtility::RGB2HSV(ClrRGB::raw(in[0], in[1], in[2]));
        EXPECT_EQ((std::array<float, 3>{c.h, c.s, c.v}), expected) << in[0] << ", " << in[1] << ", " << in[2];
    }
    EXPECT_NEAR(ColorUtility::RGB2HSV(ClrRGB::raw(255, 0, 128)).h, 360.0f - 60.0f * 128 / 255, 1e-3);
}

TEST(CompareHSV, HueWrapsAroundAndAllTestsAreStrict)
{
    const ClrHSV a(350, 0.5f, 0.5f), b(10, 0.5f, 0.5f);
    EXPECT_TRUE(ColorUtility::compareHSV(a, b, 6, 1, 1));  // 94.44 folds to 5.56
    EXPECT_FALSE(ColorUtility::compareHSV(a, b, 5, 1, 1));
    EXPECT_FALSE(ColorUtility::compareHSV(a, a, 0, 1, 1));  // 0 > 0 fails: strict
    EXPECT_TRUE(ColorUtility::compareHSV(ClrHSV(0, 0.2f, 0.5f), ClrHSV(0, 0.25f, 0.5f), 1, 5.5f, 1));
    EXPECT_FALSE(ColorUtility::compareHSV(ClrHSV(0, 0.2f, 0.5f), ClrHSV(0, 0.25f, 0.5f), 1, 4.5f, 1));
    EXPECT_FALSE(ColorUtility::compareHSV(ClrHSV(0, 0.5f, 0.2f), ClrHSV(0, 0.5f, 0.3f), 1, 1, 9.9f));
    EXPECT_TRUE(ColorUtility::compareHSV(ClrHSV(0, 0.5f, 0.2f), ClrHSV(0, 0.5f, 0.3f), 1, 1, 10.1f));
}
