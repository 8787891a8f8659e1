#pragma once

#include "common/MaterialGroup.h"
#include "common/RawMesh.h"
#include "engine/GSurface.h"
#include "engine/VFTriangleMesh.h"
#include "engine/Wm4Vector.h"

#include <boost/shared_ptr.hpp>
#include <tbb/concurrent_unordered_set.h>

#include <cstddef>
#include <set>
#include <unordered_set>
#include <utility>
#include <vector>

namespace Quelm::Topology
{

// Stateless operations on the engine mesh: boundary paths, selections carried by triangle flag
// bits, and their repair and removal. A flag argument is a bit index; bit (flag mod 32) of a
// triangle's flag word is used. A path is an ordered vector of vertex IDs along boundary edges (a
// loop does not repeat its first vertex). Output containers are appended to unless a comment says
// they are cleared or replaced. Nothing is thrown on bad input: IDs that are not live are skipped
// or reported through the engine's assertion handler, as each comment says. Only FlagFaces and
// TrisBoundaryEdges run in parallel; everything else runs on the calling thread.
class TarnelUtility
{
public:
    using Path = std::vector<unsigned>;
    using PathList = std::vector<Path>;

    // --- Boundary paths ----------------------------------------------------------------------

    // Traces every boundary loop of the mesh (clears both outputs first). Loops whose every edge
    // lies on a triangle carrying `flag` go to `loops`; the maximal flagged runs of partly flagged
    // loops go to `paths`, each with both end vertices. Loops start on their smallest edge ID,
    // oriented along that edge's triangle's winding. A chain that does not close, or a loop of
    // more than 100000 edges, is dropped. O(edges).
    static void FindBoundariesWithFlag(const vsk::VFTriangleMesh& mesh, unsigned flag, PathList& loops,
                                       PathList& paths);
    // Clears `triangles`, then lists the flagged triangles with a boundary edge, ascending.
    static void GetBoundaryTrianglesWithFlag(const vsk::VFTriangleMesh& mesh, unsigned flag,
                                             std::vector<unsigned>& triangles);
    // Extends `path` from its last vertex along boundary edges, taking at each vertex the first
    // neighbour (in edge order) that leads on along the boundary without stepping back. Stops at
    // `stopVertex`, at the path's first vertex, or where no neighbour leads on; a walk that would
    // repeat a step (it can cycle through a pinch vertex forever) stops before repeating it.
    static void ExtendBoundaryPath(const vsk::VFTriangleMesh& mesh, Path& path, unsigned stopVertex);
    // The triangles of the path's boundary edges in path order (with the closing edge when
    // `closed`); consecutive duplicates dropped, missing or interior edges skipped. Empty for
    // fewer than two vertices (three when closed).
    static std::vector<unsigned> GetTrianglesOfBoundary(const vsk::VFTriangleMesh& mesh, const Path& path,
                                                        bool closed);
    // The triangles of the path's first and last edges; both InvalidID when the path has fewer
    // than two vertices or either edge is missing.
    static std::pair<unsigned, unsigned> GetTrianglesAtBoundaryPathEnds(const vsk::VFTriangleMesh& mesh,
                                                                        const Path& path);
    // The indices (i < j) of the two paths with the closest pair of vertices (squared distance in
    // single precision; ties keep the earlier pair). (-1, -1) for fewer than two paths, (0, 1) for
    // exactly two. With `skipAdjacent`, pairs of paths joined by a mesh edge are never chosen.
    // Vertices that are not live are skipped. Worst case O(product of the path lengths), pruned
    // by the paths' bounding boxes.
    static std::pair<int, int> GetClosestBoundaryPaths(const vsk::VFTriangleMesh& mesh, const PathList& paths,
                                                       bool skipAdjacent);
    // The angle at p0 between the directions to p1 and p2, in radians, by the law of cosines
    // (lengths in single precision, the rest in double); 0 or pi outside acos's domain. Coincident
    // points are not guarded: the division by zero gives NaN or one of the two clamps.
    static double ComputeAngle(Wm4::Vector3<float> p0, Wm4::Vector3<float> p1, Wm4::Vector3<float> p2);
    // The corner of triangle `tID` closest to `point` (the first on ties); InvalidID when `tID` is
    // not a live triangle.
    static unsigned GetVertexOfTriangle(const vsk::VFTriangleMesh& mesh, unsigned tID,
                                        const Wm4::Vector3<float>& point);

