#include "io/MeshFileCheck.h"

#include "support/FileBytes.h"
#include "support/TestMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <OpenMesh/Core/IO/MeshIO.hh>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <tuple>
#include <vector>

using Quelm::IO::detail::checkMeshFile;
using Quelm::IO::detail::StlMode;
using Quelm::Topology::OpenMeshUtility;

namespace
{

bool accepts(const std::string& bytes, const std::string& extension)
{
    std::istringstream in(bytes);
    return checkMeshFile(in, extension).isAccepted;
}

// Expects every `prefix + row` to be accepted (or refused) as `extension`; a failure names its row.
void expectAll(bool accepted, const std::string& extension, const std::vector<std::string>& rows,
               const std::string& prefix = "")
{
    for (size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(accepts(prefix + rows[i], extension), accepted)
            << extension << " row " << i << ": " << ::testing::PrintToString(rows[i].substr(0, 100));
}

// Little-endian binary records.
struct Bytes
{
    std::string s;
    Bytes& raw(const std::string& text)
    {
        s += text;
        return *this;
    }
    Bytes& u8(uint8_t v)
    {
        s.push_back(static_cast<char>(v));
        return *this;
    }
    Bytes& u16(uint16_t v) { return u8(v & 0xff).u8(v >> 8); }
    Bytes& u32(uint32_t v) { return u16(v & 0xffff).u16(v >> 16); }
    Bytes& f32(float f)
    {
        uint32_t bits;
        std::memcpy(&bits, &f, 4);
        return u32(bits);
    }
};

// The tetrahedron as OpenMesh's own writer puts it in the given format.
std::string written(const std::string& extension, OpenMesh::IO::Options options = {})
{
    auto mesh = test::makeTetrahedron();
    std::ostringstream out;
    EXPECT_TRUE(OpenMesh::IO::write_mesh(*mesh, out, extension, options));
    return out.str();
}

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

std::string polygon(const std::string& keyword, int corners, bool withCount)
{
    std::string line = keyword + (withCount ? " " + std::to_string(corners) : "");
    for (int i = 0; i < corners; ++i)
        line += " " + std::to_string(i % 3 + (keyword == "f" ? 1 : 0));
    return line + "\n";
}

std::string noise(unsigned seed, size_t size)
{
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes)
        c = static_cast<char>(random());
    return bytes;
}

const std::string kObj = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 3 2\nf 1 2 4\nf 2 3 4\nf 3 1 4\n";
const std::string kOff = "OFF\n4 4 0\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n3 0 2 1\n3 0 1 3\n3 1 2 3\n3 2 0 3\n";
const std::string kPlyHeader = "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
                               "property float z\nelement face 1\nproperty list uchar int vertex_indices\n"
                               "end_header\n";
const std::string kPly = kPlyHeader + "0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";
const std::string kStl = "solid t\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\n"
                         "endloop\nendfacet\nendsolid t\n";

Bytes binaryStl(uint32_t declaredFacets, const std::vector<float>& corners)
{
    Bytes b;
    b.raw(std::string(80, ' ')).u32(declaredFacets);
    for (size_t i = 0; i + 9 <= corners.size(); i += 9)
    {
        b.f32(0).f32(0).f32(1);
        for (size_t k = 0; k < 9; ++k)
            b.f32(corners[i + k]);
        b.u16(0);
    }
    return b;
}

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// Header fields of one OM chunk.
uint16_t omChunk(unsigned entity, unsigned type, bool isFloat, unsigned dim, unsigned bits,
                 bool named = false)
{
    return static_cast<uint16_t>((named ? 2u : 0u) | entity << 2 | type << 5 | 1u << 9 |
                                 (isFloat ? 1u : 0u) << 10 | dim << 11 | bits << 14);
}

// An OM header (triangle mesh, version 2.2 unless given) and the header of its first chunk.
Bytes omStart(uint32_t vertices, uint32_t faces, uint32_t edges, uint16_t chunk, uint8_t version = 0x42)
{
    Bytes b;
    b.raw("OMT").u8(version).u32(vertices).u32(faces).u32(edges).u16(chunk);
    return b;
}

// One triangle in the layout OpenMesh writes (version 2.2, 8-bit topology indices).
Bytes omTriangle(uint8_t version = 0x42)
{
    Bytes b = omStart(3, 1, 3, omChunk(0, 0, true, 2, 0), version);
    for (float f : {0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 0.f, 1.f, 0.f})
        b.f32(f);
    // Per edge: next, to-vertex, face of both halfedges.
    b.u16(omChunk(6, 7, true, 2, 0));
    for (int v : {2, 1, 0, 5, 0, -1, 4, 2, 0, 1, 1, -1, 0, 0, 0, 3, 2, -1})
        b.u8(static_cast<uint8_t>(v));
    b.u16(omChunk(0, 7, true, 0, 0)).u8(5).u8(1).u8(3);  // vertex halfedges
    b.u16(omChunk(2, 7, true, 0, 0)).u8(4);              // face halfedge
    return b;
}

const size_t kOmTopology = 16 + 2 + 36 + 2;  // offset of the halfedge records in omTriangle()

}  // namespace

TEST(MeshFileCheck, RefusesUnknownExtensionsAndLeavesTheStreamRewound)
{
    std::istringstream in(kObj);
    EXPECT_FALSE(checkMeshFile(in, ".xyz").isAccepted);
    EXPECT_EQ(in.tellg(), 0);
    EXPECT_TRUE(checkMeshFile(in, ".obj").isAccepted);
    EXPECT_EQ(in.tellg(), 0);
    EXPECT_EQ(in.get(), 'v');
    in.seekg(0);
    EXPECT_FALSE(checkMeshFile(in, ".off").isAccepted);  // read to the point of refusal, then rewound
    EXPECT_EQ(in.tellg(), 0);
}

