#include "support/DecimationMeshes.h"
#include "topology/OpenMeshUtility.h"
#include "topology/decimation/OxmModQuadric.h"

#include <gtest/gtest.h>
#include <oneapi/tbb/global_control.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <vector>

using Quelm::Topology::OpenMeshUtility;

namespace
{

struct Access : OpenMeshUtility
{
    using OpenMeshUtility::mergePartitionMesh;
    using OpenMeshUtility::partitionDecimate;
    using OpenMeshUtility::partitionMesh;
};

}  // namespace

TEST(ParallelDecimation, NothingToRemoveReturnsFalseAndKeepsTheMesh)
{
    EXPECT_FALSE(OpenMeshUtility::DecimateMeshParallel(nullptr, 0.5f, 0.1, 60.0, true, false, false));
    auto mesh = test::makeTerrain(10, 10);
    EXPECT_FALSE(OpenMeshUtility::DecimateMeshParallel(mesh.get(), 0.0f, 0.1, 60.0, true, false, false));
    EXPECT_FALSE(OpenMeshUtility::DecimateMeshParallel(mesh.get(), -1.0f, 0.1, 60.0, true, true, false));
    EXPECT_FALSE(OpenMeshUtility::DecimateMeshParallel(mesh.get(), 0.004f, 0.1, 60.0, true, false, false));
    EXPECT_EQ(OpenMeshUtility::GetFaceCount(*mesh), 200u);
}

// The headline case: ~100k faces at ratio 0.9, two passes over the fine then the coarse grid.
TEST(ParallelDecimation, LargeTerrainReachesItsTargetCleanly)
{
    auto mesh = test::makeTerrain(224, 224);  // 100352 faces
    const auto box = OpenMeshUtility::ComputeBoundingBox(mesh.get());
    // R = trunc(F * ratio) = 90316 faces to remove: trunc(0.9 R) in the first pass, trunc(0.1 R)
    // in the second.
    const size_t target = 100352 - 81284 - 9031;
    ASSERT_TRUE(OpenMeshUtility::DecimateMeshParallel(mesh.get(), 0.9f, 0.1, 60.0, true, false, false));
    const size_t faces = OpenMeshUtility::GetFaceCount(*mesh);
    EXPECT_LE(faces, target + target / 50);  // the seam pass may stop short on locked corners
    EXPECT_GE(faces + 1, target);
    EXPECT_EQ(test::countDegenerateFaces(*mesh), 0u);
    const auto lo = box.getMin(), hi = box.getMax();
    EXPECT_TRUE(test::allInside(*mesh, {lo.x, lo.y, lo.z}, {hi.x, hi.y, hi.z}));
    EXPECT_TRUE(test::isCompact(*mesh));
    EXPECT_FALSE(mesh->quadricHandle.is_valid());
    EXPECT_FALSE(mesh->has_face_normals());
    EXPECT_FALSE(OpenMeshUtility::HasNonManifoldVertices(*mesh));
}

// A ratio of 0.5 runs one pass, which removes only its 0.9 share of R = 1600. Above 0.5 two passes
// run, and the last seam pass, with every vertex free, meets the target exactly on a flat mesh:
// R = trunc(3200 * 0.51f) = 1632 in single precision (1631 in double), then trunc(0.9 R) = 1468
// and trunc(0.1 R) = 163. One collapse may remove two faces at once.
TEST(ParallelDecimation, OnePassAtRatioHalfAndTwoPassesAboveMeetTheirTargets)
{
    auto half = test::makeTerrain(40, 40);  // 3200 faces
    ASSERT_TRUE(OpenMeshUtility::DecimateMeshParallel(half.get(), 0.5f, 0.1, 60.0, true, false, false));
    EXPECT_LE(OpenMeshUtility::GetFaceCount(*half), 3200u - 1440u);
    EXPECT_GE(OpenMeshUtility::GetFaceCount(*half), 3200u - 1441u);

    auto flat = test::makeTerrain(40, 40, 0.0f);
    for (auto vh : flat->vertices())
        flat->set_point(vh, {flat->point(vh)[0], flat->point(vh)[1], 0.0f});
    ASSERT_TRUE(OpenMeshUtility::DecimateMeshParallel(flat.get(), 0.51f, 1.0, 90.0, true, false, false));
    const size_t target = 3200u - 1468u - 163u;
    EXPECT_LE(OpenMeshUtility::GetFaceCount(*flat), target);
    EXPECT_GE(OpenMeshUtility::GetFaceCount(*flat) + 1, target);
    EXPECT_EQ(test::countDegenerateFaces(*flat), 0u);
}

