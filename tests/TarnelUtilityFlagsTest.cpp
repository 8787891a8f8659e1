#include "engine/OxmTnSurface.h"
#include "support/EngineMeshes.h"
#include "tarnel/TarnelUtility.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

namespace
{

using Quelm::Topology::OxmTnSurface;
using Quelm::Topology::TarnelUtility;
constexpr unsigned kInvalid = vsk::IMesh::InvalidID;

TEST(FlagFaces, FalseSetsTrueClearsAndTheIndexWrapsAt32)
{
    auto mesh = test::makeEngineGrid(2, 2);
    mesh->RemoveTriangle(7);
    test::AssertCapture capture;  // bad IDs are reported by the mesh and skipped
    TarnelUtility::FlagFaces(*mesh, {1, 4, 6, 7, kInvalid, 1000}, 33, false);
    EXPECT_EQ(capture.count(), 3u);
    EXPECT_TRUE(capture.saw("m_vTriangles.isValid(tID)"));
    for (unsigned t = 0; t < 7; ++t)
        EXPECT_EQ(mesh->GetTriangleFlags(t), (t == 1 || t == 4 || t == 6) ? 2u : 0u) << t;
    TarnelUtility::FlagFaces(*mesh, {4}, 1, true);
    TarnelUtility::FlagFaces(*mesh, {6}, 31, false);
    EXPECT_EQ(mesh->GetTriangleFlags(4), 0u);
    EXPECT_EQ(mesh->GetTriangleFlags(6), 0x80000002u);
    TarnelUtility::FlagFaces(*mesh, {}, 1, false);
}

TEST(FlagFaces, LargeListOnManyThreadsMatchesOneThread)
{
    auto a = test::makeEngineGrid(150, 150);
    auto b = test::makeEngineGrid(150, 150);
    std::vector<unsigned> every3rd;
    for (unsigned t = 0; t < a->GetMaxTriangleID(); t += 3)
        every3rd.push_back(t);
    {
        tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
        TarnelUtility::FlagFaces(*a, every3rd, 9, false);
    }
    TarnelUtility::FlagFaces(*b, every3rd, 9, false);
    for (unsigned t = 0; t < a->GetMaxTriangleID(); ++t)
    {
        ASSERT_EQ(a->HasTriangleFlag(t, 9), t % 3 == 0) << t;
        ASSERT_EQ(a->GetTriangleFlags(t), b->GetTriangleFlags(t)) << t;
    }
}

TEST(RemoveFacesWithFlag, RemovesFromTheGeometryAndKeepsLayerZeroInStep)
{
    for (bool layered : {false, true})
    {
        boost::shared_ptr<OxmTnSurface> surface(new OxmTnSurface);
        test::fillGrid(surface->getMesh(), 2, 1);
        vsk::UVLayerMesh* layer = layered ? surface->AddUVLayer() : nullptr;
        if (layer)
        {
            const unsigned a = layer->AppendUV({0, 0}), b = layer->AppendUV({1, 0}),
                           c = layer->AppendUV({0, 1});
            for (unsigned t : {0u, 1u, 3u})  // triangle 2 has no UVs
                layer->SetTriangle(t, a, b, c);
        }
        surface->getMesh().SetTriangleFlag(1, 4);
        surface->getMesh().SetTriangleFlag(2, 4);
        test::AssertCapture capture;
        TarnelUtility::RemoveFacesWithFlag(OxmTnSurface::castUp(surface), 4);
        EXPECT_EQ(capture.count(), 0u);
        EXPECT_EQ(test::liveTriangles(surface->getMesh()), (std::vector<unsigned>{0, 3}));
        EXPECT_TRUE(test::isConsistent(surface->getMesh()));
        for (unsigned t : {0u, 1u, 3u})
            EXPECT_EQ(layer && layer->IsTriangle(t), layered && t != 1) << t;
    }
    TarnelUtility::RemoveFacesWithFlag(boost::shared_ptr<vsk::GSurface>(), 4);
}

TEST(NonManifoldFaces, BowTieFailsAndOrdinaryBoundaryPasses)
{
    auto bowTie = test::makeEngineBowTie();
    EXPECT_TRUE(TarnelUtility::FindFacesConnectedToNonManifoldVertices(*bowTie, 0).empty());  // unflagged
    bowTie->SetTriangleFlag(1, 0);
    EXPECT_EQ(TarnelUtility::FindFacesConnectedToNonManifoldVertices(*bowTie, 0),
              (std::unordered_set<unsigned>{1}));

    auto grid = test::makeEngineGrid(3, 3);
    test::flagAll(*grid, 0);
    EXPECT_TRUE(TarnelUtility::FindFacesConnectedToNonManifoldVertices(*grid, 0).empty());
    EXPECT_EQ(TarnelUtility::RemoveFacesConnectedToNonManifoldVertices(*grid, 0, 5), 0u);
    EXPECT_EQ(grid->GetTriangleCount(), 18u);
}

// The passes as documented: a full scan before each removal.
size_t removeByFullScans(vsk::VFTriangleMesh& mesh, unsigned flag, unsigned maxIterations)
{
    size_t total = 0;
    for (unsigned pass = 0;;)
    {
        const auto found = TarnelUtility::FindFacesConnectedToNonManifoldVertices(mesh, flag);
        total += found.size();
        for (unsigned t : found)
            mesh.RemoveTriangle(t);
        if (++pass > maxIterations || found.empty())
            return total;
    }
}

TEST(NonManifoldFaces, ZeroIterationsRunOnePassAndLaterPassesMatchFullScans)
{
    // A grid with a scatter of removed triangles has many pinch vertices, and removing the
    // triangles around them creates more.
    auto base = test::makeEngineGrid(40, 40);
    unsigned seed = 7;
    for (unsigned t = 0; t < base->GetMaxTriangleID(); ++t)
        if ((seed = seed * 1664525u + 1013904223u) >> 29 == 0)
            base->RemoveTriangle(t);
    test::flagAll(*base, 2);
    for (unsigned t = 0; t < base->GetMaxTriangleID(); t += 7)
        if (base->IsTriangle(t))
            base->ClearTriangleFlag(t, 2);

    const size_t firstPass = TarnelUtility::FindFacesConnectedToNonManifoldVertices(*base, 2).size();
    ASSERT_GT(firstPass, 0u);
    vsk::VFTriangleMesh probe(*base), once(*base);
    ASSERT_GT(removeByFullScans(probe, 2, 1000), firstPass);  // later passes do find more
    ASSERT_TRUE(TarnelUtility::FindFacesConnectedToNonManifoldVertices(probe, 2).empty());       // all found
    EXPECT_EQ(TarnelUtility::RemoveFacesConnectedToNonManifoldVertices(once, 2, 0), firstPass);  // one pass
    for (unsigned maxIterations : {0u, 1u, 3u, 1000u})
    {
        vsk::VFTriangleMesh ours(*base), reference(*base);
        const size_t removed =
            TarnelUtility::RemoveFacesConnectedToNonManifoldVertices(ours, 2, maxIterations);
        EXPECT_EQ(removed, removeByFullScans(reference, 2, maxIterations)) << maxIterations;
        EXPECT_EQ(test::liveTriangles(ours), test::liveTriangles(reference)) << maxIterations;
        EXPECT_TRUE(test::isConsistent(ours));
    }
}

// Poor (true) unless shortest angle >= minAngle, longest <= maxAngle and edge ratio < maxRatio;
// degenerate triangles and bad IDs count as poor.
TEST(TriangleQualityCheck, EquilateralPassesUnlessTheRatioLimitIsOne)
{
    auto mesh = test::makeEngineMesh(
        {{0, 0, 0}, {1, 0, 0}, {0.5f, 0.8660254f, 0}, {100, 0, 0}, {0.5f, 0, 0}, {1, 0, 0}, {1, 0, 0}},
        {{0, 1, 2}, {0, 3, 2}, {0, 1, 4}, {1, 5, 6}, {1, 5, 3}});
    const unsigned equilateral = 0, sliver = 1, flat = 2, point = 3, zeroEdge = 4;
    EXPECT_FALSE(TarnelUtility::TriangleQualityCheck(*mesh, equilateral, 30, 120, 2));
    EXPECT_TRUE(TarnelUtility::TriangleQualityCheck(*mesh, equilateral, 30, 120, 1));  // ratio == limit
    EXPECT_TRUE(TarnelUtility::TriangleQualityCheck(*mesh, equilateral, 61, 120, 2));
    // The sliver's angles are about 60, 0.5 and 119.5 degrees; its edge ratio is 100.
    EXPECT_FALSE(TarnelUtility::TriangleQualityCheck(*mesh, sliver, 0.1f, 179, 1000));
    EXPECT_TRUE(TarnelUtility::TriangleQualityCheck(*mesh, sliver, 1, 179, 1000));
    EXPECT_TRUE(TarnelUtility::TriangleQualityCheck(*mesh, sliver, 0.1f, 119, 1000));
    EXPECT_TRUE(TarnelUtility::TriangleQualityCheck(*mesh, sliver, 0.1f, 179, 100));
    EXPECT_TRUE(TarnelUtility::TriangleQualityCheck(*mesh, flat, 1, 180, 1000));       // collinear corners
    EXPECT_TRUE(TarnelUtility::TriangleQualityCheck(*mesh, point, 0, 180, 1e30f));     // 0 / 0: NaN fails all
    EXPECT_TRUE(TarnelUtility::TriangleQualityCheck(*mesh, zeroEdge, 0, 180, 1e30f));  // infinite ratio
    EXPECT_TRUE(TarnelUtility::TriangleQualityCheck(*mesh, 99, 0, 180, 1000));
}

}  // namespace