    // --- Path filters (edit the list in place, keeping the order of what stays) -------------------

    // Erases paths with a missing or non-manifold edge (the closing edge too when `closed`) or
    // with a vertex where three or more boundary edges meet.
    static void RemoveNonManifoldPaths(const vsk::VFTriangleMesh& mesh, PathList& paths, bool closed);
    // Erases the paths whose first vertex lies in the flagged region of some loop's first vertex
    // (the vertex form of GetConnectedSelection). Empty paths stay.
    static void RemovePathsAdjacentToLoops(const vsk::VFTriangleMesh& mesh, PathList& paths,
                                           const PathList& loops, unsigned flag);
    // Keeps one path per flagged region, its longest (which of equally long ones is unspecified),
    // in the order the regions are first met; empty paths are dropped. Lists of fewer than two
    // paths are left alone.
    static void RemovePathsAdjacentToLongerPaths(const vsk::VFTriangleMesh& mesh, PathList& paths,
                                                 unsigned flag);

    // --- Selections ---------------------------------------------------------------------------

    // Floods from triangle `tSeed` across edges to flagged triangles, adding them to `selection`.
    // The seed itself is added only when it is flagged and reached back from a flagged neighbour;
    // nothing happens for a seed that is not a live triangle or is already selected.
    static void GetConnectedSelection(const vsk::VFTriangleMesh& mesh, unsigned tSeed,
                                      std::set<unsigned>& selection, unsigned flag);
    // Floods from vertex `vSeed` across edges to vertices that touch a flagged triangle, adding
    // them to `selection`. The seed is always added (unlike the triangle form); nothing happens
    // for a seed that is not a live vertex or is already selected.
    static void GetConnectedSelection(const vsk::VFTriangleMesh& mesh, unsigned vSeed,
                                      std::unordered_set<unsigned>& selection, unsigned flag);
    // Adds the triangles around each listed vertex to `triangles`; IDs that are not live vertices
    // are skipped.
    static void GetVOneRings(const vsk::VFTriangleMesh& mesh, std::vector<unsigned> vertices,
                             std::set<unsigned>& triangles);
    // Adds to `ringTris` the triangles outside `tris` that share a vertex with it, and to
    // `ringVerts` the vertices of `tris` they share. Invalid IDs in `tris` are skipped.
    static void TrisToOneRing(const vsk::VFTriangleMesh& mesh, std::unordered_set<unsigned>& tris,
                              std::unordered_set<unsigned>& ringTris,
                              std::unordered_set<unsigned>& ringVerts);
    // As above, but replaces the contents of both vectors (each ID once, in no specified order).
    static void TrisToOneRing(const vsk::VFTriangleMesh& mesh, const std::unordered_set<unsigned>& tris,
                              std::vector<unsigned>& ringTris, std::vector<unsigned>& ringVerts);
    // In parallel over `tris`: adds to `edges` the mesh-boundary edges of the set and the edges
    // between the set and the rest, and to `outsideTris` the triangles across the latter. A
    // triangle whose edge is a mesh-boundary edge contributes that edge only and none after it.
    static void TrisBoundaryEdges(const vsk::VFTriangleMesh& mesh,
                                  tbb::concurrent_unordered_set<unsigned>& tris,
                                  tbb::concurrent_unordered_set<unsigned>& outsideTris,
                                  tbb::concurrent_unordered_set<unsigned>& edges);
    // For the neighbours of `tris` (ascending): one neighbouring triangle in `selection` or
    // `singles` adds the neighbour to `singles` (counted from then on); two or more add it to
    // `include` unless it is selected.
    static void IncludeTriangleWithTwoNeighbour(const vsk::VFTriangleMesh& mesh, std::set<unsigned>& tris,
                                                const std::set<unsigned>& selection,
                                                std::set<unsigned>& singles, std::set<unsigned>& include);
    // Adds to `found` the triangles of `tris` with exactly one neighbouring triangle (ears hanging
    // off a region). `selection` is not read.
    static void RemoveFlippedTriangle(const vsk::VFTriangleMesh& mesh, std::set<unsigned>& tris,
                                      const std::set<unsigned>& selection, std::set<unsigned>& found);
    // Closes pinch points of the selection's border: on every border loop through a pinch point,
    // a vertex met a second time gets all its triangles added to `selection`.
    static void CheckAndFixManifoldBoundariesInSelection(const vsk::VFTriangleMesh& mesh,
                                                         std::set<unsigned>& selection);

