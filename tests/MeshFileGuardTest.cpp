#include "topology/MeshFileGuard.h"

#include "support/TestMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <OpenMesh/Core/IO/MeshIO.hh>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

using Quelm::Topology::MeshFileGuard;
using Quelm::Topology::OpenMeshUtility;

namespace
{

bool accepts(const std::string& bytes, const std::string& extension)
{
    std::istringstream in(bytes);
    return MeshFileGuard::accepts(in, extension);
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
std::string written(const std::string& extension,
                    OpenMesh::IO::Options options = OpenMesh::IO::Options::Default)
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

}  // namespace

TEST(MeshFileGuard, RefusesUnknownExtensionsAndLeavesTheStreamRewound)
{
    std::istringstream in(kObj);
    EXPECT_FALSE(MeshFileGuard::accepts(in, ".xyz"));
    EXPECT_EQ(in.tellg(), 0);
    EXPECT_TRUE(MeshFileGuard::accepts(in, ".obj"));
    EXPECT_EQ(in.tellg(), 0);
    EXPECT_EQ(in.get(), 'v');
    in.seekg(0);
    EXPECT_FALSE(MeshFileGuard::accepts(in, ".off"));  // read to the point of refusal, then rewound
    EXPECT_EQ(in.tellg(), 0);
}

TEST(MeshFileGuard, AcceptsWhatOpenMeshWrites)
{
    using Opt = OpenMesh::IO::Options;
    EXPECT_TRUE(accepts(written(".obj"), ".obj"));
    EXPECT_TRUE(accepts(written(".off"), ".off"));
    EXPECT_TRUE(accepts(written(".ply"), ".ply"));
    EXPECT_TRUE(accepts(written(".ply", Opt::Binary), ".ply"));
    EXPECT_TRUE(accepts(written(".ply", Opt(Opt::Binary | Opt::MSB)), ".ply"));
    EXPECT_TRUE(accepts(written(".stl"), ".stl"));
    EXPECT_TRUE(accepts(written(".stl", Opt::Binary), ".stl"));
    EXPECT_TRUE(accepts(written(".om"), ".om"));
    EXPECT_TRUE(accepts(written(".om", Opt(Opt::VertexNormal | Opt::Status)), ".om"));
}

TEST(MeshFileGuard, RefusesRandomBytesBehindStructuredExtensions)
{
    std::mt19937 random(7);
    std::string noise(4096, '\0');
    for (char& c : noise)
        c = static_cast<char>(random());
    for (const char* extension : {".off", ".ply", ".stl", ".om"})
        EXPECT_FALSE(accepts(noise, extension)) << extension;
    EXPECT_FALSE(accepts("", ".off"));
    EXPECT_FALSE(accepts("", ".om"));
}

TEST(MeshFileGuardObj, ChecksVertexNumbersAndFaceSizes)
{
    EXPECT_TRUE(accepts(kObj, ".obj"));
    EXPECT_TRUE(accepts("v 1.5e3 -2 +.5\nvt 0.5 1\nvn 0 0 1\n# nan in a comment\n", ".obj"));
    for (const char* bad :
         {"v nan 0 0\n", "v 0 inf 0\n", "v 0 0 1e39\n", "v 0 0 0x1p3\n", "v 0 0\n", "vn 0 0 -nan\n"})
        EXPECT_FALSE(accepts(kObj + bad, ".obj")) << bad;
    EXPECT_TRUE(accepts(kObj + "v 1e-30 0 0\n", ".obj"));
    EXPECT_TRUE(accepts(kObj + polygon("f", 1024, false), ".obj"));
    EXPECT_FALSE(accepts(kObj + polygon("f", 1025, false), ".obj"));
    // Out-of-range and negative indices are left to the importer, which drops such faces.
    EXPECT_TRUE(accepts(kObj + "f 1 2 99\nf -1 -2 -3\nf 0 1 2\n", ".obj"));
    EXPECT_TRUE(accepts(kObj + "f 1/1/1 2//1 3/2 +4\n", ".obj"));
    // A corner without its vertex index trips an assertion in the reader.
    for (const char* bad : {"f /5 4//4\n", "f /1/1 2 3\n", "f 1 2 /1\n", "f x 1 2\n", "f - 1 2\n"})
        EXPECT_FALSE(accepts(kObj + bad, ".obj")) << bad;
}

// The reader opens the material library relative to the current directory: names that climb out
// or are absolute are fine as long as they do not name a device, a pipe or a directory.
TEST(MeshFileGuardObj, RefusesMaterialLibrariesThatAreNotRegularFiles)
{
    test::TempDir dir;
    std::ofstream(dir.file("a.mtl")) << "newmtl red\nKd 1 0 0\n";
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

// A trailing comment ends what the reader takes from a vertex line; on a face line it goes on
// reading corners past the '#', so those are still checked.
TEST(MeshFileGuardObj, InlineCommentsAfterValues)
{
    for (const char* good : {"v 1 2 3 # comment\n", "vn 0 0 1 #nan\n", "vt 0.5 1 # inf\n",
                             "v 1 2 3 4 5 6 #\n", "f 1 2 3 # back face\n", "f 1 2 3 # see 4\n"})
        EXPECT_TRUE(accepts(kObj + "vt 0 0\n" + good, ".obj")) << good;
    for (const char* bad : {"v 1 2 # 3\n", "vt # 1\n", "v 1 2 3#c\n", "f 1 2 3 # /5\n", "f 1 2 3 #x/5\n"})
        EXPECT_FALSE(accepts(kObj + bad, ".obj")) << bad;
    EXPECT_FALSE(accepts(kObj + "f 1 2 # " + polygon("f", 1023, false), ".obj"));  // 1025 corners
}

TEST(MeshFileGuardOff, ChecksHeaderAndCountsAgainstTheBytesLeft)
{
    EXPECT_TRUE(accepts(kOff, ".off"));
    EXPECT_TRUE(accepts("NOFF\n1 0 0\n0 0 0 0 0 1\n", ".off"));
    EXPECT_TRUE(accepts("STCOFF\n1 0 0\n0 0 0 255 0 0 0.5 0.5\n", ".off"));
    EXPECT_FALSE(accepts("NOFF\n1 0 0\n0 0 0\n", ".off"));  // normals missing
    for (const char* magic : {"OFF BINARY", "4OFF", "nOFF", "# comment", "OFF 4 4 0", "OFFX"})
        EXPECT_FALSE(accepts(replaced(kOff, "OFF", magic), ".off")) << magic;
    for (const char* counts : {"4 4", "4 4 0 0", "-4 4 0", "4 4294967296 0", "4 x 0"})
        EXPECT_FALSE(accepts(replaced(kOff, "4 4 0", counts), ".off")) << counts;
    // Billions announced in a few bytes: refused before any line is read.
    EXPECT_FALSE(accepts("OFF\n3 4000000000 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", ".off"));
    EXPECT_FALSE(accepts("OFF\n2000000000 1 0\n0 0 0\n", ".off"));
}

TEST(MeshFileGuardOff, RefusesTruncatedFilesAndRunawayFaces)
{
    for (size_t cut = 0; cut < kOff.size() - 1; ++cut)
    {
        if (kOff[cut] != '\n')
            continue;
        EXPECT_FALSE(accepts(kOff.substr(0, cut + 1), ".off")) << cut;
    }
    EXPECT_FALSE(accepts(replaced(kOff, "3 2 0 3", "3 2 0"), ".off"));  // cut mid-face
    EXPECT_FALSE(accepts(replaced(kOff, "3 2 0 3", "4000000000 2 0 3"), ".off"));
    EXPECT_FALSE(accepts(replaced(kOff, "0 0 1\n", "0 nan 1\n"), ".off"));
    EXPECT_FALSE(accepts(replaced(kOff, "0 0 1\n", "0 1\n"), ".off"));
    // Faces are read as one stream of numbers, so a negative index or a leftover token could become
    // the next face's corner count: refused.
    EXPECT_FALSE(accepts(replaced(kOff, "3 2 0 3", "3 2 0 -3"), ".off"));
    EXPECT_FALSE(accepts("OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n0 1111111111111111111\n3 0 1 2\n", ".off"));
    EXPECT_FALSE(accepts("OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n-7\n", ".off"));     // trailing
    EXPECT_TRUE(accepts("OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2 255 0 0\n", ".off"));  // face colour
    // Found by fuzzing: a zero-corner face followed by an overflowing number sized a 2 GB corner list.
    EXPECT_FALSE(accepts(std::string("OFF\n4 4 0\n00 0 2\n3 1 2 1\n3 0 1 3\n3 1 02 0\n"
                                     "1 0 0 11111111111111111111111111  1 10 0 8\n1 0 0\n0 1 0\n0 0 2\n0\n"
                                     "1 0 0\n0\0\0\0 2 0 3\n",
                                     122),
                         ".off"));
    // Found by fuzzing: one token holding two extractions, "0-1", made the next face's count -1.
    EXPECT_FALSE(accepts("OFF\n3 3 0\n0 0 0\n1 0 0\n0 1 0\n1 2 0-1 0\n3 0 1 2\n", ".off"));
    EXPECT_FALSE(accepts("OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n1 2 0+9999999\n3 0 1 2\n", ".off"));
    EXPECT_TRUE(accepts("OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2 0.5 0.5 0.25\n", ".off"));  // colour
    EXPECT_TRUE(accepts("OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n" + polygon("", 1024, true).substr(1), ".off"));
    EXPECT_FALSE(accepts("OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n" + polygon("", 1025, true).substr(1), ".off"));
}

TEST(MeshFileGuardPly, RefusesHeadersTheReaderWouldLoopOn)
{
    EXPECT_TRUE(accepts(kPly, ".ply"));
    EXPECT_TRUE(
        accepts(replaced(kPly, "end_header", "comment made by hand\nobj_info x\nend_header"), ".ply"));
    EXPECT_TRUE(accepts(replaced(kPly, "end_header", "element edge 0\nproperty int a\nend_header"), ".ply"));
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
    };
    for (const auto& [from, to] : bad)
        EXPECT_FALSE(accepts(replaced(kPly, from, to), ".ply")) << to;
    EXPECT_FALSE(accepts(kPlyHeader.substr(0, kPlyHeader.size() - 11), ".ply"));  // no end_header
    EXPECT_FALSE(accepts("property float x\n" + kPly, ".ply"));
}

TEST(MeshFileGuardPly, ChecksAsciiCountsListsAndValues)
{
    EXPECT_FALSE(accepts(replaced(kPly, "vertex 3", "vertex 4000000000"), ".ply"));
    EXPECT_FALSE(accepts(replaced(kPly, "face 1", "face 4294967295"), ".ply"));
    EXPECT_FALSE(accepts(replaced(kPly, "face 1", "face 4294967296"), ".ply"));
    EXPECT_FALSE(accepts(replaced(kPly, "end_header", "element empty 1000\nend_header"), ".ply"));
    EXPECT_FALSE(accepts(kPly.substr(0, kPly.size() - 2), ".ply"));  // last index cut off
    EXPECT_FALSE(accepts(replaced(kPly, "1 0 0", "nan inf 0"), ".ply"));
    EXPECT_FALSE(accepts(replaced(kPly, "3 0 1 2", "3 0 1.5 2"), ".ply"));
    const std::string intCounts = replaced(kPly, "uchar int", "int int");
    EXPECT_TRUE(accepts(intCounts, ".ply"));
    EXPECT_FALSE(accepts(replaced(intCounts, "3 0 1 2", "2000000000 0 1 2"), ".ply"));
    EXPECT_FALSE(accepts(replaced(intCounts, "3 0 1 2", "-3 0 1 2"), ".ply"));
    const std::string big = replaced(intCounts, "3 0 1 2\n", polygon("", 1025, true).substr(1));
    EXPECT_FALSE(accepts(big, ".ply"));
}

TEST(MeshFileGuardPly, ChecksBinaryLayoutExactly)
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
    EXPECT_TRUE(accepts(file(1, 0, 3), ".ply"));
    EXPECT_TRUE(accepts(file(1, kNaN, 3), ".ply"));  // only positions must be finite
    EXPECT_FALSE(accepts(file(kNaN, 0, 3), ".ply"));
    EXPECT_FALSE(accepts(file(kInf, 0, 3), ".ply"));
    EXPECT_FALSE(accepts(file(1, 0, -1), ".ply"));
    EXPECT_TRUE(accepts(file(1, 0, 1024), ".ply"));
    EXPECT_FALSE(accepts(file(1, 0, 1025), ".ply"));
    EXPECT_FALSE(accepts(file(1, 0, 2000000000), ".ply"));
    EXPECT_FALSE(accepts(replaced(file(1, 0, 3), "vertex 1", "vertex 9"), ".ply"));
}

