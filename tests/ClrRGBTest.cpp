#include "color/ClrRGB.h"

#include "color/ClrHSV.h"
#include "color/ColorUtility.h"

#include <gtest/gtest.h>

using Quelm::Topology::ClrHSV;
using Quelm::Topology::ClrRGB;
using Quelm::Topology::ColorUtility;

namespace
{

void expectRgb(const ClrRGB& c, unsigned r, unsigned g, unsigned b)
{
    EXPECT_EQ(c.r, r);
    EXPECT_EQ(c.g, g);
    EXPECT_EQ(c.b, b);
}

}  // namespace

TEST(ClrRGBArithmetic, ConstructorSubstitutesRedForZeroGreenOrBlue)
{
    expectRgb(ClrRGB(200, 0, 0), 200, 200, 200);
    expectRgb(ClrRGB(0, 5, 0), 0, 5, 0);  // zero red is kept, zero blue takes the zero red
    expectRgb(ClrRGB(7, 0, 9), 7, 7, 9);
    expectRgb(ClrRGB(), 0, 0, 0);
    expectRgb(ClrRGB::raw(7, 0, 0), 7, 0, 0);
    // Equality compares every channel, after the substitution.
    EXPECT_TRUE(ClrRGB(9, 0, 0) == ClrRGB(9, 9, 9));
    EXPECT_FALSE(ClrRGB(1, 2, 3) == ClrRGB(1, 2, 4));
    EXPECT_FALSE(ClrRGB(1, 2, 3) == ClrRGB(1, 5, 3));
}

TEST(ClrRGBArithmetic, ByValueOperatorsWrapAndSubstitute)
{
    expectRgb(ClrRGB(10, 20, 30) - ClrRGB(10, 20, 30), 0, 0, 0);
    expectRgb(ClrRGB(100, 20, 30) - ClrRGB(1, 20, 30), 99, 99, 99);
    expectRgb(ClrRGB(1, 20, 30) - ClrRGB(2, 20, 30), 65535, 65535, 65535);  // wraps below zero
    expectRgb(ClrRGB(60000, 1, 1) + ClrRGB(10000, 1, 1), 4464, 2, 2);
    expectRgb(ClrRGB(65535, 300, 2) * ClrRGB(65535, 300, 3), 1, 24464, 6);  // (a * b) mod 65536
    expectRgb(ClrRGB(100, 50, 9) / ClrRGB(3, 7, 10), 33, 7, 33);            // blue 0 becomes red
}

TEST(ClrRGBArithmetic, FloatScalingTruncatesWithoutSubstitution)
{
    expectRgb(ClrRGB(100, 100, 100) * 1.5f, 150, 150, 150);
    expectRgb(ClrRGB(100, 3, 1) * 0.5f, 50, 1, 0);  // truncated, zero blue stays zero
    expectRgb(ClrRGB(100, 3, 7) / 2.0f, 50, 1, 3);
    expectRgb(ClrRGB(40000, 2, 2) * 2.0f, 14464, 4, 4);          // low 16 bits of 80000
    expectRgb(ClrRGB(10, 10, 10) * -1.0f, 65526, 65526, 65526);  // a negative product wraps
    expectRgb(ClrRGB(10, 10, 10) * -0.5f, 65531, 65531, 65531);  // toward zero: -5, not -6
}

TEST(ClrRGBArithmetic, CompoundOperatorsMatchTheByValueOnes)
{
    ClrRGB c(100, 20, 30);
    c -= ClrRGB(1, 20, 30);
    expectRgb(c, 99, 99, 99);

    ClrRGB k(10, 20, 30);
    k += static_cast<unsigned short>(5);
    expectRgb(k, 15, 25, 35);
    k -= static_cast<unsigned short>(25);
    expectRgb(k, 65526, 65526, 10);  // g reaches 0 and takes r's wrapped value
    ClrRGB m(6, 8, 10);
    m *= static_cast<unsigned short>(2);
    expectRgb(m, 12, 16, 20);
    m /= static_cast<unsigned short>(4);
    expectRgb(m, 3, 4, 5);

    ClrRGB f(100, 3, 1);
    f *= 0.5f;
    expectRgb(f, 50, 1, 0);
    f /= 0.25f;
    expectRgb(f, 200, 4, 0);
}