TEST(MeshFileCheck, AcceptsWhatOpenMeshWritesAndRefusesNoise)
{
    using Opt = OpenMesh::IO::Options;
    const std::pair<const char*, Opt> formats[] = {
        {".obj", Opt()},
        {".off", Opt()},
        {".ply", Opt()},
        {".stl", Opt()},
        {".stl", Opt::Binary},
        {".om", Opt()},
        {".om", Opt(Opt::VertexNormal | Opt::Status)}};  // binary PLY: below
    for (const auto& [extension, options] : formats)
        EXPECT_TRUE(accepts(written(extension, options), extension))
            << extension << (options.is_binary() ? " binary" : "")
            << (options.vertex_has_normal() ? " normals" : "");
    for (const char* extension : {".off", ".ply", ".stl", ".om"})
        EXPECT_FALSE(accepts(noise(7, 4096), extension)) << extension;
    EXPECT_FALSE(accepts("", ".off"));
    EXPECT_FALSE(accepts("", ".om"));
}

// A trailing comment ends what the reader takes from a vertex line; on a face line it goes on
// reading corners past the '#', so those are still checked.
TEST(ObjCheck, ChecksNumbersCornersAndInlineComments)
{
    // Out-of-range and negative indices are left to the importer, which drops such faces.
    expectAll(true, ".obj",
              {"", "v 1.5e3 -2 +.5\nvt 0.5 1\nvn 0 0 1\n# nan in a comment\n", "v 1e-30 0 0\n",
               polygon("f", 1024, false), "f 1 2 99\nf -1 -2 -3\nf 0 1 2\n", "f 1/1/1 2//1 3/2 +4\n",
               "v 1 2 3 # comment\n", "vn 0 0 1 #nan\n", "vn nan -NaN inf\n", "vn 1e99 0 1\n",
               "vt 0.5 1 # inf\n", "v 1 2 3 4 5 6 #\n", "f 1 2 3 # back face\n", "f 1 2 3 # see 4\n"},
              kObj + "vt 0 0\n");
    // A corner without its vertex index ("/5") trips an assertion in the reader.
    expectAll(false, ".obj",
              {"v nan 0 0\n", "v 0 inf 0\n", "v 0 0 1e39\n", "v 0 0 0x1p3\n", "v 0 0\n", "vn 0 x 1\n",
               polygon("f", 1025, false), "f /5 4//4\n", "f /1/1 2 3\n", "f 1 2 /1\n", "f x 1 2\n",
               "f - 1 2\n", "v 1 2 # 3\n", "vt # 1\n", "v 1 2 3#c\n", "f 1 2 3 # /5\n", "f 1 2 3 #x/5\n",
               "f 1 2 # " + polygon("f", 1023, false)},  // 1025 corners
              kObj);
}

// The reader opens the material library relative to the current directory: names that climb out
// or are absolute are fine as long as they do not name a device, a pipe or a directory.
TEST(ObjCheck, RefusesMaterialLibrariesThatAreNotRegularFiles)
{
    test::TempDir dir;
    test::writeFile(dir.file("a.mtl"), "newmtl red\nKd 1 0 0\n");
    ASSERT_EQ(mkfifo(dir.file("pipe.mtl").c_str(), 0600), 0);
    const std::string deep = "../../../../../../../../../../../../";
    for (const std::string& good :
         std::vector<std::string>{"model.mtl", "../materials/a.mtl", "", "   ", "/no/such/dir/a.mtl",
                                  dir.file("a.mtl").string(), "C:\\x.mtl", "two names.mtl"})
        EXPECT_TRUE(accepts("mtllib " + good + "\n" + kObj, ".obj")) << good;
    for (const std::string& bad :
         std::vector<std::string>{"/dev/zero", " /dev/zero \r", deep + "dev/zero",
                                  dir.file("pipe.mtl").string(), dir.file("").string()})
        EXPECT_FALSE(accepts("mtllib " + bad + "\n" + kObj, ".obj")) << bad;
}

TEST(OffCheck, ChecksHeaderCountsAndFacesAgainstTheBytesLeft)
{
    const std::string triangle = "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n";
    expectAll(true, ".off",
              {kOff, "NOFF\n1 0 0\n0 0 0 0 0 1\n", "STCOFF\n1 0 0\n0 0 0 255 0 0 0.5 0.5\n",
               triangle + "3 0 1 2 255 0 0\n", triangle + "3 0 1 2 0.5 0.5 0.25\n",  // face colours
               triangle + polygon("", 1024, true).substr(1)});
    for (const char* magic : {"OFF BINARY", "4OFF", "nOFF", "# comment", "OFF 4 4 0", "OFFX"})
        EXPECT_FALSE(accepts(replaced(kOff, "OFF", magic), ".off")) << magic;
    for (const char* counts : {"4 4", "4 4 0 0", "-4 4 0", "4 4294967296 0", "4 x 0"})
        EXPECT_FALSE(accepts(replaced(kOff, "4 4 0", counts), ".off")) << counts;
    for (size_t cut = 0; cut + 1 < kOff.size(); ++cut)
    {
        if (kOff[cut] == '\n')  // every whole line short
        {
            EXPECT_FALSE(accepts(kOff.substr(0, cut + 1), ".off")) << cut;
        }
    }
    expectAll(false, ".off",
              {"NOFF\n1 0 0\n0 0 0\n",  // normals missing
               replaced(kOff, "0 0 1\n", "0 nan 1\n"), replaced(kOff, "0 0 1\n", "0 1\n"),
               // billions announced in a few bytes: refused before any line is read
               "OFF\n3 4000000000 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", "OFF\n2000000000 1 0\n0 0 0\n"});
    // Faces are read as one stream of numbers, so a negative index or a leftover token could become
    // the next face's corner count. Fuzzing found a zero-corner face followed by an overflowing
    // number (sized a 2 GB corner list), and "0-1", one token holding two extractions, which made
    // the next face's count -1.
    const std::string fuzzed("OFF\n4 4 0\n00 0 2\n3 1 2 1\n3 0 1 3\n3 1 02 0\n"
                             "1 0 0 11111111111111111111111111  1 10 0 8\n1 0 0\n0 1 0\n0 0 2\n0\n"
                             "1 0 0\n0\0\0\0 2 0 3\n",
                             122);
    expectAll(false, ".off",
              {replaced(kOff, "3 2 0 3", "3 2 0"), replaced(kOff, "3 2 0 3", "4000000000 2 0 3"),
               replaced(kOff, "3 2 0 3", "3 2 0 -3"), triangle + "3 0 1 2\n-7\n",
               "OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n0 1111111111111111111\n3 0 1 2\n", fuzzed,
               "OFF\n3 3 0\n0 0 0\n1 0 0\n0 1 0\n1 2 0-1 0\n3 0 1 2\n",
               "OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n1 2 0+9999999\n3 0 1 2\n",
               triangle + polygon("", 1025, true).substr(1)});
}

