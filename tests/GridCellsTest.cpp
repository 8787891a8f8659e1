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

TEST(GridCellsWithFaces, CountsOnlyCellsThatReceiveACornerOfALiveFace)
{
    // z = 0, so every z index is 0 when min x is 0 (the offset by min x is tested with the partition)
    auto mesh = test::makeGrid(4, 4);
    const auto box = boxOf(*mesh);
    EXPECT_EQ(countCellsWithFaces(*mesh, box, 2), 4u);
    EXPECT_EQ(countCellsWithFaces(*mesh, box, 4), 16u);
    EXPECT_EQ(countCellsWithFaces(*mesh, box, 0), 0u);

    auto strip = test::makeGrid(2, 1);
    strip->delete_face(test::Mesh::FaceHandle(2), false);
    strip->delete_face(test::Mesh::FaceHandle(3), false);
    EXPECT_EQ(countCellsWithFaces(*strip, boxOf(*strip), 2), 1u);
}

}  // namespace
