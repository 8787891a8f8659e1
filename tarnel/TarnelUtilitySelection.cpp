#include "tarnel/IdMarks.h"
#include "tarnel/TarnelUtility.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <cstdint>

namespace Quelm::Topology
{
namespace
{

using vsk::IMesh;
using vsk::Index3i;
using vsk::VFTriangleMesh;
constexpr unsigned InvalidID = IMesh::InvalidID;

// Triangles per task in TrisBoundaryEdges: three edge lookups each, so a few thousand per task.
constexpr size_t kBorderGrain = 2048;

// Calls f(u) for every triangle u around vertex vID, in the vertex's stored order.
template <class F>
void forEachVertexTriangle(const VFTriangleMesh& mesh, unsigned vID, F&& f)
{
    VFTriangleMesh::VtxNbrItr itr(vID);
    mesh.BeginVtxTriangles(itr);
    for (unsigned u = mesh.GetNextVtxTriangle(itr); u != InvalidID; u = mesh.GetNextVtxTriangle(itr))
        f(u);
}

bool touchesFlaggedTriangle(const VFTriangleMesh& mesh, unsigned vID, unsigned flag)
{
    VFTriangleMesh::VtxNbrItr itr(vID);
    mesh.BeginVtxTriangles(itr);
    for (unsigned u = mesh.GetNextVtxTriangle(itr); u != InvalidID; u = mesh.GetNextVtxTriangle(itr))
        if (mesh.HasTriangleFlag(u, flag))
            return true;
    return false;
}

// The ring walk shared by both forms of TrisToOneRing.
template <class TriSet, class RingTris, class RingVerts>
void collectOneRing(const VFTriangleMesh& mesh, const TriSet& tris, RingTris& ringTris, RingVerts& ringVerts)
{
    for (unsigned tID : tris)
    {
        if (!mesh.IsTriangle(tID))
            continue;
        const unsigned* tri = mesh.GetTriangle(tID);
        for (int j = 0; j < 3; ++j)
        {
            const unsigned vID = tri[j];
            if (!mesh.IsVertex(vID))
                continue;
            forEachVertexTriangle(mesh, vID,
                                  [&](unsigned u)
                                  {
                                      if (tris.count(u) == 0)
                                      {
                                          ringTris.insert(u);
                                          ringVerts.insert(vID);
                                      }
                                  });
        }
    }
}

// Per-triangle body of TrisBoundaryEdges; `inSet` marks the members of the caller's set.
void boundaryEdgesOf(const VFTriangleMesh& mesh, unsigned tID, const detail::IdMarks& inSet,
                     tbb::concurrent_unordered_set<unsigned>& outsideTris,
                     tbb::concurrent_unordered_set<unsigned>& edges)
{
    if (!mesh.IsTriangle(tID))
        return;
    const unsigned* tri = mesh.GetTriangle(tID);
    for (int j = 0; j < 3; ++j)
    {
        const unsigned eID = mesh.FindEdge(tri[j], tri[(j + 1) % 3]);
        if (eID == InvalidID)  // a live triangle always has its edges; nothing to report otherwise
            return;
        if (mesh.IsBoundaryEdge(eID))
        {
            edges.insert(eID);
            return;  // deliberate: the later edges of this triangle are not looked at
        }
        // The list form reads the first two triangles without the engine's non-manifold report.
        vsk::Index2i ends;
        const VFTriangleMesh::EdgeTriangles both = mesh.GetEdge(eID, ends);
        for (size_t k = 0; k < 2; ++k)
        {
            const unsigned other = k < both.size() ? both[k] : InvalidID;
            if (!mesh.IsTriangle(other))
                return;
            if (!inSet.get(other))
            {
                edges.insert(eID);
                outsideTris.insert(other);
            }
        }
    }
}

}  // namespace

void TarnelUtility::GetConnectedSelection(const VFTriangleMesh& mesh, unsigned tSeed,
                                          std::set<unsigned>& selection, unsigned flag)
{
    // Breadth-first over flagged neighbours. Membership is kept in a mark per triangle (the
    // caller's set is asked once per triangle met), and the new triangles go into the set in one
    // ascending batch at the end: the same contents as inserting them one by one, far fewer
    // tree walks.
    if (!mesh.IsTriangle(tSeed) || selection.count(tSeed))
        return;
    enum : uint8_t
    {
        kUnknown = 0,
        kSelected,
        kNotSelected
    };
    detail::IdMarks marks(mesh.GetMaxTriangleID());
    auto isSelected = [&](unsigned tID)
    {
        uint8_t mark = marks.get(tID);
        if (mark == kUnknown)
        {
            mark = selection.count(tID) ? kSelected : kNotSelected;
            marks.set(tID, mark);
        }
        return mark == kSelected;
    };
    // Every triangle but the seed enters the queue once, as it is selected; only the seed can be
    // queued twice (when a flagged neighbour reaches it back), so it is the only one to guard.
    std::vector<unsigned> queue{tSeed};
    std::vector<unsigned> added;
    bool seedExpanded = false;
    for (size_t head = 0; head < queue.size(); ++head)
    {
        const unsigned tID = queue[head];
        if (tID == tSeed)
        {
            if (seedExpanded)
                continue;
            seedExpanded = true;
        }
        Index3i neighbours;
        mesh.GetTriNeighbourTris(tID, neighbours);
        for (int j = 0; j < 3; ++j)
        {
            const unsigned n = neighbours[j];
            if (n == InvalidID || isSelected(n) || !mesh.HasTriangleFlag(n, flag))
                continue;
            marks.set(n, kSelected);
            added.push_back(n);
            queue.push_back(n);
        }
    }
    std::sort(added.begin(), added.end());
    selection.insert(added.begin(), added.end());
}

void TarnelUtility::GetConnectedSelection(const VFTriangleMesh& mesh, unsigned vSeed,
                                          std::unordered_set<unsigned>& selection, unsigned flag)
{
    // Breadth-first over edges. A mark per vertex remembers both "selected" and "touches no
    // flagged triangle", so each vertex's triangles are walked at most once however many
    // neighbours meet it; the new vertices go into the caller's set at the end.
    if (!mesh.IsVertex(vSeed) || selection.count(vSeed))
        return;
    enum : uint8_t
    {
        kUnknown = 0,
        kSelected,
        kRejected
    };
    detail::IdMarks marks(mesh.GetMaxVertexID());
    marks.set(vSeed, kSelected);
    std::vector<unsigned> added{vSeed};  // doubles as the FIFO queue
    for (size_t head = 0; head < added.size(); ++head)
    {
        VFTriangleMesh::VtxNbrItr itr(added[head]);
        mesh.BeginVtxEdges(itr);
        for (unsigned w = mesh.GetNextVtxNbr(itr); w != InvalidID; w = mesh.GetNextVtxNbr(itr))
        {
            if (marks.get(w) != kUnknown)
                continue;
            if (selection.count(w))
            {
                marks.set(w, kSelected);
                continue;
            }
            if (!touchesFlaggedTriangle(mesh, w, flag))
            {
                marks.set(w, kRejected);
                continue;
            }
            marks.set(w, kSelected);
            added.push_back(w);
        }
    }
    selection.reserve(selection.size() + added.size());
    selection.insert(added.begin(), added.end());
}

void TarnelUtility::GetVOneRings(const VFTriangleMesh& mesh, std::vector<unsigned> vertices,
                                 std::set<unsigned>& triangles)
{
    for (unsigned vID : vertices)
        if (mesh.IsVertex(vID))
            forEachVertexTriangle(mesh, vID, [&](unsigned tID) { triangles.insert(tID); });
}

void TarnelUtility::TrisToOneRing(const VFTriangleMesh& mesh, std::unordered_set<unsigned>& tris,
                                  std::unordered_set<unsigned>& ringTris,
                                  std::unordered_set<unsigned>& ringVerts)
{
    collectOneRing(mesh, tris, ringTris, ringVerts);
}

void TarnelUtility::TrisToOneRing(const VFTriangleMesh& mesh, const std::unordered_set<unsigned>& tris,
                                  std::vector<unsigned>& ringTris, std::vector<unsigned>& ringVerts)
{
    std::unordered_set<unsigned> triSet, vertSet;
    triSet.max_load_factor(1.0f);
    vertSet.max_load_factor(1.0f);
    collectOneRing(mesh, tris, triSet, vertSet);
    ringTris.assign(triSet.begin(), triSet.end());
    ringVerts.assign(vertSet.begin(), vertSet.end());
}

void TarnelUtility::TrisBoundaryEdges(const VFTriangleMesh& mesh,
                                      tbb::concurrent_unordered_set<unsigned>& tris,
                                      tbb::concurrent_unordered_set<unsigned>& outsideTris,
                                      tbb::concurrent_unordered_set<unsigned>& edges)
{
    // One pass on this thread over the caller's set (its split-ordered lists are slow to walk and
    // split) fills a mark per member; the marks then give the members as a flat list in ascending
    // order, which the workers split. Ascending IDs keep neighbouring triangles, and so their
    // vertex and edge records, together in memory: in the set's hash order every edge lookup is a
    // cache miss. The outputs are concurrent sets.
    detail::IdMarks inSet(mesh.GetMaxTriangleID());
    for (unsigned tID : tris)
        if (mesh.IsTriangle(tID))
            inSet.set(tID, 1);
    std::vector<unsigned> members;
    members.reserve(tris.size());
    inSet.forEachMarked([&members](unsigned tID) { members.push_back(tID); });
    tbb::parallel_for(tbb::blocked_range<size_t>(0, members.size(), kBorderGrain),
                      [&](const tbb::blocked_range<size_t>& range)
                      {
                          for (size_t i = range.begin(); i != range.end(); ++i)
                              boundaryEdgesOf(mesh, members[i], inSet, outsideTris, edges);
                      });
}

void TarnelUtility::IncludeTriangleWithTwoNeighbour(const VFTriangleMesh& mesh, std::set<unsigned>& tris,
                                                    const std::set<unsigned>& selection,
                                                    std::set<unsigned>& singles, std::set<unsigned>& include)
{
    for (unsigned tID : tris)
    {
        if (!mesh.IsTriangle(tID))
            continue;
        Index3i neighbours;
        mesh.GetTriNeighbourTris(tID, neighbours);
        for (int j = 0; j < 3; ++j)
        {
            const unsigned n = neighbours[j];
            if (!mesh.IsTriangle(n))
                continue;
            Index3i around;
            mesh.GetTriNeighbourTris(n, around);
            int count = 0;
            for (int k = 0; k < 3; ++k)
                if (mesh.IsTriangle(around[k]) && (selection.count(around[k]) || singles.count(around[k])))
                    ++count;
            if (count == 1)
                singles.insert(n);
            else if (count >= 2 && selection.count(n) == 0)
                include.insert(n);
        }
    }
}

void TarnelUtility::RemoveFlippedTriangle(const VFTriangleMesh& mesh, std::set<unsigned>& tris,
                                          const std::set<unsigned>& selection, std::set<unsigned>& found)
{
    (void)selection;  // part of the interface, not needed to find ears
    for (unsigned tID : tris)
    {
        if (!mesh.IsTriangle(tID))
            continue;
        Index3i neighbours;
        mesh.GetTriNeighbourTris(tID, neighbours);
        int valid = 0;
        for (int j = 0; j < 3; ++j)
            valid += mesh.IsTriangle(neighbours[j]) ? 1 : 0;
        if (valid == 1)
            found.insert(tID);
    }
}

void TarnelUtility::CheckAndFixManifoldBoundariesInSelection(const VFTriangleMesh& mesh,
                                                             std::set<unsigned>& selection)
{
    std::vector<VFTriangleMesh::BoundaryLoop> loops;
    mesh.GetBoundaryLoops(selection, loops);
    std::set<unsigned> seen;
    for (const VFTriangleMesh::BoundaryLoop& loop : loops)
    {
        if (loop.bIsSimple)  // only loops through a pinch point are examined
            continue;
        for (unsigned vID : loop.vVertices)
        {
            if (seen.insert(vID).second)
                continue;
            forEachVertexTriangle(mesh, vID, [&](unsigned tID) { selection.insert(tID); });
        }
    }
}

}  // namespace Quelm::Topology
