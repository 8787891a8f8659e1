#include "engine/OxmTnSurface.h"

#include "support/EngineMeshes.h"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <oneapi/tbb/global_control.h>

using namespace test;
using Quelm::Topology::OxmTnSurface;
using Quelm::Topology::OxmTnTriangleMesh;
using vsk::UVLayerMesh;
using vsk::Vector2f;
using Loop = std::vector<uint32_t>;

namespace
{

constexpr uint32_t kInvalid = IMesh::InvalidID;

boost::shared_ptr<OxmTnSurface> gridSurface(int nx, int ny)
{
    auto surface = boost::make_shared<OxmTnSurface>();
    fillGrid(surface->getMesh(), nx, ny);
    return surface;
}

// Adds a layer with one UV vertex per mesh vertex (no seams): UV vertex ID = vertex ID.
UVLayerMesh* addSeamlessLayer(OxmTnSurface& surface)
{
    const OxmTnTriangleMesh& mesh = surface.getMesh();
    UVLayerMesh* layer = surface.AddUVLayer();
    for (unsigned v = 0; v < mesh.GetMaxVertexID(); ++v)
    {
        Vector3f p;
        mesh.GetVertex(v, p);
        layer->AppendUV(Vector2f(p.X() / 10, p.Y() / 10));
    }
    for (unsigned t : mesh.Triangles())
        layer->SetTriangle(t, mesh.GetTriangle(t)[0], mesh.GetTriangle(t)[1], mesh.GetTriangle(t)[2]);
    return layer;
}

}  // namespace

TEST(OwnSurface, CastsShareOwnershipAndCopiesCloneTheOwnMesh)
{
    auto surface = boost::make_shared<OxmTnSurface>();
    boost::shared_ptr<OxmTnSurface> down = OxmTnSurface::castDown(OxmTnSurface::castUp(surface));
    EXPECT_EQ(down.get(), surface.get());
    EXPECT_EQ(surface.use_count(), 2);
    EXPECT_TRUE(surface->OwnsMesh());
    OxmTnSurface copy(*surface);
    EXPECT_NE(&copy.getMesh(), &surface->getMesh());
    EXPECT_NE(dynamic_cast<OxmTnTriangleMesh*>(copy.GetMesh()), nullptr);
}

TEST(OwnSurface, UVVertexOfACornerNeedsAUsableLayer)
{
    auto surface = gridSurface(1, 1);
    EXPECT_EQ(surface->getUVLayer(), nullptr);
    EXPECT_EQ(surface->getUVVertexID(0, 0), kInvalid);  // no layer
    EXPECT_TRUE(surface->getUVBoundaryLoop({0, 1, 3, 2}).empty());
    surface->AddUVLayer(nullptr);
    EXPECT_EQ(surface->getUVVertexID(0, 0), kInvalid);  // layer 0 is null

    auto seamless = gridSurface(1, 1);
    UVLayerMesh* layer = addSeamlessLayer(*seamless);
    EXPECT_EQ(seamless->getUVLayer(), layer);
    EXPECT_EQ(seamless->getUVVertexID(0, 3), 3u);
    EXPECT_EQ(seamless->getUVVertexID(0, 2), kInvalid);  // 2 is not a corner of (0, 1, 3)
    EXPECT_EQ(seamless->getUVVertexID(kInvalid, 0), kInvalid);
    EXPECT_EQ(seamless->getUVVertexID(0, kInvalid), kInvalid);
    layer->RemoveTriangle(1);
    EXPECT_EQ(seamless->getUVVertexID(1, 0), kInvalid);  // the surface triangle has no UVs
}