TEST(PlyCheck, RefusesHeadersTheReaderWouldLoopOnAndCountsTheDataCannotBack)
{
    const std::string intCounts = replaced(kPly, "uchar int", "int int");
    expectAll(true, ".ply",
              {kPly, replaced(kPly, "end_header", "comment made by hand\nobj_info x\nend_header"),
               replaced(kPly, "end_header", "element edge 0\nproperty int a\nend_header"), intCounts});
    const std::pair<const char*, const char*> bad[] = {
        {"end_header", "foo bar\nend_header"},             // unknown keyword: endless loop
        {"property float z", "property float128 z"},       // unknown type
        {"property float z", "property float z extra"},    // stray token
        {"property float z", "property list uint int z"},  // list count the reader does not take
        {"uchar int", "uchar float128"},
        {"format ascii 1.0", "format ascii 2.0"},
        {"format ascii 1.0", "format binary 1.0"},
        {"ply\n", "PLY\n"},
        {"end_header\n", "end_headers\n"},
        {"element vertex 3", "element vertex"},
        {"element vertex 3", "element vertex -3"},
        {"vertex 3", "vertex 4000000000"},
        {"face 1", "face 4294967295"},
        {"face 1", "face 4294967296"},
        {"end_header", "element empty 1000\nend_header"},
        {"1 0 0", "nan inf 0"},
        {"3 0 1 2", "3 0 1.5 2"}};
    for (const auto& [from, to] : bad)
        EXPECT_FALSE(accepts(replaced(kPly, from, to), ".ply")) << to;
    expectAll(false, ".ply",
              {kPlyHeader.substr(0, kPlyHeader.size() - 11),  // no end_header
               "property float x\n" + kPly, kPly.substr(0, kPly.size() - 2),
               replaced(intCounts, "3 0 1 2", "2000000000 0 1 2"), replaced(intCounts, "3 0 1 2", "-3 0 1 2"),
               replaced(intCounts, "3 0 1 2\n", polygon("", 1025, true).substr(1))});
}

TEST(PlyCheck, ChecksBinaryLayoutExactly)
{
    using Opt = OpenMesh::IO::Options;
    for (const Opt& options : {Opt(Opt::Binary), Opt(Opt::Binary | Opt::MSB)})
    {
        const std::string file = written(".ply", options);
        EXPECT_TRUE(accepts(file, ".ply"));
        for (size_t cut = 0; cut < file.size(); ++cut)
            EXPECT_FALSE(accepts(file.substr(0, cut), ".ply")) << cut;
    }
    const std::string header = "ply\nformat binary_little_endian 1.0\nelement vertex 1\nproperty float x\n"
                               "property float y\nproperty float z\nproperty float quality\nelement face 1\n"
                               "property list int int vertex_indices\nend_header\n";
    auto file = [&](float x, float quality, int32_t corners)
    {
        Bytes b;
        b.raw(header).f32(x).f32(0).f32(0).f32(quality).u32(static_cast<uint32_t>(corners));
        for (int i = 0; i < std::min(corners, 2000); ++i)
            b.u32(0);
        return b.s;
    };
    // x, quality, corners; only positions must be finite
    const std::tuple<float, float, int32_t, bool> rows[] = {
        {1, 0, 3, true},   {1, kNaN, 3, true}, {kNaN, 0, 3, false}, {kInf, 0, 3, false},
        {1, 0, -1, false}, {1, 0, 1024, true}, {1, 0, 1025, false}, {1, 0, 2000000000, false}};
    for (const auto& [x, quality, corners, accepted] : rows)
        EXPECT_EQ(accepts(file(x, quality, corners), ".ply"), accepted)
            << x << " " << quality << " " << corners;
    EXPECT_FALSE(accepts(replaced(file(1, 0, 3), "vertex 1", "vertex 9"), ".ply"));
}

