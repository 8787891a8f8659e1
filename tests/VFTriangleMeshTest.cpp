#include "engine/VFTriangleMesh.h"

#include "support/EngineMeshes.h"

#include <gtest/gtest.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>

#include <array>
#include <numeric>
#include <random>

using namespace test;

constexpr unsigned kInvalid = IMesh::InvalidID;

TEST(EngineMeshStorage, EmptyMeshHasNothingToIterate)
{
    VFTriangleMesh mesh;
    EXPECT_EQ(mesh.GetMaxVertexID() + mesh.GetMaxTriangleID() + mesh.GetMaxEdgeID(), 0u);
    EXPECT_EQ(mesh.BeginVertices(), mesh.EndVertices());
    EXPECT_TRUE(isConsistent(mesh));  // which also finds every count 0 and no triangle to iterate
}

// The checker at the end pins the counts and lists that the grid implies (16 edges, 6 triangles
// and 6 edges at the centre, reference count 1 for a vertex without triangles).
TEST(EngineMeshAdjacency, GridAnswersBoundaryEdgesAndNeighbours)
{
    auto mesh = makeEngineGrid(2, 2);
    EXPECT_EQ(std::count_if(mesh->BeginEdges(), mesh->EndEdges(),
                            [&](unsigned e) { return mesh->IsBoundaryEdge(e); }),
              8);
    EXPECT_FALSE(mesh->IsBoundaryVertex(4));
    EXPECT_TRUE(mesh->IsBoundaryVertex(1));
    std::vector<unsigned> tris{99};
    mesh->GetVertexTriangles(1, tris);  // appends, in insertion order
    EXPECT_EQ(tris, (std::vector<unsigned>{99, 0, 2, 3}));

    Index2i ev, et;
    mesh->GetEdge(mesh->FindEdge(0, 1), ev, et);
    EXPECT_EQ(et, Index2i(0, kInvalid));       // a boundary edge has no second triangle
    mesh->GetEdgeT(mesh->FindEdge(0, 4), et);  // the diagonal
    EXPECT_EQ(et, Index2i(0, 1));
    Index3i nbr;
    mesh->GetTriNeighbourTris(3, nbr);  // (1, 5, 4): across (1,5) t2, (5,4) t6, (4,1) t0
    EXPECT_EQ(nbr, Index3i(2, 6, 0));
    mesh->GetTriNeighbourTris(0, nbr);  // (0, 1, 4): (0,1) boundary
    EXPECT_EQ(nbr, Index3i(kInvalid, 3, 1));
    EXPECT_TRUE(mesh->IsBoundaryTriangle(0));
    EXPECT_FALSE(mesh->IsBoundaryTriangle(4));  // (3, 4, 7) touches the border only at corners

    const unsigned lonely = mesh->AppendVertex(Vector3f(5, 5, 5));
    VFTriangleMesh::VtxNbrItr itr(lonely);
    mesh->BeginVtxEdges(itr);
    EXPECT_EQ(mesh->GetNextVtxNbr(itr), kInvalid);
    mesh->BeginVtxTriangles(itr);
    EXPECT_EQ(mesh->GetNextVtxTriangle(itr), kInvalid);
    EXPECT_TRUE(isConsistent(*mesh));
}

