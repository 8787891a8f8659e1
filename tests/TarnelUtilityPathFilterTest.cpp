#include "support/EngineMeshes.h"
#include "tarnel/TarnelUtility.h"

#include <gtest/gtest.h>

namespace
{

using Quelm::Topology::TarnelUtility;
using Path = TarnelUtility::Path;
using PathList = TarnelUtility::PathList;

TEST(RemoveNonManifoldPaths, ClosedChecksTheClosingEdgeAndOpenDoesNot)
{
    auto mesh = test::makeEngineGrid(2, 1);  // vertices 0 1 2 / 3 4 5
    PathList paths{{0, 1, 2}, {0, 1, 4}};
    TarnelUtility::RemoveNonManifoldPaths(*mesh, paths, false);
    EXPECT_EQ(paths.size(), 2u);
    TarnelUtility::RemoveNonManifoldPaths(*mesh, paths, true);  // (2, 0) does not exist, (4, 0) does
    EXPECT_EQ(paths, (PathList{{0, 1, 4}}));
}

TEST(RemoveNonManifoldPaths, PinchVertexAndNonManifoldEdgeFailInOrder)
{
    auto bowTie = test::makeEngineBowTie();  // four boundary edges meet at vertex 0
    PathList paths{{1, 2}, {1, 0, 3}, {3, 4}, {2, 0}};
    TarnelUtility::RemoveNonManifoldPaths(*bowTie, paths, false);
    EXPECT_EQ(paths, (PathList{{1, 2}, {3, 4}}));

    auto book = test::makeEngineBook();  // edge (0, 1) has three triangles
    PathList onBook{{0, 2}, {0, 1}, {2, 1}};
    TarnelUtility::RemoveNonManifoldPaths(*book, onBook, false);
    // The book's corners 0 and 1 each have three boundary edges, so only paths avoiding them pass.
    EXPECT_TRUE(onBook.empty());
    PathList empty;
    TarnelUtility::RemoveNonManifoldPaths(*book, empty, true);
    EXPECT_TRUE(empty.empty());
}

// A 5 x 1 grid with only quads 0 and 4 flagged: two flagged regions, {0, 1, 6, 7} and {4, 5, 10, 11}.
class TwoRegions : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mesh = test::makeEngineGrid(5, 1);
        for (unsigned tID : {0u, 1u, 8u, 9u})
            mesh->SetTriangleFlag(tID, kFlag);
    }
    static constexpr unsigned kFlag = 7;
    std::unique_ptr<vsk::VFTriangleMesh> mesh;
};

TEST_F(TwoRegions, PathsAdjacentToLoopsAreErasedByRegion)
{
    PathList paths{{1, 2}, {5, 4}, {6}, {3, 2}, {}};
    PathList untouched = paths;
    TarnelUtility::RemovePathsAdjacentToLoops(*mesh, untouched, {}, kFlag);
    EXPECT_EQ(untouched, paths);
    TarnelUtility::RemovePathsAdjacentToLoops(*mesh, paths, {{}, {7, 0}}, kFlag);
    // Vertex 3 touches no flagged triangle; the empty path stays.
    EXPECT_EQ(paths, (PathList{{5, 4}, {3, 2}, {}}));
}

// A path alone in its region stays; of equally long paths in one region exactly one stays; two
// copies of one path are separate entries, each its own group.
TEST_F(TwoRegions, LongerPathsKeepOnePerRegionInOrderOfFirstMeeting)
{
    const std::pair<PathList, PathList> cases[] = {
        {{{1, 2}}, {{1, 2}}},
        {{{4, 3}, {0, 1}}, {{4, 3}, {0, 1}}},
        {{{}, {5, 9}, {0, 2}, {6, 2, 3, 8}, {11, 3, 2}, {1, 2, 3}}, {{11, 3, 2}, {6, 2, 3, 8}}},
        {{{0, 2}, {0, 2}}, {{0, 2}, {0, 2}}},
    };
    for (size_t row = 0; row < std::size(cases); ++row)
    {
        PathList paths = cases[row].first;
        TarnelUtility::RemovePathsAdjacentToLongerPaths(*mesh, paths, kFlag);
        EXPECT_EQ(paths, cases[row].second) << "row " << row;
    }
    PathList equal{{0, 2}, {7, 2}, {1, 3}};
    TarnelUtility::RemovePathsAdjacentToLongerPaths(*mesh, equal, kFlag);
    ASSERT_EQ(equal.size(), 1u);
    EXPECT_EQ(equal[0].size(), 2u);
}

// Paths and ID sets from a caller can hold anything: none of this may crash or trip the engine.
TEST(GarbageIds, AreSkippedWithoutEngineReports)
{
    auto mesh = test::makeEngineGrid(3, 3);
    test::flagAll(*mesh, 0);
    mesh->RemoveTriangle(4);
    const unsigned bad = vsk::IMesh::InvalidID, far = 500000000u;
    test::AssertCapture capture;

    PathList paths{{bad, far}, {0, bad, 1}, {}, {far}, {1, 2}};
    EXPECT_TRUE(TarnelUtility::GetTrianglesOfBoundary(*mesh, {bad, far, bad}, true).empty());
    EXPECT_EQ(TarnelUtility::GetTrianglesAtBoundaryPathEnds(*mesh, {bad, far}), std::make_pair(bad, bad));
    TarnelUtility::GetClosestBoundaryPaths(*mesh, paths, true);
    Path extended{1, far};
    TarnelUtility::ExtendBoundaryPath(*mesh, extended, bad);
    EXPECT_EQ(extended, (Path{1, far}));
    TarnelUtility::RemovePathsAdjacentToLoops(*mesh, paths, {{far}, {bad}}, 0);
    EXPECT_EQ(paths.size(), 5u);
    TarnelUtility::RemovePathsAdjacentToLongerPaths(*mesh, paths, 0);
    TarnelUtility::RemoveNonManifoldPaths(*mesh, paths, false);

    std::set<unsigned> selection{far, 4}, singles, include, found;
    std::set<unsigned> tris{bad, far, 4, 5};
    TarnelUtility::IncludeTriangleWithTwoNeighbour(*mesh, tris, selection, singles, include);
    TarnelUtility::RemoveFlippedTriangle(*mesh, tris, selection, found);
    TarnelUtility::CheckAndFixManifoldBoundariesInSelection(*mesh, selection);
    TarnelUtility::GetConnectedSelection(*mesh, 4u, selection, 0);
    std::unordered_set<unsigned> vertices;
    TarnelUtility::GetConnectedSelection(*mesh, far, vertices, 0);
    EXPECT_TRUE(vertices.empty());
    EXPECT_EQ(TarnelUtility::GetVertexOfTriangle(*mesh, far, {}), bad);
    EXPECT_TRUE(TarnelUtility::TriangleQualityCheck(*mesh, far, 0, 180, 10));
    EXPECT_EQ(capture.count(), 0u);
}

}  // namespace
