#include "io/MeshFileCheck.h"

#include "support/FileBytes.h"
#include "support/MeshFileBytes.h"
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

using namespace test;

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

namespace
{

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