TEST(EngineMeshStorage, RemovedTriangleLeavesAHoleAndIsolatedVerticesStay)
{
    auto mesh = makeEngineGrid(2, 2);
    mesh->RemoveTriangle(0);  // (0, 1, 4): vertex 0 keeps triangle 1
    EXPECT_TRUE(isConsistent(*mesh));
    EXPECT_FALSE(mesh->IsTriangle(0));
    EXPECT_EQ(mesh->GetMaxTriangleID(), 8u);
    EXPECT_EQ(mesh->GetTriangleCount(), 7u);
    EXPECT_EQ(mesh->FindEdge(0, 1), kInvalid);  // edge left without a triangle goes
    EXPECT_TRUE(mesh->IsBoundaryEdge(1, 4));    // interior edge became boundary

    EXPECT_EQ(mesh->AppendTriangle(0, 1, 4), 8u);  // new IDs never reuse a hole
    EXPECT_TRUE(isConsistent(*mesh));

    for (unsigned tID = 0; tID < mesh->GetMaxTriangleID(); ++tID)
        if (mesh->IsTriangle(tID))
            mesh->RemoveTriangle(tID);
    EXPECT_TRUE(isConsistent(*mesh));  // no edge may be left
    EXPECT_EQ(mesh->GetVertexCount(), 9u);
    EXPECT_TRUE(mesh->RemoveVertex(4));
    EXPECT_FALSE(mesh->IsVertex(4));
    EXPECT_EQ(mesh->GetMaxVertexID(), 9u);
    EXPECT_EQ(std::distance(mesh->BeginVertices(), mesh->EndVertices()), 8);  // the hole is skipped
    EXPECT_TRUE(isConsistent(*mesh));
}

// Inline entries hold 7; a fan of 40 runs the centre's lists through three overflow chunks.
TEST(EngineMeshAdjacency, HighValenceYieldsEveryEdgeInInsertionOrderThroughRemovals)
{
    auto mesh = makeEngineFan(40, false);
    std::vector<unsigned> expected(41);
    std::iota(expected.begin(), expected.end(), 1u);
    EXPECT_EQ(vertexNeighbours(*mesh, 0), expected);

    // Removing triangle 2 (0, 3, 4) drops no centre edge; removing triangle 3 too drops (0, 4).
    mesh->RemoveTriangle(2);
    mesh->RemoveTriangle(3);
    expected.erase(std::find(expected.begin(), expected.end(), 4u));
    EXPECT_EQ(vertexNeighbours(*mesh, 0), expected);
    for (unsigned t = 20; t < 40; ++t)
        mesh->RemoveTriangle(t);
    expected.resize(expected.size() - 20);
    EXPECT_EQ(vertexNeighbours(*mesh, 0), expected);
    EXPECT_TRUE(isConsistent(*mesh));
    for (unsigned t : {0u, 1u, 4u})
        mesh->RemoveTriangle(t);
    EXPECT_TRUE(isConsistent(*mesh));
}

TEST(EngineMeshAdjacency, NonManifoldEdgeEntersAndLeavesTheSet)
{
    auto mesh = makeEngineBook();
    const unsigned e = mesh->FindEdge(0, 1);
    EXPECT_TRUE(mesh->IsNonManifold(e));
    Index2i ev;
    const auto tris = mesh->GetEdge(e, ev);
    ASSERT_EQ(tris.size(), 3u);
    EXPECT_EQ(tris[2], 2u);
    EXPECT_TRUE(isConsistent(*mesh));  // the checker compares the non-manifold set with the lists
    {
        AssertCapture capture;
        Index2i et;
        mesh->GetEdge(e, ev, et);
        EXPECT_TRUE(capture.saw("e.nTriangles.size() <= 2"));
        EXPECT_EQ(et, Index2i(0, 1));
    }
    mesh->RemoveTriangle(0);
    EXPECT_FALSE(mesh->IsNonManifold(e));
    EXPECT_EQ(mesh->GetEdgeTriangleCount(e), 2u);
    EXPECT_TRUE(isConsistent(*mesh));
}

TEST(EngineMeshOneRing, ClosedRingInWindingOrderOpenFanOnTheBorderNoneAtAPinch)
{
    auto mesh = makeEngineGrid(2, 2);
    std::vector<unsigned> ring, tris;
    ASSERT_TRUE(mesh->GetVtxOneRing(4, ring, &tris));
    EXPECT_EQ(ring, (std::vector<unsigned>{0, 1, 5, 8, 7, 3}));  // counter-clockwise around (1, 1)
    EXPECT_EQ(tris, (std::vector<unsigned>{0, 3, 6, 7, 4, 1}));
    ASSERT_TRUE(mesh->GetVtxOneRing(1, ring, &tris));
    EXPECT_EQ(ring, (std::vector<unsigned>{2, 5, 4, 0}));  // open fan from boundary edge (1, 2)
    EXPECT_EQ(tris.size(), 3u);

    AssertCapture capture;
    ring = {99};
    EXPECT_FALSE(makeEngineBowTie()->GetVtxOneRing(0, ring));
    EXPECT_TRUE(ring.empty());
    EXPECT_TRUE(capture.saw("Vertex 0 has 4 boundary edges - cannot find proper one-ring"));
}