TEST(ParallelDecimation, SameResultWithOneThreadAndWithMany)
{
    auto run = [](size_t threads, bool coarse)
    {
        tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
        auto mesh = test::makeTerrain(48, 48);
        OpenMeshUtility::DecimateMeshParallel(mesh.get(), 0.8f, 0.1, 60.0, true, coarse, false);
        return test::points(*mesh);
    };
    for (bool coarse : {false, true})
    {
        const auto one = run(1, coarse);
        const auto many = run(4, coarse);
        EXPECT_GT(one.size(), 0u);
        EXPECT_EQ(one, many);
    }
}

TEST(ParallelDecimation, CarriesTexturesAndUpdatesNormalsKeepingFaceNormalsAsTheyWere)
{
    auto plain = test::makeTerrain(30, 30, 0.0f);
    for (auto vh : plain->vertices())
        plain->set_normal(vh, {9, 9, 9});
    ASSERT_TRUE(OpenMeshUtility::DecimateMeshParallel(plain.get(), 0.6f, 0.1, 60.0, true, false, true));
    EXPECT_FALSE(plain->has_face_normals());
    for (auto vh : plain->vertices())
        EXPECT_NEAR(plain->normal(vh).norm(), 1.0f, 1e-4f);

    auto mesh = test::makeTerrain(30, 30);
    mesh->request_face_normals();
    mesh->request_vertex_texcoords2D();
    mesh->request_face_texture_index();
    for (auto vh : mesh->vertices())
        mesh->set_texcoord2D(vh, {mesh->point(vh)[0] / 30.0f, mesh->point(vh)[1] / 30.0f});
    for (auto fh : mesh->faces())
        mesh->set_texture_index(fh, 3);
    ASSERT_TRUE(OpenMeshUtility::DecimateMeshParallel(mesh.get(), 0.7f, 0.1, 60.0, true, false, true));
    ASSERT_TRUE(mesh->has_face_normals() && mesh->has_vertex_texcoords2D());
    for (auto vh : mesh->vertices())  // each kept vertex keeps its own coordinate
        EXPECT_EQ(mesh->texcoord2D(vh),
                  OpenMesh::Vec2f(mesh->point(vh)[0] / 30.0f, mesh->point(vh)[1] / 30.0f));
    for (auto fh : mesh->faces())
    {
        EXPECT_EQ(mesh->texture_index(fh), 3);
        EXPECT_NEAR(mesh->normal(fh).norm(), 1.0f, 1e-4f);
    }
}

TEST(ParallelDecimation, SurvivesBadMeshes)
{
    auto mesh = test::makeTerrain(30, 30);
    const auto a = mesh->add_vertex({100, 100, 0});
    const auto b = mesh->add_vertex({101, 100, 0});
    const auto c = mesh->add_vertex({102, 100, 0});
    mesh->add_face(a, b, c);                            // zero area
    mesh->add_vertex({-5, -5, -5});                     // isolated
    auto d = mesh->add_vertex({0, 0, 0});               // a coincident twin of vertex 0
    mesh->add_face(d, test::Mesh::VertexHandle(1), a);  // shares a corner position: welded
    const float nan = std::numeric_limits<float>::quiet_NaN();
    mesh->set_point(test::Mesh::VertexHandle(200), {nan, 0, nan});
    OpenMeshUtility::DecimateMeshParallel(mesh.get(), 0.9f, 0.1, 60.0, true, false, true);
    EXPECT_EQ(test::countDegenerateFaces(*mesh), 0u);

    auto bow = test::makeBowTie();
    OpenMeshUtility::DecimateMeshParallel(bow.get(), 0.9f, 0.1, 60.0, true, true, false);
    EXPECT_LE(OpenMeshUtility::GetFaceCount(*bow), 2u);
}

// A cell's cut border never moves: only interior, SELECTED vertices are removed.
TEST(CellDecimation, HoldsTheBorderAndUnselectedVertices)
{
    auto cell = test::makeGrid(10, 10);
    for (auto vh : cell->vertices())
        cell->status(vh).set_selected(cell->point(vh)[0] < 5.0f);
    cell->add_property(cell->quadricHandle);  // zero quadrics: every flat collapse is free
    Access::partitionDecimate(*cell, 0, 1.0, 60.0);
    EXPECT_TRUE(test::isCompact(*cell));
    const auto right = std::count_if(cell->vertices_begin(), cell->vertices_end(),
                                     [&](auto vh) { return cell->point(vh)[0] >= 5.0f; });
    EXPECT_EQ(right, 6 * 11);  // x = 5..10, every vertex kept
    EXPECT_LT(cell->n_vertices(), 121u);
}

