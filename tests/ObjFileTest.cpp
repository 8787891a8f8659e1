#include "color/ObjFile.h"

#include "support/FileBytes.h"
#include "support/TestMeshes.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using Quelm::Topology::ObjFile;
using Quelm::Topology::ObjMesh;

namespace
{

const uint32_t kNone = ObjMesh::kNone;

std::vector<uint32_t> corners(const uint32_t (&indices)[3])
{
    return {indices[0], indices[1], indices[2]};
}

}  // namespace

TEST(ObjFileRead, FacesCornersAndNegativeIndices)
{
    test::TempDir dir;
    test::writeFile(dir.file("m.obj"), "# comment\r\n"
                                       "v 0 0 0\r\nv 1 0 0\r\nv 1 1 0\r\nv 0 1 +0.5e0\r\n"
                                       "vt 0 0\r\nvt 1 0\r\nvt 0.25\r\n"
                                       "vn 0 0 1\r\n"
                                       "g group\ns 1\n"
                                       "f 1/1/1 2/2/1 3/3/1 4/3/1\n"  // quad: fan of two
                                       "f -4//1 -3//1 -2//1\n"        // relative, no texture coordinates
                                       "f 1 2\n"                      // too short: skipped with a warning
                                       "f 2/1 3/2 4\n");              // one corner without vt
    ObjMesh mesh;
    std::string error;
    ASSERT_TRUE(ObjFile::Read(dir.file("m.obj"), mesh, &error)) << error;
    ASSERT_EQ(mesh.positions.size(), 4u);
    EXPECT_EQ(mesh.positions[3].z, 0.5f);
    ASSERT_EQ(mesh.uvs.size(), 3u);
    EXPECT_EQ(mesh.uvs[2].x, 0.25f);
    EXPECT_EQ(mesh.uvs[2].y, 0.0f);
    ASSERT_EQ(mesh.triangles.size(), 4u);
    EXPECT_EQ(corners(mesh.triangles[1].v), (std::vector<uint32_t>{0, 2, 3}));  // the quad's second half
    EXPECT_EQ(corners(mesh.triangles[1].vt), (std::vector<uint32_t>{0, 2, 2}));
    EXPECT_EQ(corners(mesh.triangles[2].v), (std::vector<uint32_t>{0, 1, 2}));  // -4 is the first
    EXPECT_EQ(corners(mesh.triangles[2].vt), (std::vector<uint32_t>{kNone, kNone, kNone}));
    EXPECT_EQ(corners(mesh.triangles[3].vt), (std::vector<uint32_t>{0, 1, kNone}));
    EXPECT_EQ(mesh.triangles[0].material, kNone);
    ASSERT_EQ(mesh.warnings.size(), 1u);
    EXPECT_NE(mesh.warnings[0].find("1 faces"), std::string::npos);
}

TEST(ObjFileRead, MaterialsInOrderOfUseWithTexturesFoundEitherSlash)
{
    test::TempDir dir;
    for (const char* texture : {"tex/a b.png", "tex/wood.jpg", "lib/moved.png"})
        test::writeFile(dir.file(texture), "x");
    test::writeFile(dir.file("lib/m.mtl"),
                    "newmtl Wood\nKd 1 1 1\nmap_Kd -s 1 1 1 -clamp on ..\\tex\\wood.jpg\n"
                    "newmtl Spaced\nmap_Kd ../tex/a b.png\nnewmtl Plain\n"
                    "newmtl Moved\nmap_Kd C:\\old\\place\\moved.png\n");
    test::writeFile(dir.file("m.obj"),
                    "mtllib lib/m.mtl missing.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\n"
                    "usemtl Spaced\nf 1 2 3\nusemtl Wood\nf 1 2 3\nusemtl Spaced\nf 1 2 3\n"
                    "usemtl Nowhere\nf 1 2 3\nusemtl Plain\nf 1 2 3\nusemtl Moved\nf 1 2 3\n");
    ObjMesh mesh;
    ASSERT_TRUE(ObjFile::Read(dir.file("m.obj"), mesh));
    EXPECT_EQ(mesh.triangles[2].material, 0u);
    EXPECT_EQ(mesh.triangles[3].material, 2u);
    ASSERT_EQ(mesh.materials.size(), 5u);
    EXPECT_EQ(mesh.materials[0].name, "Spaced");
    EXPECT_EQ(mesh.materials[1].name, "Wood");
    EXPECT_TRUE(std::filesystem::equivalent(mesh.materials[0].texture, dir.file("tex/a b.png")));
    EXPECT_TRUE(std::filesystem::equivalent(mesh.materials[1].texture, dir.file("tex/wood.jpg")));
    EXPECT_FALSE(mesh.materials[2].defined);
    EXPECT_TRUE(mesh.materials[2].texture.empty());
    EXPECT_TRUE(mesh.materials[3].defined);
    EXPECT_TRUE(mesh.materials[3].texture.empty());
    // a path that does not exist: its file name is looked for beside the library
    EXPECT_TRUE(std::filesystem::equivalent(mesh.materials[4].texture, dir.file("lib/moved.png")));
    // the missing library and the undefined material
    ASSERT_EQ(mesh.warnings.size(), 2u);
    EXPECT_NE(mesh.warnings[0].find("missing.mtl"), std::string::npos);
    EXPECT_NE(mesh.warnings[1].find("Nowhere"), std::string::npos);
}

