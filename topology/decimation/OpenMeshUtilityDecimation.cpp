#include "topology/OpenMeshUtility.h"
#include "topology/decimation/DecimationSupport.h"

#include <deque>
#include <utility>

namespace Quelm::Topology
{
namespace
{

using detail::runDecimater;

// The error bound of the public overloads: errorFactor times the longest bounding-box axis.
double relativeMaxError(const OpenMeshUtility::Mesh* mesh, double errorFactor)
{
    const float longest = OpenMeshUtility::ComputeBoundingBox(mesh).getLongestAxisLength();
    return static_cast<double>(longest) * errorFactor;
}

// Sets LOCKED on every live vertex.
void lockAllVertices(OpenMeshUtility::Mesh& mesh)
{
    tbb::parallel_for(tbb::blocked_range<size_t>(0, mesh.n_vertices(), detail::kElementGrain),
                      [&mesh](const tbb::blocked_range<size_t>& range)
                      {
                          // disjoint: each index writes only its own vertex's status word
                          for (size_t i = range.begin(); i != range.end(); ++i)
                          {
                              const OpenMesh::VertexHandle vh(static_cast<int>(i));
                              if (!mesh.status(vh).deleted())
                                  mesh.status(vh).set_locked(true);
                          }
                      });
}

// True when some live vertex is not LOCKED.
bool hasUnlockedVertex(const OpenMeshUtility::Mesh& mesh)
{
    return tbb::parallel_reduce(
        tbb::blocked_range<size_t>(0, mesh.n_vertices(), detail::kElementGrain), false,
        [&mesh](const tbb::blocked_range<size_t>& range, bool found)
        {
            for (size_t i = range.begin(); i != range.end() && !found; ++i)
            {
                const auto& s = mesh.status(OpenMesh::VertexHandle(static_cast<int>(i)));
                found = !s.deleted() && !s.locked();
            }
            return found;
        },
        [](bool a, bool b) { return a || b; });
}

}  // namespace

size_t OpenMeshUtility::DecimateMesh(Mesh* mesh, size_t collapses, double errorFactor, double maxAngleDeg,
                                     bool lockBoundary, bool garbageCollect)
{
    if (!mesh)
        return 0;
    if (lockBoundary)
        detail::lockBoundaryVertices(*mesh);
    const double maxError = relativeMaxError(mesh, errorFactor);
    const size_t done = runDecimater(*mesh, maxError, maxAngleDeg, {},
                                     [collapses](auto& decimater) { return decimater.decimate(collapses); });
    if (garbageCollect && done > 0)
        mesh->garbage_collection(true, true, true);
    return done;
}

bool OpenMeshUtility::DecimateMesh(Mesh* mesh, float ratio, double errorFactor, double maxAngleDeg,
                                   bool garbageCollect)
{
    if (!mesh)
        return false;
    mesh->delete_isolated_vertices();
    if (garbageCollect)
        mesh->garbage_collection(true, true, true);
    const double maxError = relativeMaxError(mesh, errorFactor);
    const size_t unlockedFaces = detail::countUnlockedFaces(*mesh);
    detail::lockBoundaryVertices(*mesh);
    ratio = detail::clampRatio(ratio);

    // The ratio is the fraction of the unlocked faces to remove; locked faces stay in the target.
    const float target = static_cast<float>(GetFaceCount(*mesh)) - static_cast<float>(unlockedFaces) * ratio;
    if (target <= 0.0f)
        return false;
    const size_t done = runDecimater(*mesh, maxError, maxAngleDeg, {},
                                     [target](auto& decimater)
                                     { return decimater.decimate_to_faces(0, static_cast<size_t>(target)); });
    if (garbageCollect)
        mesh->garbage_collection(true, true, true);
    return done != 0;
}

size_t OpenMeshUtility::boundaryDecimate(Mesh& mesh,
                                         tbb::concurrent_vector<OpenMesh::VertexHandle>& seamVertices,
                                         size_t targetFaces, bool finalPass, double maxError,
                                         double maxAngleDeg)
{
    if (!finalPass)
    {
        lockAllVertices(mesh);
        // Meant to free the 3-ring around each seam vertex; the ring lock leaves every flag as it
        // is, so an intermediate pass runs with every live vertex locked.
        tbb::parallel_for(tbb::blocked_range<size_t>(0, seamVertices.size()),
                          [&](const tbb::blocked_range<size_t>& range)
                          {
                              for (size_t i = range.begin(); i != range.end(); ++i)
                              {
                                  const OpenMesh::VertexHandle vh = seamVertices[i];
                                  if (!vh.is_valid() || static_cast<size_t>(vh.idx()) >= mesh.n_vertices())
                                      continue;  // a stale handle from the caller is skipped, not trusted
                                  if (!mesh.status(vh).deleted() && mesh.status(vh).selected())
                                      setNNeighbourRingLock(mesh, vh, 3, false);
                              }
                          });
    }
    // fast path: with every live vertex locked no collapse is legal, so building the decimater
    // (a heap over every vertex) would change nothing but time.
    // What the decimater would leave is still left: quadrics built when missing (and kept),
    // current face normals.
    if (!finalPass && !hasUnlockedVertex(mesh))
    {
        if (!mesh.quadricHandle.is_valid())
        {
            OxmModQuadric quadrics(mesh);
            quadrics.keep_quadrics = true;
            quadrics.initialize();
        }
        if (mesh.has_face_normals())
            detail::updateFaceNormalsParallel(mesh);
        mesh.garbage_collection(true, true, true);
        return 0;
    }
    // Intermediate passes reuse and keep the quadrics carried from earlier passes; the final pass
    // rebuilds them from the current geometry and removes them afterwards.
    detail::DecimaterOptions options;
    options.setQuadricFlags = true;
    options.keepQuadrics = !finalPass;
    options.recomputeQuadrics = finalPass;
    const size_t done =
        runDecimater(mesh, maxError, maxAngleDeg, options,
                     [targetFaces](auto& decimater) { return decimater.decimate_to_faces(0, targetFaces); });
    mesh.garbage_collection(true, true, true);
    return done;
}

void OpenMeshUtility::setNNeighbourRingLock(Mesh& mesh, OpenMesh::VertexHandle start, int depth, bool lock)
{
    if (depth < 1)
        return;
    std::deque<std::pair<OpenMesh::VertexHandle, int>> queue;
    queue.emplace_back(start, 0);
    while (!queue.empty())
    {
        const auto [vh, ring] = queue.front();
        queue.pop_front();
        // An invalid or out-of-range handle has no status word to test or write.
        if (!vh.is_valid() || static_cast<size_t>(vh.idx()) >= mesh.n_vertices())
            continue;
        // note: the last test skips every valid vertex, so no flag ever changes. Kept as it
        // stands: the seam passes of the parallel decimation rely on vertices staying locked.
        if (mesh.status(vh).locked() == lock || ring >= depth || vh.is_valid())
            continue;
        mesh.status(vh).set_locked(lock);
        const auto first = mesh.halfedge_handle(vh);
        if (!first.is_valid())
            continue;
        auto heh = first;
        do
        {
            const auto to = mesh.to_vertex_handle(heh);
            if (to.is_valid() && mesh.status(to).locked() != lock)
                queue.emplace_back(to, ring + 1);
            heh = mesh.next_halfedge_handle(mesh.opposite_halfedge_handle(heh));
        } while (heh != first);
    }
}

}  // namespace Quelm::Topology