// Two halves of a grid merge back into one mesh: cut vertices welded once, listed as seam
// vertices and SELECTED. Halves without a record of the quadrics they received add their copies'
// quadrics whole.
TEST(CellMerge, WeldsTheCutOnceAndListsItsVertices)
{
    auto left = test::makeGrid(2, 2);
    auto right = test::makeGrid(2, 2);
    for (auto vh : right->vertices())
        right->set_point(vh, right->point(vh) + test::Mesh::Point(2, 0, 0));
    for (auto* half : {left.get(), right.get()})
    {
        half->add_property(half->quadricHandle);
        for (auto vh : half->vertices())
            half->property(half->quadricHandle, vh) = Quelm::Topology::Quadric(1, 0, 0, 0);
    }
    test::Mesh merged;
    tbb::concurrent_vector<OpenMesh::VertexHandle> seam;
    OpenMeshUtility::WeldMap weld;
    Access::mergePartitionMesh(merged, seam, weld, *left, false);
    Access::mergePartitionMesh(merged, seam, weld, *right, false);
    EXPECT_EQ(merged.n_faces(), 16u);
    EXPECT_EQ(merged.n_vertices(), 15u);  // 9 + 9 - 3 on the cut
    EXPECT_EQ(seam.size(), 13u);          // 8 + 8 boundary vertices, the 3 cut ones once
    for (auto vh : seam)
        EXPECT_TRUE(merged.status(vh).selected());
    int interior = 0;
    for (auto vh : merged.vertices())
    {
        if (!merged.is_boundary(vh))
        {
            ++interior;
            EXPECT_FALSE(merged.status(vh).selected() && merged.point(vh)[0] != 2.0f);
        }
        const double xx = merged.property(merged.quadricHandle, vh).xx();
        EXPECT_EQ(xx, merged.point(vh)[0] == 2.0f ? 2.0 : 1.0);
    }
    EXPECT_EQ(interior, 3);  // (1,1), (2,1), (3,1)
}

// Cutting a mesh into cells and merging them back, with no collapse between, gives every vertex
// the quadric it had: a vertex shared by several cells is not counted once per cell.
TEST(CellMerge, PartitionThenMergeKeepsEveryQuadric)
{
    auto mesh = test::makeTerrain(20, 20);
    {
        Quelm::Topology::OxmModQuadric quadrics(*mesh);
        quadrics.keep_quadrics = true;
        quadrics.initialize();
    }
    std::map<std::array<float, 3>, Quelm::Topology::Quadric> before;
    for (auto vh : mesh->vertices())
    {
        const auto& p = mesh->point(vh);
        before[{p[0], p[1], p[2]}] = mesh->property(mesh->quadricHandle, vh);
    }
    const auto box = OpenMeshUtility::ComputeBoundingBox(mesh.get());
    auto cells = Access::partitionMesh(mesh.get(), box, 3.0f, 0.0f, false);
    ASSERT_GT(cells.size(), 4u);

    std::map<int, test::Mesh*> inOrder;
    for (auto& [number, cell] : cells)
        inOrder[number] = &cell;
    test::Mesh merged;
    tbb::concurrent_vector<OpenMesh::VertexHandle> seam;
    OpenMeshUtility::WeldMap weld;
    for (auto& [number, cell] : inOrder)
        Access::mergePartitionMesh(merged, seam, weld, *cell, false);

    ASSERT_EQ(merged.n_vertices(), before.size());
    for (auto vh : merged.vertices())
    {
        const auto& p = merged.point(vh);
        const auto& expected = before.at({p[0], p[1], p[2]});
        const auto& q = merged.property(merged.quadricHandle, vh);
        const double scale = std::abs(expected.ww()) + 1.0;
        EXPECT_NEAR(q.xx(), expected.xx(), 1e-9 * scale);
        EXPECT_NEAR(q.zz(), expected.zz(), 1e-9 * scale);
        EXPECT_NEAR(q.zw(), expected.zw(), 1e-9 * scale);
        EXPECT_NEAR(q.ww(), expected.ww(), 1e-9 * scale);
    }
}
