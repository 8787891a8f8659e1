#include "color/ImageFile.h"
#include "support/TestMeshes.h"
#include "tools/Commands.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

// `qlm-mesh colors` run in process on files written to a temporary folder: the binary PLY it
// writes is read back here byte by byte.

namespace
{

using Quelm::Topology::ImageFile;
using testing::HasSubstr;

void writeText(const std::filesystem::path& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

using Rgb = std::array<int, 3>;  // ints, so that failures print numbers

// Multiples of 4 with no channel 0: the four quarter-weight samples of a triangle then add up to
// the pixel colour exactly.
const Rgb kRed{200, 32, 40};
const Rgb kGreen{32, 200, 40};
const Rgb kBlue{32, 40, 200};
const Rgb kWhite{248, 248, 248};
const Rgb kBlack{0, 0, 0};

// A 4 x 4 picture as a viewer shows it: red top left, green top right, blue bottom left, white
// bottom right; row 0 of the file is the top row.
void writeQuadrantTexture(const std::filesystem::path& path)
{
    vsk::Image image(4, 4, 3);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
        {
            const Rgb& c = y < 2 ? (x < 2 ? kRed : kGreen) : (x < 2 ? kBlue : kWhite);
            std::copy(c.begin(), c.end(), image.GetPixel(x, y));
        }
    ASSERT_TRUE(ImageFile::SavePng(image, path));
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

struct PlyFace
{
    std::vector<int32_t> corners;
    Rgb colour;
};

struct Ply
{
    std::string header;
    std::vector<std::array<float, 3>> vertices;
    std::vector<PlyFace> faces;
};

// Reads the little-endian body of the file the command writes (float x y z; a uchar count of int
// corners and uchar red green blue), counts taken from the header.
Ply readPly(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    Ply ply;
    const size_t end = bytes.find("end_header\n");
    if (end == std::string::npos)
        return ply;
    ply.header = bytes.substr(0, end + 11);
    size_t vertexCount = 0, faceCount = 0;
    std::istringstream lines(ply.header);
    for (std::string line; std::getline(lines, line);)
    {
        std::sscanf(line.c_str(), "element vertex %zu", &vertexCount);
        std::sscanf(line.c_str(), "element face %zu", &faceCount);
    }
    size_t at = end + 11;
    auto take = [&](void* to, size_t n)
    {
        if (at + n > bytes.size())
            throw std::runtime_error("PLY body too short");
        std::memcpy(to, bytes.data() + at, n);
        at += n;
    };
    ply.vertices.resize(vertexCount);
    for (auto& v : ply.vertices)
        take(v.data(), 12);
    ply.faces.resize(faceCount);
    for (auto& f : ply.faces)
    {
        uint8_t n = 0;
        take(&n, 1);
        f.corners.resize(n);
        take(f.corners.data(), 4 * size_t(n));
        uint8_t rgb[3];
        take(rgb, 3);
        f.colour = {rgb[0], rgb[1], rgb[2]};
    }
    EXPECT_EQ(at, bytes.size()) << "bytes after the last face";
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
CommandRun runColorsCommand(std::vector<std::string> args)
{
    std::vector<char*> argv;
    for (std::string& a : args)
        argv.push_back(a.data());
    std::wostringstream out;
    std::wstreambuf* old = std::wcout.rdbuf(out.rdbuf());
    testing::internal::CaptureStderr();
    CommandRun run;
    run.code = runColors(int(argv.size()), argv.data());
    run.err = testing::internal::GetCapturedStderr();
    std::wcout.rdbuf(old);
    const std::wstring text = out.str();
    run.out.assign(text.begin(), text.end());  // ASCII: paths in a temporary folder
    return run;
}

}  // namespace

TEST(ColorsCommand, FaceColoursMatchTheTextureAsAViewerShowsIt)
{
    test::TempDir dir;
    std::filesystem::create_directory(dir.file("maps"));
    writeQuadrantTexture(dir.file("maps") / "quad.png");
    writeText(dir.file("quad.mtl"), "newmtl picture\nmap_Kd maps\\quad.png\n");
    writeText(dir.file("quad.obj"), kQuadObj);

    const CommandRun run = runColorsCommand({dir.file("quad.obj").string(), dir.file("quad.ply").string()});
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, HasSubstr(": 5 vertices, 5 triangles, 1 materials"));
    EXPECT_THAT(run.out, HasSubstr("coloured 5 triangles, 1 without texture (black)"));

    const Ply ply = readPly(dir.file("quad.ply"));
    EXPECT_EQ(ply.header, "ply\nformat binary_little_endian 1.0\ncomment texture colour per face\n"
                          "element vertex 5\nproperty float x\nproperty float y\nproperty float z\n"
                          "element face 5\nproperty list uchar int vertex_indices\n"
                          "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n");
    ASSERT_EQ(ply.vertices.size(), 5u);
    EXPECT_EQ(ply.vertices[2], (std::array<float, 3>{1, 1, 0}));
    EXPECT_EQ(ply.vertices[4], (std::array<float, 3>{0.5f, 0.5f, 0.25f}));
    ASSERT_EQ(ply.faces.size(), 5u);
    // in file order, corners 0-based
    EXPECT_EQ(ply.faces[0].corners, (std::vector<int32_t>{0, 1, 3}));
    EXPECT_EQ(ply.faces[3].corners, (std::vector<int32_t>{0, 1, 4}));
    EXPECT_EQ(ply.faces[0].colour, kBlack);
    EXPECT_EQ(ply.faces[1].colour, kRed);
    EXPECT_EQ(ply.faces[2].colour, kWhite);
    EXPECT_EQ(ply.faces[3].colour, kBlue);
    EXPECT_EQ(ply.faces[4].colour, kGreen);
}

// A refused triangle (two equal corners) is left out of the PLY, and the face count with it.
TEST(ColorsCommand, MissingTextureIsAWarningAndItsTrianglesAreBlack)
{
    test::TempDir dir;
    writeText(dir.file("quad.mtl"), "newmtl picture\nmap_Kd gone.png\n");
    writeText(dir.file("quad.obj"), std::string(kQuadObj) + "f 1/1 1/2 3/3\n");

    const CommandRun run = runColorsCommand({dir.file("quad.obj").string(), dir.file("quad.ply").string()});
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_THAT(run.err, testing::MatchesRegex("qlm-mesh colors: warning: texture [^\n]*gone\\.png[^\n]*\n"
                                               "qlm-mesh colors: warning: 1 triangles with two equal "
                                               "corners skipped\n"));
    EXPECT_THAT(run.out, HasSubstr("coloured 5 triangles, 5 without texture (black)"));
    const Ply ply = readPly(dir.file("quad.ply"));
    ASSERT_EQ(ply.faces.size(), 5u);
    for (const PlyFace& face : ply.faces)
        EXPECT_EQ(face.colour, kBlack);
}
