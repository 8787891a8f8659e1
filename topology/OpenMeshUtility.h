#pragma once

#include "common/Box.h"
#include "common/Matrix4.h"
#include "common/Model.h"
#include "common/RawMaterial.h"
#include "common/RawMesh.h"
#include "common/oxmvertex.h"
#include "topology/OperationControl.h"
#include "topology/OxmOMTopology.h"

#include <tbb/concurrent_unordered_map.h>
#include <tbb/concurrent_vector.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace Quelm::Topology
{

// Stateless operations on the topology mesh. Nothing is thrown on bad input: failure is the
// return value each declaration names. Meshes are borrowed for the call; the caller must not
// change a mesh while an operation on it runs.
class OpenMeshUtility
{
public:
    using Mesh = OxmOMTopologyT<MyTraits>;
    using WeldMap = std::map<Objects::oxmvertex, OpenMesh::VertexHandle>;
    using TableMap = tbb::concurrent_unordered_map<uint64_t, std::vector<OpenMesh::VertexHandle>>;
    using VertexComponents = std::vector<std::unordered_set<int>>;
    using CellMap = tbb::concurrent_unordered_map<int, OxmOMTopologyT<MyTraits>>;

    // --- Counts and mesh path -------------------------------------------------------------------

    // Vertices without DELETED.
    static uint64_t GetVertexCount(const Mesh& mesh);
    // Faces without DELETED.
    static uint64_t GetFaceCount(const Mesh& mesh);
    // Non-deleted faces with at least one SELECTED vertex (the face's own SELECTED bit is ignored).
    static uint64_t GetSelectedFaceCount(const Mesh& mesh);
    // Non-deleted faces none of whose edges lies on the boundary.
    static uint64_t GetNonBoundaryFaceCount(const Mesh& mesh);
    // Non-deleted faces that are selected and not boundary faces.
    static uint64_t GetNonBoundaryAndSelectedFaceCount(const Mesh& mesh);

    // Stores `path` in the mesh property "m:meshpath" (created when missing); false only for a
    // null mesh.
    static bool SetMeshPath(Mesh* mesh, const std::wstring& path);
    // The value of "m:meshpath"; empty for a null mesh or a mesh without the property.
    static std::wstring GetMeshPath(const Mesh* mesh);

    // --- Files ----------------------------------------------------------------------------------

    // Reads an OBJ, OFF, PLY, STL or OM file (by extension, any case) into a new mesh that the
    // caller owns and deletes, with the path in "m:meshpath"; null on any failure, including a
    // path without extension, an empty file, a file rejected as malformed before it reaches a
    // reader, and a file with NaN or infinite coordinates. The path is taken as UTF-8 (one code
    // point per wchar_t), whatever the locale; only a regular file is read (a folder, a device or
    // a pipe is refused, and never waited on). Vertex normals the file does not give, or gives as
    // NaN or infinity, are zero.
    static Mesh* ReadMesh(const wchar_t* path);
    // As above; on null, `reason` is one line naming the problem and, where the file is at fault,
    // its place ("line N" in text formats, "byte N" in binary ones). Empty on success.
    static Mesh* ReadMesh(const wchar_t* path, std::string& reason);
    // ReadMesh followed by ToModel; empty on failure.
    static std::shared_ptr<Objects::Model> ReadToRawMesh(const wchar_t* path);
    // Writes the mesh (STL and PLY binary, the others as text). An untextured mesh first loses the
    // faces at non-manifold vertices (a count is printed when any go) and every mesh its isolated
    // vertices: the caller's mesh keeps those changes (deleted elements are left uncollected;
    // the file never holds them). The file name is the path's UTF-8 form, as ReadMesh takes it.
    // False on null arguments, a path holding a value that is not Unicode (a lone surrogate), or
    // writer failure.
    static bool WriteMesh(const wchar_t* path, Mesh* mesh, bool writeNormals);

    // --- Model conversion -----------------------------------------------------------------------

    // Welds every node of type >= 15 into one new mesh (vertices welded within each node, not
    // across nodes); a node's material, found by the node's name, gives its faces' texture index.
    // Empty pointer for a null model; an empty mesh when no node is usable.
    static std::shared_ptr<Mesh> fromModel(std::shared_ptr<Objects::Model> model);
    // One node per texture index ("Material_<i>", built in parallel, in no fixed order) and one
    // material per texture; empty for a null mesh.
    static std::shared_ptr<Objects::Model> ToModel(const Mesh* mesh);
    // Appends `raw` to `mesh`, welding by position and texture coordinate. The two maps seed the
    // welding and are only read (either may be null). False for a null mesh or an invalid raw mesh.
    static bool AddRawMesh(Mesh* mesh, Objects::RawMesh* raw, const WeldMap* weldMap,
                           const TableMap* tableMap, Objects::RawMaterial* material);
    // Appends the given faces to `raw` with welded vertices (positions, normals, colours and
    // texture coordinates as present). False for a null mesh or raw mesh or an empty face list.
    static bool CreateRawMeshFromFaces(const Mesh* mesh, const std::vector<OpenMesh::FaceHandle>& faces,
                                       Objects::RawMesh* raw);
    // As above into a new raw mesh (32-bit indices) that the caller owns; null for a null mesh or
    // an empty face list.
    static Objects::RawMesh* CreateRawMeshFromFaces(const Mesh* mesh,
                                                    const std::vector<OpenMesh::FaceHandle>& faces);

    // --- Geometry -------------------------------------------------------------------------------

    // Transforms points (and vertex normals, without renormalising) of the live vertices.
    static void TransformMesh(Mesh& mesh, const Objects::Matrix4<float>& matrix);
    // (u, v) -> (u, 1 - v) for every vertex, deleted ones included; nothing without texcoords.
    static void FlipUVs(Mesh* mesh);
    // Bounds of the live vertices; an empty (or null) mesh gives minimum +FLT_MAX, maximum -FLT_MAX.
    static Objects::Box<float> ComputeBoundingBox(const Mesh* mesh);
    // Total area of the live faces.
    static double calcSurfaceArea(const Mesh& mesh);

    // --- Connectivity ---------------------------------------------------------------------------

    // One vertex-index set per connected component (an isolated vertex is a component of its
    // own), in no specified order. Empty for a null mesh. O(V + E) plus one hash set per component.
    static VertexComponents GetConnectedVertexComponents(const Mesh* mesh);
    // One face-index set per vertex component (computed when `vertexComponents` is null), in the
    // same order; exactly one component takes every live face. Given indices outside the mesh or
    // of deleted vertices are skipped. Empty for a null mesh.
    static VertexComponents GetConnectedFaceComponents(const Mesh* mesh,
                                                       const VertexComponents* vertexComponents);
    // True when some live vertex has more than one boundary gap in its one-ring.
    static bool HasNonManifoldVertices(const Mesh& mesh);
    // Deletes the faces around non-manifold vertices in up to maxPasses + 1 passes, then garbage-
    // collects when asked (even when nothing was deleted). Returns the number of faces deleted.
    static uint64_t RemoveFacesConnectedToNonManifoldVertices(Mesh& mesh, bool garbageCollect,
                                                              uint32_t maxPasses);

    // --- Decimation and smoothing ---------------------------------------------------------------
    //
    // Bad meshes never crash these; results on them may be poor. Faces that OpenMesh refuses to
    // build (duplicates, complex edges at non-manifold vertices) are left out, and OpenMesh reports
    // them on its error log; non-manifold fans are collapsed only as far as the framework's
    // legality tests allow; zero-area faces add zero quadrics; a NaN point gives NaN errors, which
    // never pass the error bound, so no collapse touches it. Decimation never moves a vertex: a
    // collapse keeps one of its two points, so results stay inside the input's bounding box.

    // Performs up to `collapses` quadric edge collapses (0: as many as are legal). The error bound
    // is errorFactor times the longest bounding-box axis. With lockBoundary, boundary vertices get
    // LOCKED (and keep it). Returns the collapses made (0 on failure or a null mesh).
    static size_t DecimateMesh(Mesh* mesh, size_t collapses, double errorFactor, double maxAngleDeg,
                               bool lockBoundary, bool garbageCollect);
    // Removes the fraction `ratio` (clamped to [0, 1]; NaN counts as 0) of the unlocked faces;
    // isolated vertices are deleted and boundary vertices always LOCKED. True when at least one
    // collapse was made; false at once when the face target is not positive.
    static bool DecimateMesh(Mesh* mesh, float ratio, double errorFactor, double maxAngleDeg,
                             bool garbageCollect);
    // As the ratio overload, on grid cells decimated concurrently and merged, followed by seam
    // passes. The caller's mesh is emptied and rebuilt from the result (handles change; points,
    // vertex normals, texture coordinates and texture indices are carried; no degenerate face and
    // no isolated vertex). The result does not depend on the thread count. Face normals are
    // present afterwards only if they were before. False, with the mesh untouched apart from
    // isolated vertices deleted and garbage collection, when nothing is to be removed.
    static bool DecimateMeshParallel(Mesh* mesh, float ratio, double errorFactor, double maxAngleDeg,
                                     bool garbageCollect, bool coarseGrid, bool updateNormals);
    // Tangential Laplacian smoothing with uniform weights. Boundary vertices, their neighbours and
    // LOCKED vertices stay; when any vertex is SELECTED only selected ones move. A negative
    // iteration count runs none. Always true.
    static bool smoothMesh(Mesh& mesh, float tolerance, int iterations);

    // The same four operations under the caller's control (progress, cancel, thread cap). A
    // cancelled call returns 0 / false and leaves the mesh exactly as it was before the call.
    static size_t DecimateMesh(Mesh* mesh, size_t collapses, double errorFactor, double maxAngleDeg,
                               bool lockBoundary, bool garbageCollect, const OperationControl& control);
    static bool DecimateMesh(Mesh* mesh, float ratio, double errorFactor, double maxAngleDeg,
                             bool garbageCollect, const OperationControl& control);
    static bool DecimateMeshParallel(Mesh* mesh, float ratio, double errorFactor, double maxAngleDeg,
                                     bool garbageCollect, bool coarseGrid, bool updateNormals,
                                     const OperationControl& control);
    static bool smoothMesh(Mesh& mesh, float tolerance, int iterations, const OperationControl& control);

protected:
    // Seam pass of the parallel decimation: decimates to `targetFaces` with the absolute bound
    // maxError, then garbage-collects. An intermediate pass (finalPass false) first LOCKs every
    // live vertex, and so collapses nothing; its quadrics are reused and kept. The final pass
    // rebuilds the quadrics and removes them afterwards. Returns the collapses made.
    static size_t boundaryDecimate(Mesh& mesh, tbb::concurrent_vector<OpenMesh::VertexHandle>& seamVertices,
                                   size_t targetFaces, bool finalPass, double maxError, double maxAngleDeg);
    // Meant to set or clear LOCKED on the `depth` rings around `start`; as built it changes no
    // flag for any start vertex (invalid handles are refused).
    static void setNNeighbourRingLock(Mesh& mesh, OpenMesh::VertexHandle start, int depth, bool lock);
    // Cuts the mesh into the cells of a gridLevel^3 grid over `box` (a face goes to the cell of
    // one corner) and empties the source. Each cell carries points, normals, texture data and
    // quadrics; its movable vertices are SELECTED. gridOffset is not used. Empty for a null mesh.
    static CellMap partitionMesh(Mesh* mesh, const Objects::Box<float>& box, float gridLevel,
                                 float gridOffset, bool coarseGrid);
    // Decimates one cell to `targetFaces` with its boundary and unselected vertices LOCKED, reusing
    // the quadrics it carries, then garbage-collects. Returns the collapses made.
    static size_t partitionDecimate(Mesh& cell, size_t targetFaces, double maxError, double maxAngleDeg);
    // Appends the cell's faces to `merged`. Cell-boundary vertices are welded through `weldMap`:
    // a vertex shared by several cells keeps its own quadric once plus what each cell's
    // collapses added to it; a new one is appended to `seamVertices` and SELECTED. A face whose
    // edge another cell already used on that side gets its own corner copies (a crack, not a hole);
    // faces OpenMesh still refuses are left out. The caller serialises calls on one merged mesh.
    static void mergePartitionMesh(Mesh& merged, tbb::concurrent_vector<OpenMesh::VertexHandle>& seamVertices,
                                   WeldMap& weldMap, Mesh& cell, bool coarseGrid);
};

}  // namespace Quelm::Topology