// Every ID-taking call, fed InvalidID, a hole and IDs past the end of each slot array: the Is...
// queries and FindEdge answer false silently, accessors report and give their documented
// defaults, nothing changes (the sanitizer build checks that no foreign memory is read).
TEST(EngineMeshBadInput, EveryIdTakingCallSurvivesHolesAndGarbage)
{
    auto mesh = makeEngineGrid(2, 1);  // 6 vertices, 4 triangles, 9 edges
    const unsigned lonely = mesh->AppendVertex(Vector3f(9, 9, 9));
    mesh->RemoveVertex(lonely);   // vertex hole 6
    mesh->RemoveTriangle(3);      // triangle hole 3 (1, 5, 4); edge (5, 4) goes with it
    const unsigned edgeHole = 8;  // edges are numbered in append order: (5, 4) came last
    ASSERT_FALSE(mesh->IsEdge(edgeHole));
    ASSERT_TRUE(isConsistent(*mesh));
    const unsigned vertices = mesh->GetVertexCount(), triangles = mesh->GetTriangleCount();

    AssertCapture capture;
    // A vertex is not joined to itself: the lookup must not answer with the first edge at it.
    EXPECT_EQ(mesh->FindEdge(1, 1), kInvalid);
    EXPECT_FALSE(mesh->IsBoundaryEdge(1, 1));  // vertex 1's first edge (0, 1) is a boundary edge
    EXPECT_EQ(capture.count(), 0u);
    for (unsigned id : {kInvalid, 6u, 3u, edgeHole, 11u, 1u << 30})
    {
        const size_t reports = capture.count();
        const bool vertexBad = !mesh->IsVertex(id), triangleBad = !mesh->IsTriangle(id);
        const bool edgeBad = !mesh->IsEdge(id);
        if (vertexBad)
        {
            EXPECT_EQ(mesh->FindEdge(0, id), kInvalid);
            EXPECT_EQ(mesh->FindEdge(id, 0), kInvalid);
            EXPECT_FALSE(mesh->IsBoundaryEdge(id, 0) || mesh->IsBoundaryEdge(2, id));
        }
        EXPECT_FALSE(triangleBad && mesh->IsBoundaryTriangle(id));
        ASSERT_EQ(capture.count(), reports) << id;  // the Is... queries and FindEdge never report
        if (vertexBad)
        {
            Vector3f p(1, 1, 1), n(1, 1, 1);
            mesh->GetVertex(id, p, &n);
            EXPECT_EQ(p, Vector3f());
            EXPECT_EQ(n, Vector3f());
            vsk::Vector3d pd(1, 1, 1);
            mesh->GetVertex(id, pd);
            EXPECT_EQ(pd, vsk::Vector3d());
            mesh->SetVertex(id, p);
            mesh->GetNormal(id, n);
            mesh->SetNormal(id, n);
            mesh->GetColor(id, n);
            mesh->SetColor(id, n);
            EXPECT_FALSE(mesh->RemoveVertex(id));
            EXPECT_EQ(mesh->GetVertexRefCount(id), 0);
            EXPECT_EQ(mesh->GetTriangleCount(id), 0u);
            EXPECT_EQ(mesh->GetVertexEdgeCount(id), 0u);
            std::vector<unsigned> list{42};
            mesh->GetVertexTriangles(id, list);
            EXPECT_EQ(list, std::vector<unsigned>{42});
            EXPECT_FALSE(mesh->IsBoundaryVertex(id));
            EXPECT_FALSE(mesh->IsManifoldVertex(id));
            EXPECT_FALSE(mesh->GetVtxOneRing(id, list));
            mesh->SetVertexFlag(id, 8);
            mesh->ClearVertexFlag(id, 8);
            EXPECT_FALSE(mesh->HasVertexFlag(id, 8));
            EXPECT_EQ(mesh->GetVertexFlags(id), 0u);
            VFTriangleMesh::VtxNbrItr itr(id);
            mesh->BeginVtxTriangles(itr);
            EXPECT_EQ(mesh->GetNextVtxTriangle(itr), kInvalid);
            mesh->BeginVtxEdges(itr);
            EXPECT_EQ(mesh->GetNextVtxNbr(itr), kInvalid);
            EXPECT_EQ(mesh->AppendTriangle(0, 1, id), kInvalid);
            VFTriangleMesh::EdgeCollapseInfo info;
            EXPECT_FALSE(mesh->CollapseEdge(0, id, info));
            EXPECT_FALSE(mesh->CollapseBoundaryEdge(id, 0, info));
            EXPECT_EQ(info.vRemoved, kInvalid);
        }
        if (triangleBad)
        {
            Index3i out(1, 2, 3);
            mesh->GetTriangle(id, out);
            EXPECT_EQ(out, Index3i(kInvalid, kInvalid, kInvalid));
            EXPECT_EQ(mesh->GetTriangle(id)[0], kInvalid);
            EXPECT_EQ(mesh->GetTriangleVertex(id, 0), kInvalid);
            Vector3f p(1, 1, 1);
            mesh->GetTriVertex(id, 0, p);
            EXPECT_EQ(p, Vector3f());
            mesh->GetTriEdges(id, out);
            EXPECT_EQ(out, Index3i(kInvalid, kInvalid, kInvalid));
            out = Index3i(1, 2, 3);
            mesh->GetTriNeighbourTris(id, out);
            EXPECT_EQ(out, Index3i(kInvalid, kInvalid, kInvalid));
            EXPECT_EQ(mesh->GetTriangleGroup(id), kInvalid);
            mesh->SetTriangleGroup(id, 5);
            mesh->SetTriangleFlag(id, 2);
            mesh->ClearTriangleFlag(id, 2);
            EXPECT_FALSE(mesh->HasTriangleFlag(id, 2));
            EXPECT_EQ(mesh->GetTriangleFlags(id), 0u);
            mesh->RemoveTriangle(id);
        }
        if (edgeBad)
        {
            Index2i ev(1, 2), et(1, 2);
            mesh->GetEdgeV(id, ev);
            EXPECT_EQ(ev, Index2i(kInvalid, kInvalid));
            mesh->GetEdge(id, ev, et);
            EXPECT_EQ(et, Index2i(kInvalid, kInvalid));
            et = Index2i(1, 2);
            mesh->GetEdgeT(id, et);
            EXPECT_EQ(et, Index2i(kInvalid, kInvalid));
            const VFTriangleMesh::EdgeTriangles none = mesh->GetEdge(id, ev);
            EXPECT_TRUE(none.empty());
            EXPECT_EQ(none[0], kInvalid);  // an unchecked read of the empty view stays in bounds
            EXPECT_EQ(none[2], kInvalid);
            EXPECT_EQ(mesh->GetEdgeTriangleCount(id), 0u);
            EXPECT_FALSE(mesh->IsBoundaryEdge(id));
            EXPECT_FALSE(mesh->IsNonManifold(id));
            EXPECT_FALSE(mesh->CanCollapseEdge(id, true));
        }
    }
    std::vector<VFTriangleMesh::BoundaryLoop> loops;
    EXPECT_TRUE(mesh->GetBoundaryLoops({kInvalid, 3u, 1u << 30}, loops));
    EXPECT_TRUE(loops.empty());

    for (const char* message :
         {"m_vTriangles.isValid(tID)", "m_vEdges.isValid(eID)", "m_vVertices.isValid(v.vID)"})
        EXPECT_TRUE(capture.saw(message)) << message;
    for (const std::string& message : capture.messages())  // only the documented reports
        EXPECT_TRUE(message == "m_vVertices.isValid(vID)" || message == "m_vVertices.isValid(v.vID)" ||
                    message == "IsVertex(vID)" || message == "m_vTriangles.isValid(tID)" ||
                    message == "m_vEdges.isValid(eID)")
            << message;

    // A corner index past 2 and a triangle with a repeated corner are reported once each.
    capture.clear();
    EXPECT_EQ(mesh->GetTriangleVertex(0, 3), kInvalid);
    EXPECT_EQ(capture.count(), 1u);
    EXPECT_EQ(mesh->AppendTriangle(0, 0, 1), kInvalid);
    EXPECT_TRUE(capture.saw("v1 != v2 && v1 != v3 && v2 != v3"));
    EXPECT_EQ(mesh->GetVertexCount(), vertices);
    EXPECT_EQ(mesh->GetTriangleCount(), triangles);
    EXPECT_EQ(mesh->GetMaxVertexID(), 7u);
    EXPECT_EQ(mesh->GetMaxTriangleID(), 4u);
    EXPECT_EQ(mesh->GetMaxEdgeID(), 9u);
    EXPECT_TRUE(isConsistent(*mesh));
}

