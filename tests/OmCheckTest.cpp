#include "io/OmCheck.h"

#include "support/MeshFileBytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>

using namespace test;

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
