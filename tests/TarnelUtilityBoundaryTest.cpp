#include "support/EngineMeshes.h"
#include "tarnel/TarnelUtility.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

namespace
{

using Quelm::Topology::TarnelUtility;
using test::gridTriangle;
using Path = TarnelUtility::Path;
using PathList = TarnelUtility::PathList;
constexpr unsigned kInvalid = vsk::IMesh::InvalidID;

// The 2 x 1 grid: vertices 0 1 2 / 3 4 5; triangles 0 (0,1,4), 1 (0,4,3), 2 (1,2,5), 3 (1,5,4).
// Its one boundary loop, traced from edge (0, 1), is 0 1 2 5 4 3.
class TwoQuads : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mesh = test::makeEngineGrid(2, 1);
        test::flagAll(*mesh, 3);
    }
    std::unique_ptr<vsk::VFTriangleMesh> mesh;
    PathList loops{{99}}, paths{{98}};  // not empty: FindBoundariesWithFlag clears them
};

TEST(FindBoundariesWithFlag, ClosedMeshGivesNothingAndATriangleFollowsItsWindingAndItsBit)
{
    PathList loops{{1, 2}}, paths{{3}};
    auto tetra = test::makeEngineTetrahedron();
    test::flagAll(*tetra, 0);
    TarnelUtility::FindBoundariesWithFlag(*tetra, 0, loops, paths);
    EXPECT_TRUE(loops.empty());
    EXPECT_TRUE(paths.empty());

    auto mesh = test::makeEngineMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 2, 1}});
    TarnelUtility::FindBoundariesWithFlag(*mesh, 5, loops, paths);
    EXPECT_TRUE(loops.empty());
    EXPECT_TRUE(paths.empty());
    mesh->SetTriangleFlag(0, 33);  // bit 1
    TarnelUtility::FindBoundariesWithFlag(*mesh, 1, loops, paths);
    EXPECT_EQ(loops, (PathList{{0, 2, 1}}));
    EXPECT_TRUE(paths.empty());
    TarnelUtility::FindBoundariesWithFlag(*mesh, 2, loops, paths);
    EXPECT_TRUE(loops.empty());
}

// A fully flagged loop is reported once without repeating its start. Unflagged triangles cut a
// loop into runs of flagged edges: a run starts at the far vertex of an unflagged edge and ends at
// the near vertex of the next one, wrapping around the loop's seam.
TEST_F(TwoQuads, UnflaggedEdgesCutTheLoopIntoRuns)
{
    const std::tuple<std::vector<unsigned>, PathList, PathList> cases[] = {
        {{}, {{0, 1, 2, 5, 4, 3}}, {}},
        {{3}, {}, {{4, 3, 0, 1, 2, 5}}},  // edge 5 -> 4, in the middle of the loop
        {{0}, {}, {{1, 2, 5, 4, 3, 0}}},  // edge 0 -> 1, where the loop was seeded
        {{0, 3}, {}, {{1, 2, 5}, {4, 3, 0}}},
    };
    for (const auto& [cleared, expectedLoops, runs] : cases)
    {
        test::flagAll(*mesh, 3);
        for (unsigned t : cleared)
            mesh->ClearTriangleFlag(t, 3);
        TarnelUtility::FindBoundariesWithFlag(*mesh, 3, loops, paths);
        EXPECT_EQ(loops, expectedLoops) << cleared.size() << " cleared";
        EXPECT_EQ(paths, runs) << cleared.size() << " cleared";
    }
}

TEST(FindBoundariesWithFlag, HoleGivesASecondLoopInSeedOrder)
{
    auto mesh = test::makeEngineGrid(3, 3);
    test::removeQuad(*mesh, 3, 1, 1);
    test::flagAll(*mesh, 0);
    PathList loops, paths;
    TarnelUtility::FindBoundariesWithFlag(*mesh, 0, loops, paths);
    // The outer border is seeded on edge (0, 1); the hole's loop runs with the winding of the
    // triangles around it, so clockwise seen from +z.
    EXPECT_EQ(loops, (PathList{{0, 1, 2, 3, 7, 11, 15, 14, 13, 12, 8, 4}, {6, 5, 9, 10}}));
    EXPECT_TRUE(paths.empty());
}