// The collapsed triangles go, the triangles around the removed end are renamed onto the kept end
// with their flags and groups, and a boundary collapse keeps the end it was asked to keep.
TEST(EngineMeshCollapse, InteriorAndBoundaryCollapsesRemoveTheRightElements)
{
    auto mesh = makeEngineGrid(3, 3);  // interior vertices 5, 6, 9, 10
    const unsigned movedTriangle = 5;  // quad (2, 0) upper triangle (2, 7, 6) moves to 5
    mesh->SetTriangleFlag(movedTriangle, 4);
    mesh->SetTriangleGroup(movedTriangle, 9);
    ASSERT_TRUE(mesh->CanCollapseEdge(mesh->FindEdge(5, 6)));
    VFTriangleMesh::EdgeCollapseInfo info;
    ASSERT_TRUE(mesh->CollapseEdge(5, 6, info));
    EXPECT_TRUE(isConsistent(*mesh));
    EXPECT_EQ(info.vKept, 5u);
    EXPECT_EQ(info.vRemoved, 6u);
    EXPECT_FALSE(mesh->IsVertex(6));
    EXPECT_EQ(mesh->GetVertexCount(), 15u);
    EXPECT_EQ(mesh->GetTriangleCount(), 16u);  // the checker derives the edges from the triangles
    EXPECT_FALSE(mesh->IsTriangle(info.tRemoved[0]));
    EXPECT_FALSE(mesh->IsTriangle(info.tRemoved[1]));
    EXPECT_EQ(mesh->GetTriangle(movedTriangle)[2], 5u);
    EXPECT_TRUE(mesh->HasTriangleFlag(movedTriangle, 4));
    EXPECT_EQ(mesh->GetTriangleGroup(movedTriangle), 9u);

    mesh = makeEngineGrid(2, 2);
    const unsigned e = mesh->FindEdge(0, 1);
    EXPECT_FALSE(mesh->CanCollapseEdge(e));  // boundary edges need the flag
    EXPECT_TRUE(mesh->CanCollapseEdge(e, true));
    EXPECT_FALSE(mesh->CollapseEdge(1, 0, info));  // not an interior edge
    ASSERT_TRUE(mesh->CollapseBoundaryEdge(1, 0, info));
    EXPECT_TRUE(isConsistent(*mesh));
    EXPECT_EQ(info.vRemoved, 0u);
    EXPECT_EQ(info.tRemoved, Index2i(0, kInvalid));
    EXPECT_EQ(mesh->GetVertexCount(), 8u);
    EXPECT_EQ(mesh->GetTriangleCount(), 7u);
}

