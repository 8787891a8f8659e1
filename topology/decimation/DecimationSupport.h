#pragma once

// Helpers shared by the serial and the parallel decimation: lock loops, parallel normals, and
// the decimater configuration that every decimating operation uses.

#include "topology/OxmOMTopology.h"
#include "topology/decimation/OxmModQuadric.h"

#include <OpenMesh/Tools/Decimater/DecimaterT.hh>
#include <OpenMesh/Tools/Decimater/ModNormalFlippingT.hh>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_reduce.h>

#include <cstddef>

namespace Quelm::Topology::detail
{

using DecimationMesh = OxmOMTopologyT<MyTraits>;

// Grain of the per-element loops: the bodies are a few loads and a status write.
constexpr size_t kElementGrain = 4096;

// A ratio <= 0 (or NaN) counts as 0, a ratio >= 1 as 1.
inline float clampRatio(float ratio)
{
    if (!(ratio > 0.0f))
        return 0.0f;
    return ratio >= 1.0f ? 1.0f : ratio;
}

// Sets LOCKED on every live boundary vertex (no outgoing half-edge, or one without a face);
// clears nothing.
inline void lockBoundaryVertices(DecimationMesh& mesh)
{
    tbb::parallel_for(tbb::blocked_range<size_t>(0, mesh.n_vertices(), kElementGrain),
                      [&mesh](const tbb::blocked_range<size_t>& range)
                      {
                          // disjoint: each index writes only its own vertex's status word
                          for (size_t i = range.begin(); i != range.end(); ++i)
                          {
                              const OpenMesh::VertexHandle vh(static_cast<int>(i));
                              if (!mesh.status(vh).deleted() && mesh.is_boundary(vh))
                                  mesh.status(vh).set_locked(true);
                          }
                      });
}

// Live faces that are neither HIDDEN nor LOCKED.
inline size_t countUnlockedFaces(const DecimationMesh& mesh)
{
    return tbb::parallel_reduce(
        tbb::blocked_range<size_t>(0, mesh.n_faces(), kElementGrain), size_t(0),
        [&mesh](const tbb::blocked_range<size_t>& range, size_t count)
        {
            for (size_t i = range.begin(); i != range.end(); ++i)
            {
                const auto& s = mesh.status(OpenMesh::FaceHandle(static_cast<int>(i)));
                if (!s.deleted() && !s.hidden() && !s.locked())
                    ++count;
            }
            return count;
        },
        [](size_t a, size_t b) { return a + b; });
}

// Face normals of every live face (OpenMesh's own update is serial); the mesh must have them.
inline void updateFaceNormalsParallel(DecimationMesh& mesh)
{
    tbb::parallel_for(tbb::blocked_range<size_t>(0, mesh.n_faces(), kElementGrain),
                      [&mesh](const tbb::blocked_range<size_t>& range)
                      {
                          // disjoint: each index writes only its own face's normal
                          for (size_t i = range.begin(); i != range.end(); ++i)
                          {
                              const OpenMesh::FaceHandle fh(static_cast<int>(i));
                              if (!mesh.status(fh).deleted())
                                  mesh.set_normal(fh, mesh.calc_face_normal(fh));
                          }
                      });
}

// Vertex normals from the current face normals, one vertex per iteration.
inline void updateVertexNormalsParallel(DecimationMesh& mesh)
{
    tbb::parallel_for(tbb::blocked_range<size_t>(0, mesh.n_vertices(), kElementGrain),
                      [&mesh](const tbb::blocked_range<size_t>& range)
                      {
                          // disjoint: each index writes only its own vertex's normal
                          for (size_t i = range.begin(); i != range.end(); ++i)
                          {
                              const OpenMesh::VertexHandle vh(static_cast<int>(i));
                              if (!mesh.status(vh).deleted())
                                  mesh.set_normal(vh, mesh.calc_vertex_normal(vh));
                          }
                      });
}

// Adds to `dst` a copy of vertex `vh` of `src`: point, normal, texture coordinate (when both
// meshes have them) and quadric (zero when `src` has none). Flags are not copied.
inline OpenMesh::VertexHandle copyVertex(const DecimationMesh& src, OpenMesh::VertexHandle vh,
                                         DecimationMesh& dst, bool hasTexCoords, bool hasQuadrics)
{
    const auto added = dst.add_vertex(src.point(vh));
    dst.set_normal(added, src.normal(vh));
    if (hasTexCoords)
        dst.set_texcoord2D(added, src.texcoord2D(vh));
    dst.property(dst.quadricHandle, added) = hasQuadrics ? src.property(src.quadricHandle, vh) : Quadric();
    return added;
}

// A cell's vertex property holding each vertex's quadric as the cell received it. Merging adds
// only what a cell's collapses contributed to a vertex that several cells share, so a shared
// vertex keeps one copy of its own quadric instead of one per cell.
inline constexpr const char* kCellBaseQuadricProperty = "qlm:cellbasequadric";

// True when a face (v0, v1, v2) cannot be added because one of its directed edges already has a
// face on that side (OpenMesh would refuse it as a complex edge, with a message).
inline bool hasSidedEdge(const DecimationMesh& mesh, const OpenMesh::VertexHandle (&v)[3])
{
    for (int k = 0; k < 3; ++k)
    {
        const auto heh = mesh.find_halfedge(v[k], v[(k + 1) % 3]);
        if (heh.is_valid() && !mesh.is_boundary(heh))
            return true;
    }
    return false;
}

// What a decimating operation asks beyond the defaults.
struct DecimaterOptions
{
    bool setQuadricFlags = false;  // false: leave keep/recompute at the module's starting values
    bool keepQuadrics = false;
    bool recomputeQuadrics = true;
    // False when the face normals are known to be current (a cell just built): they are then
    // computed only if the mesh has none.
    bool refreshNormals = true;
};

// Builds a decimater with the quadric module as the (hard-bounded) priority module and the
// normal-flipping guard, initialises it and hands it to `run`, which returns the collapses made.
// Returns 0 when a module cannot be added or the decimater does not initialise. Face normals are
// requested and computed beforehand (the guard compares against them, and would otherwise print
// a notice while computing them itself) and released afterwards, so the mesh keeps the normal
// attributes it had.
template <class Run>
size_t runDecimater(DecimationMesh& mesh, double maxError, double maxAngleDeg, DecimaterOptions options,
                    Run run)
{
    const bool hadFaceNormals = mesh.has_face_normals();
    mesh.request_face_normals();
    if (!hadFaceNormals || options.refreshNormals)
        updateFaceNormalsParallel(mesh);
    size_t collapses = 0;
    {
        OpenMesh::Decimater::DecimaterT<DecimationMesh> decimater(mesh);
        OxmModQuadric::Handle quadric;
        OpenMesh::Decimater::ModNormalFlippingT<DecimationMesh>::Handle flipping;
        if (decimater.add(quadric) && decimater.add(flipping))
        {
            // same conversion as the framework's: radians = degrees / 180 * pi, cosine stored
            decimater.module(flipping).set_max_normal_deviation(maxAngleDeg);
            OxmModQuadric& module = decimater.module(quadric);
            module.max_err = maxError;
            module.set_binary(false);
            if (options.setQuadricFlags)
            {
                module.keep_quadrics = options.keepQuadrics;
                module.recompute_quadrics = options.recomputeQuadrics;
            }
            if (decimater.initialize())
                collapses = run(decimater);
        }
    }  // the decimater deletes its modules here; the quadric module may remove the quadrics
    mesh.release_face_normals();
    return collapses;
}

}  // namespace Quelm::Topology::detail
