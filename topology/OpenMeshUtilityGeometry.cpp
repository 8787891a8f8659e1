#include "topology/OpenMeshUtility.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_reduce.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>

namespace Quelm::Topology
{
namespace
{

using Objects::Vector3;

Vector3<float> toVector(const OpenMesh::Vec3f& p)
{
    return {p[0], p[1], p[2]};
}

OpenMesh::Vec3f toVec(const Vector3<float>& p)
{
    return {p.x, p.y, p.z};
}

struct Extremes
{
    Vector3<float> min{FLT_MAX, FLT_MAX, FLT_MAX};
    Vector3<float> max{-FLT_MAX, -FLT_MAX, -FLT_MAX};

    void include(const OpenMesh::Vec3f& p)
    {
        min = {std::min(min.x, p[0]), std::min(min.y, p[1]), std::min(min.z, p[2])};
        max = {std::max(max.x, p[0]), std::max(max.y, p[1]), std::max(max.z, p[2])};
    }
    void merge(const Extremes& o)
    {
        min = {std::min(min.x, o.min.x), std::min(min.y, o.min.y), std::min(min.z, o.min.z)};
        max = {std::max(max.x, o.max.x), std::max(max.y, o.max.y), std::max(max.z, o.max.z)};
    }
};

}  // namespace

void OpenMeshUtility::TransformMesh(Mesh& mesh, const Objects::Matrix4<float>& matrix)
{
    const bool hasNormals = mesh.has_vertex_normals();
    for (auto vh : mesh.vertices())  // skips deleted and hidden vertices
    {
        mesh.set_point(vh, toVec(matrix.TransformPoint(toVector(mesh.point(vh)))));
        if (hasNormals)
            mesh.set_normal(vh, toVec(matrix.TransformVector(toVector(mesh.normal(vh)))));
    }
}

void OpenMeshUtility::FlipUVs(Mesh* mesh)
{
    if (!mesh || !mesh->has_vertex_texcoords2D())
        return;
    tbb::parallel_for(tbb::blocked_range<size_t>(0, mesh->n_vertices(), 4096),
                      [&](const tbb::blocked_range<size_t>& range)
                      {
                          // disjoint: each index writes only its own coordinate
                          for (size_t i = range.begin(); i != range.end(); ++i)
                          {
                              const OpenMesh::VertexHandle vh(static_cast<int>(i));
                              OpenMesh::Vec2f t = mesh->texcoord2D(vh);
                              t[1] = 1.0f - t[1];
                              mesh->set_texcoord2D(vh, t);
                          }
                      });
}

Objects::Box<float> OpenMeshUtility::ComputeBoundingBox(const Mesh* mesh)
{
    Extremes result;
    if (mesh)
    {
        // Each chunk keeps its own extremes; the reduction merges them component by component.
        result = tbb::parallel_reduce(
            tbb::blocked_range<size_t>(0, mesh->n_vertices(), 4096), Extremes(),
            [&](const tbb::blocked_range<size_t>& range, Extremes local)
            {
                for (size_t i = range.begin(); i != range.end(); ++i)
                {
                    const OpenMesh::VertexHandle vh(static_cast<int>(i));
                    if (!mesh->status(vh).deleted())
                        local.include(mesh->point(vh));
                }
                return local;
            },
            [](Extremes a, const Extremes& b)
            {
                a.merge(b);
                return a;
            });
    }
    return Objects::Box<float>(result.min, result.max);
}

double OpenMeshUtility::calcSurfaceArea(const Mesh& mesh)
{
    return tbb::parallel_reduce(
        tbb::blocked_range<size_t>(0, mesh.n_faces(), 2048), 0.0,
        [&](const tbb::blocked_range<size_t>& range, double sum)
        {
            for (size_t i = range.begin(); i != range.end(); ++i)
            {
                const OpenMesh::FaceHandle fh(static_cast<int>(i));
                if (mesh.status(fh).deleted())
                    continue;
                auto fv = mesh.cfv_iter(fh);
                const OpenMesh::Vec3f p0 = mesh.point(*fv);
                const OpenMesh::Vec3f p1 = mesh.point(*++fv);
                const OpenMesh::Vec3f p2 = mesh.point(*++fv);
                // cross product, squared length and root in single precision; widened for the sum
                const OpenMesh::Vec3f n = (p1 - p0) % (p2 - p0);
                const float len = std::sqrt(n.sqrnorm());
                sum += 0.5 * static_cast<double>(len);
            }
            return sum;
        },
        [](double a, double b) { return a + b; });
}

}  // namespace Quelm::Topology
