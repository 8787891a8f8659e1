#include "topology/decimation/GridPartition.h"

#include "support/TestMeshes.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

using Quelm::Topology::detail::countDecimatableFaces;
using Quelm::Topology::detail::GridLevels;

// The levels of every pass of a run over `faces` decimatable faces.
std::vector<int> levels(size_t faces, float ratio, bool coarse)
{
    const GridLevels grid(faces);
    std::vector<int> out;
    for (int pass = 0; pass < GridLevels::passCount(ratio); ++pass)
        out.push_back(grid.levelOfPass(pass, coarse));
    return out;
}

TEST(GridLevels, GrowWithTheLogOfTheFaceCountFromFive)
{
    EXPECT_EQ(levels(2'000'000, 0.9f, false), (std::vector<int>{7, 4}));
    EXPECT_EQ(levels(1'000'000, 0.9f, false), (std::vector<int>{6, 3}));  // log10 exactly 6
    EXPECT_EQ(levels(1'000'001, 0.9f, false), (std::vector<int>{7, 4}));
    EXPECT_EQ(levels(1000, 0.9f, false), (std::vector<int>{5, 2}));       // never below level 5
    EXPECT_EQ(levels(2'000'000, 0.5f, false), (std::vector<int>{7}));     // 0.5 is one pass
    EXPECT_EQ(levels(2'000'000, 0.51f, true), (std::vector<int>{4, 4}));  // coarse in every pass
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

}  // namespace