TEST(EngineMeshCollapse, RefusesPinchesDuplicatesAndVanishingTriangles)
{
    auto strip = makeEngineGrid(2, 1);  // edge (1, 4) is interior but both ends are on the boundary
    EXPECT_FALSE(strip->CanCollapseEdge(strip->FindEdge(1, 4), true));
    auto tetra = makeEngineTetrahedron();  // every collapse would fold two faces onto each other
    for (unsigned e : tetra->Edges())
        EXPECT_FALSE(tetra->CanCollapseEdge(e, true));
    EXPECT_FALSE(tetra->IsBoundaryTriangle(0));
    auto single = makeEngineGrid(1, 1);
    single->RemoveTriangle(1);
    EXPECT_FALSE(single->CanCollapseEdge(single->FindEdge(0, 1), true));
    EXPECT_FALSE(makeEngineBook()->CanCollapseEdge(0, true));

    // A closed fan of 3 folds into its outer triangle; the centre goes even though it was asked
    // to stay, because the rim vertex lies on the boundary.
    auto fan = makeEngineFan(3, true);
    VFTriangleMesh::EdgeCollapseInfo info;
    ASSERT_TRUE(fan->CollapseEdge(0, 1, info));
    EXPECT_EQ(info.vRemoved, 0u);
    EXPECT_EQ(fan->GetTriangleCount(), 1u);
    EXPECT_TRUE(isConsistent(*fan));
}

