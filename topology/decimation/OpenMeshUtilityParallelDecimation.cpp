#include "topology/OpenMeshUtility.h"
#include "topology/decimation/DecimationSupport.h"
#include "topology/decimation/GridPartition.h"
#include "topology/decimation/OxmModQuadric.h"

#include <oneapi/tbb/mutex.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace Quelm::Topology
{
namespace
{

using Mesh = OpenMeshUtility::Mesh;

// A cell vertex that partitionDecimate leaves free: interior to the cell and SELECTED.
bool isFreeInCell(const Mesh& cell, OpenMesh::VertexHandle vh)
{
    return !cell.status(vh).deleted() && cell.status(vh).selected() && !cell.is_boundary(vh);
}

// The per-cell count: live faces with at least one free corner. A face whose three corners are
// all held can never be removed from the cell, so it does not raise the cell's share.
size_t countCellDecimatableFaces(const Mesh& cell)
{
    return tbb::parallel_reduce(
        tbb::blocked_range<size_t>(0, cell.n_faces(), detail::kElementGrain), size_t(0),
        [&cell](const tbb::blocked_range<size_t>& range, size_t count)
        {
            for (size_t i = range.begin(); i != range.end(); ++i)
            {
                const OpenMesh::FaceHandle fh(static_cast<int>(i));
                if (cell.status(fh).deleted())
                    continue;
                for (auto vh : cell.fv_range(fh))
                    if (isFreeInCell(cell, vh))
                    {
                        ++count;
                        break;
                    }
            }
            return count;
        },
        [](size_t a, size_t b) { return a + b; });
}

// Gives `target` the vertex and face attributes of `source` that the passes carry.
void requestCarriedAttributes(const Mesh& source, Mesh& target)
{
    if (source.has_vertex_texcoords2D() && !target.has_vertex_texcoords2D())
        target.request_vertex_texcoords2D();
    if (source.has_face_texture_index() && !target.has_face_texture_index())
        target.request_face_texture_index();
}

// Rebuilds `out` (empty, attributes kept) from the live faces of `result`: a face reaches it only
// with three valid, pairwise distinct corners. Vertices are added on first use, so none is
// isolated.
void rebuildMesh(const Mesh& result, Mesh& out)
{
    const bool hasTexCoords = result.has_vertex_texcoords2D() && out.has_vertex_texcoords2D();
    const bool hasTextureIndex = result.has_face_texture_index() && out.has_face_texture_index();
    std::vector<OpenMesh::VertexHandle> toOut(result.n_vertices());
    out.reserve(result.n_vertices(), result.n_edges(), result.n_faces());
    auto vertexOf = [&](OpenMesh::VertexHandle vh)
    {
        OpenMesh::VertexHandle& mapped = toOut[vh.idx()];
        if (!mapped.is_valid())
        {
            mapped = out.add_vertex(result.point(vh));
            out.set_normal(mapped, result.normal(vh));
            if (hasTexCoords)
                out.set_texcoord2D(mapped, result.texcoord2D(vh));
        }
        return mapped;
    };
    for (auto fh : result.faces())
    {
        OpenMesh::VertexHandle v[3];
        int corners = 0;
        for (auto vh : result.fv_range(fh))
        {
            if (corners == 3)
            {
                corners = 4;  // not a triangle
                break;
            }
            v[corners++] = vh;
        }
        if (corners != 3 || !v[0].is_valid() || !v[1].is_valid() || !v[2].is_valid() || v[0] == v[1] ||
            v[1] == v[2] || v[0] == v[2])
            continue;
        const auto added = out.add_face(vertexOf(v[0]), vertexOf(v[1]), vertexOf(v[2]));
        if (added.is_valid() && hasTextureIndex)
            out.set_texture_index(added, result.texture_index(fh));
    }
}

// Decimates every cell concurrently and merges each into `merged` as soon as all cells before
// it in cell-number order are merged. The merge order, and so the merged mesh, is the same for
// any thread count, while merging still overlaps the decimation of later cells.
void decimateAndMergeCells(OpenMeshUtility::CellMap& cells, Mesh& merged,
                           tbb::concurrent_vector<OpenMesh::VertexHandle>& seamVertices,
                           OpenMeshUtility::WeldMap& weldMap, double passRatio, double maxError,
                           double maxAngleDeg, bool coarseGrid,
                           size_t (*decimateCell)(Mesh&, size_t, double, double),
                           void (*mergeCell)(Mesh&, tbb::concurrent_vector<OpenMesh::VertexHandle>&,
                                             OpenMeshUtility::WeldMap&, Mesh&, bool))
{
    std::vector<std::pair<int, Mesh*>> order;
    order.reserve(cells.size());
    for (auto& [number, cell] : cells)
        order.emplace_back(number, &cell);
    std::sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.first < b.first; });

    // One task at a time is the merger; the others only mark their cell ready and go on
    // decimating, so no worker waits on a long lock. The short lock orders "ready" against "the
    // merger found nothing more and stepped down", so a ready cell is never left unmerged.
    tbb::mutex stateMutex;
    std::vector<uint8_t> isReady(order.size(), 0);  // guarded by stateMutex
    size_t nextToMerge = 0;                         // guarded by stateMutex
    bool isMerging = false;                         // guarded by stateMutex
    auto mergeReadyCells = [&]
    {
        for (;;)
        {
            size_t index;
            {
                tbb::mutex::scoped_lock lock(stateMutex);
                if (nextToMerge == order.size() || !isReady[nextToMerge])
                {
                    isMerging = false;
                    return;
                }
                index = nextToMerge;
            }
            // exclusive: only the merger touches the merged mesh, the seam list and the weld map
            Mesh& ready = *order[index].second;
            mergeCell(merged, seamVertices, weldMap, ready, coarseGrid);
            ready.clean();  // its geometry now lives in the merged mesh
            tbb::mutex::scoped_lock lock(stateMutex);
            ++nextToMerge;
        }
    };
    tbb::parallel_for(
        tbb::blocked_range<size_t>(0, order.size(), 1),
        [&](const tbb::blocked_range<size_t>& range)
        {
            for (size_t i = range.begin(); i != range.end(); ++i)
            {
                Mesh& cell = *order[i].second;
                const size_t decimatable = countCellDecimatableFaces(cell);
                const size_t cellFaces = OpenMeshUtility::GetFaceCount(cell);
                const size_t share = static_cast<size_t>(static_cast<double>(decimatable) * passRatio);
                decimateCell(cell, cellFaces - std::min(share, cellFaces), maxError, maxAngleDeg);
                bool becomesMerger = false;
                {
                    tbb::mutex::scoped_lock lock(stateMutex);
                    isReady[i] = 1;
                    becomesMerger = !isMerging;
                    isMerging = true;
                }
                if (becomesMerger)
                    mergeReadyCells();
            }
        });
}

}  // namespace