TEST(FindBoundariesWithFlag, ChainThatCannotCloseIsDropped)
{
    // Three triangles on edge (0, 1): three boundary chains join 0 and 1, so the third stalls.
    auto mesh = test::makeEngineBook();
    test::flagAll(*mesh, 0);
    PathList loops, paths;
    TarnelUtility::FindBoundariesWithFlag(*mesh, 0, loops, paths);
    EXPECT_EQ(loops, (PathList{{1, 2, 0, 3}}));
    EXPECT_TRUE(paths.empty());
}

TEST(FindBoundariesWithFlag, LoopsOfMoreThan100000EdgesAreDropped)
{
    PathList loops, paths;
    auto kept = test::makeStrip(99998);  // 100000 boundary edges
    test::flagAll(*kept, 0);
    TarnelUtility::FindBoundariesWithFlag(*kept, 0, loops, paths);
    ASSERT_EQ(loops.size(), 1u);
    EXPECT_EQ(loops[0].size(), 100000u);

    auto dropped = test::makeStrip(99999);  // 100001 boundary edges
    test::flagAll(*dropped, 0);
    TarnelUtility::FindBoundariesWithFlag(*dropped, 0, loops, paths);
    EXPECT_TRUE(loops.empty());
    EXPECT_TRUE(paths.empty());
}

TEST(GetBoundaryTrianglesWithFlag, ListsFlaggedBorderTrianglesAscendingAfterClearing)
{
    auto grid = test::makeEngineGrid(3, 3);
    test::flagAll(*grid, 2);
    grid->ClearTriangleFlag(gridTriangle(3, 0, 0, 0), 2);
    std::vector<unsigned> triangles{777};
    TarnelUtility::GetBoundaryTrianglesWithFlag(*grid, 2, triangles);
    // In a 3 x 3 grid only the triangles with an edge on the outer border count; 0 lost its bit.
    EXPECT_EQ(triangles, (std::vector<unsigned>{1, 2, 4, 7, 10, 13, 15, 16, 17}));
}

TEST(ExtendBoundaryPath, StopsAtTheStopVertexOrWhenTheFirstVertexIsMetAsANeighbour)
{
    auto mesh = test::makeEngineGrid(3, 1);  // vertices 0 1 2 3 / 4 5 6 7
    const struct
    {
        Path path;
        unsigned stop;
        Path expected;
    } cases[] = {
        {{0, 1, 2}, 7, {0, 1, 2, 3}},  // the stop vertex ends the walk
        // Without it: at vertex 5 the neighbour 0 is met across an interior edge, before the
        // boundary edge to 4.
        {{0, 1, 2}, kInvalid, {0, 1, 2, 3, 7, 6, 5}},
        {{1, 2}, kInvalid, {1, 2}},  // so a two-vertex path stays: its last vertex neighbours its first
        {{}, kInvalid, {}},
    };
    for (size_t row = 0; row < std::size(cases); ++row)
    {
        Path path = cases[row].path;
        TarnelUtility::ExtendBoundaryPath(*mesh, path, cases[row].stop);
        EXPECT_EQ(path, cases[row].expected) << "row " << row;
    }
    // A walk cycling through a pinch vertex stops when it meets that vertex again.
    auto bowTie = test::makeEngineBowTie();
    const unsigned far = bowTie->AppendVertex(vsk::Vector3f(9, 9, 9));
    Path path{far, 0};
    TarnelUtility::ExtendBoundaryPath(*bowTie, path, kInvalid);
    EXPECT_EQ(path, (Path{far, 0, 1, 2, 0}));
}

