#include "tools/GridCells.h"

#include "support/TestMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <gtest/gtest.h>

namespace
{

using Quelm::Tools::countCellsWithFaces;
using Quelm::Tools::plannedGridPasses;

Quelm::Objects::Box<float> boxOf(const test::Mesh& mesh)
{
    return Quelm::Topology::OpenMeshUtility::ComputeBoundingBox(&mesh);
}

// The tool plans its report from the library's grid levels.
TEST(GridPasses, PlanOneEntryPerPassWithItsCellCount)
{
    const auto passes = plannedGridPasses(2'000'000, 0.9f, false);
    ASSERT_EQ(passes.size(), 2u);
    EXPECT_EQ(passes[0].level, 7);
    EXPECT_EQ(passes[0].gridCells, 343u);
    EXPECT_EQ(passes[1].gridCells, 64u);
    EXPECT_TRUE(plannedGridPasses(0, 0.9f, false).empty());
}

TEST(GridCellsWithFaces, CountsOnlyCellsThatReceiveACorner)
{
    auto mesh = test::makeGrid(4, 4);  // z = 0, so every z index is 0 when min x is 0
    const auto box = boxOf(*mesh);
    EXPECT_EQ(countCellsWithFaces(*mesh, box, 2), 4u);
    EXPECT_EQ(countCellsWithFaces(*mesh, box, 4), 16u);
    EXPECT_EQ(countCellsWithFaces(*mesh, box, 0), 0u);
}

TEST(GridCellsWithFaces, OffsetsTheZIndexByTheMinimumX)
{
    auto mesh = test::makeGrid(4, 4);
    for (auto vh : mesh->vertices())  // move to x in [10, 14], z in [0, 1]
    {
        auto p = mesh->point(vh);
        mesh->set_point(vh, test::Mesh::Point(p[0] + 10, p[1], p[0] / 4));
    }
    // z - min x is about -10, far below the grid: every cell number is negative and becomes 0
    EXPECT_EQ(countCellsWithFaces(*mesh, boxOf(*mesh), 2), 1u);
}

TEST(GridCellsWithFaces, SkipsDeletedFaces)
{
    auto mesh = test::makeGrid(2, 1);
    mesh->delete_face(test::Mesh::FaceHandle(2), false);
    mesh->delete_face(test::Mesh::FaceHandle(3), false);
    EXPECT_EQ(countCellsWithFaces(*mesh, boxOf(*mesh), 2), 1u);
}

}  // namespace
