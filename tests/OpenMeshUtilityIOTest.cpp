#include "common/Node.h"
#include "common/Util.h"
#include "io/InputFile.h"
#include "support/FileBytes.h"
#include "support/TestMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <OpenMesh/Core/System/omstream.hh>
#include <gtest/gtest.h>

#include <cmath>
#include <iostream>
#include <sstream>
#include <sys/stat.h>
#include <tuple>

using Quelm::Topology::OpenMeshUtility;

namespace
{

using Mesh = OpenMeshUtility::Mesh;

// Captures what is written to a standard stream while alive. OpenMesh's error stream writes to
// std::cerr by default (connecting a stream of our own would do too, but OpenMesh's disconnect
// leaks its wrapper).
template <class Text>
class Capture
{
public:
    explicit Capture(std::basic_ostream<typename Text::char_type>& stream)
        : stream_(stream), old_(stream.rdbuf(text_.rdbuf()))
    {
    }
    ~Capture() { stream_.rdbuf(old_); }
    auto text() const { return text_.str(); }

private:
    Text text_;
    std::basic_ostream<typename Text::char_type>& stream_;
    std::basic_streambuf<typename Text::char_type>* old_;
};

// Test meshes are built without normals, and OpenMesh leaves them uninitialised: files written
// with normals must not depend on whatever the heap held.
void computeNormals(Mesh& mesh)
{
    mesh.request_face_normals();
    mesh.update_normals();
}

std::unique_ptr<Mesh> read(const std::wstring& path)
{
    return std::unique_ptr<Mesh>(OpenMeshUtility::ReadMesh(path.c_str()));
}

}  // namespace

class MeshFiles : public ::testing::Test
{
protected:
    test::TempDir dir;
};

// The upper-case name is read too: extensions are matched in any case when reading.
TEST_F(MeshFiles, EveryFormatRoundTripsAndRecordsItsPath)
{
    for (const char* name : {"s.obj", "s.off", "s.ply", "s.stl", "s.om", "s.OBJ"})
    {
        auto sphere = test::makeSphere(8, 10);
        computeNormals(*sphere);
        ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile(name).c_str(), sphere.get(), true)) << name;
        const auto back = read(dir.wfile(name));
        ASSERT_TRUE(back) << name;
        EXPECT_EQ(back->n_vertices(), sphere->n_vertices()) << name;
        EXPECT_EQ(back->n_faces(), sphere->n_faces()) << name;
        EXPECT_NEAR(OpenMeshUtility::calcSurfaceArea(*back), OpenMeshUtility::calcSurfaceArea(*sphere), 1e-3);
        EXPECT_EQ(OpenMeshUtility::GetMeshPath(back.get()), dir.wfile(name));
    }
}

TEST_F(MeshFiles, ReadToRawMeshGivesAModelWithThePath)
{
    auto grid = test::makeGrid(3, 3);
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("g.off").c_str(), grid.get(), false));
    auto model = OpenMeshUtility::ReadToRawMesh(dir.wfile("g.off").c_str());
    ASSERT_TRUE(model);
    EXPECT_EQ(model->filePath(), dir.wfile("g.off"));
    ASSERT_EQ(model->numChildren(), 1u);
    const auto& node = dynamic_cast<const Quelm::Objects::Node&>(*model->children()[0]);
    EXPECT_EQ(node.rawMesh().indicesSize(), 3u * 18u);
    EXPECT_FALSE(OpenMeshUtility::ReadToRawMesh(nullptr));
}