TEST_F(TwoQuads, TrianglesOfBoundaryDropOnlyConsecutiveRepeats)
{
    EXPECT_TRUE(TarnelUtility::GetTrianglesOfBoundary(*mesh, {0, 1}, true).empty());
    EXPECT_TRUE(TarnelUtility::GetTrianglesOfBoundary(*mesh, {0}, false).empty());
    EXPECT_EQ(TarnelUtility::GetTrianglesOfBoundary(*mesh, {0, 1, 2, 5}, false),
              (std::vector<unsigned>{0, 2}));
    EXPECT_EQ(TarnelUtility::GetTrianglesOfBoundary(*mesh, {0, 1, 2, 5, 4, 3}, true),
              (std::vector<unsigned>{0, 2, 3, 1}));
    EXPECT_EQ(TarnelUtility::GetTrianglesOfBoundary(*mesh, {0, 1, 2, 5, 4, 3, 0, 1}, false),
              (std::vector<unsigned>{0, 2, 3, 1, 0}));
    // Interior (0, 4) and missing (0, 5) edges are skipped; closed adds (4, 3)'s triangle.
    EXPECT_EQ(TarnelUtility::GetTrianglesOfBoundary(*mesh, {0, 4, 3}, true), (std::vector<unsigned>{1}));
    EXPECT_TRUE(TarnelUtility::GetTrianglesOfBoundary(*mesh, {0, 5, kInvalid}, false).empty());
}

TEST_F(TwoQuads, TrianglesAtPathEndsNeedBothEdges)
{
    EXPECT_EQ(TarnelUtility::GetTrianglesAtBoundaryPathEnds(*mesh, {0, 1, 2, 5}), std::make_pair(0u, 2u));
    EXPECT_EQ(TarnelUtility::GetTrianglesAtBoundaryPathEnds(*mesh, {0, 4}), std::make_pair(0u, 0u));
    EXPECT_EQ(TarnelUtility::GetTrianglesAtBoundaryPathEnds(*mesh, {0, 1, 5, 3}),
              std::make_pair(kInvalid, kInvalid));
    EXPECT_EQ(TarnelUtility::GetTrianglesAtBoundaryPathEnds(*mesh, {0}), std::make_pair(kInvalid, kInvalid));
}

// The plain definition: the pair of paths with the nearest two vertices, the earlier pair on ties;
// with skipAdjacent, pairs joined by an edge are passed over. Two paths are always (0, 1).
std::pair<int, int> closestByDefinition(const vsk::VFTriangleMesh& mesh, const PathList& paths,
                                        bool skipAdjacent)
{
    if (paths.size() < 3)
        return paths.size() < 2 ? std::make_pair(-1, -1) : std::make_pair(0, 1);
    float best = FLT_MAX;
    std::pair<int, int> result(-1, -1);
    for (size_t i = 0; i < paths.size(); ++i)
        for (size_t j = i + 1; j < paths.size(); ++j)
        {
            float nearest = FLT_MAX;
            bool adjacent = false;
            for (unsigned a : paths[i])
                for (unsigned b : paths[j])
                {
                    vsk::Vector3f pa, pb;
                    mesh.GetVertex(a, pa);
                    mesh.GetVertex(b, pb);
                    nearest = std::min(nearest, (pa - pb).SquaredLength());
                    adjacent = adjacent || mesh.FindEdge(a, b) != kInvalid;
                }
            if (nearest < best && !(skipAdjacent && adjacent))
            {
                best = nearest;
                result = {int(i), int(j)};
            }
        }
    return result;
}