// Binary at exactly 84 + 50 n bytes; else text when it begins with "solid"; else binary.
TEST(StlCheck, TellsBinaryFromTextAndChecksBoth)
{
    const std::vector<float> tri = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    const std::string binary = binaryStl(1, tri).s;
    expectAll(true, ".stl",
              {binary, binary + "padding",  // read as binary, the tail unread
               "SOLID x\nendsolid x\n", "solid" + binary.substr(5), binaryStl(0, {}).s, kStl, "  " + kStl});
    expectAll(false, ".stl",
              {binaryStl(4000000000u, tri).s, binaryStl(2, tri).s, binary.substr(0, binary.size() - 1),
               binaryStl(1, {0, 0, 0, kNaN, 0, 0, 0, 1, 0}).s, binaryStl(1, {0, 0, 0, 1, 0, 0, 0, kInf, 0}).s,
               std::string(83, '\0'), replaced(kStl, "solid t", "slid t"),
               replaced(kStl, "vertex 1 0 0", "vertex 1 nan 0"), replaced(kStl, "vertex 1 0 0", "vertex 1 0"),
               replaced(kStl, "normal 0 0 1", "normal 0 0 inf"),
               kStl.substr(0, kStl.find("vertex 0 1") + 10)});  // cut mid-line
}

TEST(OmCheck, AcceptsConsistentFilesOnly)
{
    const std::string triangle = omTriangle().s;
    EXPECT_TRUE(accepts(triangle, ".om"));
    EXPECT_TRUE(accepts(omTriangle().u16(omChunk(7, 0, false, 0, 0)).raw("trailing").s, ".om"));
    EXPECT_FALSE(accepts(omTriangle(0x43).s, ".om"));  // newer than the reader
    EXPECT_FALSE(accepts("MO" + triangle.substr(2), ".om"));
    EXPECT_FALSE(accepts(replaced(triangle, "OMT", "OMX"), ".om"));
    for (size_t cut = 0; cut < triangle.size(); ++cut)
        EXPECT_FALSE(accepts(triangle.substr(0, cut), ".om")) << cut;

    // Every halfedge field broken in turn: out of range, or inconsistent with its neighbours.
    for (size_t i = 0; i < 18; ++i)
        for (int value : {-2, 6, 100})
        {
            std::string broken = triangle;
            broken[kOmTopology + i] = static_cast<char>(value);
            EXPECT_FALSE(accepts(broken, ".om")) << i << " " << value;
        }
    std::string swapped = triangle;
    std::swap(swapped[kOmTopology + 0], swapped[kOmTopology + 6]);  // two successors exchanged
    EXPECT_FALSE(accepts(swapped, ".om"));
    std::string wrongVertex = triangle;
    wrongVertex[kOmTopology + 18 + 2] = 2;  // vertex 0's halfedge does not leave it
    EXPECT_FALSE(accepts(wrongVertex, ".om"));
}

TEST(OmCheck, RefusesChunksTheReaderAssertsOnAndCustomDataItCannotSize)
{
    // A chunk after the triangle: header, data bytes, accepted.
    const std::tuple<uint16_t, size_t, bool, const char*> chunks[] = {
        {omChunk(0, 1, true, 2, 0), 36, true, "vertex normals"},
        {omChunk(0, 2, true, 1, 0), 24, true, "texture coordinates"},
        {omChunk(2, 3, false, 0, 0), 4, true, "face status"},
        {omChunk(0, 1, true, 1, 0), 24, false, "2-D normals"},
        {omChunk(0, 2, true, 2, 0), 36, false, "3-D texcoords"},
        {omChunk(5, 0, true, 2, 0), 36, false, "no such entity"},
        {omChunk(0, 5, true, 2, 0), 36, false, "no such type"},
        {omChunk(0, 0, true, 2, 0), 36, false, "second positions"},
        {omChunk(0, 1, true, 2, 0), 35, false, "cut short"}};
    for (const auto& [header, dataBytes, accepted, what] : chunks)
        EXPECT_EQ(accepts(omTriangle().u16(header).raw(std::string(dataBytes, '\0')).s, ".om"), accepted)
            << what;

    const uint16_t positions = omChunk(0, 0, true, 2, 0);
    expectAll(false, ".om",
              {omStart(3, 0, 0, omChunk(0, 0, true, 1, 0)).raw(std::string(24, '\0')).s,  // 2-D positions
               omStart(1, 0, 0, positions).f32(kNaN).f32(0).f32(0).s, omStart(4000000000u, 1, 3, positions).s,
               // normals before positions: data for vertices not yet created
               omStart(1, 0, 0, omChunk(0, 1, true, 2, 0)).raw(std::string(12, '\0')).s});

    // Custom chunks: name, type, block size; strings and vectors size themselves from the data.
    const std::tuple<const char*, const char*, uint32_t, bool> custom[] = {
        {"quality", "int32_t", 12, true},
        {"v:points", "int32_t", 12, false},
        {"label", "std::string", 12, false},
        {"list", "std::vector<int32_t>", 12, false},
        {"quality", "int32_t", 13, false}};
    for (const auto& [name, type, blockBytes, accepted] : custom)
    {
        Bytes b = omTriangle();
        b.u16(omChunk(0, 6, false, 0, 0, true)).u8(static_cast<uint8_t>(std::strlen(name))).raw(name);
        b.u8(static_cast<uint8_t>(std::strlen(type))).raw(type).u32(blockBytes).raw(std::string(12, '\0'));
        EXPECT_EQ(accepts(b.s, ".om"), accepted) << name << " " << type << " " << blockBytes;
    }
}