// Every refusal says why in one line; a success leaves the reason empty.
TEST_F(MeshFiles, UnreadablePathsGiveNullAndAReason)
{
    std::string reason = "stale";
    EXPECT_EQ(OpenMeshUtility::ReadMesh(nullptr), nullptr);
    EXPECT_EQ(OpenMeshUtility::ReadMesh(nullptr, reason), nullptr);
    EXPECT_FALSE(reason.empty());
    test::writeFile(dir.file("noextension"), "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    test::writeFile(dir.file("mesh.xyz"), "v 0 0 0\n");  // no reader for it
    test::writeFile(dir.file("bad.obj"), "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 x 1\nf 1 2 3\n");
    std::filesystem::create_directories(dir.file("folder.obj"));
    ASSERT_EQ(mkfifo(dir.file("pipe.ply").c_str(), 0600), 0);
    for (const char* name : {"e.obj", "e.off", "e.ply", "e.stl", "e.om"})
        test::writeFile(dir.file(name), "");
    const std::pair<const char*, const char*> rows[] = {
        {"missing.obj", "no such file"},
        {"noextension", "no extension: not an OBJ, OFF, PLY, STL or OM file"},
        {"mesh.xyz", "unknown extension '.xyz': not an OBJ, OFF, PLY, STL or OM file"},
        {"folder.obj", "is a folder"},
        {"pipe.ply", "is not a regular file (a device or a pipe)"},
        {"bad.obj", "line 4: 'x' is not a number"},
        {"e.obj", "is empty"},
        {"e.off", "is empty"},
        {"e.ply", "is empty"},
        {"e.stl", "is empty"},
        {"e.om", "is empty"}};
    for (const auto& [name, why] : rows)
    {
        EXPECT_FALSE(read(dir.wfile(name))) << name;
        EXPECT_EQ(OpenMeshUtility::ReadMesh(dir.wfile(name).c_str(), reason), nullptr) << name;
        EXPECT_EQ(reason, why) << name;
    }
    auto grid = test::makeGrid(1, 1);
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("g.ply").c_str(), grid.get(), false));
    std::unique_ptr<Mesh> mesh(OpenMeshUtility::ReadMesh(dir.wfile("g.ply").c_str(), reason));
    EXPECT_TRUE(mesh);
    EXPECT_EQ(reason, "");
}

// Names in any script are written and read as UTF-8, whatever the locale, and no operation
// throws on a path; one holding a value that is not Unicode is refused by every operation.
TEST_F(MeshFiles, PathsInEveryScriptReadAndWriteAlike)
{
    const std::wstring folder = Quelm::Objects::Util::ConvertToWchar(dir.file("").string());
    auto grid = test::makeGrid(2, 2);
    for (const wchar_t* name :
         {L"caf\u00e9.ply", L"\u043c\u0435\u0448.obj", L"\u03c0\u03bb\u03ad\u03b3\u03bc\u03b1.off",
          L"\u7f51\u683c.stl", L"\U0001F600.om", L"\u00e9t\u00e9 \u2014 copy.OBJ"})
    {
        const std::wstring path = folder + name;
        ASSERT_TRUE(OpenMeshUtility::WriteMesh(path.c_str(), grid.get(), false));
        std::string utf8;
        ASSERT_TRUE(Quelm::IO::detail::utf8FromWide(path, utf8));
        EXPECT_TRUE(std::filesystem::exists(utf8)) << utf8;  // the name on disk is the UTF-8 one
        std::string reason;
        std::unique_ptr<Mesh> back(OpenMeshUtility::ReadMesh(path.c_str(), reason));
        ASSERT_TRUE(back) << utf8 << ": " << reason;
        EXPECT_EQ(back->n_faces(), 8u);
        EXPECT_EQ(OpenMeshUtility::GetMeshPath(back.get()), path);
        EXPECT_TRUE(OpenMeshUtility::ReadToRawMesh(path.c_str()));
    }
    const std::wstring loneSurrogate = folder + L"a" + wchar_t(0xD800) + L".ply";
    const std::wstring pastUnicode = folder + L"b" + wchar_t(0x110000) + L".ply";
    for (const std::wstring& path : {loneSurrogate, pastUnicode})
    {
        std::string reason;
        EXPECT_FALSE(OpenMeshUtility::WriteMesh(path.c_str(), grid.get(), false));
        EXPECT_EQ(OpenMeshUtility::ReadMesh(path.c_str(), reason), nullptr);
        EXPECT_NE(reason.find("not Unicode"), std::string::npos) << reason;
        EXPECT_FALSE(OpenMeshUtility::ReadToRawMesh(path.c_str()));
    }
    EXPECT_FALSE(std::filesystem::exists(dir.file("a?.ply")));  // not written under another name
}

