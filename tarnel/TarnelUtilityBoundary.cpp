#include "tarnel/TarnelEdges.h"
#include "tarnel/TarnelUtility.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <unordered_map>
#include <unordered_set>

namespace Quelm::Topology
{
namespace
{

using vsk::IMesh;
using vsk::VFTriangleMesh;
using Path = TarnelUtility::Path;
using PathList = TarnelUtility::PathList;
constexpr unsigned InvalidID = IMesh::InvalidID;

// A trace that has not closed after this many steps is dropped (callers rely on the limit: a
// loop of more than this many edges is never reported).
constexpr unsigned kMaxTraceSteps = 100000;

// The boundary edges still to be traced: a mask by edge ID for the membership test and the
// ascending list of them for "the smallest one left".
class BoundaryEdgeSet
{
public:
    explicit BoundaryEdgeSet(const VFTriangleMesh& mesh) : inSet_(mesh.GetMaxEdgeID(), 0)
    {
        for (unsigned eID : mesh.Edges())  // O(edges): the only full scan
            if (mesh.IsBoundaryEdge(eID))
            {
                inSet_[eID] = 1;
                ascending_.push_back(eID);
            }
    }
    bool contains(unsigned eID) const { return eID < inSet_.size() && inSet_[eID] != 0; }
    void erase(unsigned eID) { inSet_[eID] = 0; }
    // Removes and returns the smallest edge left; InvalidID when none is.
    unsigned popSmallest()
    {
        while (next_ < ascending_.size() && !inSet_[ascending_[next_]])
            ++next_;
        if (next_ == ascending_.size())
            return InvalidID;
        const unsigned eID = ascending_[next_++];
        inSet_[eID] = 0;
        return eID;
    }

private:
    std::vector<uint8_t> inSet_;
    std::vector<unsigned> ascending_;
    size_t next_ = 0;
};

// Follows unused boundary edges from the path's last vertex until it returns to its first,
// appending vertices and the consumed edges. False when the trace is dropped: it stalled (no
// unused edge at a vertex) or did not close within kMaxTraceSteps steps.
bool traceLoop(const VFTriangleMesh& mesh, BoundaryEdgeSet& unused, Path& path, std::vector<unsigned>& edges)
{
    const unsigned first = path.front();
    unsigned c = path.back();
    unsigned steps = 0;
    while (c != first && steps < kMaxTraceSteps)
    {
        ++steps;
        VFTriangleMesh::VtxNbrItr itr(c);
        mesh.BeginVtxEdges(itr);
        unsigned found = InvalidID;
        for (unsigned eID = mesh.GetNextVtxEdge(itr); eID != InvalidID; eID = mesh.GetNextVtxEdge(itr))
            if (unused.contains(eID))
            {
                found = eID;
                break;
            }
        // A stalled trace would repeat this step without effect until the limit: same outcome.
        if (found == InvalidID)
            return false;
        unused.erase(found);
        edges.push_back(found);
        vsk::Index2i ends;
        mesh.GetEdgeV(found, ends);
        c = ends[0] == c ? ends[1] : ends[0];
        if (c != first)
            path.push_back(c);
    }
    return steps < kMaxTraceSteps;
}

// Splits a closed path into its runs of flagged edges; edges[k] joins path[k] and path[k + 1 mod n].
void splitByFlag(const VFTriangleMesh& mesh, const Path& path, const std::vector<unsigned>& edges,
                 unsigned flag, PathList& loops, PathList& paths)
{
    const size_t n = path.size();
    Path run;
    PathList runs;
    bool allFlagged = true;
    for (size_t k = 0; k < n; ++k)
    {
        if (mesh.HasTriangleFlag(detail::edgeTriangle(mesh, edges[k]), flag))
        {
            run.push_back(path[k]);
            continue;
        }
        allFlagged = false;
        if (!run.empty())
        {
            run.push_back(path[k]);  // the run ends at the near vertex of the unflagged edge
            runs.push_back(std::move(run));
            run.clear();
        }
    }
    if (!run.empty())
    {
        if (allFlagged)
            loops.push_back(std::move(run));
        else if (!runs.empty() && runs.front().front() == path[0])
            runs.front().insert(runs.front().begin(), run.begin(), run.end());  // the run wraps the seam
        else
        {
            run.push_back(path[0]);
            runs.push_back(std::move(run));
        }
    }
    for (Path& r : runs)
        paths.push_back(std::move(r));
}

struct Bounds
{
    Wm4::Vector3f lo{FLT_MAX, FLT_MAX, FLT_MAX};
    Wm4::Vector3f hi{-FLT_MAX, -FLT_MAX, -FLT_MAX};
};

// A lower bound of the squared distance between points of two boxes, computed with the same
// float operations as the exact distance, so that it never exceeds it.
float boundsDistanceSquared(const Bounds& a, const Bounds& b)
{
    float sum = 0.0f;
    for (int k = 0; k < 3; ++k)
    {
        const float gap = std::max({0.0f, b.lo[k] - a.hi[k], a.lo[k] - b.hi[k]});
        sum += gap * gap;
    }
    return sum;
}

uint64_t pairKey(size_t i, size_t j)
{
    return (static_cast<uint64_t>(i) << 32) | static_cast<uint64_t>(j);
}

// The pairs (i < j) of paths joined by a mesh edge, found by walking each path vertex's edges
// once instead of testing every vertex pair.
std::unordered_set<uint64_t> adjacentPairs(const VFTriangleMesh& mesh, const PathList& paths)
{
    std::unordered_map<unsigned, std::vector<size_t>> pathsOfVertex;
    for (size_t i = 0; i < paths.size(); ++i)
        for (unsigned v : paths[i])
        {
            std::vector<size_t>& owners = pathsOfVertex[v];
            if (owners.empty() || owners.back() != i)
                owners.push_back(i);
        }
    std::unordered_set<uint64_t> adjacent;
    for (const auto& [a, ownersOfA] : pathsOfVertex)
    {
        if (!mesh.IsVertex(a))
            continue;
        VFTriangleMesh::VtxNbrItr itr(a);
        mesh.BeginVtxEdges(itr);
        for (unsigned b = mesh.GetNextVtxNbr(itr); b != InvalidID; b = mesh.GetNextVtxNbr(itr))
        {
            const auto found = pathsOfVertex.find(b);
            if (found == pathsOfVertex.end())
                continue;
            for (size_t i : ownersOfA)
                for (size_t j : found->second)
                    if (i != j)
                        adjacent.insert(pairKey(std::min(i, j), std::max(i, j)));
        }
    }
    return adjacent;
}

}  // namespace

void TarnelUtility::FindBoundariesWithFlag(const VFTriangleMesh& mesh, unsigned flag, PathList& loops,
                                           PathList& paths)
{
    // Plan: gather the boundary edges; repeatedly seed a loop on the smallest edge left, orient
    // it along its triangle's winding, trace it closed by adjacency, then split it into flagged
    // runs. Traced edges are consumed even when their loop is dropped.
    loops.clear();
    paths.clear();
    BoundaryEdgeSet unused(mesh);
    Path path;
    std::vector<unsigned> edges;
    for (unsigned seed = unused.popSmallest(); seed != InvalidID; seed = unused.popSmallest())
    {
        vsk::Index2i ends;
        mesh.GetEdgeV(seed, ends);
        const unsigned* tri = mesh.GetTriangle(detail::edgeTriangle(mesh, seed));
        if (detail::runsWithWinding(tri, ends[0], ends[1]))
            path.assign({ends[0], ends[1]});
        else
            path.assign({ends[1], ends[0]});
        edges.assign(1, seed);
        if (traceLoop(mesh, unused, path, edges))
            splitByFlag(mesh, path, edges, flag, loops, paths);
    }
}

void TarnelUtility::GetBoundaryTrianglesWithFlag(const VFTriangleMesh& mesh, unsigned flag,
                                                 std::vector<unsigned>& triangles)
{
    triangles.clear();
    for (unsigned tID : mesh.Triangles())
        if (mesh.HasTriangleFlag(tID, flag) && mesh.IsBoundaryTriangle(tID))
            triangles.push_back(tID);
}

void TarnelUtility::ExtendBoundaryPath(const VFTriangleMesh& mesh, Path& path, unsigned stopVertex)
{
    if (path.empty())
        return;
    // Each step is decided by (last-but-one, last) alone, so repeating a step means cycling
    // forever; the steps taken are remembered to stop there.
    std::unordered_set<uint64_t> stepsTaken;
    unsigned last = path.back();
    bool extended = true;
    while (extended && mesh.IsVertex(last))
    {
        extended = false;
        VFTriangleMesh::VtxNbrItr itr(last);
        mesh.BeginVtxEdges(itr);
        for (unsigned u = mesh.GetNextVtxNbr(itr); u != InvalidID; u = mesh.GetNextVtxNbr(itr))
        {
            if (u == stopVertex || u == path.front())
                return;
            const bool stepsBack = path.size() >= 2 && u == path[path.size() - 2];
            if (stepsBack || !mesh.IsBoundaryEdge(last, u))
                continue;
            if (!stepsTaken.insert((static_cast<uint64_t>(last) << 32) | u).second)
                return;
            path.push_back(u);
            last = u;
            extended = true;
            break;
        }
    }
}

std::vector<unsigned> TarnelUtility::GetTrianglesOfBoundary(const VFTriangleMesh& mesh, const Path& path,
                                                            bool closed)
{
    std::vector<unsigned> triangles;
    const size_t n = path.size();
    if (n < 2 || (closed && n < 3))
        return triangles;
    const size_t edgeCount = closed ? n : n - 1;
    for (size_t k = 0; k < edgeCount; ++k)
    {
        const unsigned eID = mesh.FindEdge(path[k], path[(k + 1) % n]);
        if (eID == InvalidID || !mesh.IsBoundaryEdge(eID))
            continue;
        const unsigned tID = detail::edgeTriangle(mesh, eID);
        if (triangles.empty() || triangles.back() != tID)
            triangles.push_back(tID);
    }
    return triangles;
}

std::pair<unsigned, unsigned> TarnelUtility::GetTrianglesAtBoundaryPathEnds(const VFTriangleMesh& mesh,
                                                                            const Path& path)
{
    const size_t n = path.size();
    if (n < 2)
        return {InvalidID, InvalidID};
    const unsigned firstEdge = mesh.FindEdge(path[0], path[1]);
    const unsigned lastEdge = mesh.FindEdge(path[n - 2], path[n - 1]);
    if (firstEdge == InvalidID || lastEdge == InvalidID)
        return {InvalidID, InvalidID};
    return {detail::edgeTriangle(mesh, firstEdge), detail::edgeTriangle(mesh, lastEdge)};
}

std::pair<int, int> TarnelUtility::GetClosestBoundaryPaths(const VFTriangleMesh& mesh, const PathList& paths,
                                                           bool skipAdjacent)
{
    // Same result as comparing every vertex pair of every path pair in order (a strictly smaller
    // distance wins, so ties keep the earlier pair), with two shortcuts: adjacency is found from
    // the vertices' edges, and a pair whose bounding boxes are already too far apart is skipped.
    if (paths.size() < 2)
        return {-1, -1};
    if (paths.size() == 2)
        return {0, 1};

    std::vector<std::vector<Wm4::Vector3f>> points(paths.size());
    std::vector<Bounds> bounds(paths.size());
    for (size_t i = 0; i < paths.size(); ++i)
    {
        points[i].reserve(paths[i].size());
        for (unsigned v : paths[i])
        {
            if (!mesh.IsVertex(v))  // a vertex that is gone has no position to compare
                continue;
            Wm4::Vector3f p;
            mesh.GetVertex(v, p);
            points[i].push_back(p);
            for (int k = 0; k < 3; ++k)
            {
                bounds[i].lo[k] = std::min(bounds[i].lo[k], p[k]);
                bounds[i].hi[k] = std::max(bounds[i].hi[k], p[k]);
            }
        }
    }
    const std::unordered_set<uint64_t> adjacent =
        skipAdjacent ? adjacentPairs(mesh, paths) : std::unordered_set<uint64_t>();

    float best = FLT_MAX;
    std::pair<int, int> result(-1, -1);
    for (size_t i = 0; i < paths.size(); ++i)
        for (size_t j = i + 1; j < paths.size(); ++j)
        {
            if (points[i].empty() || points[j].empty() || adjacent.count(pairKey(i, j)))
                continue;
            if (!(boundsDistanceSquared(bounds[i], bounds[j]) < best))
                continue;
            for (const Wm4::Vector3f& a : points[i])
                for (const Wm4::Vector3f& b : points[j])
                {
                    const float d = (a - b).SquaredLength();
                    if (d < best)
                    {
                        best = d;
                        result = {static_cast<int>(i), static_cast<int>(j)};
                    }
                }
        }
    return result;
}

double TarnelUtility::ComputeAngle(Wm4::Vector3<float> p0, Wm4::Vector3<float> p1, Wm4::Vector3<float> p2)
{
    const double d01 = static_cast<double>((p0 - p1).Length());
    const double d02 = static_cast<double>((p0 - p2).Length());
    const double s12 = static_cast<double>((p1 - p2).SquaredLength());
    // note: coincident points divide by zero on purpose; the comparisons below sort out the result
    const double x = (d01 * d01 + d02 * d02 - s12) / (2.0 * d02 * d01);
    if (x <= -1.0)
        return 3.14159265358979323846;
    if (x >= 1.0)
        return 0.0;
    return std::acos(x);
}

unsigned TarnelUtility::GetVertexOfTriangle(const VFTriangleMesh& mesh, unsigned tID,
                                            const Wm4::Vector3<float>& point)
{
    if (!mesh.IsTriangle(tID))
        return InvalidID;
    const unsigned* tri = mesh.GetTriangle(tID);
    unsigned closest = InvalidID;
    float best = 0.0f;
    for (int j = 0; j < 3; ++j)
    {
        Wm4::Vector3f p;
        mesh.GetVertex(tri[j], p);
        const float distance = (p - point).Length();
        if (closest == InvalidID || distance < best)
        {
            closest = tri[j];
            best = distance;
        }
    }
    return closest;
}

}  // namespace Quelm::Topology
