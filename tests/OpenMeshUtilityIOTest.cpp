#include "common/Node.h"
#include "support/TestMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <OpenMesh/Core/System/omstream.hh>
#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <sstream>

using Quelm::Topology::OpenMeshUtility;

namespace
{

using Mesh = OpenMeshUtility::Mesh;

void writeFile(const std::filesystem::path& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string readFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

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

struct Read
{
    std::unique_ptr<Mesh> mesh;
    explicit Read(const std::wstring& path) : mesh(OpenMeshUtility::ReadMesh(path.c_str())) {}
};

}  // namespace

class MeshFiles : public ::testing::Test
{
protected:
    test::TempDir dir;
};

TEST_F(MeshFiles, EveryFormatRoundTripsAndRecordsItsPath)
{
    for (const char* name : {"s.obj", "s.off", "s.ply", "s.stl", "s.om"})
    {
        auto sphere = test::makeSphere(8, 10);
        computeNormals(*sphere);
        ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile(name).c_str(), sphere.get(), true)) << name;
        Read back(dir.wfile(name));
        ASSERT_TRUE(back.mesh) << name;
        EXPECT_EQ(back.mesh->n_vertices(), sphere->n_vertices()) << name;
        EXPECT_EQ(back.mesh->n_faces(), sphere->n_faces()) << name;
        EXPECT_NEAR(OpenMeshUtility::calcSurfaceArea(*back.mesh), OpenMeshUtility::calcSurfaceArea(*sphere),
                    1e-3);
        EXPECT_EQ(OpenMeshUtility::GetMeshPath(back.mesh.get()), dir.wfile(name));
    }
}

TEST_F(MeshFiles, ExtensionMatchIgnoresCaseWhenReading)
{
    auto grid = test::makeGrid(2, 2);
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("a.obj").c_str(), grid.get(), false));
    std::filesystem::rename(dir.file("a.obj"), dir.file("model.OBJ"));
    Read back(dir.wfile("model.OBJ"));
    ASSERT_TRUE(back.mesh);
    EXPECT_EQ(back.mesh->n_faces(), 8u);
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
    EXPECT_FALSE(OpenMeshUtility::ReadToRawMesh(dir.wfile("missing.off").c_str()));
    EXPECT_FALSE(OpenMeshUtility::ReadToRawMesh(nullptr));
}

TEST_F(MeshFiles, UnreadablePathsGiveNull)
{
    EXPECT_EQ(OpenMeshUtility::ReadMesh(nullptr), nullptr);
    EXPECT_FALSE(Read(dir.wfile("missing.obj")).mesh);
    writeFile(dir.file("noextension"), "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    EXPECT_FALSE(Read(dir.wfile("noextension")).mesh);
    writeFile(dir.file("mesh.xyz"), "v 0 0 0\n");
    EXPECT_FALSE(Read(dir.wfile("mesh.xyz")).mesh);  // no reader for it
    std::filesystem::create_directories(dir.file("folder.obj"));
    EXPECT_FALSE(Read(dir.wfile("folder.obj")).mesh);
    for (const char* name : {"e.obj", "e.off", "e.ply", "e.stl", "e.om"})
    {
        writeFile(dir.file(name), "");
        EXPECT_FALSE(Read(dir.wfile(name)).mesh) << name;
    }
}

TEST_F(MeshFiles, ReadingIsQuietAndLeavesTheHostsStreamsAsTheyWere)
{
    writeFile(dir.file("bad.off"), "OFF\n3 2 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n3 0 0 1\n");
    Capture<std::ostringstream> captured(std::cerr);
    ASSERT_TRUE(omerr().is_enabled());
    Read(dir.wfile("bad.off"));
    EXPECT_TRUE(omerr().is_enabled());
    omerr() << "host message" << std::endl;
    EXPECT_EQ(captured.text(), "host message\n");

    omerr().disable();  // a host that silenced OpenMesh keeps it silenced
    Read(dir.wfile("bad.off"));
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

TEST_F(MeshFiles, StlAndPlyAreBinaryButTheSearchIsCaseSensitive)
{
    auto grid = test::makeGrid(2, 1);  // 4 faces
    computeNormals(*grid);
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("out.stl").c_str(), grid.get(), true));
    EXPECT_EQ(std::filesystem::file_size(dir.file("out.stl")), 84u + 50u * 4u);

    // the upper-case path falls through to the text options, with normals when asked, which
    // the STL writer refuses
    EXPECT_FALSE(OpenMeshUtility::WriteMesh(dir.wfile("OUT.STL").c_str(), grid.get(), true));
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("OUT.STL").c_str(), grid.get(), false));
    EXPECT_EQ(readFile(dir.file("OUT.STL")).rfind("solid", 0), 0u);

    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("out.ply").c_str(), grid.get(), true));
    EXPECT_NE(readFile(dir.file("out.ply")).find("format binary"), std::string::npos);

    // ".stl" anywhere in the path chooses Binary alone: the OBJ writer falls back to text, and
    // normals are not written although asked for
    std::filesystem::create_directories(dir.file("dir.stl"));
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("dir.stl/out.obj").c_str(), grid.get(), true));
    const std::string obj = readFile(dir.file("dir.stl/out.obj"));
    EXPECT_NE(obj.find("v "), std::string::npos);
    EXPECT_EQ(obj.find("vn "), std::string::npos);
}