TEST_F(MeshFiles, ReadingIsQuietAndLeavesTheHostsStreamsAsTheyWere)
{
    test::writeFile(dir.file("bad.off"), "OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n3 0 0 1\n");
    Capture<std::ostringstream> captured(std::cerr);
    ASSERT_TRUE(omerr().is_enabled());
    read(dir.wfile("bad.off"));
    EXPECT_TRUE(omerr().is_enabled());
    omerr() << "host message" << std::endl;
    EXPECT_EQ(captured.text(), "host message\n");

    omerr().disable();  // a host that silenced OpenMesh keeps it silenced
    read(dir.wfile("bad.off"));
    EXPECT_FALSE(omerr().is_enabled());
    omerr().enable();
}

TEST_F(MeshFiles, WriteFailsOnNullArgumentsAndUnwritablePaths)
{
    auto grid = test::makeGrid(1, 1);
    EXPECT_FALSE(OpenMeshUtility::WriteMesh(nullptr, grid.get(), true));
    EXPECT_FALSE(OpenMeshUtility::WriteMesh(dir.wfile("a.obj").c_str(), nullptr, true));
    EXPECT_FALSE(OpenMeshUtility::WriteMesh(dir.wfile("no/such/dir/a.obj").c_str(), grid.get(), true));
    EXPECT_FALSE(OpenMeshUtility::WriteMesh(dir.wfile("a.unknown").c_str(), grid.get(), true));
}

// STL and PLY are written binary, the others as text, normals only when asked; the search for
// ".stl" and ".ply" is case sensitive and runs over the whole path.
TEST_F(MeshFiles, BinaryFormatsAndNormalsFollowThePathAndTheFlag)
{
    auto grid = test::makeGrid(2, 1);  // 4 faces
    computeNormals(*grid);
    std::filesystem::create_directories(dir.file("dir.stl"));
    // file, normals asked, text sought, whether it is there
    const std::tuple<const char*, bool, const char*, bool> rows[] = {
        {"n.obj", true, "vn ", true},
        {"none.obj", false, "vn ", false},
        {"n.ply", true, "format binary", true},
        {"n.ply", true, "property float nx", true},
        {"none.ply", false, "nx", false},
        {"none.off", false, "NOFF", false},
        // ".stl" anywhere in the path chooses Binary alone: the OBJ writer falls back to text, and
        // the normals asked for are not written
        {"dir.stl/out.obj", true, "v ", true},
        {"dir.stl/out.obj", true, "vn ", false}};
    for (const auto& [name, normals, text, isThere] : rows)
    {
        ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile(name).c_str(), grid.get(), normals)) << name;
        EXPECT_EQ(test::readFile(dir.file(name)).find(text) != std::string::npos, isThere)
            << name << ": " << text;
    }
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("out.stl").c_str(), grid.get(), true));
    EXPECT_EQ(std::filesystem::file_size(dir.file("out.stl")), 84u + 50u * 4u);
    // the upper-case path falls through to the text options, with normals when asked, which
    // the STL writer refuses
    EXPECT_FALSE(OpenMeshUtility::WriteMesh(dir.wfile("OUT.STL").c_str(), grid.get(), true));
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("OUT.STL").c_str(), grid.get(), false));
    EXPECT_EQ(test::readFile(dir.file("OUT.STL")).rfind("solid", 0), 0u);
}

TEST_F(MeshFiles, UntexturedMeshIsCleanedBeforeWritingAndSaysSoButATexturedOneIsNot)
{
    auto bowTie = test::makeBowTie();
    auto textured = test::makeBowTie();
    bowTie->add_vertex({5, 5, 5});  // isolated
    textured->request_vertex_texcoords2D();
    {
        Capture<std::wostringstream> out(std::wcout);
        ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("bow.off").c_str(), bowTie.get(), false));
        EXPECT_EQ(out.text(), L"Removed 2 degenerate faces\n");
    }
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(*bowTie), 0u);  // the caller's mesh keeps the change
    EXPECT_EQ(OpenMeshUtility::GetVertexCount(*bowTie), 0u);
    const auto back = read(dir.wfile("bow.off"));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->n_vertices(), 0u);  // isolated vertices are not written either

    Capture<std::wostringstream> out(std::wcout);
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("bow.obj").c_str(), textured.get(), false));
    EXPECT_EQ(out.text(), L"");
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(*textured), 2u);
    EXPECT_NE(test::readFile(dir.file("bow.obj")).find("vt "), std::string::npos);
}