// The loops of a triangle set run along the winding; a loop through a vertex carrying the pinch
// flag (index 8, given here as 40: flag indices wrap at 32), or a set touching itself at a
// vertex, gives loops marked not simple, and the extraction writes no flag word.
TEST(EngineMeshBorders, LoopsFollowTheWindingAndPinchesAreMarkedNotSimple)
{
    auto mesh = makeEngineGrid(2, 2);
    std::set<unsigned> all(mesh->BeginTriangles(), mesh->EndTriangles());
    std::vector<VFTriangleMesh::BoundaryLoop> loops;
    ASSERT_TRUE(mesh->GetBoundaryLoops({0, 6}, loops));  // (0,1,4) and (4,5,8) touch at 4
    ASSERT_EQ(loops.size(), 2u);
    EXPECT_EQ(loops[0].vVertices, (std::vector<unsigned>{0, 1, 4}));
    EXPECT_EQ(loops[1].vVertices, (std::vector<unsigned>{4, 5, 8}));
    EXPECT_FALSE(loops[0].bIsSimple);
    EXPECT_FALSE(loops[1].bIsSimple);
    EXPECT_EQ(mesh->GetVertexFlags(4), 0u);

    loops.clear();
    ASSERT_TRUE(mesh->GetBoundaryLoops(all, loops));
    ASSERT_EQ(loops.size(), 1u);
    EXPECT_EQ(loops[0].vVertices, (std::vector<unsigned>{0, 1, 2, 5, 8, 7, 6, 3}));
    EXPECT_TRUE(loops[0].bIsSimple);
    mesh->SetVertexFlag(7, VFTriangleMesh::VertexFlagBoundaryPinch + 32);
    EXPECT_EQ(mesh->GetVertexFlags(7), 1u << 8);
    ASSERT_TRUE(mesh->GetBoundaryLoops(all, loops));  // appended
    ASSERT_EQ(loops.size(), 2u);
    EXPECT_FALSE(loops[1].bIsSimple);
    mesh->ClearVertexFlag(7, 8);
    EXPECT_EQ(mesh->GetVertexFlags(7), 0u);
}

TEST(EngineMeshCopy, CopyIsDeepAndIndependent)
{
    auto mesh = makeEngineFan(12, true);
    mesh->RemoveTriangle(4);
    VFTriangleMesh copy(*mesh);
    EXPECT_TRUE(isConsistent(copy));
    copy.RemoveTriangle(5);
    EXPECT_TRUE(mesh->IsTriangle(5));
    EXPECT_EQ(vertexList(copy, 0, true).size() + 1, vertexList(*mesh, 0, true).size());
    std::unique_ptr<VFTriangleMesh> clone = mesh->Clone();
    EXPECT_TRUE(isConsistent(*clone));
    EXPECT_EQ(clone->GetMaxTriangleID(), 12u);
}