// A 2 x 1 strip cut by a texture seam along x = 1 (vertices 1 and 4): the right quad has its
// own UV vertices for them. The loop takes each vertex's UV on its outgoing edge.
TEST(OwnSurface, UVBoundaryLoopFollowsTheSideOfTheSeamTheLoopRunsAlong)
{
    auto surface = gridSurface(2, 1);
    UVLayerMesh* layer = addSeamlessLayer(*surface);
    const unsigned right1 = layer->AppendUV(Vector2f(0.5f, 0));
    const unsigned right4 = layer->AppendUV(Vector2f(0.5f, 1));
    layer->SetTriangle(2, right1, 2, 5);       // (1, 2, 5)
    layer->SetTriangle(3, right1, 5, right4);  // (1, 5, 4)
    EXPECT_EQ(surface->getUVBoundaryLoop({0, 1, 2, 5, 4, 3}), (Loop{0, right1, 2, 5, 4, 3}));
    EXPECT_TRUE(surface->getUVBoundaryLoop({0}).empty());
}

TEST(OwnSurface, FuseVerticesCollapsesAndKeepsTheLayerInStep)
{
    auto surface = gridSurface(2, 2);
    UVLayerMesh* layer = addSeamlessLayer(*surface);
    uint32_t removed = 12345;
    EXPECT_FALSE(surface->fuseVertices(0, 8, &removed));  // not joined by an edge
    EXPECT_EQ(removed, 12345u);
    ASSERT_TRUE(surface->fuseVertices(4, 5, &removed));
    EXPECT_EQ(removed, 4u);  // the boundary end survives an interior collapse
    EXPECT_EQ(layer->GetTriangleCount(), 6u);
    EXPECT_FALSE(layer->IsTriangle(3));  // (1, 5, 4)
    EXPECT_FALSE(layer->IsTriangle(6));  // (4, 5, 8)
    for (unsigned t : surface->getMesh().Triangles())
        EXPECT_TRUE(layer->IsTriangle(t));
    EXPECT_TRUE(isConsistent(surface->getMesh()));
    EXPECT_TRUE(surface->fuseVertices(0, 1, nullptr));
}

// Bottom row 0..4 of a 4 x 1 strip with vertices 2 and 3 moved onto vertex 1.
TEST(OwnSurface, FuseCoincidentRepeatsAtOnePositionUntilNoTwinIsLeft)
{
    auto surface = gridSurface(4, 1);
    OxmTnTriangleMesh& mesh = surface->getMesh();
    mesh.SetVertex(2, Vector3f(1, 0, 0));
    mesh.SetVertex(3, Vector3f(1.0005f, 0, 0));
    addSeamlessLayer(*surface);
    Loop loop{0, 1, 2, 3, 4, 9, 8, 7, 6, 5};
    ASSERT_TRUE(surface->fuseCoincidentVertices(loop, 0.001f));
    EXPECT_EQ(loop, (Loop{0, 1, 4, 9, 8, 7, 6, 5}));
    EXPECT_EQ(mesh.GetTriangleCount(), 6u);
    EXPECT_EQ(surface->getUVLayer()->GetTriangleCount(), 6u);
    EXPECT_TRUE(isConsistent(mesh));
    EXPECT_FALSE(surface->fuseCoincidentVertices(loop, 0.001f));
    Loop shortLoop{0, 1};
    EXPECT_FALSE(surface->fuseCoincidentVertices(shortLoop, 10.0f));
    EXPECT_EQ(shortLoop.size(), 2u);
}

TEST(OwnSurface, FusedVertexLeavesTheLoopAtItsOwnPosition)
{
    // The engine keeps the boundary end of an interior edge, so fusing (4, 5) removes 4, the
    // vertex at position i: that position leaves the loop, not the next one.
    auto surface = gridSurface(2, 2);
    surface->getMesh().SetVertex(4, Vector3f(2, 1, 0));  // onto vertex 5
    Loop loop{4, 5, 8, 7};
    ASSERT_TRUE(surface->fuseCoincidentVertices(loop, 1e-3f));
    EXPECT_EQ(loop, (Loop{5, 8, 7}));
    EXPECT_FALSE(surface->getMesh().IsVertex(4));
    EXPECT_TRUE(isConsistent(surface->getMesh()));

    // Collinear middle vertices go, corners stay.
    surface = gridSurface(3, 1);
    loop = {0, 1, 2, 3, 7, 6, 5, 4};
    ASSERT_TRUE(surface->fuseCollinearVertices(loop, 1e-4f));
    EXPECT_EQ(loop, (Loop{0, 3, 7, 4}));
    EXPECT_EQ(surface->getMesh().GetTriangleCount(), 2u);
    EXPECT_TRUE(isConsistent(surface->getMesh()));
}