TEST(ObjFileRead, MalformedFilesFailWithFileAndLine)
{
    test::TempDir dir;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 4\n", "line 4"},
        {"v 0 0 0\nv 1 0 0\nv 0 1 0\nf 0 1 2\n", "line 4"},
        {"v 0 0 0\nv 1 0 0\nv 0 1 0\nf -4 1 2\n", "line 4"},
        {"v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\nf 1/2 2/1 3/1\n", "line 5"},
        {"v 0 0 zero\n", "line 1"},
        {"v 0 0\n", "line 1"},
        {"vt x\n", "line 1"},
        {"v 0 0 0\nf 1/a 1 1\n", "line 2"},
        {"v 0 0 0\nf 99999999999999999999 1 1\n", "line 2"},
    };
    for (size_t i = 0; i < cases.size(); ++i)
    {
        const auto path = dir.file("bad" + std::to_string(i) + ".obj");
        test::writeFile(path, cases[i].first);
        ObjMesh mesh;
        std::string error;
        EXPECT_FALSE(ObjFile::Read(path, mesh, &error)) << cases[i].first;
        EXPECT_NE(error.find(cases[i].second), std::string::npos) << error;
        EXPECT_NE(error.find(path.filename().string()), std::string::npos) << error;
    }
    ObjMesh mesh;
    std::string error;
    EXPECT_FALSE(ObjFile::Read(dir.file("none.obj"), mesh, &error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(ObjFile::Read(dir.file(""), mesh, &error));  // a directory

    test::writeFile(dir.file("empty.obj"), "");
    EXPECT_TRUE(ObjFile::Read(dir.file("empty.obj"), mesh, &error));
    EXPECT_TRUE(mesh.triangles.empty());
}

// A material library naming a device or a named pipe is a warning, read no further: /dev/zero
// used to be read until memory ran out, and a pipe without a writer blocked the reader.
TEST(ObjFileRead, MaterialLibrariesThatAreNotRegularFilesAreWarnings)
{
    test::TempDir dir;
    ASSERT_EQ(mkfifo(dir.file("pipe.mtl").c_str(), 0600), 0);
    for (const std::string& library : {std::string("/dev/zero"), dir.file("pipe.mtl").string()})
    {
        test::writeFile(dir.file("m.obj"), "mtllib " + library + "\nv 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
        ObjMesh mesh;
        std::string error;
        ASSERT_TRUE(ObjFile::Read(dir.file("m.obj"), mesh, &error)) << error;
        EXPECT_EQ(mesh.triangles.size(), 1u);
        ASSERT_EQ(mesh.warnings.size(), 1u) << library;
        EXPECT_NE(mesh.warnings[0].find("is not a regular file"), std::string::npos) << mesh.warnings[0];
    }
    ObjMesh mesh;
    std::string error;
    EXPECT_FALSE(ObjFile::Read(dir.file("pipe.mtl"), mesh, &error));  // nor is the OBJ itself read from one
    EXPECT_NE(error.find("is not a regular file"), std::string::npos) << error;
    // names outside ASCII are bytes to the reader, in the OBJ's name and in the library's
    test::writeFile(dir.file("\xce\xbb\xce\xb9.mtl"), "newmtl a\nmap_Kd t.png\n");
    test::writeFile(dir.file("caf\xc3\xa9.obj"), "mtllib \xce\xbb\xce\xb9.mtl\nv 0 0 0\nusemtl a\n");
    ASSERT_TRUE(ObjFile::Read(dir.file("caf\xc3\xa9.obj"), mesh, &error)) << error;
    ASSERT_EQ(mesh.materials.size(), 1u);
    EXPECT_TRUE(mesh.materials[0].defined);
}