TEST_F(MeshFiles, DeletedFacesAreNeverWritten)
{
    auto grid = test::makeGrid(2, 2);
    grid->request_vertex_texcoords2D();  // no clean-up, so nothing is collected before writing
    grid->delete_face(OpenMesh::FaceHandle(0), true);
    for (const char* name : {"d.obj", "d.off", "d.ply", "d.om", "d.stl"})
    {
        ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile(name).c_str(), grid.get(), false)) << name;
        const auto back = read(dir.wfile(name));
        ASSERT_TRUE(back) << name;
        EXPECT_EQ(back->n_faces(), 7u) << name;
    }
    EXPECT_EQ(grid->n_faces(), 8u);  // the caller's mesh is not compacted
}

// Exporters write "vn nan nan nan" for faces of no area: the mesh reads with its positions, and
// a normal that is not finite becomes zero.
TEST_F(MeshFiles, ObjNormalsThatAreNotFiniteBecomeZero)
{
    test::writeFile(dir.file("n.obj"), "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\nvn nan nan nan\nvn 0 0 1\n"
                                       "f 1//1 2//1 3//1\nf 2//2 4//2 3//2\n");
    std::string reason;
    std::unique_ptr<Mesh> mesh(OpenMeshUtility::ReadMesh(dir.wfile("n.obj").c_str(), reason));
    ASSERT_TRUE(mesh) << reason;
    ASSERT_EQ(mesh->n_vertices(), 4u);
    EXPECT_EQ(mesh->n_faces(), 2u);
    const OpenMesh::Vec3f points[] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}};
    for (auto vh : mesh->vertices())
    {
        EXPECT_EQ(mesh->point(vh), points[vh.idx()]);
        const auto& n = mesh->normal(vh);
        EXPECT_TRUE(std::isfinite(n[0]) && std::isfinite(n[1]) && std::isfinite(n[2])) << vh.idx();
    }
    // OFF and text PLY readers lose their place on such a token: refused, with the line
    test::writeFile(dir.file("n.off"), "NOFF\n3 1 0\n0 0 0 nan 0 1\n1 0 0 0 0 1\n0 1 0 0 0 1\n3 0 1 2\n");
    EXPECT_EQ(OpenMeshUtility::ReadMesh(dir.wfile("n.off").c_str(), reason), nullptr);
    EXPECT_EQ(reason, "line 3: 'nan' is not a finite number");
}

// A mesh built vertex by vertex and written with normals writes zeros, the same bytes every
// time, and the library reads its own file back.
TEST_F(MeshFiles, NewVerticesWriteZeroNormals)
{
    Mesh mesh;
    std::vector<Mesh::VertexHandle> vh;
    for (int i = 0; i < 4; ++i)
        vh.push_back(mesh.add_vertex(Mesh::Point(float(i & 1), float(i >> 1), 0)));
    mesh.add_face(vh[0], vh[1], vh[3]);
    mesh.add_face(vh[0], vh[3], vh[2]);
    for (const char* name : {"z.obj", "z.ply", "z.off", "z.om"})
    {
        const std::string second = std::string("again-") + name;
        ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile(name).c_str(), &mesh, true)) << name;
        ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile(second).c_str(), &mesh, true)) << name;
        EXPECT_EQ(test::readFile(dir.file(name)), test::readFile(dir.file(second))) << name;
        const auto back = read(dir.wfile(name));
        ASSERT_TRUE(back) << name;
        for (auto v : back->vertices())
            EXPECT_EQ(back->normal(v), OpenMesh::Vec3f(0, 0, 0)) << name;
    }
}

TEST_F(MeshFiles, NormalsNotReadFromTheFileAreZero)
{
    test::writeFile(dir.file("t.off"), "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n");
    const auto back = read(dir.wfile("t.off"));
    ASSERT_TRUE(back);
    for (auto vh : back->vertices())
        EXPECT_EQ(back->normal(vh), OpenMesh::Vec3f(0, 0, 0));
}