// Loops and vertex lists from the caller may hold holes, garbage and a vertex paired with itself
// (which names no edge): the answers degrade to InvalidID, empty or zero, nothing is collapsed,
// and neither the mesh nor the layer changes.
TEST(OwnSurface, LoopOperationsSurviveHolesAndGarbage)
{
    auto surface = gridSurface(2, 2);
    UVLayerMesh* layer = addSeamlessLayer(*surface);
    OxmTnTriangleMesh& mesh = surface->getMesh();
    mesh.RemoveTriangle(7);  // (4, 8, 7): a triangle hole that the layer still has
    const uint32_t far = 1u << 30;
    AssertCapture capture;

    EXPECT_EQ(surface->getUVVertexID(7, 4), kInvalid);
    EXPECT_EQ(surface->getUVVertexID(far, 4), kInvalid);
    EXPECT_EQ(surface->getUVVertexID(0, far), kInvalid);
    EXPECT_EQ(surface->getUVBoundaryLoop({0, kInvalid, far, 8}),
              (Loop{kInvalid, kInvalid, kInvalid, kInvalid}));
    EXPECT_EQ(surface->getUVBoundaryLoop({0, 8}), (Loop{kInvalid, kInvalid}));  // no edge
    uint32_t removed = 12345;
    EXPECT_FALSE(surface->fuseVertices(kInvalid, 0, &removed));
    EXPECT_FALSE(surface->fuseVertices(0, far, &removed));
    EXPECT_FALSE(surface->fuseVertices(4, 4, &removed));
    EXPECT_EQ(removed, 12345u);
    Loop loop{kInvalid, kInvalid, far, 0}, twin{1, 1, 2};
    EXPECT_FALSE(surface->fuseCoincidentVertices(loop, 1.0f));
    EXPECT_FALSE(surface->fuseCollinearVertices(loop, 1.0f));
    EXPECT_FALSE(surface->fuseCoincidentVertices(twin, 0.5f));
    EXPECT_EQ(loop, (Loop{kInvalid, kInvalid, far, 0}));
    EXPECT_EQ(twin, (Loop{1, 1, 2}));

    EXPECT_TRUE(mesh.getTrianglesSharingVertices({0, far}).empty());
    EXPECT_TRUE(mesh.getTrianglesSharingVertices({far}).empty());
    Loop pair{far, 0, 1};
    mesh.makeLoopCounterClockwise(pair);
    EXPECT_EQ(pair, (Loop{far, 0, 1}));
    EXPECT_EQ(mesh.getCoordinates({kInvalid}).size(), 1u);
    EXPECT_FLOAT_EQ(mesh.computeAverageEdgeLength({0, kInvalid}), 0.0f);  // both read as the origin
    for (const std::string& message : capture.messages())
        EXPECT_EQ(message, "m_vVertices.isValid(vID)");

    EXPECT_EQ(mesh.GetTriangleCount(), 7u);
    EXPECT_EQ(mesh.GetVertexCount(), 9u);
    EXPECT_EQ(layer->GetTriangleCount(), 8u);
    EXPECT_TRUE(isConsistent(mesh));
}