TEST(MeshFileGuardStl, TellsBinaryFromTextBySize)
{
    const std::vector<float> tri = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    const std::string binary = binaryStl(1, tri).s;
    EXPECT_TRUE(accepts(binary, ".stl"));
    EXPECT_TRUE(accepts(binary + "padding", ".stl"));  // read as binary, the tail unread
    EXPECT_TRUE(accepts("SOLID x\nendsolid x\n", ".stl"));

    EXPECT_TRUE(accepts("solid" + binary.substr(5), ".stl"));  // binary header saying "solid"
    EXPECT_FALSE(accepts(binaryStl(4000000000u, tri).s, ".stl"));
    EXPECT_FALSE(accepts(binaryStl(2, tri).s, ".stl"));
    EXPECT_FALSE(accepts(binary.substr(0, binary.size() - 1), ".stl"));
    EXPECT_FALSE(accepts(binaryStl(1, {0, 0, 0, kNaN, 0, 0, 0, 1, 0}).s, ".stl"));
    EXPECT_FALSE(accepts(binaryStl(1, {0, 0, 0, 1, 0, 0, 0, kInf, 0}).s, ".stl"));
    EXPECT_TRUE(accepts(binaryStl(0, {}).s, ".stl"));
    EXPECT_FALSE(accepts(std::string(83, '\0'), ".stl"));
}

