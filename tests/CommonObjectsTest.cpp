#include "common/Box.h"
#include "common/Matrix4.h"
#include "common/RawMesh.h"
#include "common/Util.h"
#include "common/oxmvertex.h"

#include <gtest/gtest.h>

#include <map>

using namespace Quelm::Objects;

TEST(RawMeshRecord, ValidityNeedsPositionsWholeTrianglesAndIndicesInRange)
{
    RawMesh raw(Index32);
    EXPECT_FALSE(raw.isValid());  // no positions
    raw.pushBackPosition({0, 0, 0});
    raw.pushBackPosition({1, 0, 0});
    raw.pushBackPosition({0, 1, 0});
    EXPECT_TRUE(raw.isValid());  // positions without faces are usable
    raw.pushBackIndex(0);
    raw.pushBackIndex(1);
    EXPECT_FALSE(raw.isValid());  // not a whole triangle
    raw.pushBackIndex(3);
    EXPECT_FALSE(raw.isValid());  // index past the positions
    raw.indices().back() = 2;
    EXPECT_TRUE(raw.isValid());
    raw.pushBackNormal({0, 0, 1});
    EXPECT_FALSE(raw.isValid());  // a normal array shorter than the positions
}

// Host code fills raw meshes it holds by const reference. A 16-bit buffer refuses larger indices.
TEST(RawMeshRecord, FillsThroughAConstReferenceWithinTheIndexWidth)
{
    RawMesh raw(Index16);
    const RawMesh& view = raw;
    view.resizePositions(2);
    view.pushBackPosition({0, 1, 0});
    view.pushBackTextureCoord({0.5f, 1});
    view.resizeTextureCoords(3);
    view.pushBackNormal({0, 0, 1});
    view.resizeNormals(3);
    view.pushBackvertexColor(0xFF0000FFu);
    EXPECT_TRUE(view.pushBackIndex(2));
    EXPECT_TRUE(view.pushBackIndex(65535));
    EXPECT_FALSE(view.pushBackIndex(65536));
    EXPECT_EQ(raw.indicesSize(), 2u);
    view.resizeIndices(3);
    EXPECT_EQ(raw.positionsSize(), 3u);
    EXPECT_EQ(raw.positionAt(2).y, 1.0f);
    EXPECT_EQ(raw.textureCoordsSize(), 3u);
    EXPECT_EQ(raw.normalsSize(), 3u);
    EXPECT_EQ(raw.vertexColorsSize(), 1u);
    EXPECT_EQ(raw.indicesSize(), 3u);
    RawMesh wide(Index32);
    EXPECT_TRUE(wide.pushBackIndex(70000));
}

TEST(BoxRecord, DefaultIsEmptyAndGrowsByInclusion)
{
    Box<double> box;
    EXPECT_TRUE(box.isEmpty());
    box.includeBox(Box<double>());  // an empty box adds nothing
    EXPECT_TRUE(box.isEmpty());
    box.includeBox(Box<double>({0, 0, 0}, {1, 2, 4}));
    box.includeBox(Box<double>({-1, 0, 0}, {0, 1, 1}));
    EXPECT_FALSE(box.isEmpty());
    EXPECT_EQ(box.getMin(), Vector3<double>(-1, 0, 0));
    EXPECT_EQ(box.getMax(), Vector3<double>(1, 2, 4));
    EXPECT_DOUBLE_EQ(box.getLongestAxisLength(), 4.0);
    box.makeCube();
    EXPECT_EQ(box.getMin(), Vector3<double>(-2, -1, 0));
    EXPECT_EQ(box.getMax(), Vector3<double>(2, 3, 4));
}

TEST(MatrixRecord, TranslationMovesPointsButNotVectors)
{
    const auto m = Matrix4<float>::translation(1, 2, 3);
    EXPECT_EQ(m.TransformPoint({1, 1, 1}), Vector3<float>(2, 3, 4));
    EXPECT_EQ(m.TransformVector({1, 1, 1}), Vector3<float>(1, 1, 1));
    const auto s = Matrix4<float>::scale(2, 1, 1) * m;  // translate, then scale
    EXPECT_EQ(s.TransformPoint({0, 0, 0}), Vector3<float>(2, 2, 3));
}

TEST(VectorRecord, ToleranceComparisons)
{
    const Vector3<float> a(1, 0, 0);
    EXPECT_TRUE(a.isEqualTo({1.05f, 0, 0}, 0.1f));
    EXPECT_FALSE(a.isEqualTo({1.2f, 0, 0}, 0.1f));
    EXPECT_TRUE(a.isCodirectionalTo({5, 0, 0}, 1e-6f));
    EXPECT_FALSE(a.isCodirectionalTo({-5, 0, 0}, 1e-6f));  // opposite is not codirectional
    EXPECT_FALSE(a.isCodirectionalTo({0, 0, 0}, 1.0f));    // no direction
    EXPECT_FLOAT_EQ(a.distanceTo({1, 3, 4}), 5.0f);
}

TEST(WeldKey, SameVertexExactlyWhenPositionFlagAndCoordinateMatch)
{
    std::map<oxmvertex, int> weld;
    weld[oxmvertex({1, 2, 3}, {0, 0}, 0)] = 1;
    weld[oxmvertex({1, 2, 3}, {0, 0}, 1)] = 2;     // flag differs
    weld[oxmvertex({1, 2, 3}, {0.5f, 0}, 1)] = 3;  // coordinate differs
    weld[oxmvertex({1, 2, 3}, {0, 0}, 0)] = 4;     // same as the first
    EXPECT_EQ(weld.size(), 3u);
    EXPECT_EQ(weld.begin()->second, 4);  // without coordinate comes first at equal positions
}

TEST(StringConversion, RoundTripsNonAsciiAndKeepsStrayBytes)
{
    const std::wstring w = L"caf\u00e9/\u6a21\u578b\U0001F600.obj";
    EXPECT_EQ(Util::ConvertToWchar(Util::ConvertToChar(w)), w);
    EXPECT_EQ(Util::ConvertToChar(L"plain.ply"), "plain.ply");
    EXPECT_EQ(Util::ConvertToWchar(std::string("a\xff"
                                               "b")),
              std::wstring(L"a\u00ffb"));
    EXPECT_EQ(Util::ConvertToWchar(std::string("\xe6\xa8")), std::wstring(L"\u00e6\u00a8"));  // cut sequence
}
