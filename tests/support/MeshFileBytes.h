#pragma once

#include "io/MeshFileCheck.h"
#include "support/TestMeshes.h"

#include <OpenMesh/Core/IO/MeshIO.hh>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

// Small files of every mesh format built in code, and the check's verdict on them, for the tests
// of the file checks in io/.
namespace test
{

inline bool accepts(const std::string& bytes, const std::string& extension)
{
    std::istringstream in(bytes);
    return Quelm::IO::detail::checkMeshFile(in, extension).isAccepted;
}

// Expects every `prefix + row` to be accepted (or refused) as `extension`; a failure names its row.
inline void expectAll(bool accepted, const std::string& extension, const std::vector<std::string>& rows,
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
inline std::string written(const std::string& extension, OpenMesh::IO::Options options = {})
{
    auto mesh = test::makeTetrahedron();
    std::ostringstream out;
    EXPECT_TRUE(OpenMesh::IO::write_mesh(*mesh, out, extension, options));
    return out.str();
}

inline std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

inline std::string polygon(const std::string& keyword, int corners, bool withCount)
{
    std::string line = keyword + (withCount ? " " + std::to_string(corners) : "");
    for (int i = 0; i < corners; ++i)
        line += " " + std::to_string(i % 3 + (keyword == "f" ? 1 : 0));
    return line + "\n";
}

inline std::string noise(unsigned seed, size_t size)
{
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes)
        c = static_cast<char>(random());
    return bytes;
}

inline const std::string kObj = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 3 2\nf 1 2 4\nf 2 3 4\nf 3 1 4\n";
inline const std::string kOff =
    "OFF\n4 4 0\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n3 0 2 1\n3 0 1 3\n3 1 2 3\n3 2 0 3\n";
inline const std::string kPlyHeader =
    "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
    "property float z\nelement face 1\nproperty list uchar int vertex_indices\n"
    "end_header\n";
inline const std::string kPly = kPlyHeader + "0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";
inline const std::string kStl =
    "solid t\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\n"
    "endloop\nendfacet\nendsolid t\n";

inline Bytes binaryStl(uint32_t declaredFacets, const std::vector<float>& corners)
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

inline const float kNaN = std::numeric_limits<float>::quiet_NaN();
inline const float kInf = std::numeric_limits<float>::infinity();

// Header fields of one OM chunk.
inline uint16_t omChunk(unsigned entity, unsigned type, bool isFloat, unsigned dim, unsigned bits,
                        bool named = false)
{
    return static_cast<uint16_t>((named ? 2u : 0u) | entity << 2 | type << 5 | 1u << 9 |
                                 (isFloat ? 1u : 0u) << 10 | dim << 11 | bits << 14);
}

// An OM header (triangle mesh, version 2.2 unless given) and the header of its first chunk.
inline Bytes omStart(uint32_t vertices, uint32_t faces, uint32_t edges, uint16_t chunk,
                     uint8_t version = 0x42)
{
    Bytes b;
    b.raw("OMT").u8(version).u32(vertices).u32(faces).u32(edges).u16(chunk);
    return b;
}

// One triangle in the layout OpenMesh writes (version 2.2, 8-bit topology indices).
inline Bytes omTriangle(uint8_t version = 0x42)
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

inline constexpr size_t kOmTopology = 16 + 2 + 36 + 2;  // offset of the halfedge records in omTriangle()

// A one-vertex text (or binary) PLY with the given property lines and data.
inline std::string plyWith(const std::string& properties, const std::string& record,
                           const char* format = "ascii")
{
    return std::string("ply\nformat ") + format + " 1.0\nelement vertex 1\n" + properties + "end_header\n" +
           record;
}

}  // namespace test