TEST(OmCheck, OldFilesListFacesByVertex)
{
    Bytes b;
    b.raw("OMP").u8(0x11).u32(3).u32(1).u32(0).u16(omChunk(0, 0, true, 2, 0));
    for (int i = 0; i < 9; ++i)
        b.f32(static_cast<float>(i % 4 == 0));
    Bytes ok = b;
    ok.u16(omChunk(2, 7, false, 0, 2)).u16(3).u32(0).u32(1).u32(2);
    EXPECT_TRUE(accepts(ok.s, ".om"));
    Bytes many = b;
    many.u16(omChunk(2, 7, false, 0, 2)).u16(60000).raw(std::string(240000, '\0'));
    EXPECT_FALSE(accepts(many.s, ".om"));
    Bytes faceStatus = ok;
    faceStatus.u16(omChunk(2, 3, false, 0, 0)).u32(0);
    EXPECT_FALSE(accepts(faceStatus.s, ".om"));
}

namespace
{

std::string plyWith(const std::string& properties, const std::string& record, const char* format = "ascii")
{
    return std::string("ply\nformat ") + format + " 1.0\nelement vertex 1\n" + properties + "end_header\n" +
           record;
}

struct ReasonCase
{
    const char* extension;
    std::string bytes;
    const char* place;  // "line N", "byte N", or "" when no place applies
    const char* gist;   // a part of the text after the place
};

std::vector<ReasonCase> reasonCases()
{
    const std::string triangle = "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n";
    Bytes om = omTriangle();
    std::string brokenOm = om.s;
    brokenOm[kOmTopology] = 100;
    Bytes stringChunk = omTriangle();
    stringChunk.u16(omChunk(0, 6, false, 0, 0, true)).u8(1).raw("q").u8(11).raw("std::string").u32(0);
    const std::string binaryPlyHeader =
        "ply\nformat binary_little_endian 1.0\nelement vertex 1\nproperty float x\n"
        "property float y\nproperty float z\nelement face 1\n"
        "property list int int vertex_indices\nend_header\n";  // 167 bytes
    const std::string uchar = "property uchar red\n";
    return {
        {".xyz", kObj, "", "unknown extension '.xyz'"},
        // OBJ: 8 lines of kObj, then the faulty line
        {".obj", kObj + "v 1 x 3\n", "line 9", "'x' is not a number"},
        {".obj", kObj + "v nan 0 0\n", "line 9", "'nan' is not a finite number"},
        {".obj", kObj + "v 0 0 1e39\n", "line 9", "'1e39' is too large for a float"},
        {".obj", kObj + "v 0 0\n", "line 9", "a vertex needs 3 numbers, found 2"},
        {".obj", kObj + "vn 0 1\n", "line 9", "a normal needs 3 numbers, found 2"},
        {".obj", kObj + "vn 0 x 1\n", "line 9", "'x' is not a number"},
        {".obj", kObj + "vt # 1\n", "line 9", "a texture coordinate needs a number"},
        {".obj", kObj + "f /5 4//4\n", "line 9", "face corner '/5' does not start with a vertex index"},
        {".obj", kObj + polygon("f", 1025, false), "line 9", "a face of more than 1024 corners"},
        {".obj", "# x\nmtllib /dev/zero\n" + kObj, "line 2",
         "material library '/dev/zero' is not a regular file"},
        // OFF: header, counts, 4 vertex lines (3-6), 4 face lines (7-10)
        {".off", replaced(kOff, "OFF", "OFF BINARY"), "line 1", "'OFF BINARY' is not a text OFF header"},
        {".off", "OFF\n", "line 1", "the file ends before the counts line"},
        {".off", replaced(kOff, "4 4 0", "4 4"), "line 2", "needs three counts"},
        {".off", replaced(kOff, "4 4 0", "4 4 0 0"), "line 2", "more than three counts"},
        {".off", "OFF\n3 4000000000 0\n0 0 0\n", "line 2",
         "announces 3 vertices and 4000000000 faces, more than"},
        {".off", "OFF\n4 1 0\n0 0 0\n1 0 0\n" + std::string(40, '\n'), "line 44",
         "the header announces 4 vertices, the file ends after 2"},
        {".off", replaced(kOff, "0 0 1\n", "0 nan 1\n"), "line 6", "'nan' is not a finite number"},
        {".off", replaced(kOff, "0 0 1\n", "0 1\n"), "line 6", "a vertex needs 3 numbers, found 2"},
        {".off", replaced(kOff, "3 2 0 3", "4000000000 2 0 3"), "line 10", "a face of 4000000000 corners"},
        {".off", replaced(kOff, "3 2 0 3", "3 2 0"), "line 10",
         "the face announces 3 corners, the line holds 2"},
        {".off", replaced(kOff, "3 2 0 3", "3 2 0 -3"), "line 10",
         "face corner '-3' would be read as a negative"},
        {".off", replaced(kOff, "3 2 0 3", "3 x 0 1"), "line 10", "face corner 'x' is not an index"},
        {".off", replaced(kOff, "3 2 0 3\n", "\n\n\n\n\n\n\n\n\n"), "line 18",
         "the header announces 4 faces, the file ends after 3"},
        {".off", triangle + "3 0 1 2\n-7\n", "line 7", "'-7' would be read as a negative"},
        // PLY: header lines 1-9 (kPlyHeader), then vertices 10-12 and the face 13
        {".ply", replaced(kPly, "ply\n", "PLY\n"), "line 1", "not a PLY file"},
        {".ply", replaced(kPly, "format ascii 1.0", "format ascii 2.0"), "line 2",
         "is not a PLY format line"},
        {".ply", replaced(kPly, "format ascii 1.0", "format binary 1.0"), "line 2",
         "unknown PLY format 'binary'"},
        {".ply", replaced(kPly, "end_header", "foo bar\nend_header"), "line 9",
         "unknown header line 'foo bar'"},
        {".ply", replaced(kPly, "property float z", "property float128 z"), "line 6",
         "unknown property type 'float128'"},
        {".ply", replaced(kPly, "uchar int", "uint int"), "line 8", "list count type 'uint' is not one of"},
        {".ply", replaced(kPly, "vertex 3", "vertex -3"), "line 3", "element count '-3' is not a count"},
        {".ply", kPlyHeader.substr(0, kPlyHeader.size() - 11), "line 8", "the header does not end"},
        {".ply", replaced(kPly, "vertex 3", "vertex 4000000000"), "line 3",
         "element 'vertex' announces 4000000000 records"},
        {".ply", replaced(kPly, "end_header", "element empty 1000\nend_header"), "line 9",
         "element 'empty' is counted but has no properties"},
        {".ply", replaced(kPly, "1 0 0", "nan inf 0"), "line 11", "'nan' is not a finite number (float)"},
        {".ply", replaced(kPly, "3 0 1 2", "3 0 1.5 2"), "line 13", "'1.5' is not an integer (int)"},
        {".ply", replaced(kPly, "3 0 1 2\n", std::string(9, '\n')), "line 21",
         "the header announces 1 face records, the file ends after 0"},
        {".ply", plyWith(uchar, "4555555555555555555555555555555\n"), "line 6",
         "'4555555555555555555555555555555' does not fit its type (uchar)"},
        {".ply", replaced(kPly, "3 0 1 2", "256 0 1 2"), "line 13", "'256' does not fit its type (uchar)"},
        {".ply", replaced(replaced(kPly, "uchar int", "int int"), "3 0 1 2", "-3 0 1 2"), "line 13",
         "list length '-3' is negative"},
        {".ply",
         replaced(replaced(kPly, "uchar int", "int int"), "3 0 1 2\n", polygon("", 1025, true).substr(1)),
         "line 13", "a list of 1025 entries (at most 1024)"},
        {".ply", replaced(kPly, "3 0 1 2", "3 0 1 2147483648"), "line 13",
         "'2147483648' does not fit its type (int)"},
        {".ply", Bytes().raw(binaryPlyHeader).f32(0).f32(kNaN).f32(0).u32(3).u32(0).u32(0).u32(0).s,
         "byte 171", "vertex 0: a position that is not a finite number"},
        {".ply", Bytes().raw(binaryPlyHeader).f32(0).f32(0).f32(0).u32(0xffffffffu).s, "byte 179",
         "face 0: a list length that is negative"},
        {".ply", Bytes().raw(binaryPlyHeader).f32(0).f32(0).f32(0).u32(3).u32(0).s, "byte 179",
         "the header announces 1 face records, the file ends after 0"},
        // STL: binary facets from byte 84, corners from byte 12 of a facet
        {".stl", binaryStl(1, {0, 0, 0, kNaN, 0, 0, 0, 1, 0}).s, "byte 108",
         "a corner of facet 0 is not a finite number"},
        {".stl", binaryStl(4000000000u, {0, 0, 0, 1, 0, 0, 0, 1, 0}).s, "byte 80",
         "announces 4000000000 facets, more than the file's 134 bytes"},
        {".stl", std::string(83, '\0'), "byte 83", "not a text STL file"},
        {".stl", replaced(kStl, "vertex 1 0 0", "vertex 1 nan 0"), "line 5", "'nan' is not a finite number"},
        {".stl", replaced(kStl, "vertex 1 0 0", "vertex 1 0"), "line 5", "'vertex' needs 3 numbers, found 2"},
        {".stl", replaced(kStl, "normal 0 0 1", "normal 0 0"), "line 2",
         "'facet normal' needs 3 numbers, found 2"},
        // OM: a 16-byte header, then chunks
        {".om", "MO" + om.s.substr(2), "byte 0", "not an OM file"},
        {".om", replaced(om.s, "OMT", "OMX"), "byte 2", "unknown mesh kind"},
        {".om", omTriangle(0x43).s, "byte 3", "version 2.3 is newer than 2.2"},
        {".om", "OMT", "byte 3", "the file ends inside the 16-byte header"},
        {".om", omStart(1, 0, 0, omChunk(0, 0, true, 2, 0)).f32(0).f32(kNaN).f32(0).s, "byte 22",
         "vertex 0 has a position that is not finite"},
        {".om", brokenOm, "byte 54", "halfedge 0: an index out of range"},
        {".om", omTriangle().u16(omChunk(5, 0, true, 2, 0)).s, "byte 82", "a chunk of unknown entity 5"},
        {".om", omTriangle().u16(omChunk(0, 0, true, 2, 0)).raw(std::string(36, '\0')).s, "byte 82",
         "a second position chunk"},
        {".om", omTriangle().u16(omChunk(0, 1, true, 2, 0)).raw(std::string(35, '\0')).s, "byte 82",
         "the file ends inside this chunk"},
        {".om", stringChunk.s, "byte 82", "a custom chunk of type 'std::string'"},
    };
}

}  // namespace