TEST(OwnMesh, TrianglesSharingVerticesFollowTheFirstVertexOrder)
{
    auto mesh = makeEngineGrid<OxmTnTriangleMesh>(2, 2);
    EXPECT_EQ(mesh->getTrianglesSharingVertices({4}), (Loop{0, 1, 3, 4, 6, 7}));
    EXPECT_EQ(mesh->getTrianglesSharingVertices({4, 1}), (Loop{0, 3}));
    EXPECT_EQ(mesh->getTrianglesSharingVertices({0, 1, 4}), (Loop{0}));
    EXPECT_TRUE(mesh->getTrianglesSharingVertices({0, 1, 4, 5}).empty());
    EXPECT_TRUE(mesh->getTrianglesSharingVertices({}).empty());
    EXPECT_TRUE(mesh->getTrianglesSharingVertices({kInvalid, 1}).empty());
    const auto points = mesh->getCoordinates({8, 1});
    ASSERT_EQ(points.size(), 2u);
    EXPECT_EQ(points[0], Quelm::Objects::Vector3<float>(2, 2, 0));
    EXPECT_EQ(points[1], Quelm::Objects::Vector3<float>(1, 0, 0));
}

// The n lengths close the loop; the mean and the population deviation divide by n. In the last
// loop edge 0 is 2^24 long, then eight unit edges, then a closing edge of (in float) 2^24 again:
// summed from index 0 in single precision every unit is lost against the running 2^24; in double,
// in reverse or pairwise they would survive and the mean would be 3355444 instead.
TEST(OwnMesh, EdgeLengthStatisticsSumInIndexOrderInSinglePrecision)
{
    auto mesh = makeEngineGrid<OxmTnTriangleMesh>(2, 1);
    const float big = 16777216.0f;
    Loop precise{mesh->AppendVertex(Vector3f(0, 0, 0))};
    for (int k = 0; k <= 8; ++k)
        precise.push_back(mesh->AppendVertex(Vector3f(big, float(k), 0)));
    for (int threads : {1, 4})
    {
        tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
        EXPECT_FLOAT_EQ(mesh->computeAverageEdgeLength({0, 2, 5, 3}), 1.5f);  // sides 2, 1, 2, 1
        EXPECT_FLOAT_EQ(mesh->computeStandardDeviationEdgeLength({0, 2, 5, 3}), 0.5f);
        EXPECT_EQ(mesh->computeAverageEdgeLength(precise), 2.0f * big / 10.0f);
    }
    EXPECT_EQ(mesh->computeAverageEdgeLength({3}), 0.0f);
    EXPECT_EQ(mesh->computeStandardDeviationEdgeLength({3}), 0.0f);
    EXPECT_FLOAT_EQ(mesh->computeAverageEdgeLength({0, 2}), 2.0f);  // there and back
}

// Only a boundary first edge decides; the clockwise form reverses after it in every case.
TEST(OwnMesh, LoopOrientationIsDecidedOnlyOnABoundaryFirstEdge)
{
    auto mesh = makeEngineGrid<OxmTnTriangleMesh>(2, 2);
    Loop loop{0, 1, 2, 5, 8, 7, 6, 3};  // runs with the triangles' winding
    mesh->makeLoopCounterClockwise(loop);
    EXPECT_EQ(loop, (Loop{3, 6, 7, 8, 5, 2, 1, 0}));
    mesh->makeLoopCounterClockwise(loop);  // already against the winding: unchanged
    EXPECT_EQ(loop.front(), 3u);
    mesh->makeLoopClockwise(loop);
    EXPECT_EQ(loop, (Loop{0, 1, 2, 5, 8, 7, 6, 3}));

    const std::pair<Loop, Loop> undecided[] = {{{0, 4, 8}, {8, 4, 0}}, {{0, 1}, {1, 0}}};  // interior, short
    for (const auto& [input, reversed] : undecided)
    {
        Loop counter = input, clockwise = input;
        mesh->makeLoopCounterClockwise(counter);
        mesh->makeLoopClockwise(clockwise);
        EXPECT_EQ(counter, input);
        EXPECT_EQ(clockwise, reversed);
    }
}
