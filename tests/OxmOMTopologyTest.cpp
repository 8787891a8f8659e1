#include "topology/OxmOMTopology.h"

#include "support/DecimationMeshes.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

using test::DecimationMesh;

namespace
{

using Kernel = DecimationMesh::Base;

// Compares the mesh's collapse check with the kernel's on every halfedge, deleted ones included;
// returns how many halfedges may collapse.
size_t expectSameCollapseAnswers(DecimationMesh& mesh, const char* what)
{
    size_t allowed = 0;
    for (size_t i = 0; i < mesh.n_halfedges(); ++i)
    {
        const DecimationMesh::HalfedgeHandle h(static_cast<int>(i));
        const bool ours = mesh.is_collapse_ok(h);
        const bool kernel = mesh.Kernel::is_collapse_ok(h);
        EXPECT_EQ(ours, kernel) << what << ": halfedge " << i;
        if (ours != kernel)
            return allowed;
        allowed += ours;
    }
    return allowed;
}

// Same for the halfedge search, over every ordered pair of vertices.
void expectSameHalfedgeSearch(const DecimationMesh& mesh, const char* what)
{
    for (auto a : mesh.all_vertices())
        for (auto b : mesh.all_vertices())
            if (mesh.find_halfedge(a, b) != mesh.Kernel::find_halfedge(a, b))
            {
                ADD_FAILURE() << what << ": find_halfedge(" << a.idx() << ", " << b.idx() << ")";
                return;
            }
}

// Collapses random allowed halfedges, comparing the answers on the whole mesh every few steps, so
// that low valences, pinched boundaries and deleted elements all get visited.
void collapseRandomly(DecimationMesh& mesh, size_t steps, uint32_t seed, const char* what)
{
    std::mt19937 rng(seed);
    EXPECT_GT(expectSameCollapseAnswers(mesh, what), 0u) << what;
    for (size_t s = 0; s < steps; ++s)
    {
        std::uniform_int_distribution<int> pick(0, static_cast<int>(mesh.n_halfedges()) - 1);
        for (int tries = 0; tries < 64; ++tries)
        {
            const DecimationMesh::HalfedgeHandle h(pick(rng));
            if (mesh.Kernel::is_collapse_ok(h))
            {
                mesh.collapse(h);
                break;
            }
        }
        if (s % 16 == 15)
            expectSameHalfedgeSearch(mesh, what);
        if (s % 16 == 15 || s + 1 == steps)
            expectSameCollapseAnswers(mesh, what);
        if (::testing::Test::HasFailure())
            return;
    }
}

}  // namespace

TEST(OxmOMTopologyCollapse, AgreesWithTheKernelOnSmallClosedAndOpenMeshes)
{
    // tetrahedron: every link holds vl and vr only, yet the kernel refuses
    auto tetra = test::makeTetrahedron();
    for (auto h : tetra->halfedges())
        EXPECT_EQ(tetra->is_collapse_ok(h), tetra->Kernel::is_collapse_ok(h));

    auto tri = test::makeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
    for (auto h : tri->halfedges())
        EXPECT_FALSE(tri->is_collapse_ok(h));
    // four triangles around a centre of valence 4
    auto fan = test::makeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}},
                              {{0, 1, 2}, {0, 2, 3}, {0, 3, 4}, {0, 4, 1}});
    EXPECT_GT(expectSameCollapseAnswers(*fan, "fan"), 0u);
    // a strip of three quads: every inner edge joins two boundary vertices
    EXPECT_GT(expectSameCollapseAnswers(*test::makeGrid(3, 1), "strip"), 0u);
    // an octahedron collapsed down to a tetrahedron and beyond
    auto octa = test::makeMesh(
        {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}},
        {{0, 2, 4}, {2, 1, 4}, {1, 3, 4}, {3, 0, 4}, {2, 0, 5}, {1, 2, 5}, {3, 1, 5}, {0, 3, 5}});
    collapseRandomly(*octa, 6, 3, "octahedron");
}

TEST(OxmOMTopologyCollapse, AgreesWithTheKernelThroughRandomCollapsesOfATerrainWithHoles)
{
    for (uint32_t seed : {1u, 2u, 3u})
    {
        auto mesh = test::makeTerrain(14, 12, 0.05f, seed);
        // Punch holes, some touching each other at a vertex, and a slit along the border.
        std::mt19937 rng(seed);
        std::uniform_int_distribution<int> pick(0, static_cast<int>(mesh->n_faces()) - 1);
        for (int i = 0; i < 25; ++i)
        {
            const DecimationMesh::FaceHandle f(pick(rng));
            if (!mesh->status(f).deleted())
                mesh->delete_face(f, true);
        }
        collapseRandomly(*mesh, 200, seed, "terrain");
        if (HasFailure())
            return;
    }
}