TEST(MeshFileGuardStl, ChecksTextVertices)
{
    EXPECT_TRUE(accepts(kStl, ".stl"));
    EXPECT_TRUE(accepts("  " + kStl, ".stl"));
    EXPECT_FALSE(accepts(replaced(kStl, "solid t", "slid t"), ".stl"));
    EXPECT_FALSE(accepts(replaced(kStl, "vertex 1 0 0", "vertex 1 nan 0"), ".stl"));
    EXPECT_FALSE(accepts(replaced(kStl, "vertex 1 0 0", "vertex 1 0"), ".stl"));
    EXPECT_FALSE(accepts(replaced(kStl, "normal 0 0 1", "normal 0 0 inf"), ".stl"));
    EXPECT_FALSE(accepts(kStl.substr(0, kStl.find("vertex 0 1") + 10), ".stl"));  // cut mid-line
}

namespace
{

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

}  // namespace

TEST(MeshFileGuardOm, AcceptsConsistentFilesOnly)
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
    const size_t topology = 16 + 2 + 36 + 2;
    for (size_t i = 0; i < 18; ++i)
        for (int value : {-2, 6, 100})
        {
            std::string broken = triangle;
            broken[topology + i] = static_cast<char>(value);
            EXPECT_FALSE(accepts(broken, ".om")) << i << " " << value;
        }
    std::string swapped = triangle;
    std::swap(swapped[topology + 0], swapped[topology + 6]);  // two successors exchanged
    EXPECT_FALSE(accepts(swapped, ".om"));
    std::string wrongVertex = triangle;
    wrongVertex[topology + 18 + 2] = 2;  // vertex 0's halfedge does not leave it
    EXPECT_FALSE(accepts(wrongVertex, ".om"));
}

