#include "tools/GridCells.h"

#include "support/TestMeshes.h"
#include "topology/OpenMeshUtility.h"

#include <gtest/gtest.h>

namespace
{

using Quelm::Tools::countCellsWithFaces;
using Quelm::Tools::countDecimatableFaces;
using Quelm::Tools::plannedGridPasses;

Quelm::Objects::Box<float> boxOf(const test::Mesh& mesh)
{
    return Quelm::Topology::OpenMeshUtility::ComputeBoundingBox(&mesh);
}

TEST(GridPasses, LevelGrowsWithTheLogOfTheFaceCountFromFive)
{
    auto levels = [](uint64_t faces, float ratio, bool coarse)
    {
        std::vector<int> out;
        for (const auto& pass : plannedGridPasses(faces, ratio, coarse))
            out.push_back(pass.level);
        return out;
    };
    EXPECT_EQ(levels(2'000'000, 0.9f, false), (std::vector<int>{7, 4}));
    EXPECT_EQ(levels(1'000'000, 0.9f, false), (std::vector<int>{6, 3}));  // log10 exactly 6
    EXPECT_EQ(levels(1'000'001, 0.9f, false), (std::vector<int>{7, 4}));
    EXPECT_EQ(levels(1000, 0.9f, false), (std::vector<int>{5, 2}));       // never below level 5
    EXPECT_EQ(levels(2'000'000, 0.5f, false), (std::vector<int>{7}));     // 0.5 is one pass
    EXPECT_EQ(levels(2'000'000, 0.51f, true), (std::vector<int>{4, 4}));  // coarse in every pass
    EXPECT_TRUE(levels(0, 0.9f, false).empty());
    EXPECT_EQ(plannedGridPasses(2'000'000, 0.9f, false)[0].gridCells, 343u);
}

TEST(DecimatableFaces, CoarseCountSkipsFacesWithAllCornersOnTheBoundary)
{
    auto mesh = test::makeGrid(3, 3);  // 18 faces; only the 4 inner vertices are off the boundary
    EXPECT_EQ(countDecimatableFaces(*mesh, false), 18u);
    // the corner cells at (3, 0) and (0, 3) each hold one face with all three corners on the
    // boundary (the diagonals run from (i, j) to (i + 1, j + 1))
    EXPECT_EQ(countDecimatableFaces(*mesh, true), 16u);

    mesh->status(test::Mesh::FaceHandle(0)).set_locked(true);
    mesh->delete_face(test::Mesh::FaceHandle(1), false);
    EXPECT_EQ(countDecimatableFaces(*mesh, false), 16u);  // locked and deleted faces are not counted
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
