#include "color/TexturedObj.h"

#include "color/ColorUtility.h"
#include "color/ImageFile.h"
#include "support/FileBytes.h"
#include "support/TestMeshes.h"

#include <gtest/gtest.h>

using Quelm::Topology::ClrRGB;
using Quelm::Topology::ColorUtility;
using Quelm::Topology::ImageFile;
using Quelm::Topology::OxmTnSurface;
using Quelm::Topology::TexturedObj;

namespace
{

ClrRGB colourOf(const TexturedObj& obj, size_t objTriangle)
{
    return ColorUtility::getTriangleColor(OxmTnSurface::castUp(obj.surface), obj.surface->getUVLayer(),
                                          obj.triangleIDs[objTriangle]);
}

}  // namespace

// Each material's texture is turned upside down, so colours match the picture as a viewer shows it
// (OBJ v = 0 is its bottom); a texture that is missing or has no colour samples black and warns.
TEST(TexturedObj, ColoursFollowThePictureAndUnusableTexturesGiveBlackAndAWarning)
{
    test::TempDir dir;
    // 2 x 2, top row red, green; bottom row blue, white. Multiples of 4 and no channel 0, so the
    // four quarter-weight samples add up exactly and the grey substitution of ClrRGB stays away.
    vsk::Image picture(2, 2, 3, {200, 32, 40, 32, 200, 40, 32, 40, 200, 248, 248, 248});
    ASSERT_TRUE(ImageFile::SavePng(picture, dir.file("quad.png")));
    ASSERT_TRUE(ImageFile::SavePng(vsk::Image(2, 2, 1), dir.file("grey.png")));
    test::writeFile(dir.file("bad.png"), "not an image");
    test::writeFile(dir.file("m.mtl"), "newmtl a\nmap_Kd quad.png\nnewmtl b\nmap_Kd quad.png\n"
                                       "newmtl gone\nmap_Kd nowhere.png\nnewmtl grey\nmap_Kd grey.png\n"
                                       "newmtl broken\nmap_Kd bad.png\n");
    test::writeFile(dir.file("m.obj"), "mtllib m.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0.2 0.2\nvt 0.8 0.8\n"
                                       "f 1/1 2/1 3/1\n"  // no usemtl yet
                                       "usemtl a\nf 1/1 2/1 3/1\n"
                                       "usemtl b\nf 1/2 2/2 3/2\n"
                                       "usemtl gone\nf 1/1 2/1 3/1\n"
                                       "usemtl grey\nf 1/1 2/1 3/1\n"
                                       "usemtl broken\nf 1/1 2/1 3/1\n"
                                       "usemtl a\nf 1 2 3\n"  // no texture coordinates
                                       "f 1/1 1/1 3/1\n");    // two equal corners
    const TexturedObj obj = TexturedObj::Load(dir.file("m.obj"));
    ASSERT_TRUE(obj.surface);
    ASSERT_EQ(obj.triangleIDs.size(), 8u);
    EXPECT_EQ(obj.triangleIDs[7], vsk::IMesh::InvalidID);
    EXPECT_EQ(obj.surface->getMesh().GetTriangleCount(), 7u);
    ASSERT_EQ(obj.warnings.size(), 4u);  // gone, grey, broken, equal corners

    EXPECT_TRUE(colourOf(obj, 1) == ClrRGB(32, 40, 200));  // near the bottom left: blue
    EXPECT_TRUE(colourOf(obj, 2) == ClrRGB(32, 200, 40));  // near the top right: green
    for (size_t t : {0u, 3u, 4u, 5u, 6u})
        EXPECT_TRUE(colourOf(obj, t) == ClrRGB()) << t;

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