TEST(MeshFileGuardOm, RefusesChunksTheReaderAssertsOn)
{
    auto withChunk = [](uint16_t header, size_t dataBytes)
    { return omTriangle().u16(header).raw(std::string(dataBytes, '\0')).s; };
    EXPECT_TRUE(accepts(withChunk(omChunk(0, 1, true, 2, 0), 36), ".om"));   // vertex normals
    EXPECT_TRUE(accepts(withChunk(omChunk(0, 2, true, 1, 0), 24), ".om"));   // texture coordinates
    EXPECT_TRUE(accepts(withChunk(omChunk(2, 3, false, 0, 0), 4), ".om"));   // face status
    EXPECT_FALSE(accepts(withChunk(omChunk(0, 1, true, 1, 0), 24), ".om"));  // 2-D normals
    EXPECT_FALSE(accepts(withChunk(omChunk(0, 2, true, 2, 0), 36), ".om"));  // 3-D texcoords
    EXPECT_FALSE(accepts(withChunk(omChunk(5, 0, true, 2, 0), 36), ".om"));  // no such entity
    EXPECT_FALSE(accepts(withChunk(omChunk(0, 5, true, 2, 0), 36), ".om"));  // no such type
    EXPECT_FALSE(accepts(withChunk(omChunk(0, 0, true, 2, 0), 36), ".om"));  // second positions
    EXPECT_FALSE(accepts(withChunk(omChunk(0, 1, true, 2, 0), 35), ".om"));  // cut short

    const uint16_t positions = omChunk(0, 0, true, 2, 0);
    EXPECT_FALSE(
        accepts(omStart(3, 0, 0, omChunk(0, 0, true, 1, 0)).raw(std::string(24, '\0')).s, ".om"));  // 2-D
    EXPECT_FALSE(accepts(omStart(1, 0, 0, positions).f32(kNaN).f32(0).f32(0).s, ".om"));
    EXPECT_FALSE(accepts(omStart(4000000000u, 1, 3, positions).s, ".om"));
    // Normals before positions: data for vertices not yet created.
    EXPECT_FALSE(accepts(omStart(1, 0, 0, omChunk(0, 1, true, 2, 0)).raw(std::string(12, '\0')).s, ".om"));
}