// OpenMesh leaves the normal and texture coordinate of a new element uninitialised. The mesh's
// arrays are first filled with a marker and cleared keeping their memory, so a path that forgot
// to zero would show the marker rather than a lucky zero.
TEST(OxmOMTopology, EveryNewVertexHasZeroNormalAndTextureCoordinate)
{
    using Mesh = Quelm::Topology::TopologyMesh;
    const Mesh::Point p(1, 2, 3);
    const std::pair<const char*, std::function<void(Mesh&)>> ways[] = {
        {"add_vertex", [&](Mesh& m) { m.add_vertex(p); }},
        {"add_vertex_dirty", [&](Mesh& m) { m.add_vertex_dirty(p); }},
        {"new_vertex", [&](Mesh& m) { m.new_vertex(); }},
        {"new_vertex(p)", [&](Mesh& m) { m.new_vertex(p); }},
        {"new_vertex_dirty", [&](Mesh& m) { m.new_vertex_dirty(p); }},
        {"resize", [&](Mesh& m) { m.resize(m.n_vertices() + 5, m.n_edges(), m.n_faces()); }},
        {"split edge", [&](Mesh& m) { m.split(m.edge_handle(0), p); }},
        {"split face", [&](Mesh& m) { m.split(m.face_handle(0), p); }},
        {"split_copy edge", [&](Mesh& m) { m.split_copy(m.edge_handle(0), p); }},
        {"split_copy face", [&](Mesh& m) { m.split_copy(m.face_handle(0), p); }},
        {"normals released and requested again",
         [&](Mesh& m)
         {
             m.release_vertex_normals();
             m.request_vertex_normals();
         }},
        {"texture coordinates released and requested again",
         [&](Mesh& m)
         {
             m.release_vertex_texcoords2D();
             m.request_vertex_texcoords2D();
         }},
        {"copy",
         [&](Mesh& m)
         {
             Mesh copy(m);
             m = copy;
         }},
    };
    for (const auto& [what, makeVertex] : ways)
    {
        Mesh mesh;
        mesh.request_vertex_texcoords2D();
        for (int i = 0; i < 64; ++i)
        {
            const auto vh = mesh.add_vertex(p);
            mesh.set_normal(vh, Mesh::Normal(7, 7, 7));
            mesh.set_texcoord2D(vh, Mesh::TexCoord2D(7, 7));
        }
        mesh.clean_keep_reservation();  // the marker stays in the reserved memory
        const auto a = mesh.add_vertex({0, 0, 0}), b = mesh.add_vertex({1, 0, 0}),
                   c = mesh.add_vertex({0, 1, 0});
        mesh.add_face(a, b, c);
        makeVertex(mesh);
        ASSERT_TRUE(mesh.has_vertex_normals() && mesh.has_vertex_texcoords2D()) << what;
        for (auto vh : mesh.vertices())
        {
            EXPECT_EQ(mesh.normal(vh), Mesh::Normal(0, 0, 0)) << what << ": vertex " << vh.idx();
            EXPECT_EQ(mesh.texcoord2D(vh), Mesh::TexCoord2D(0, 0)) << what << ": vertex " << vh.idx();
        }
    }
}

// A property requested anew starts at zero; the values of the others stay as they were.
TEST(OxmOMTopology, RequestingAPropertyLeavesTheOthersAlone)
{
    using Mesh = Quelm::Topology::TopologyMesh;
    Mesh mesh;
    const auto vh = mesh.add_vertex({1, 2, 3});
    mesh.set_normal(vh, Mesh::Normal(0, 0, 1));
    mesh.request_vertex_texcoords2D();
    mesh.request_vertex_colors();
    EXPECT_EQ(mesh.texcoord2D(vh), Mesh::TexCoord2D(0, 0));
    EXPECT_EQ(mesh.color(vh), Mesh::Color(0, 0, 0));
    EXPECT_EQ(mesh.normal(vh), Mesh::Normal(0, 0, 1));
    mesh.set_texcoord2D(vh, Mesh::TexCoord2D(0.5f, 0.25f));
    mesh.release_vertex_normals();
    mesh.request_vertex_normals();
    EXPECT_EQ(mesh.normal(vh), Mesh::Normal(0, 0, 0));
    EXPECT_EQ(mesh.texcoord2D(vh), Mesh::TexCoord2D(0.5f, 0.25f));
}