TEST(ClrRGBArithmetic, ShiftsChangeTheirOperandAndTakeTheCountModulo32)
{
    ClrRGB c(0x8001, 0x10, 0x3);
    ClrRGB& same = c >> 1;
    EXPECT_EQ(&same, &c);
    expectRgb(c, 0x4000, 0x8, 0x1);
    c << 2;
    expectRgb(c, 0x0000, 0x20, 0x4);  // 0x10000 wraps to 0
    c >> 33;                          // 33 mod 32 = 1
    expectRgb(c, 0, 0x10, 0x2);
    ClrRGB d(1, 1, 1);
    d << 32;  // 32 mod 32 = 0: unchanged
    expectRgb(d, 1, 1, 1);
}

TEST(ClrRGBArithmetic, AvgHalvesBothArguments)
{
    ClrRGB a(10, 20, 30);
    ClrRGB b(30, 20, 10);
    expectRgb(ClrRGB::avg(a, b), 20, 20, 20);
    expectRgb(a, 5, 10, 15);
    expectRgb(b, 15, 10, 5);
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

TEST(RGB2HSV, PrimaryGreyAndOverRangeColours)
{
    auto expectHsv = [](ClrHSV c, float h, float s, float v)
    {
        EXPECT_FLOAT_EQ(c.h, h);
        EXPECT_FLOAT_EQ(c.s, s);
        EXPECT_FLOAT_EQ(c.v, v);
    };
    expectHsv(ColorUtility::RGB2HSV(ClrRGB::raw(255, 0, 0)), 0, 1, 1);
    expectHsv(ColorUtility::RGB2HSV(ClrRGB::raw(0, 0, 0)), 0, 0, 0);
    expectHsv(ColorUtility::RGB2HSV(ClrRGB::raw(510, 510, 510)), 0, 0, 2);
    expectHsv(ColorUtility::RGB2HSV(ClrRGB::raw(0, 0, 255)), 240, 1, 1);
    expectHsv(ColorUtility::RGB2HSV(ClrRGB::raw(255, 0, 255)), 300, 1, 1);  // max r, min g
    expectHsv(ColorUtility::RGB2HSV(ClrRGB::raw(0, 255, 255)), 180, 1, 1);  // max g (tie g, b keeps g), min r
    expectHsv(ColorUtility::RGB2HSV(ClrRGB::raw(255, 255, 0)), 60, 1, 1);   // max r (tie keeps r), min b
    EXPECT_NEAR(ColorUtility::RGB2HSV(ClrRGB::raw(255, 0, 128)).h, 360.0f - 60.0f * 128 / 255, 1e-3);
}

TEST(RGB2HSV, GreenMaxBlueMinUsesRedMinusGreen)
{
    // Textbook hue of (0.5, 1, 0) is 90; this conversion gives 150.
    const ClrHSV c = ColorUtility::RGB2HSV(ClrRGB::raw(255, 510, 0));
    EXPECT_FLOAT_EQ(c.h, 150.0f);
    EXPECT_FLOAT_EQ(c.s, 1.0f);
    EXPECT_FLOAT_EQ(c.v, 2.0f);
}

TEST(CompareHSV, HueWrapsAroundAndAllTestsAreStrict)
{
    const ClrHSV a(350, 0.5f, 0.5f);
    const ClrHSV b(10, 0.5f, 0.5f);
    EXPECT_TRUE(ColorUtility::compareHSV(a, b, 6, 1, 1));  // 94.44 folds to 5.56
    EXPECT_FALSE(ColorUtility::compareHSV(a, b, 5, 1, 1));
    EXPECT_FALSE(ColorUtility::compareHSV(a, a, 0, 1, 1));  // 0 > 0 fails: strict
    EXPECT_TRUE(ColorUtility::compareHSV(ClrHSV(0, 0.2f, 0.5f), ClrHSV(0, 0.25f, 0.5f), 1, 5.5f, 1));
    EXPECT_FALSE(ColorUtility::compareHSV(ClrHSV(0, 0.2f, 0.5f), ClrHSV(0, 0.25f, 0.5f), 1, 4.5f, 1));
    EXPECT_FALSE(ColorUtility::compareHSV(ClrHSV(0, 0.5f, 0.2f), ClrHSV(0, 0.5f, 0.3f), 1, 1, 9.9f));
    EXPECT_TRUE(ColorUtility::compareHSV(ClrHSV(0, 0.5f, 0.2f), ClrHSV(0, 0.5f, 0.3f), 1, 1, 10.1f));
}
