#include "color/ImageFile.h"
#include "support/FileBytes.h"
#include "support/TestMeshes.h"
#include "tools/Commands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

// `qlm-mesh colors` run in process on files written to a temporary folder: the binary PLY it
// writes is read back here byte by byte.

namespace
{

using Quelm::Topology::ImageFile;
using testing::HasSubstr;

using Rgb = std::array<int, 3>;  // ints, so that failures print numbers

// Multiples of 4 with no channel 0: the four quarter-weight samples of a triangle then add up to
// the pixel colour exactly.
const Rgb kRed{200, 32, 40};
const Rgb kGreen{32, 200, 40};
const Rgb kBlue{32, 40, 200};
const Rgb kWhite{248, 248, 248};
const Rgb kBlack{0, 0, 0};

// A 2 x 2 picture as a viewer shows it: red top left, green top right, blue bottom left, white
// bottom right; row 0 of the file is the top row.
void writeQuadrantTexture(const std::filesystem::path& path)
{
    std::vector<unsigned char> pixels;
    for (const Rgb& c : {kRed, kGreen, kBlue, kWhite})
        pixels.insert(pixels.end(), c.begin(), c.end());
    ASSERT_TRUE(ImageFile::SavePng(vsk::Image(2, 2, 3, pixels), path));
}

// A unit quad cut into four triangles around its centre, each mapped inside one quadrant of
// the texture (OBJ v = 0 is the bottom of the picture), after one triangle that comes before any
// usemtl and so has no material.
const char* kQuadObj = "mtllib quad.mtl\n"
                       "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0.5 0.5 0.25\n"
                       "vt 0.1 0.6\nvt 0.4 0.6\nvt 0.1 0.9\n"  // top left
                       "vt 0.6 0.1\nvt 0.9 0.1\nvt 0.6 0.4\n"  // bottom right
                       "vt 0.1 0.1\nvt 0.4 0.1\nvt 0.1 0.4\n"  // bottom left
                       "vt 0.6 0.6\nvt 0.9 0.6\nvt 0.6 0.9\n"  // top right
                       "f 1 2 4\n"
                       "usemtl picture\n"
                       "f 4/1 1/2 5/3\nf 2/4 3/5 5/6\nf 1/7 2/8 5/9\nf 3/10 4/11 5/12\n";

struct Ply
{
    std::string header;
    std::vector<std::array<float, 3>> vertices;
    std::vector<std::vector<int32_t>> faces;
    std::vector<Rgb> colours;
};

// Reads the file the command writes: after the header, `vertexCount` little-endian float x y z,
// then faces to the end (a uchar count of int corners, uchar red green blue).
Ply readPly(const std::filesystem::path& path, size_t vertexCount)
{
    const std::string bytes = test::readFile(path);
    Ply ply;
    size_t at = bytes.find("end_header\n") + 11;
    ply.header = bytes.substr(0, at);
    auto take = [&](void* to, size_t n)
    {
        EXPECT_LE(at + n, bytes.size()) << "PLY body too short";
        if (at + n <= bytes.size())
            std::memcpy(to, bytes.data() + at, n);
        at += n;
    };
    ply.vertices.resize(vertexCount);
    for (auto& v : ply.vertices)
        take(v.data(), 12);
    while (at < bytes.size())
    {
        uint8_t n = 0, rgb[3] = {};
        take(&n, 1);
        ply.faces.emplace_back(n);
        take(ply.faces.back().data(), 4 * size_t(n));
        take(rgb, 3);
        ply.colours.push_back({rgb[0], rgb[1], rgb[2]});
    }
    return ply;
}

struct CommandRun
{
    int code = -1;
    std::string out;
    std::string err;
};

// Runs the command with its standard output captured (it writes through std::wcout) and its
// standard error.
CommandRun runColorsCommand(const test::TempDir& dir)
{
    std::string in = dir.file("quad.obj").string(), out = dir.file("quad.ply").string();
    char* argv[] = {in.data(), out.data()};
    std::wostringstream text;
    std::wstreambuf* old = std::wcout.rdbuf(text.rdbuf());
    testing::internal::CaptureStderr();
    CommandRun run;
    run.code = runColors(2, argv);
    run.err = testing::internal::GetCapturedStderr();
    std::wcout.rdbuf(old);
    const std::wstring wide = text.str();
    run.out.assign(wide.begin(), wide.end());  // ASCII: paths in a temporary folder
    return run;
}

}  // namespace

TEST(ColorsCommand, FaceColoursMatchTheTextureAsAViewerShowsIt)
{
    test::TempDir dir;
    std::filesystem::create_directory(dir.file("maps"));
    writeQuadrantTexture(dir.file("maps") / "quad.png");
    test::writeFile(dir.file("quad.mtl"), "newmtl picture\nmap_Kd maps\\quad.png\n");
    test::writeFile(dir.file("quad.obj"), kQuadObj);

    const CommandRun run = runColorsCommand(dir);
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, HasSubstr(": 5 vertices, 5 triangles, 1 materials"));
    EXPECT_THAT(run.out, HasSubstr("coloured 5 triangles, 1 without texture (black)"));

    const Ply ply = readPly(dir.file("quad.ply"), 5);
    EXPECT_EQ(ply.header, "ply\nformat binary_little_endian 1.0\ncomment texture colour per face\n"
                          "element vertex 5\nproperty float x\nproperty float y\nproperty float z\n"
                          "element face 5\nproperty list uchar int vertex_indices\n"
                          "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n");
    EXPECT_EQ(ply.vertices[2], (std::array<float, 3>{1, 1, 0}));
    EXPECT_EQ(ply.vertices[4], (std::array<float, 3>{0.5f, 0.5f, 0.25f}));
    ASSERT_EQ(ply.faces.size(), 5u);
    // in file order, corners 0-based
    EXPECT_EQ(ply.faces[0], (std::vector<int32_t>{0, 1, 3}));
    EXPECT_EQ(ply.faces[3], (std::vector<int32_t>{0, 1, 4}));
    EXPECT_EQ(ply.colours, (std::vector<Rgb>{kBlack, kRed, kWhite, kBlue, kGreen}));
}

// A refused triangle (two equal corners) is left out of the PLY, and the face count with it.
TEST(ColorsCommand, MissingTextureIsAWarningAndItsTrianglesAreBlack)
{
    test::TempDir dir;
    test::writeFile(dir.file("quad.mtl"), "newmtl picture\nmap_Kd gone.png\n");
    test::writeFile(dir.file("quad.obj"), std::string(kQuadObj) + "f 1/1 1/2 3/3\n");

    const CommandRun run = runColorsCommand(dir);
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_THAT(run.err, testing::MatchesRegex("qlm-mesh colors: warning: texture [^\n]*gone\\.png[^\n]*\n"
                                               "qlm-mesh colors: warning: 1 triangles with two equal "
                                               "corners skipped\n"));
    EXPECT_THAT(run.out, HasSubstr("coloured 5 triangles, 5 without texture (black)"));
    const Ply ply = readPly(dir.file("quad.ply"), 5);
    EXPECT_THAT(ply.header, HasSubstr("element face 5\n"));
    EXPECT_EQ(ply.colours, std::vector<Rgb>(5, kBlack));
}