TEST(MeshFileGuardOm, ChecksCustomPropertyChunks)
{
    auto custom = [](const std::string& name, const std::string& type, uint32_t blockBytes)
    {
        Bytes b = omTriangle();
        b.u16(omChunk(0, 6, false, 0, 0, true)).u8(static_cast<uint8_t>(name.size())).raw(name);
        b.u8(static_cast<uint8_t>(type.size())).raw(type).u32(blockBytes).raw(std::string(12, '\0'));
        return b.s;
    };
    EXPECT_TRUE(accepts(custom("quality", "int32_t", 12), ".om"));
    EXPECT_FALSE(accepts(custom("v:points", "int32_t", 12), ".om"));
    EXPECT_FALSE(accepts(custom("label", "std::string", 12), ".om"));
    EXPECT_FALSE(accepts(custom("list", "std::vector<int32_t>", 12), ".om"));
    EXPECT_FALSE(accepts(custom("quality", "int32_t", 13), ".om"));
}

TEST(MeshFileGuardOm, OldFilesListFacesByVertex)
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
        {
            if (mesh.from_vertex_handle(heh) != vh || ++steps > mesh.n_halfedges())
                return ::testing::AssertionFailure() << "ring of vertex " << vh.idx() << " is broken";
        }
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

struct HostileFile
{
    const char* name;
    std::string bytes;
    bool mayRead;  // a sane (possibly partial) mesh is acceptable; otherwise ReadMesh must give null
};