// Every class of malformed file the check knows is refused with one line naming the place where
// the file is at fault and what is wrong there.
TEST(MeshFileCheck, GivesAReasonWithItsPlaceForEveryClassOfFault)
{
    for (const ReasonCase& c : reasonCases())
    {
        std::istringstream in(c.bytes);
        const auto check = checkMeshFile(in, c.extension);
        const std::string prefix = *c.place ? std::string(c.place) + ": " : std::string();
        EXPECT_FALSE(check.isAccepted) << c.extension << " " << c.gist;
        EXPECT_EQ(check.reason.compare(0, prefix.size(), prefix), 0) << c.gist << "\n  got: " << check.reason;
        EXPECT_NE(check.reason.find(c.gist), std::string::npos) << c.gist << "\n  got: " << check.reason;
        EXPECT_EQ(check.reason.find('\n'), std::string::npos) << check.reason;
    }
    std::istringstream good(kObj);
    EXPECT_EQ(checkMeshFile(good, ".obj").reason, "");
}

// A text integer must fit the type its property declares, at both ends of every width; OpenMesh's
// reader otherwise fails the extraction and goes on with an uninitialised value.
TEST(PlyCheck, RefusesTextIntegersOutsideTheirDeclaredType)
{
    const std::tuple<const char*, const char*, const char*, const char*, const char*> ranges[] = {
        {"char", "-129", "-128", "127", "128"},
        {"int8", "-129", "-128", "127", "128"},
        {"uchar", "-1", "0", "255", "256"},
        {"uint8", "-1", "0", "255", "256"},
        {"short", "-32769", "-32768", "32767", "32768"},
        {"ushort", "-1", "0", "65535", "65536"},
        {"uint16", "-1", "0", "65535", "65536"},
        {"int", "-2147483649", "-2147483648", "2147483647", "2147483648"},
        {"int32", "-2147483649", "-2147483648", "2147483647", "2147483648"},
        {"uint", "-1", "0", "4294967295", "4294967296"},
        {"uint32", "-1", "-0", "4294967295", "99999999999999999999999"},
    };
    for (const auto& [type, below, min, max, above] : ranges)
    {
        const std::string property = std::string("property ") + type + " q\n";
        for (const char* fits : {min, max})
            EXPECT_TRUE(accepts(plyWith(property, std::string(fits) + "\n"), ".ply")) << type << " " << fits;
        for (const char* overflows : {below, above})
            EXPECT_FALSE(accepts(plyWith(property, std::string(overflows) + "\n"), ".ply"))
                << type << " " << overflows;
    }
    // List counts fit their count type too, and list items theirs.
    const std::string list = "element face 1\nproperty list uchar int vertex_indices\n";
    const std::string vertex = "property float x\nproperty float y\nproperty float z\n";
    EXPECT_FALSE(accepts(plyWith(vertex + list, "0 0 0\n300 0 0 0\n"), ".ply"));
    EXPECT_FALSE(accepts(plyWith(vertex + list, "0 0 0\n3 0 0 -2147483649\n"), ".ply"));
    EXPECT_TRUE(accepts(plyWith(vertex + list, "0 0 0\n3 0 0 -2147483648\n"), ".ply"));
}

