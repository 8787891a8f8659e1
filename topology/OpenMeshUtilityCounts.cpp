#include "topology/OpenMeshUtility.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_reduce.h>

namespace Quelm::Topology
{
namespace
{

using Mesh = OpenMeshUtility::Mesh;

const std::string kMeshPathProperty = "m:meshpath";

// Counts the indices in [0, total) that pass `qualifies`. Each chunk counts locally and the
// partial counts are added once per chunk.
template <class Predicate>
uint64_t countParallel(size_t total, Predicate qualifies)
{
    return tbb::parallel_reduce(
        tbb::blocked_range<size_t>(0, total, 1024), uint64_t(0),
        [&](const tbb::blocked_range<size_t>& range, uint64_t count)
        {
            for (size_t i = range.begin(); i != range.end(); ++i)
                if (qualifies(i))
                    ++count;
            return count;
        },
        [](uint64_t a, uint64_t b) { return a + b; });
}

// A face with at least one SELECTED vertex; the face's own bit is not consulted.
bool hasSelectedVertex(const Mesh& mesh, OpenMesh::FaceHandle fh)
{
    for (auto fv = mesh.cfv_iter(fh); fv.is_valid(); ++fv)
        if (mesh.status(*fv).selected())
            return true;
    return false;
}

}  // namespace

uint64_t OpenMeshUtility::GetVertexCount(const Mesh& mesh)
{
    return countParallel(mesh.n_vertices(), [&](size_t i)
                         { return !mesh.status(OpenMesh::VertexHandle(static_cast<int>(i))).deleted(); });
}

uint64_t OpenMeshUtility::GetFaceCount(const Mesh& mesh)
{
    return countParallel(mesh.n_faces(), [&](size_t i)
                         { return !mesh.status(OpenMesh::FaceHandle(static_cast<int>(i))).deleted(); });
}

uint64_t OpenMeshUtility::GetSelectedFaceCount(const Mesh& mesh)
{
    return countParallel(mesh.n_faces(),
                         [&](size_t i)
                         {
                             const OpenMesh::FaceHandle fh{static_cast<int>(i)};
                             return !mesh.status(fh).deleted() && hasSelectedVertex(mesh, fh);
                         });
}

uint64_t OpenMeshUtility::GetNonBoundaryFaceCount(const Mesh& mesh)
{
    return countParallel(mesh.n_faces(),
                         [&](size_t i)
                         {
                             const OpenMesh::FaceHandle fh{static_cast<int>(i)};
                             return !mesh.status(fh).deleted() && !mesh.is_boundary(fh, false);
                         });
}

uint64_t OpenMeshUtility::GetNonBoundaryAndSelectedFaceCount(const Mesh& mesh)
{
    return countParallel(mesh.n_faces(),
                         [&](size_t i)
                         {
                             const OpenMesh::FaceHandle fh{static_cast<int>(i)};
                             return !mesh.status(fh).deleted() && !mesh.is_boundary(fh, false) &&
                                    hasSelectedVertex(mesh, fh);
                         });
}

bool OpenMeshUtility::SetMeshPath(Mesh* mesh, const std::wstring& path)
{
    if (!mesh)
        return false;
    OpenMesh::MPropHandleT<std::wstring> handle;
    if (!mesh->get_property_handle(handle, kMeshPathProperty))
        mesh->add_property(handle, kMeshPathProperty);
    mesh->property(handle) = path;
    return true;
}

std::wstring OpenMeshUtility::GetMeshPath(const Mesh* mesh)
{
    if (!mesh)
        return {};
    OpenMesh::MPropHandleT<std::wstring> handle;
    if (!mesh->get_property_handle(handle, kMeshPathProperty))
        return {};
    return mesh->property(handle);
}

}  // namespace Quelm::Topology
