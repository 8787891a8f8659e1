#include "tarnel/TarnelUtility.h"

#include <algorithm>

namespace Quelm::Topology
{
namespace
{

using vsk::IMesh;
using vsk::VFTriangleMesh;
using Path = TarnelUtility::Path;
using PathList = TarnelUtility::PathList;

bool hasOnlyManifoldEdges(const VFTriangleMesh& mesh, const Path& path, bool closed)
{
    const size_t n = path.size();
    const size_t edgeCount = closed ? n : (n == 0 ? 0 : n - 1);
    for (size_t k = 0; k < edgeCount; ++k)
    {
        const unsigned eID = mesh.FindEdge(path[k], path[(k + 1) % n]);
        if (eID == IMesh::InvalidID || mesh.IsNonManifold(eID))
            return false;
    }
    return true;
}

// A vertex fails when three or more boundary edges meet there (the engine's manifold-vertex
// test); a vertex that is not live has no edges and passes.
bool hasOnlyManifoldVertices(const VFTriangleMesh& mesh, const Path& path)
{
    return std::all_of(path.begin(), path.end(),
                       [&](unsigned vID) { return !mesh.IsVertex(vID) || mesh.IsManifoldVertex(vID); });
}

// The flagged region of a vertex, as the filters test it.
std::unordered_set<unsigned> regionOf(const VFTriangleMesh& mesh, unsigned vID, unsigned flag)
{
    std::unordered_set<unsigned> region(16);
    region.max_load_factor(1.0f);
    TarnelUtility::GetConnectedSelection(mesh, vID, region, flag);
    return region;
}

}  // namespace

void TarnelUtility::RemoveNonManifoldPaths(const VFTriangleMesh& mesh, PathList& paths, bool closed)
{
    // remove_if keeps the order of the survivors and moves each path at most once: O(total length).
    paths.erase(std::remove_if(paths.begin(), paths.end(),
                               [&](const Path& path) {
                                   return !hasOnlyManifoldEdges(mesh, path, closed) ||
                                          !hasOnlyManifoldVertices(mesh, path);
                               }),
                paths.end());
}

void TarnelUtility::RemovePathsAdjacentToLoops(const VFTriangleMesh& mesh, PathList& paths,
                                               const PathList& loops, unsigned flag)
{
    if (paths.empty() || loops.empty())
        return;
    std::unordered_set<unsigned> regions(16);
    regions.max_load_factor(1.0f);
    for (const Path& loop : loops)
        if (!loop.empty())
            GetConnectedSelection(mesh, loop.front(), regions, flag);
    paths.erase(std::remove_if(paths.begin(), paths.end(),
                               [&](const Path& path)
                               { return !path.empty() && regions.count(path.front()); }),
                paths.end());
}

void TarnelUtility::RemovePathsAdjacentToLongerPaths(const VFTriangleMesh& mesh, PathList& paths,
                                                     unsigned flag)
{
    // Plan: walk the caller's list; each path still unclaimed claims every other unclaimed path
    // whose first vertex lies in its flagged region, and the longest of that group survives.
    // "Claimed" is a mark per position rather than erasure from a working copy: each path is
    // claimed once, and equal paths are interchangeable, so the survivors are the same.
    if (paths.size() < 2)
        return;
    const size_t n = paths.size();
    std::vector<char> claimed(n, 0);
    PathList result;
    for (size_t p = 0; p < n; ++p)
    {
        if (paths[p].empty() || claimed[p])
            continue;
        std::vector<size_t> group;
        std::unordered_set<unsigned> region;
        bool regionReady = false;
        for (size_t q = 0; q < n; ++q)
        {
            if (q == p || claimed[q] || paths[q].empty() || paths[q] == paths[p])
                continue;
            if (!regionReady)
            {
                region = regionOf(mesh, paths[p].front(), flag);
                regionReady = true;
            }
            if (region.count(paths[q].front()))
                group.push_back(q);
        }
        group.push_back(p);
        // The longest wins; among equally long paths the last one met in the list.
        size_t longest = group.front();
        for (size_t q : group)
            if (paths[q].size() >= paths[longest].size())
                longest = q;
        for (size_t q : group)
            claimed[q] = 1;
        result.push_back(paths[longest]);
    }
    paths = std::move(result);
}

}  // namespace Quelm::Topology