// Readers share no scratch state: one-rings and edge lookups from many threads match a serial run.
TEST(EngineMeshConcurrency, ParallelReadersAgreeWithSerial)
{
    auto mesh = makeEngineGrid(30, 30);
    for (unsigned t = 0; t < mesh->GetMaxTriangleID(); t += 7)
        mesh->RemoveTriangle(t);
    auto summarise = [&](unsigned v)
    {
        std::vector<unsigned> ring;
        const bool ok = mesh->GetVtxOneRing(v, ring);
        size_t found = 0;
        for (unsigned w : vertexNeighbours(*mesh, v))
            found += mesh->FindEdge(w, v) != kInvalid;
        return (ok ? ring.size() : 1000) + 10000 * found;
    };
    AssertCapture capture;  // pinch points on the holes' borders report; that is expected here
    std::vector<size_t> serial(mesh->GetMaxVertexID()), parallel(mesh->GetMaxVertexID());
    for (unsigned v = 0; v < mesh->GetMaxVertexID(); ++v)
        serial[v] = summarise(v);
    for (int threads : {1, 4})
    {
        tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
        tbb::parallel_for(0u, mesh->GetMaxVertexID(), [&](unsigned v) { parallel[v] = summarise(v); });
        EXPECT_EQ(parallel, serial);
    }
}

// Random appends (non-manifold edges and high valences included) and removals on a few vertices;
// the checker runs after every mutation.
TEST(EngineMeshRandomEdits, AppendsAndRemovalsKeepEveryInvariant)
{
    VFTriangleMesh mesh;
    for (int v = 0; v < 24; ++v)
        mesh.AppendVertex(Vector3f(float(v), 0.0f, 0.0f));
    std::mt19937 random(12345);
    auto pick = [&](size_t n) { return static_cast<unsigned>(random() % n); };
    for (int step = 0; step < 500; ++step)
    {
        if (pick(10) < 6 || mesh.GetTriangleCount() == 0)
        {
            const unsigned a = pick(24), b = pick(24), c = pick(24);
            const unsigned t = mesh.AppendTriangle(a, b, c);
            ASSERT_EQ(t != IMesh::InvalidID, a != b && b != c && a != c);
        }
        else
        {
            std::vector<unsigned> live(mesh.BeginTriangles(), mesh.EndTriangles());
            mesh.RemoveTriangle(live[pick(live.size())]);
        }
        ASSERT_TRUE(isConsistent(mesh)) << "after step " << step;
    }
}

// Random collapses (each allowed one must succeed) and removals on a grid; every result stays
// consistent and free of non-manifold edges and duplicate triangles.
TEST(EngineMeshRandomEdits, CollapsesKeepEveryInvariant)
{
    auto mesh = makeEngineGrid(8, 8);
    std::mt19937 random(777);
    auto pick = [&](size_t n) { return static_cast<unsigned>(random() % n); };
    unsigned collapses = 0;
    for (int step = 0; step < 300 && mesh->GetEdgeCount() > 0; ++step)
    {
        std::vector<unsigned> edges(mesh->BeginEdges(), mesh->EndEdges());
        const unsigned e = edges[pick(edges.size())];
        Index2i ev, et;
        mesh->GetEdge(e, ev, et);
        if (pick(10) == 0)
            mesh->RemoveTriangle(et[0]);
        else if (!mesh->CanCollapseEdge(e, true))
            continue;
        else
        {
            VFTriangleMesh::EdgeCollapseInfo info;
            ASSERT_TRUE(mesh->IsBoundaryEdge(e) ? mesh->CollapseBoundaryEdge(ev[0], ev[1], info)
                                                : mesh->CollapseEdge(ev[0], ev[1], info));
            ++collapses;
        }
        ASSERT_TRUE(isConsistent(*mesh)) << "after step " << step;
        ASSERT_TRUE(mesh->GetNonManifoldEdges().empty());
        std::set<std::array<unsigned, 3>> corners;
        for (unsigned t : mesh->Triangles())
        {
            std::array<unsigned, 3> key{mesh->GetTriangle(t)[0], mesh->GetTriangle(t)[1],
                                        mesh->GetTriangle(t)[2]};
            std::sort(key.begin(), key.end());
            ASSERT_TRUE(corners.insert(key).second) << "duplicate triangle after step " << step;
        }
    }
    EXPECT_GT(collapses, 20u);
}
