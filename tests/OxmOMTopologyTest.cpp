#include "topology/OxmOMTopology.h"

#include "support/DecimationMeshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
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
        {
            expectSameCollapseAnswers(mesh, what);
            expectSameHalfedgeSearch(mesh, what);
        }
        if (::testing::Test::HasFailure())
            return;
    }
    expectSameCollapseAnswers(mesh, what);
}

DecimationMesh::VertexHandle addVertex(DecimationMesh& mesh, float x, float y, float z)
{
    return mesh.add_vertex(DecimationMesh::Point(x, y, z));
}

}  // namespace

TEST(OxmOMTopologyCollapse, AgreesWithTheKernelOnSmallClosedAndOpenMeshes)
{
    {  // tetrahedron: every link holds vl and vr only, yet the kernel refuses
        DecimationMesh mesh;
        auto a = addVertex(mesh, 0, 0, 0), b = addVertex(mesh, 1, 0, 0), c = addVertex(mesh, 0, 1, 0),
             d = addVertex(mesh, 0, 0, 1);
        mesh.add_face(a, c, b);
        mesh.add_face(a, b, d);
        mesh.add_face(b, c, d);
        mesh.add_face(c, a, d);
        for (auto h : mesh.halfedges())
            EXPECT_EQ(mesh.is_collapse_ok(h), mesh.Kernel::is_collapse_ok(h));
    }
    {  // one triangle, then a fan of four around a centre, then a strip with a boundary-to-boundary inner edge
        DecimationMesh tri;
        tri.add_face(addVertex(tri, 0, 0, 0), addVertex(tri, 1, 0, 0), addVertex(tri, 0, 1, 0));
        for (auto h : tri.halfedges())
            EXPECT_FALSE(tri.is_collapse_ok(h));

        DecimationMesh fan;
        auto c = addVertex(fan, 0, 0, 0);
        std::vector<DecimationMesh::VertexHandle> rim;
        for (int i = 0; i < 4; ++i)
            rim.push_back(addVertex(fan, std::cos(i * 1.57f), std::sin(i * 1.57f), 0));
        for (int i = 0; i < 4; ++i)
            fan.add_face(c, rim[i], rim[(i + 1) % 4]);
        EXPECT_GT(expectSameCollapseAnswers(fan, "fan"), 0u);

        DecimationMesh strip;
        std::vector<DecimationMesh::VertexHandle> v;
        for (int i = 0; i < 4; ++i)
        {
            v.push_back(addVertex(strip, float(i), 0, 0));
            v.push_back(addVertex(strip, float(i), 1, 0));
        }
        for (int i = 0; i < 3; ++i)
        {
            strip.add_face(v[2 * i], v[2 * i + 2], v[2 * i + 3]);
            strip.add_face(v[2 * i], v[2 * i + 3], v[2 * i + 1]);
        }
        EXPECT_GT(expectSameCollapseAnswers(strip, "strip"), 0u);
    }
    {  // octahedron collapsed down to a tetrahedron and beyond
        DecimationMesh octa;
        std::vector<DecimationMesh::VertexHandle> v = {addVertex(octa, 1, 0, 0), addVertex(octa, -1, 0, 0),
                                                       addVertex(octa, 0, 1, 0), addVertex(octa, 0, -1, 0),
                                                       addVertex(octa, 0, 0, 1), addVertex(octa, 0, 0, -1)};
        const int faces[8][3] = {{0, 2, 4}, {2, 1, 4}, {1, 3, 4}, {3, 0, 4}, {2, 0, 5}, {1, 2, 5}, {3, 1, 5}, {0, 3, 5}};
        for (auto& f : faces)
            octa.add_face(v[f[0]], v[f[1]], v[f[2]]);
        collapseRandomly(octa, 6, 3, "octahedron");
    }
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