std::vector<HostileFile> hostileFiles()
{
    Bytes om = omTriangle();
    std::string brokenOm = om.s;
    brokenOm[16 + 2 + 36 + 2] = 100;  // a successor out of range: the reader's own assertion
    Bytes omDim2 = omStart(3, 0, 0, omChunk(0, 0, true, 1, 0));
    omDim2.raw(std::string(24, '\0'));
    std::mt19937 random(11);
    std::string noise(2048, '\0');
    for (char& c : noise)
        c = static_cast<char>(random());
    return {
        {"unknown-ply-property.ply", replaced(kPly, "end_header", "foo bar\nend_header"), false},
        {"unknown-ply-type.ply", replaced(kPly, "property float z", "property float128 z"), false},
        {"truncated-ply-header.ply", "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\n", false},
        {"huge-ply-count.ply", replaced(kPly, "vertex 3", "vertex 4000000000"), false},
        {"huge-ply-list.ply", replaced(replaced(kPly, "uchar int", "int int"), "3 0 1 2", "2000000000 0 1 2"),
         false},
        {"om-bad-chunk.om", omDim2.s, false},
        {"om-bad-topology.om", brokenOm, false},
        {"huge-off-count.off", "OFF\n3 4000000000 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n", false},
        {"off-without-counts.off", "OFF BINARY\n", false},
        {"off-runaway-face.off", replaced(kOff, "3 2 0 3", "4000000000 2 0 3"), false},
        {"off-cut-mid-line.off", kOff.substr(0, kOff.size() - 4), false},
        {"off-nan.off", replaced(kOff, "0 0 1\n", "nan 0 inf\n"), false},
        {"stl-count-too-big.stl", binaryStl(4000000000u, {0, 0, 0, 1, 0, 0, 0, 1, 0}).s, false},
        {"stl-nan.stl", binaryStl(1, {0, 0, 0, kNaN, 0, 0, 0, 1, 0}).s, false},
        {"obj-million-corners.obj", kObj + polygon("f", 1000000, false), false},
        {"obj-nan.obj", kObj + "v nan 0 0\n", false},
        {"obj-corner-without-vertex.obj", kObj + "vt 0 0\nf /1 2 3\n", false},  // found by fuzzing
        {"obj-material-device.obj", "mtllib /dev/zero\n" + kObj, false},
        {"noise.off", noise, false},
        {"noise.ply", noise, false},
        {"noise.stl", noise, false},
        {"noise.om", noise, false},
        {"noise.obj", noise, true},
        {"obj-bad-indices.obj", kObj + "f 1 2 99\nf -1 -2 -3\nf 0 1 2\nf 1 1 2\n", true},
        {"off-bad-indices.off", replaced(kOff, "3 2 0 3", "3 2 0 -3"), true},
        {"ply-bad-indices.ply", replaced(kPly, "3 0 1 2", "3 0 7 -2"), true},
        {"stl-cut-mid-line.stl", kStl.substr(0, kStl.find("vertex 0 1") + 8), true},
        {"ply-extra-element.ply",
         replaced(kPly, "end_header", "element edge 1\nproperty list uchar int e\nend_header") + "2 0 1\n",
         true},
        {"om-triangle.om", om.s, true},
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
        {
            std::ofstream out(dir.file(file.name), std::ios::binary);
            out.write(file.bytes.data(), static_cast<std::streamsize>(file.bytes.size()));
        }
        std::unique_ptr<OpenMeshUtility::Mesh> mesh(OpenMeshUtility::ReadMesh(dir.wfile(file.name).c_str()));
        if (!file.mayRead)
        {
            EXPECT_EQ(mesh, nullptr) << file.name;
            EXPECT_FALSE(OpenMeshUtility::ReadToRawMesh(dir.wfile(file.name).c_str())) << file.name;
        }
        else if (mesh)
        {
            EXPECT_TRUE(isSane(*mesh)) << file.name;
        }
    }
}

// Comments after the values of a line and material libraries outside the mesh's folder are read.
TEST(HostileFiles, ObjWithInlineCommentsAndAClimbingMaterialNameReads)
{
    test::TempDir dir;
    const auto path = dir.file("commented.obj");
    std::ofstream(path) << "mtllib ../materials/a.mtl\nmtllib \nv 0 0 0 # origin\nv 1 0 0\t# x\nv 0 1 0 #y\n"
                           "v 0 0 1 # z\nvn 0 0 1 # up\nf 1 3 2 # base\nf 1 2 4\nf 2 3 4 # side\nf 3 1 4 #\n";
    std::unique_ptr<OpenMeshUtility::Mesh> mesh(OpenMeshUtility::ReadMesh(path.wstring().c_str()));
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(mesh->n_vertices(), 4u);
    EXPECT_EQ(mesh->n_faces(), 4u);
    EXPECT_EQ(mesh->point(OpenMesh::VertexHandle(3)), OpenMeshUtility::Mesh::Point(0, 0, 1));
    EXPECT_TRUE(isSane(*mesh));
}

TEST(HostileFiles, BadIndicesDropOnlyTheirFaces)
{
    test::TempDir dir;
    const auto path = dir.file("bad.obj");
    {
        std::ofstream out(path, std::ios::binary);
        out << kObj << "f 1 2 99\nf -9 1 2\nf 0 1 2\n";  // past the end, before the start, zero
    }
    std::unique_ptr<OpenMeshUtility::Mesh> mesh(OpenMeshUtility::ReadMesh(path.wstring().c_str()));
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(mesh->n_vertices(), 4u);
    EXPECT_EQ(mesh->n_faces(), 4u);
    EXPECT_TRUE(isSane(*mesh));
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