TEST_F(MeshFiles, NormalsAreWrittenOnlyWhenAsked)
{
    auto grid = test::makeGrid(2, 2);
    computeNormals(*grid);
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("n.obj").c_str(), grid.get(), true));
    EXPECT_NE(readFile(dir.file("n.obj")).find("vn "), std::string::npos);
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("none.obj").c_str(), grid.get(), false));
    EXPECT_EQ(readFile(dir.file("none.obj")).find("vn "), std::string::npos);
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("n.ply").c_str(), grid.get(), true));
    EXPECT_NE(readFile(dir.file("n.ply")).find("property float nx"), std::string::npos);
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("none.ply").c_str(), grid.get(), false));
    EXPECT_EQ(readFile(dir.file("none.ply")).find("nx"), std::string::npos);
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("none.off").c_str(), grid.get(), false));
    EXPECT_EQ(readFile(dir.file("none.off")).rfind("OFF", 0), 0u);  // not "NOFF"
}

TEST_F(MeshFiles, UntexturedMeshIsCleanedBeforeWritingAndSaysSo)
{
    auto bowTie = test::makeBowTie();
    bowTie->add_vertex({5, 5, 5});  // isolated
    Capture<std::wostringstream> out(std::wcout);
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("bow.off").c_str(), bowTie.get(), false));
    EXPECT_EQ(out.text(), L"Removed 2 degenerate faces\n");
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(*bowTie), 0u);  // the caller's mesh keeps the change
    EXPECT_EQ(OpenMeshUtility::GetVertexCount(*bowTie), 0u);
    Read back(dir.wfile("bow.off"));
    ASSERT_TRUE(back.mesh);
    EXPECT_EQ(back.mesh->n_vertices(), 0u);  // isolated vertices are not written either
}

TEST_F(MeshFiles, TexturedMeshIsWrittenWithoutTheCleanUp)
{
    auto bowTie = test::makeBowTie();
    bowTie->request_vertex_texcoords2D();
    Capture<std::wostringstream> out(std::wcout);
    ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile("bow.obj").c_str(), bowTie.get(), false));
    EXPECT_EQ(out.text(), L"");
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(*bowTie), 2u);
    EXPECT_NE(readFile(dir.file("bow.obj")).find("vt "), std::string::npos);
}

TEST_F(MeshFiles, DeletedFacesAreNeverWritten)
{
    auto grid = test::makeGrid(2, 2);
    grid->request_vertex_texcoords2D();  // no clean-up, so nothing is collected before writing
    grid->delete_face(OpenMesh::FaceHandle(0), true);
    for (const char* name : {"d.obj", "d.off", "d.ply", "d.om", "d.stl"})
    {
        ASSERT_TRUE(OpenMeshUtility::WriteMesh(dir.wfile(name).c_str(), grid.get(), false)) << name;
        Read back(dir.wfile(name));
        ASSERT_TRUE(back.mesh) << name;
        EXPECT_EQ(back.mesh->n_faces(), 7u) << name;
    }
    EXPECT_EQ(grid->n_faces(), 8u);  // the caller's mesh is not compacted
}

TEST_F(MeshFiles, NormalsNotReadFromTheFileAreZero)
{
    writeFile(dir.file("t.off"), "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n");
    Read back(dir.wfile("t.off"));
    ASSERT_TRUE(back.mesh);
    for (auto vh : back.mesh->vertices())
        EXPECT_EQ(back.mesh->normal(vh), OpenMesh::Vec3f(0, 0, 0));
}
