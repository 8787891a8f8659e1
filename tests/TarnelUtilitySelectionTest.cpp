#include "support/EngineMeshes.h"
#include "tarnel/TarnelUtility.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <algorithm>

namespace
{

using Quelm::Topology::TarnelUtility;
using test::gridTriangle;
using test::gridVertex;
using USet = std::unordered_set<unsigned>;
using CSet = tbb::concurrent_unordered_set<unsigned>;
constexpr unsigned kInvalid = vsk::IMesh::InvalidID;

template <class Set>
std::set<unsigned> sorted(const Set& s)
{
    return std::set<unsigned>(s.begin(), s.end());
}

// The triangle flood adds its seed only when a flagged neighbour reaches back to it; an invalid,
// removed or already selected seed changes nothing, and a selected triangle is a wall.
TEST(TriangleSelection, SeedIsAddedOnlyWhenReachedBackAndSelectedTrianglesAreWalls)
{
    auto mesh = test::makeEngineGrid(2, 2);
    std::set<unsigned> selection;
    TarnelUtility::GetConnectedSelection(*mesh, 0, selection, 1);  // nothing flagged
    EXPECT_TRUE(selection.empty());
    mesh->SetTriangleFlag(0, 1);  // flagged but alone: its neighbours carry no bit
    TarnelUtility::GetConnectedSelection(*mesh, 0, selection, 1);
    EXPECT_TRUE(selection.empty());

    test::flagAll(*mesh, 1);
    mesh->ClearTriangleFlag(5, 1);
    TarnelUtility::GetConnectedSelection(*mesh, 5, selection, 33);    // 33 reads bit 1
    EXPECT_EQ(selection, (std::set<unsigned>{0, 1, 2, 3, 4, 6, 7}));  // the unflagged seed stays out
    selection.clear();
    TarnelUtility::GetConnectedSelection(*mesh, 0, selection, 1);
    EXPECT_EQ(selection, (std::set<unsigned>{0, 1, 2, 3, 4, 6, 7}));  // flagged seed reached back

    selection = {3};
    mesh->RemoveTriangle(6);
    for (unsigned seed : {3u, kInvalid, 1000u, 6u})
        TarnelUtility::GetConnectedSelection(*mesh, seed, selection, 1);
    EXPECT_EQ(selection, (std::set<unsigned>{3}));
    TarnelUtility::GetConnectedSelection(*mesh, 0, selection, 1);
    EXPECT_EQ(selection, (std::set<unsigned>{0, 1, 3, 4, 7}));  // 2 lies behind the wall, 5 is unflagged
}

TEST(VertexSelection, SeedIsAlwaysAddedAndFloodCrossesAnyEdge)
{
    auto mesh = test::makeEngineGrid(4, 1);  // vertices 0..4 / 5..9
    USet selection;
    TarnelUtility::GetConnectedSelection(*mesh, 2, selection, 4);
    EXPECT_EQ(sorted(selection), (std::set<unsigned>{2}));

    mesh->SetTriangleFlag(gridTriangle(4, 0, 0, 1), 4);  // (0, 6, 5)
    mesh->SetTriangleFlag(gridTriangle(4, 3, 0, 0), 4);  // (3, 4, 9)
    selection.clear();
    TarnelUtility::GetConnectedSelection(*mesh, 0, selection, 4);
    EXPECT_EQ(sorted(selection), (std::set<unsigned>{0, 5, 6}));
    TarnelUtility::GetConnectedSelection(*mesh, 0, selection, 4);  // already selected: no change
    TarnelUtility::GetConnectedSelection(*mesh, kInvalid, selection, 4);
    EXPECT_EQ(selection.size(), 3u);
    TarnelUtility::GetConnectedSelection(*mesh, 8, selection, 4);  // unflagged seed next to (3, 4, 9)
    EXPECT_EQ(sorted(selection), (std::set<unsigned>{0, 3, 4, 5, 6, 8, 9}));
}

// The floods written out plainly, for comparison: breadth first from the seed, a neighbour that is
// not selected joins when `joins` says so. The vertex flood adds its seed at once; the triangle
// flood only when a flagged neighbour reaches back to it.
template <class Set, class Neighbours, class Joins>
void floodByDefinition(unsigned seed, Set& selection, bool addSeed, Neighbours neighbours, Joins joins)
{
    if (seed == kInvalid || selection.count(seed))
        return;
    if (addSeed)
        selection.insert(seed);
    std::set<unsigned> visited;
    std::vector<unsigned> queue{seed};
    for (size_t head = 0; head < queue.size(); ++head)
        if (visited.insert(queue[head]).second)
            for (unsigned n : neighbours(queue[head]))
                if (n != kInvalid && !selection.count(n) && joins(n))
                {
                    selection.insert(n);
                    queue.push_back(n);
                }
}

TEST(Floods, MatchThePlainDefinitionWithScatteredFlagsAndPriorSelections)
{
    auto mesh = test::makeHoleyGrid(60, 4);
    unsigned seed = 99;
    auto next = [&] { return (seed = seed * 1664525u + 1013904223u) >> 8; };
    for (unsigned t : mesh->Triangles())
        if (next() % 10 < 6)
            mesh->SetTriangleFlag(t, 5);
    auto flagged = [&](unsigned t) { return mesh->HasTriangleFlag(t, 5); };
    auto touchesFlagged = [&](unsigned v)
    {
        const auto around = test::vertexList(*mesh, v, false);
        return std::any_of(around.begin(), around.end(), flagged);
    };
    auto triangleNeighbours = [&](unsigned t)
    {
        vsk::Index3i n;
        mesh->GetTriNeighbourTris(t, n);
        return std::vector<unsigned>{n[0], n[1], n[2]};
    };
    auto vertexNeighbours = [&](unsigned v) { return test::vertexNeighbours(*mesh, v); };
    for (int round = 0; round < 10; ++round)
    {
        std::set<unsigned> ours;
        USet oursV;
        for (int k = 0; k < 5; ++k)  // earlier selections act as walls
        {
            ours.insert(next() % mesh->GetMaxTriangleID());
            oursV.insert(next() % mesh->GetMaxVertexID());
        }
        std::set<unsigned> reference = ours;
        USet referenceV = oursV;
        const unsigned tSeed = next() % mesh->GetMaxTriangleID(), vSeed = next() % mesh->GetMaxVertexID();
        TarnelUtility::GetConnectedSelection(*mesh, tSeed, ours, 5);
        if (mesh->IsTriangle(tSeed))
            floodByDefinition(tSeed, reference, false, triangleNeighbours, flagged);
        EXPECT_EQ(ours, reference) << round;
        TarnelUtility::GetConnectedSelection(*mesh, vSeed, oursV, 5);
        floodByDefinition(vSeed, referenceV, true, vertexNeighbours, touchesFlagged);
        EXPECT_EQ(sorted(oursV), sorted(referenceV)) << round;
    }
}

TEST(OneRings, VertexRingsAndTriangleRingsAddOrReplaceAsDocumented)
{
    auto mesh = test::makeEngineGrid(2, 2);  // centre vertex 4 has six triangles
    std::set<unsigned> triangles{100};
    TarnelUtility::GetVOneRings(*mesh, {4, kInvalid, 0}, triangles);
    EXPECT_EQ(triangles, (std::set<unsigned>{0, 1, 3, 4, 6, 7, 100}));

    // The one ring of quad (0, 0): every other triangle touching vertices 0, 1, 4 or 3.
    USet tris{0, 1, 555};
    USet ringTris{42}, ringVerts{43};
    TarnelUtility::TrisToOneRing(*mesh, tris, ringTris, ringVerts);
    EXPECT_EQ(sorted(ringTris), (std::set<unsigned>{2, 3, 4, 5, 6, 7, 42}));
    EXPECT_EQ(sorted(ringVerts), (std::set<unsigned>{1, 3, 4, 43}));

    std::vector<unsigned> ringTrisV{42, 42}, ringVertsV{43};
    TarnelUtility::TrisToOneRing(*mesh, USet{0, 1}, ringTrisV, ringVertsV);
    std::sort(ringTrisV.begin(), ringTrisV.end());
    std::sort(ringVertsV.begin(), ringVertsV.end());
    EXPECT_EQ(ringTrisV, (std::vector<unsigned>{2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(ringVertsV, (std::vector<unsigned>{1, 3, 4}));
}

TEST(TrisBoundaryEdges, MeshBoundaryEdgeStopsTheTriangle)
{
    auto mesh = test::makeEngineGrid(2, 1);  // triangles 0 (0,1,4), 1 (0,4,3), 2 (1,2,5), 3 (1,5,4)
    CSet tris{0}, outside, edges;
    TarnelUtility::TrisBoundaryEdges(*mesh, tris, outside, edges);
    // (0, 1) is on the mesh boundary and comes first: (1, 4) to triangle 3 is never looked at.
    EXPECT_EQ(sorted(edges), (std::set<unsigned>{mesh->FindEdge(0, 1)}));
    EXPECT_TRUE(outside.empty());

    CSet tris3{3, kInvalid, 77}, outside3, edges3;
    TarnelUtility::TrisBoundaryEdges(*mesh, tris3, outside3, edges3);
    // (1, 5) borders triangle 2, then (5, 4) is on the boundary: (4, 1) to triangle 0 is skipped.
    EXPECT_EQ(sorted(edges3), (std::set<unsigned>{mesh->FindEdge(1, 5), mesh->FindEdge(5, 4)}));
    EXPECT_EQ(sorted(outside3), (std::set<unsigned>{2}));
}

TEST(TrisBoundaryEdges, SameResultOnOneThreadAndOnMany)
{
    auto mesh = test::makeHoleyGrid(120, 9);
    CSet tris;
    for (int j = 10; j < 90; ++j)
        for (int i = 0; i < 70; ++i)
            for (int half = 0; half < 2; ++half)
                tris.insert(gridTriangle(120, i, j, half));
    CSet outsideOne, edgesOne, outsideMany, edgesMany;
    {
        tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
        TarnelUtility::TrisBoundaryEdges(*mesh, tris, outsideOne, edgesOne);
    }
    TarnelUtility::TrisBoundaryEdges(*mesh, tris, outsideMany, edgesMany);
    EXPECT_EQ(sorted(edgesOne), sorted(edgesMany));
    EXPECT_EQ(sorted(outsideOne), sorted(outsideMany));
    EXPECT_FALSE(outsideMany.empty());
    for (unsigned t : outsideMany)
        EXPECT_EQ(tris.count(t), 0u);
}

TEST(IncludeTriangleWithTwoNeighbour, SinglesCountForLaterNeighbours)
{
    // 3 x 1 grid: its triangles form the chain 1 - 0 - 3 - 2 - 5 - 4 across shared edges.
    auto mesh = test::makeEngineGrid(3, 1);
    const std::set<unsigned> selection{0, 5};
    std::set<unsigned> tris{0, 5}, singles, include;
    TarnelUtility::IncludeTriangleWithTwoNeighbour(*mesh, tris, selection, singles, include);
    // From 0: 3 and 1 touch one selected triangle each. From 5: 4 likewise, and 2 touches the
    // selected 5 and the single 3 found before it.
    EXPECT_EQ(singles, (std::set<unsigned>{1, 3, 4}));
    EXPECT_EQ(include, (std::set<unsigned>{2}));

    std::set<unsigned> only5{5}, singles5, include5;
    TarnelUtility::IncludeTriangleWithTwoNeighbour(*mesh, only5, selection, singles5, include5);
    EXPECT_EQ(singles5, (std::set<unsigned>{2, 4}));
    EXPECT_TRUE(include5.empty());
}

TEST(RemoveFlippedTriangle, ReportsTrianglesWithExactlyOneNeighbour)
{
    auto lone = test::makeEngineMesh({{0, 0, 0}, {1, 1, 0}, {2, 4, 0}}, {{0, 1, 2}});
    std::set<unsigned> tris{0}, found;
    TarnelUtility::RemoveFlippedTriangle(*lone, tris, {}, found);
    EXPECT_TRUE(found.empty());

    auto mesh = test::makeEngineGrid(2, 2);
    std::set<unsigned> all{0, 1, 2, 3, 4, 5, 6, 7, kInvalid};
    TarnelUtility::RemoveFlippedTriangle(*mesh, all, {}, found);
    // The triangles in the two corners the diagonals do not reach have one neighbour each.
    EXPECT_EQ(found, (std::set<unsigned>{2, 5}));
}

TEST(CheckAndFixManifoldBoundaries, PinchPointGetsItsWholeFan)
{
    auto mesh = test::makeEngineGrid(2, 2);
    // Quads (0, 0) and (1, 1) touch only at the centre vertex 4: the selection's border is pinched.
    std::set<unsigned> selection{0, 1, 6, 7};
    TarnelUtility::CheckAndFixManifoldBoundariesInSelection(*mesh, selection);
    std::set<unsigned> expected{0, 1, 6, 7};
    std::vector<unsigned> fan;
    mesh->GetVertexTriangles(gridVertex(2, 1, 1), fan);
    expected.insert(fan.begin(), fan.end());
    EXPECT_EQ(selection, expected);

    std::set<unsigned> plain{0, 1, 3};
    TarnelUtility::CheckAndFixManifoldBoundariesInSelection(*mesh, plain);
    EXPECT_EQ(plain, (std::set<unsigned>{0, 1, 3}));
}

}  // namespace