    // --- Face flags and non-manifold cleanup ----------------------------------------------------

    // In parallel: clears bit `flag` of each listed triangle when `clear` is true, sets it when
    // false. Invalid IDs are reported by the mesh; an ID must not be listed twice.
    static void FlagFaces(vsk::VFTriangleMesh& mesh, std::vector<unsigned> faces, unsigned flag, bool clear);
    // Removes the flagged triangles from the surface's mesh and, when the surface has UV layer 0,
    // the same triangle IDs from that layer. Nothing happens for a null surface.
    static void RemoveFacesWithFlag(boost::shared_ptr<vsk::GSurface> surface, unsigned flag);
    // The flagged triangles with a corner where three or more boundary edges meet.
    static std::unordered_set<unsigned>
    FindFacesConnectedToNonManifoldVertices(const vsk::VFTriangleMesh& mesh, unsigned flag);
    // Removes those triangles in up to maxIterations + 1 passes (a removal can expose new ones);
    // returns the number removed.
    static size_t RemoveFacesConnectedToNonManifoldVertices(vsk::VFTriangleMesh& mesh, unsigned flag,
                                                            unsigned maxIterations);
    // True when the triangle is of poor quality: its longest-to-shortest edge ratio reaches
    // `maxRatio`, or an angle lies outside [minAngle, maxAngle] (degrees). Single precision
    // throughout; degenerate triangles and IDs that are not live triangles count as poor.
    static bool TriangleQualityCheck(const vsk::VFTriangleMesh& mesh, const unsigned& tID, float minAngle,
                                     float maxAngle, float maxRatio);

    // --- Groups and export -------------------------------------------------------------------

    // One group per triangle group ID of the surface's mesh, by ascending group ID, each with its
    // live triangle IDs ascending. Empty for a null surface or a mesh without triangles.
    static std::vector<Objects::MaterialGroup>
    SeparateMeshByGroups(const boost::shared_ptr<vsk::GSurface>& surface);
    // Appends the listed triangles to `raw` (index type 32-bit expected): positions, vertex
    // normals and, when the surface has UV layer 0, texture coordinates (zero for a triangle the
    // layer lacks). Corners with equal position and texture coordinate become one raw vertex,
    // numbered in order of first use. IDs that are not live triangles are skipped. False for a
    // null surface or raw mesh or an empty list.
    static bool CreateRawMeshFromFaces(const boost::shared_ptr<vsk::GSurface>& surface,
                                       const std::vector<unsigned>& triangles, Objects::RawMesh* raw);
    // As above into a new raw mesh with 32-bit indices that the caller owns; null for a null
    // surface or an empty list.
    static Objects::RawMesh* CreateRawMeshFromFaces(const boost::shared_ptr<vsk::GSurface>& surface,
                                                    const std::vector<unsigned>& triangles);
};

}  // namespace Quelm::Topology