// The STL mode the check decides is the one the reader is given.
TEST(StlCheck, ReportsTheModeItChecked)
{
    const std::vector<float> tri = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    const std::tuple<std::string, StlMode> rows[] = {
        {binaryStl(1, tri).s, StlMode::Binary},
        {binaryStl(1, tri).s + "tail", StlMode::Binary},
        {"solid" + binaryStl(1, tri).s.substr(5), StlMode::Binary},  // exact size wins over "solid"
        {kStl, StlMode::Text},
        {" \n SoLiD x\nendsolid\n", StlMode::Text}};
    for (const auto& [bytes, mode] : rows)
    {
        std::istringstream in(bytes);
        EXPECT_EQ(checkMeshFile(in, ".stl").stlMode, mode) << bytes.substr(0, 10);
    }
}

namespace
{

// What the rest of the library assumes of a mesh it is given: finite points, triangles of three
// distinct live vertices, and vertex rings that close within the number of halfedges.
::testing::AssertionResult isSane(const OpenMeshUtility::Mesh& mesh)
{
    for (auto vh : mesh.vertices())
    {
        const auto& p = mesh.point(vh);
        if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2]))
            return ::testing::AssertionFailure() << "point " << vh.idx() << " is not finite";
        size_t steps = 0;
        for (auto heh : mesh.voh_range(vh))
            if (mesh.from_vertex_handle(heh) != vh || ++steps > mesh.n_halfedges())
                return ::testing::AssertionFailure() << "ring of vertex " << vh.idx() << " is broken";
    }
    for (auto fh : mesh.faces())
    {
        std::vector<int> corners;
        for (auto vh : mesh.fv_range(fh))
        {
            if (!vh.is_valid() || static_cast<size_t>(vh.idx()) >= mesh.n_vertices() || corners.size() > 3)
                return ::testing::AssertionFailure() << "face " << fh.idx() << " has a bad corner";
            corners.push_back(vh.idx());
        }
        if (corners.size() != 3 || corners[0] == corners[1] || corners[1] == corners[2] ||
            corners[0] == corners[2])
            return ::testing::AssertionFailure() << "face " << fh.idx() << " is not a triangle";
    }
    return ::testing::AssertionSuccess();
}

constexpr int kNull = -1;        // ReadMesh must give null
constexpr int kNullOrSane = -2;  // null, or a sane (possibly partial) mesh

struct HostileFile
{
    const char* name;
    std::string bytes;
    int faces;  // kNull, kNullOrSane, or the faces of the sane mesh it must read as
};