TEST(GetClosestBoundaryPaths, FewPathsAndAdjacency)
{
    auto mesh = test::makeEngineGrid(6, 1);
    EXPECT_EQ(TarnelUtility::GetClosestBoundaryPaths(*mesh, {{0}}, true), std::make_pair(-1, -1));
    EXPECT_EQ(TarnelUtility::GetClosestBoundaryPaths(*mesh, {{0}, {0}}, true), std::make_pair(0, 1));
    // Paths 1 and 2 are joined by the edge (3, 4), paths 2 and 3 by the diagonal (4, 12); without
    // them, (0, 1) and (1, 3) are equally close and the earlier pair wins.
    const PathList paths{{7}, {2, 3}, {4}, {12}};
    EXPECT_EQ(TarnelUtility::GetClosestBoundaryPaths(*mesh, paths, false), std::make_pair(1, 2));
    EXPECT_EQ(TarnelUtility::GetClosestBoundaryPaths(*mesh, paths, true), std::make_pair(0, 1));
    // Equal distances: the earlier pair stays.
    EXPECT_EQ(TarnelUtility::GetClosestBoundaryPaths(*mesh, {{0}, {2}, {4}}, false), std::make_pair(0, 1));
}

TEST(GetClosestBoundaryPaths, MatchesTheDefinitionOnManyPaths)
{
    const int nx = 30;
    auto mesh = test::makeEngineGrid(nx, nx);
    unsigned seed = 12345;
    auto next = [&] { return seed = seed * 1103515245u + 12345u, (seed >> 8) % 961u; };
    for (int round = 0; round < 20; ++round)
    {
        PathList paths(3 + round % 9);
        for (Path& p : paths)
        {
            const unsigned start = next();
            for (unsigned k = 0; k < 1 + next() % 5; ++k)
                p.push_back((start + k) % 961u);
        }
        for (bool skip : {false, true})
            EXPECT_EQ(TarnelUtility::GetClosestBoundaryPaths(*mesh, paths, skip),
                      closestByDefinition(*mesh, paths, skip))
                << "round " << round << " skip " << skip;
    }
}

TEST(ComputeAngle, LawOfCosinesWithClampedEnds)
{
    using V = Wm4::Vector3<float>;
    EXPECT_NEAR(TarnelUtility::ComputeAngle(V(0, 0, 0), V(1, 0, 0), V(0, 2, 0)), M_PI / 2, 1e-6);
    EXPECT_EQ(TarnelUtility::ComputeAngle(V(0, 0, 0), V(1, 0, 0), V(-3, 0, 0)), 3.14159265358979323846);
    EXPECT_EQ(TarnelUtility::ComputeAngle(V(0, 0, 0), V(1, 0, 0), V(3, 0, 0)), 0.0);
    EXPECT_NEAR(TarnelUtility::ComputeAngle(V(0, 0, 0), V(1, 0, 0), V(1, 1, 0)), M_PI / 4, 1e-6);
    // Coincident points are not guarded: 0 / 0 gives NaN, which neither clamp catches.
    EXPECT_TRUE(std::isnan(TarnelUtility::ComputeAngle(V(1, 1, 1), V(1, 1, 1), V(2, 1, 1))));
}

TEST_F(TwoQuads, VertexOfTriangleIsTheClosestCornerFirstOnTies)
{
    using V = Wm4::Vector3<float>;
    EXPECT_EQ(TarnelUtility::GetVertexOfTriangle(*mesh, 0, V(0.9f, 0.2f, 0)), 1u);
    EXPECT_EQ(TarnelUtility::GetVertexOfTriangle(*mesh, 0, V(1.0f, 0.5f, 0)), 1u);  // tie of 1 and 4
    EXPECT_EQ(TarnelUtility::GetVertexOfTriangle(*mesh, 0, V(1.0f, 0.6f, 0)), 4u);
    EXPECT_EQ(TarnelUtility::GetVertexOfTriangle(*mesh, 99, V(0, 0, 0)), kInvalid);
    mesh->RemoveTriangle(0);
    EXPECT_EQ(TarnelUtility::GetVertexOfTriangle(*mesh, 0, V(0, 0, 0)), kInvalid);
}

}  // namespace
