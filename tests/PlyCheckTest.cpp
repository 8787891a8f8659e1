#include "io/PlyCheck.h"

#include "support/MeshFileBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>

using namespace test;

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
