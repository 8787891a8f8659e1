#include "support/DecimationMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <tuple>

using Quelm::Objects::Box;
using Quelm::Objects::Vector3;
using Quelm::Topology::OpenMeshUtility;

namespace
{

struct Access : OpenMeshUtility
{
    using OpenMeshUtility::partitionMesh;
};

}  // namespace

// Level 5 gives 125 possible cells; only those that receive a face appear. Every face reaches
// exactly one cell and the source is emptied.
TEST(Partition, EveryFaceLandsInOneCellAndTheSourceIsEmptied)
{
    auto mesh = test::makeTerrain(40, 40);  // 3200 faces
    const auto box = OpenMeshUtility::ComputeBoundingBox(mesh.get());
    EXPECT_TRUE(Access::partitionMesh(nullptr, box, 5.0f, 0.0f, false).empty());
    auto cells = Access::partitionMesh(mesh.get(), box, 5.0f, 0.0f, false);
    EXPECT_EQ(mesh->n_faces(), 0u);
    EXPECT_EQ(mesh->n_vertices(), 0u);
    EXPECT_LE(cells.size(), 125u);
    EXPECT_GE(cells.size(), 25u);
    size_t faces = 0;
    for (auto& [number, cell] : cells)
    {
        EXPECT_GE(number, 0);
        EXPECT_LT(number, 125);
        EXPECT_GT(cell.n_faces(), 0u);
        faces += cell.n_faces();
        ASSERT_TRUE(cell.quadricHandle.is_valid());
        for (auto vh : cell.vertices())
            EXPECT_TRUE(cell.status(vh).selected());  // fine grid: all may move, cuts get locked later
    }
    EXPECT_EQ(faces, 3200u);
}

// A face goes whole to the cell of its reference corner (the target of its stored half-edge). The z index is
// measured from the box's minimum x: with min.x = 10, a corner at (10.5, 0.5, 0.5) gets iz = floor((0.5 - 10)
// / 0.2) = -48, so cell 2*25 + 2*5 - 48 = 12; a negative cell number becomes 0.
TEST(Partition, CellOfACornerIncludesTheBoxMaximumAndOffsetsZByTheMinimumX)
{
    const Box<float> unit(Vector3<float>(0, 0, 0), Vector3<float>(1, 1, 1));
    const Box<float> shifted(Vector3<float>(10, 0, 0), Vector3<float>(11, 1, 1));
    const std::tuple<const char*, Box<float>, test::Mesh::Point, test::Mesh::Point, int> rows[] = {
        {"box maximum: last cell", unit, {1, 1, 1}, {0.1f, 0.1f, 0.1f}, 124},
        {"z offset by min x", shifted, {10.5f, 0.5f, 0.5f}, {10.1f, 0.1f, 0.1f}, 12},
        {"negative: clamped", shifted, {10, 0, 0}, {10.1f, 0.1f, 0.1f}, 0},
    };
    for (const auto& [what, box, corner, others, number] : rows)
    {
        // the other corners sit at `others` and just beside it
        test::Mesh mesh;
        const auto fh =
            mesh.add_face(mesh.add_vertex(others), mesh.add_vertex(others + test::Mesh::Point(0.01f, 0, 0)),
                          mesh.add_vertex(others + test::Mesh::Point(0, 0.01f, 0)));
        mesh.set_point(mesh.to_vertex_handle(mesh.halfedge_handle(fh)), corner);
        auto cells = Access::partitionMesh(&mesh, box, 5.0f, 0.0f, false);
        ASSERT_EQ(cells.size(), 1u) << what;
        EXPECT_EQ(cells.begin()->first, number) << what;
        EXPECT_EQ(cells.begin()->second.n_faces(), 1u) << what;
    }
}

// With the coarse grid a vertex may move only in the cell whose box holds it: a vertex shared by
// several cells is selected in at most one of them, and vertices across a cut are not selected.
TEST(Partition, CoarseGridLetsAVertexMoveInOneCellAtMost)
{
    auto mesh = test::makeTerrain(20, 20);
    const auto box = OpenMeshUtility::ComputeBoundingBox(mesh.get());
    auto cells = Access::partitionMesh(mesh.get(), box, 2.0f, 0.0f, true);
    std::map<std::tuple<float, float, float>, int> selectedIn;
    size_t unselected = 0;
    for (auto& [number, cell] : cells)
        for (auto vh : cell.vertices())
        {
            const auto& p = cell.point(vh);
            auto& count = selectedIn[{p[0], p[1], p[2]}];
            if (cell.status(vh).selected())
                ++count;
            else
                ++unselected;
        }
    EXPECT_EQ(selectedIn.size(), 441u);
    for (const auto& [point, count] : selectedIn)
        EXPECT_LE(count, 1);
    EXPECT_GT(unselected, 0u);
}

TEST(Partition, SurvivesNanPointsAndAFlatBox)
{
    auto mesh = test::makeGrid(6, 6);  // flat: z extent 0
    const float nan = std::numeric_limits<float>::quiet_NaN();
    mesh->set_point(test::Mesh::VertexHandle(10), {nan, nan, nan});
    const auto box = OpenMeshUtility::ComputeBoundingBox(mesh.get());
    auto cells = Access::partitionMesh(mesh.get(), box, 5.0f, 0.0f, false);
    size_t faces = 0;
    for (auto& [number, cell] : cells)
    {
        EXPECT_GE(number, 0);
        EXPECT_LT(number, 125);
        faces += cell.n_faces();
    }
    EXPECT_EQ(faces, 72u);
}
