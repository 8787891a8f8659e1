#include "topology/OpenMeshUtility.h"
#include "topology/decimation/DecimationSupport.h"
#include "topology/decimation/GridPartition.h"
#include "topology/decimation/OpenMeshPartition.h"

#include <tbb/concurrent_unordered_map.h>

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <utility>

namespace Quelm::Topology
{
namespace
{

using Mesh = OpenMeshUtility::Mesh;

using detail::Grid;

using RecordMap = tbb::concurrent_unordered_map<int, std::unique_ptr<OpenMeshPartition>>;

// The record of `cell`, created on first use. Most lookups find it without locking; creation
// is double-checked under the map's mutex.
OpenMeshPartition& recordOf(RecordMap& records, tbb::mutex& recordsMutex, int cell)
{
    auto it = records.find(cell);
    if (it != records.end())
        return *it->second;
    tbb::mutex::scoped_lock lock(recordsMutex);
    it = records.find(cell);
    if (it == records.end())
        it = records.emplace(cell, std::make_unique<OpenMeshPartition>()).first;
    return *it->second;
}

// Assigns every live face to the cell of its reference corner (the target of the face's stored
// half-edge). A task gathers its faces per cell and appends each group under that cell's mutex.
void assignFaces(const Mesh& mesh, const Grid& grid, RecordMap& records)
{
    tbb::mutex recordsMutex;
    tbb::parallel_for(tbb::blocked_range<size_t>(0, mesh.n_faces(), 8192),
                      [&](const tbb::blocked_range<size_t>& range)
                      {
                          std::unordered_map<int, std::vector<int>> local;
                          for (size_t i = range.begin(); i != range.end(); ++i)
                          {
                              const OpenMesh::FaceHandle fh(static_cast<int>(i));
                              if (mesh.status(fh).deleted())
                                  continue;
                              local[grid.cellOf(mesh, fh)].push_back(static_cast<int>(i));
                          }
                          for (auto& [cell, faces] : local)
                          {
                              OpenMeshPartition& record = recordOf(records, recordsMutex, cell);
                              tbb::mutex::scoped_lock lock(*record.mutex);
                              record.faces.insert(record.faces.end(), faces.begin(), faces.end());
                          }
                      });
}

// Welds the corners of the record's faces into cell-local vertices and, with the coarse grid,
// lists the movable ones: a vertex may move only when its own position lies in this cell, so a
// coarse cell never removes a vertex that belongs to a neighbour's box.
void weldRecord(const Mesh& mesh, const Grid& grid, int cell, bool coarseGrid, OpenMeshPartition& record)
{
    std::sort(record.faces.begin(), record.faces.end());  // tasks append in any order
    const bool hasTexCoords = mesh.has_vertex_texcoords2D();
    record.weldMap.reserve(record.faces.size() / 2 + 16);
    record.corners.reserve(record.faces.size() * 3);
    for (int f : record.faces)
        for (auto vh : mesh.fv_range(OpenMesh::FaceHandle(f)))
        {
            const auto& p = mesh.point(vh);
            Objects::oxmvertex key({p[0], p[1], p[2]}, {0.0f, 0.0f}, hasTexCoords ? 1 : 0);
            if (hasTexCoords)
            {
                const auto& t = mesh.texcoord2D(vh);
                key.texCoord = {t[0], t[1]};
            }
            const auto [it, isNew] = record.weldMap.emplace(key, static_cast<int>(record.vertices.size()));
            if (isNew)
                record.vertices.push_back(vh.idx());
            record.corners.push_back(it->second);
        }
    if (coarseGrid)
        for (int local = 0; local < static_cast<int>(record.vertices.size()); ++local)
            if (grid.cellOf(mesh.point(OpenMesh::VertexHandle(record.vertices[local]))) == cell)
                record.movableVertices.push_back(local);
}

// Gives the face `src` new cell vertices (copies of its source corners, not movable) in `v`.
void copyCorners(const Mesh& mesh, OpenMesh::FaceHandle src, Mesh& cell, OpenMesh::VertexHandle (&v)[3])
{
    const bool hasTexCoords = mesh.has_vertex_texcoords2D() && cell.has_vertex_texcoords2D();
    const bool hasQuadrics = mesh.quadricHandle.is_valid();
    int k = 0;
    for (auto corner : mesh.fv_range(src))
    {
        if (k == 3)
            break;
        const auto vh = detail::copyVertex(mesh, corner, cell, hasTexCoords, hasQuadrics);
        cell.status(vh).set_selected(false);
        v[k++] = vh;
    }
}

// Builds the cell's mesh from its record: points, normals, texture coordinates and quadrics of
// the vertices, SELECTED on the movable ones, then the faces with their normals and texture
// indices. A face that OpenMesh refuses (a complex edge after welding) is left out.
void buildCell(const Mesh& mesh, const OpenMeshPartition& record, bool coarseGrid, Mesh& cell)
{
    const bool hasTexCoords = mesh.has_vertex_texcoords2D();
    const bool hasTextureIndex = mesh.has_face_texture_index();
    const bool hasQuadrics = mesh.quadricHandle.is_valid();
    cell.add_property(cell.quadricHandle);
    cell.request_face_normals();
    if (hasTexCoords)
        cell.request_vertex_texcoords2D();
    if (hasTextureIndex)
        cell.request_face_texture_index();

    const size_t faceCount = record.faces.size();
    cell.reserve(record.vertices.size(), faceCount * 3 / 2 + 16, faceCount);
    auto movable = record.movableVertices.begin();
    for (int local = 0; local < static_cast<int>(record.vertices.size()); ++local)
    {
        const OpenMesh::VertexHandle src(record.vertices[local]);
        const auto vh = detail::copyVertex(mesh, src, cell, hasTexCoords, hasQuadrics);
        bool isMovable = true;
        if (coarseGrid)
        {
            isMovable = movable != record.movableVertices.end() && *movable == local;
            if (isMovable)
                ++movable;
        }
        cell.status(vh).set_selected(isMovable);
    }
    for (size_t i = 0; i < faceCount; ++i)
    {
        const int* c = &record.corners[3 * i];
        if (c[0] == c[1] || c[1] == c[2] || c[0] == c[2])
            continue;  // two corners welded into one: nothing to add
        const OpenMesh::FaceHandle src(record.faces[i]);
        OpenMesh::VertexHandle v[3] = {OpenMesh::VertexHandle(c[0]), OpenMesh::VertexHandle(c[1]),
                                       OpenMesh::VertexHandle(c[2])};
        // Welding by key can join coincident vertices so that an edge gets a second face on one
        // side (a complex edge): such a face keeps its own, locked, corner copies instead.
        const bool needsCopies = detail::hasSidedEdge(cell, v);
        if (needsCopies)
            copyCorners(mesh, src, cell, v);
        auto fh = cell.add_face(v[0], v[1], v[2]);
        if (!fh.is_valid() && !needsCopies)  // a complex vertex, reported by OpenMesh
        {
            copyCorners(mesh, src, cell, v);
            fh = cell.add_face(v[0], v[1], v[2]);
        }
        if (!fh.is_valid())
            continue;
        cell.set_normal(fh, mesh.normal(src));
        if (hasTextureIndex)
            cell.set_texture_index(fh, mesh.texture_index(src));
    }
    OpenMesh::VPropHandleT<Quadric> base;
    cell.add_property(base, detail::kCellBaseQuadricProperty);
    for (size_t i = 0; i < cell.n_vertices(); ++i)
    {
        const OpenMesh::VertexHandle vh(static_cast<int>(i));
        cell.property(base, vh) = cell.property(cell.quadricHandle, vh);
    }
}

// Frees what the record holds as soon as its cell is built.
void releaseRecord(OpenMeshPartition& record)
{
    std::vector<int>().swap(record.faces);
    std::vector<int>().swap(record.corners);
    std::vector<int>().swap(record.vertices);
    std::vector<int>().swap(record.movableVertices);
    decltype(record.weldMap)().swap(record.weldMap);
}

}  // namespace

// Plan: (1) refresh the source's normals in parallel; (2) assign faces to cells by one corner,
// in parallel, into per-cell records; (3) weld and build every cell's mesh, one task per cell
// (disjoint: a task writes only its own record and cell mesh); (4) clear the source.
OpenMeshUtility::CellMap OpenMeshUtility::partitionMesh(Mesh* mesh, const Objects::Box<float>& box,
                                                        float gridLevel, float /*gridOffset*/,
                                                        bool coarseGrid)
{
    CellMap cells;
    if (!mesh)
        return cells;
    if (!mesh->has_face_normals())
        mesh->request_face_normals();
    detail::updateFaceNormalsParallel(*mesh);
    if (mesh->has_vertex_normals())
        detail::updateVertexNormalsParallel(*mesh);
    if (mesh->has_halfedge_normals())
        mesh->update_halfedge_normals(0.8);

    const Grid grid(box, gridLevel);
    RecordMap records;
    assignFaces(*mesh, grid, records);

    // The cell meshes are created empty first (serially: the map is not written in parallel),
    // then filled in parallel through stable references.
    std::vector<std::pair<int, OpenMeshPartition*>> order;
    order.reserve(records.size());
    for (auto& [cell, record] : records)
        order.emplace_back(cell, record.get());
    std::sort(order.begin(), order.end());
    std::vector<Mesh*> targets;
    targets.reserve(order.size());
    for (const auto& entry : order)
        targets.push_back(&cells.emplace(entry.first, Mesh()).first->second);

    tbb::parallel_for(tbb::blocked_range<size_t>(0, order.size(), 1),
                      [&](const tbb::blocked_range<size_t>& range)
                      {
                          for (size_t i = range.begin(); i != range.end(); ++i)
                          {
                              OpenMeshPartition& record = *order[i].second;
                              weldRecord(*mesh, grid, order[i].first, coarseGrid, record);
                              buildCell(*mesh, record, coarseGrid, *targets[i]);
                              releaseRecord(record);
                          }
                      });
    mesh->clear();
    return cells;
}

}  // namespace Quelm::Topology