std::vector<HostileFile> hostileFiles()
{
    Bytes om = omTriangle();
    std::string brokenOm = om.s;
    brokenOm[kOmTopology] = 100;  // a successor out of range: the reader's own assertion
    Bytes omDim2 = omStart(3, 0, 0, omChunk(0, 0, true, 1, 0));
    omDim2.raw(std::string(24, '\0'));
    const std::string noisy = noise(11, 2048);
    return {
        {"unknown-ply-property.ply", replaced(kPly, "end_header", "foo bar\nend_header"), kNull},
        {"unknown-ply-type.ply", replaced(kPly, "property float z", "property float128 z"), kNull},
        {"truncated-ply-header.ply", "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\n", kNull},
        {"huge-ply-count.ply", replaced(kPly, "vertex 3", "vertex 4000000000"), kNull},
        {"huge-ply-list.ply", replaced(replaced(kPly, "uchar int", "int int"), "3 0 1 2", "2000000000 0 1 2"),
         kNull},
        {"om-bad-chunk.om", omDim2.s, kNull},
        {"om-bad-topology.om", brokenOm, kNull},
        {"huge-off-count.off", "OFF\n3 4000000000 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", kNull},
        {"off-without-counts.off", "OFF BINARY\n", kNull},
        {"off-runaway-face.off", replaced(kOff, "3 2 0 3", "4000000000 2 0 3"), kNull},
        {"off-cut-mid-line.off", kOff.substr(0, kOff.size() - 4), kNull},
        {"off-nan.off", replaced(kOff, "0 0 1\n", "nan 0 inf\n"), kNull},
        {"stl-count-too-big.stl", binaryStl(4000000000u, {0, 0, 0, 1, 0, 0, 0, 1, 0}).s, kNull},
        {"stl-nan.stl", binaryStl(1, {0, 0, 0, kNaN, 0, 0, 0, 1, 0}).s, kNull},
        {"obj-million-corners.obj", kObj + polygon("f", 1000000, false), kNull},
        {"obj-nan.obj", kObj + "v nan 0 0\n", kNull},
        {"obj-corner-without-vertex.obj", kObj + "vt 0 0\nf /1 2 3\n", kNull},  // found by fuzzing
        {"obj-material-device.obj", "mtllib /dev/zero\n" + kObj, kNull},
        {"noise.off", noisy, kNull},
        {"noise.ply", noisy, kNull},
        {"noise.stl", noisy, kNull},
        {"noise.om", noisy, kNull},
        {"noise.obj", noisy, kNullOrSane},
        {"obj-bad-indices.obj", kObj + "f 1 2 99\nf -1 -2 -3\nf 0 1 2\nf 1 1 2\n", kNullOrSane},
        {"off-bad-indices.off", replaced(kOff, "3 2 0 3", "3 2 0 -3"), kNullOrSane},
        {"ply-bad-indices.ply", replaced(kPly, "3 0 1 2", "3 0 7 -2"), kNullOrSane},
        {"stl-cut-mid-line.stl", kStl.substr(0, kStl.find("vertex 0 1") + 8), kNullOrSane},
        {"ply-extra-element.ply",
         replaced(kPly, "end_header", "element edge 1\nproperty list uchar int e\nend_header") + "2 0 1\n",
         kNullOrSane},
        {"om-triangle.om", om.s, kNullOrSane},
        // Past the end, before the start, zero: only those faces are dropped.
        {"obj-bad-indices-dropped.obj", kObj + "f 1 2 99\nf -9 1 2\nf 0 1 2\n", 4},
        // Comments after the values of a line, and material libraries outside the mesh's folder.
        {"obj-comments.obj",
         "mtllib ../materials/a.mtl\nmtllib \nv 0 0 0 # origin\nv 1 0 0\t# x\nv 0 1 0 #y\nv 0 0 1 # z\n"
         "vn 0 0 1 # up\nf 1 3 2 # base\nf 1 2 4\nf 2 3 4 # side\nf 3 1 4 #\n",
         4},
    };
}

}  // namespace

// Each class of malformed file a host may be handed reads as null or as a sane mesh, without
// hanging, aborting or allocating what the file cannot back.
TEST(HostileFiles, ReadAsNullOrSaneMesh)
{
    test::TempDir dir;
    for (const HostileFile& file : hostileFiles())
    {
        test::writeFile(dir.file(file.name), file.bytes);
        std::unique_ptr<OpenMeshUtility::Mesh> mesh(OpenMeshUtility::ReadMesh(dir.wfile(file.name).c_str()));
        if (file.faces == kNull)
        {
            EXPECT_EQ(mesh, nullptr) << file.name;
            EXPECT_FALSE(OpenMeshUtility::ReadToRawMesh(dir.wfile(file.name).c_str())) << file.name;
            continue;
        }
        if (!mesh)
        {
            EXPECT_EQ(file.faces, kNullOrSane) << file.name << " did not read";
            continue;
        }
        EXPECT_TRUE(isSane(*mesh)) << file.name;
        EXPECT_TRUE(file.faces < 0 || mesh->n_faces() == static_cast<size_t>(file.faces))
            << file.name << " read " << mesh->n_faces() << " faces";
    }
}

// OpenMesh's readers and writers are process-wide singletons that keep per-file state in members
// (the OM reader's chunk header and property name, the PLY reader's element list), so two calls at
// once corrupt each other unless the library serialises its calls into the IO manager.
TEST(ReadMeshConcurrency, ReadsFromManyThreadsAtOnce)
{
    test::TempDir dir;
    const char* names[] = {"g.ply", "g.om", "g.off", "g.obj", "g.stl"};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (const char* name : names)  // every writer at once, each on its own mesh
        threads.emplace_back(
            [&, name]
            {
                auto grid = test::makeGrid(20, 20);
                failures += !OpenMeshUtility::WriteMesh(dir.wfile(name).c_str(), grid.get(), false);
            });
    for (auto& thread : threads)
        thread.join();
    threads.clear();
    for (int t = 0; t < 6; ++t)
        threads.emplace_back(
            [&, t]
            {
                for (int i = 0; i < 50; ++i)
                {
                    std::unique_ptr<OpenMeshUtility::Mesh> mesh(
                        OpenMeshUtility::ReadMesh(dir.wfile(names[(t + i) % 5]).c_str()));
                    failures += !mesh || mesh->n_faces() != 800u;
                }
            });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(failures.load(), 0);
}