size_t OpenMeshUtility::partitionDecimate(Mesh& cell, size_t targetFaces, double maxError, double maxAngleDeg)
{
    tbb::parallel_for(tbb::blocked_range<size_t>(0, cell.n_vertices(), detail::kElementGrain),
                      [&cell](const tbb::blocked_range<size_t>& range)
                      {
                          // disjoint: each index writes only its own vertex's status word
                          for (size_t i = range.begin(); i != range.end(); ++i)
                          {
                              const OpenMesh::VertexHandle vh(static_cast<int>(i));
                              if (cell.status(vh).deleted())
                                  continue;
                              if (cell.is_boundary(vh) || !cell.status(vh).selected())
                                  cell.status(vh).set_locked(true);
                          }
                      });
    detail::DecimaterOptions options;
    options.setQuadricFlags = true;
    options.keepQuadrics = true;  // the cell's quadrics come from the whole mesh
    options.recomputeQuadrics = false;
    options.refreshNormals = false;  // set from the source when the cell was built
    const size_t done = detail::runDecimater(cell, maxError, maxAngleDeg, options,
                                             [targetFaces](auto& decimater)
                                             { return decimater.decimate_to_faces(0, targetFaces); });
    cell.garbage_collection(true, true, true);
    return done;
}

// Welding: only the cell's boundary vertices go through the weld map. An interior vertex has its
// whole fan inside the cell, so no other cell holds it; a boundary vertex (a cut, or the mesh's
// own open border) may be shared and is welded by its oxmvertex key. Every copy of a shared
// vertex started from the same quadric, so the first copy brings its quadric whole and each
// later one only what its cell's collapses added (its quadric less the one the cell received);
// a cell without that record adds its copy's quadric whole. A new boundary vertex is appended to
// the seam list and marked SELECTED. The same rules serve both grids.
void OpenMeshUtility::mergePartitionMesh(Mesh& merged,
                                         tbb::concurrent_vector<OpenMesh::VertexHandle>& seamVertices,
                                         WeldMap& weldMap, Mesh& cell, bool /*coarseGrid*/)
{
    if (!merged.quadricHandle.is_valid())
        merged.add_property(merged.quadricHandle);
    const bool hasQuadrics = cell.quadricHandle.is_valid();
    const bool hasTexCoords = cell.has_vertex_texcoords2D() && merged.has_vertex_texcoords2D();
    const bool hasTextureIndex = cell.has_face_texture_index() && merged.has_face_texture_index();

    OpenMesh::VPropHandleT<Quadric> base;
    const bool hasBase = hasQuadrics && cell.get_property_handle(base, detail::kCellBaseQuadricProperty);

    auto addVertex = [&](OpenMesh::VertexHandle vh)
    { return detail::copyVertex(cell, vh, merged, hasTexCoords, hasQuadrics); };

    std::vector<OpenMesh::VertexHandle> toMerged(cell.n_vertices());
    for (auto vh : cell.vertices())
    {
        if (!cell.halfedge_handle(vh).is_valid())
            continue;  // isolated: nothing refers to it
        if (!cell.is_boundary(vh))
        {
            toMerged[vh.idx()] = addVertex(vh);
            continue;
        }
        const auto& p = cell.point(vh);
        Objects::oxmvertex key({p[0], p[1], p[2]}, {0.0f, 0.0f}, hasTexCoords ? 1 : 0);
        if (hasTexCoords)
            key.texCoord = {cell.texcoord2D(vh)[0], cell.texcoord2D(vh)[1]};
        auto [it, isNew] = weldMap.try_emplace(key, OpenMesh::VertexHandle());
        if (isNew)
        {
            it->second = addVertex(vh);
            merged.status(it->second).set_selected(true);
            seamVertices.push_back(it->second);
        }
        else if (hasQuadrics)
        {
            Quadric added = cell.property(cell.quadricHandle, vh);
            if (hasBase)
                added += cell.property(base, vh) * -1.0;  // what this cell's collapses added
            merged.property(merged.quadricHandle, it->second) += added;
        }
        toMerged[vh.idx()] = it->second;
    }

    for (auto fh : cell.faces())
    {
        OpenMesh::VertexHandle v[3];
        int corners = 0;
        for (auto vh : cell.fv_range(fh))
            if (corners < 3)
                v[corners++] = toMerged[vh.idx()];
        if (corners != 3 || v[0] == v[1] || v[1] == v[2] || v[0] == v[2])
            continue;
        if (detail::hasSidedEdge(merged, v))
        {
            // Two cells may each collapse an interior vertex onto the same pair of cut vertices,
            // so both hold an edge between them: welding the second would make a complex edge.
            // The face keeps its own copies of its corners instead (a crack, not a hole).
            int k = 0;
            for (auto vh : cell.fv_range(fh))
                if (k < 3)
                    v[k++] = addVertex(vh);
        }
        auto added = merged.add_face(v[0], v[1], v[2]);
        if (!added.is_valid())  // a complex vertex: OpenMesh reports it; the face goes on copies
        {
            int k = 0;
            for (auto vh : cell.fv_range(fh))
                if (k < 3)
                    v[k++] = addVertex(vh);
            added = merged.add_face(v[0], v[1], v[2]);
        }
        if (added.is_valid() && hasTextureIndex)
            merged.set_texture_index(added, cell.texture_index(fh));
    }
}

