#include "color/TexturedObj.h"

#include "color/ColorUtility.h"
#include "color/ImageFile.h"
#include "support/TestMeshes.h"

#include <gtest/gtest.h>

#include <fstream>

using Quelm::Topology::ClrRGB;
using Quelm::Topology::ColorUtility;
using Quelm::Topology::ImageFile;
using Quelm::Topology::OxmTnSurface;
using Quelm::Topology::TexturedObj;

namespace
{

void writeText(const std::filesystem::path& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

// A 2 x 2 texture as a viewer shows it: top row red, green; bottom row blue, white (no channel
// is 0, so the grey substitution of ClrRGB stays out of the way).
void writeQuadTexture(const std::filesystem::path& path)
{
    vsk::Image img(2, 2, 3);
    const unsigned char colours[4][3] = {{200, 30, 40}, {30, 200, 40}, {30, 40, 200}, {250, 250, 250}};
    for (int i = 0; i < 4; ++i)
        std::copy(colours[i], colours[i] + 3, img.GetPixel(i % 2, i / 2));
    ASSERT_TRUE(ImageFile::SavePng(img, path));
}

// Four triangles over a unit quad, each with its UVs inside one quadrant of the texture, in the
// order bottom-left, bottom-right, top-left, top-right (OBJ v = 0 is the bottom).
const char* kQuadObj = "mtllib quad.mtl\n"
                       "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0.5 0.5 0\n"
                       "vt 0.1 0.1\nvt 0.4 0.1\nvt 0.1 0.4\n"
                       "vt 0.6 0.1\nvt 0.9 0.1\nvt 0.6 0.4\n"
                       "vt 0.1 0.6\nvt 0.4 0.6\nvt 0.1 0.9\n"
                       "vt 0.6 0.6\nvt 0.9 0.6\nvt 0.6 0.9\n"
                       "usemtl picture\n"
                       "f 1/1 2/2 5/3\nf 2/4 3/5 5/6\nf 4/7 1/8 5/9\nf 3/10 4/11 5/12\n";

ClrRGB expected(unsigned r, unsigned g, unsigned b)
{
    return ClrRGB(4 * (r / 4), 4 * (g / 4), 4 * (b / 4));  // four samples, each truncated / 4
}

ClrRGB colourOf(const TexturedObj& obj, size_t objTriangle)
{
    return ColorUtility::getTriangleColor(OxmTnSurface::castUp(obj.surface), obj.surface->getUVLayer(),
                                          obj.triangleIDs[objTriangle]);
}

}  // namespace

TEST(TexturedObj, QuadColoursMatchTheTextureAsAViewerShowsIt)
{
    test::TempDir dir;
    writeQuadTexture(dir.file("quad.png"));
    writeText(dir.file("quad.mtl"), "newmtl picture\nmap_Kd .\\quad.png\n");
    writeText(dir.file("quad.obj"), kQuadObj);
    std::string error;
    const TexturedObj obj = TexturedObj::Load(dir.file("quad.obj"), &error);
    ASSERT_TRUE(obj.surface) << error;
    EXPECT_TRUE(obj.warnings.empty());
    ASSERT_EQ(obj.triangleIDs.size(), 4u);
    EXPECT_TRUE(colourOf(obj, 0) == expected(30, 40, 200));    // bottom-left: blue
    EXPECT_TRUE(colourOf(obj, 1) == expected(250, 250, 250));  // bottom-right: white
    EXPECT_TRUE(colourOf(obj, 2) == expected(200, 30, 40));    // top-left: red
    EXPECT_TRUE(colourOf(obj, 3) == expected(30, 200, 40));    // top-right: green
    EXPECT_EQ(obj.surface->getMesh().GetTriangleCount(), 4u);
    EXPECT_EQ(obj.surface->GetUVLayerCount(), 1u);
}

TEST(TexturedObj, MissingOrUnusableTexturesGiveBlackAndAWarning)
{
    test::TempDir dir;
    writeQuadTexture(dir.file("quad.png"));
    vsk::Image grey(2, 2, 1);
    ASSERT_TRUE(ImageFile::SavePng(grey, dir.file("grey.png")));
    writeText(dir.file("bad.png"), "not an image");
    writeText(dir.file("m.mtl"), "newmtl a\nmap_Kd quad.png\n"
                                 "newmtl b\nmap_Kd quad.png\n"
                                 "newmtl gone\nmap_Kd nowhere.png\n"
                                 "newmtl grey\nmap_Kd grey.png\n"
                                 "newmtl broken\nmap_Kd bad.png\n");
    writeText(dir.file("m.obj"), "mtllib m.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0.2 0.2\n"
                                 "f 1/1 2/1 3/1\n"  // no usemtl yet
                                 "usemtl a\nf 1/1 2/1 3/1\n"
                                 "usemtl b\nf 1/1 2/1 3/1\n"
                                 "usemtl gone\nf 1/1 2/1 3/1\n"
                                 "usemtl grey\nf 1/1 2/1 3/1\n"
                                 "usemtl broken\nf 1/1 2/1 3/1\n"
                                 "usemtl a\nf 1 2 3\n"  // no texture coordinates
                                 "f 1/1 1/1 3/1\n");    // two equal corners
    const TexturedObj obj = TexturedObj::Load(dir.file("m.obj"));
    ASSERT_TRUE(obj.surface);
    ASSERT_EQ(obj.triangleIDs.size(), 8u);
    EXPECT_EQ(obj.triangleIDs[7], vsk::IMesh::InvalidID);
    ASSERT_EQ(obj.warnings.size(), 4u);  // gone, grey, broken, equal corners

    const ClrRGB black;
    EXPECT_TRUE(colourOf(obj, 0) == black);
    EXPECT_FALSE(colourOf(obj, 1) == black);
    EXPECT_TRUE(colourOf(obj, 2) == colourOf(obj, 1));
    for (size_t t : {3u, 4u, 5u, 6u})
        EXPECT_TRUE(colourOf(obj, t) == black) << t;

    // one texture file read once, shared by both materials
    const auto& materials = obj.surface->GetMaterialSet();
    EXPECT_EQ(materials.FindMaterial(0)->GetTexture(), materials.FindMaterial(1)->GetTexture());
    EXPECT_EQ(materials.FindMaterial(TexturedObj::kNoMaterialGroup), nullptr);
}

TEST(TexturedObj, UnreadableObjGivesNoSurface)
{
    test::TempDir dir;
    std::string error;
    EXPECT_FALSE(TexturedObj::Load(dir.file("none.obj"), &error).surface);
    EXPECT_FALSE(error.empty());
}