// Plan: (1) count the decimatable faces F and the removal R; (2) compute the whole mesh's
// quadrics once; (3) per pass: cut the working mesh into cells, decimate the cells concurrently
// with their cuts held, merge them in cell order into a new working mesh, and run the seam pass
// to the pass's face target; (4) rebuild the caller's mesh from the last working mesh.
// The caller's mesh itself is the first working mesh (partitioning empties it), which saves a
// copy of the whole input.
bool OpenMeshUtility::DecimateMeshParallel(Mesh* mesh, float ratio, double errorFactor, double maxAngleDeg,
                                           bool garbageCollect, bool coarseGrid, bool updateNormals)
{
    if (!mesh)
        return false;
    const Objects::Box<float> box = ComputeBoundingBox(mesh);
    const double maxError = static_cast<double>(box.getLongestAxisLength()) * errorFactor;
    mesh->delete_isolated_vertices();
    mesh->garbage_collection(true, true, true);

    const size_t decimatable = detail::countDecimatableFaces(*mesh, coarseGrid);
    ratio = detail::clampRatio(ratio);
    // single precision, as the serial overload computes its target
    const size_t toRemove = static_cast<size_t>(static_cast<float>(decimatable) * ratio);
    if (toRemove == 0)
        return false;

    const bool hadFaceNormals = mesh->has_face_normals();
    const bool hadQuadrics = mesh->quadricHandle.is_valid();
    {
        OxmModQuadric quadrics(*mesh);
        quadrics.keep_quadrics = true;
        quadrics.recompute_quadrics = true;
        quadrics.initialize();
    }

    const detail::GridLevels levels(decimatable);
    const int passCount = detail::GridLevels::passCount(ratio);
    const double fractions[2] = {0.9, 0.1};

    size_t faceTarget = decimatable;
    std::unique_ptr<Mesh> working;  // null while the caller's mesh is the working mesh
    for (int pass = 0; pass < passCount; ++pass)
    {
        const double passRatio = fractions[pass] * static_cast<double>(ratio);
        const size_t passRemoval = static_cast<size_t>(static_cast<double>(toRemove) * fractions[pass]);
        faceTarget -= std::min(passRemoval, faceTarget);

        Mesh& source = working ? *working : *mesh;
        const int level = levels.levelOfPass(pass, coarseGrid);
        CellMap cells = partitionMesh(&source, box, static_cast<float>(level), 0.0f, coarseGrid);
        auto merged = std::make_unique<Mesh>();
        requestCarriedAttributes(source, *merged);
        merged->add_property(merged->quadricHandle);
        working = std::move(merged);  // releases the previous working mesh; its cells hold the geometry

        tbb::concurrent_vector<OpenMesh::VertexHandle> seamVertices;
        WeldMap weldMap;
        decimateAndMergeCells(cells, *working, seamVertices, weldMap, passRatio, maxError, maxAngleDeg,
                              coarseGrid, &OpenMeshUtility::partitionDecimate,
                              &OpenMeshUtility::mergePartitionMesh);
        cells.clear();
        weldMap.clear();
        boundaryDecimate(*working, seamVertices, faceTarget, pass == passCount - 1, maxError, maxAngleDeg);
    }

    // The caller's mesh was emptied by the first partition; its properties remain.
    if (!hadQuadrics && mesh->quadricHandle.is_valid())
        mesh->remove_property(mesh->quadricHandle);
    rebuildMesh(*working, *mesh);
    working.reset();
    if (garbageCollect)
        mesh->garbage_collection(true, true, true);
    if (updateNormals)
    {
        mesh->request_face_normals();
        detail::updateFaceNormalsParallel(*mesh);
        if (mesh->has_vertex_normals())
            detail::updateVertexNormalsParallel(*mesh);
        if (mesh->has_halfedge_normals())
            mesh->update_halfedge_normals(0.8);
        mesh->release_face_normals();
    }
    if (!hadFaceNormals && mesh->has_face_normals())
        mesh->release_face_normals();  // requested by the first partition
    return true;
}

}  // namespace Quelm::Topology
