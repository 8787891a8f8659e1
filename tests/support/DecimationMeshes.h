#pragma once

#include "topology/OxmOMTopology.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>

// Meshes for the decimation tests: a noisy height field like a captured terrain, and checks
// that every decimation result must pass.
namespace test
{

using DecimationMesh = Quelm::Topology::OxmOMTopologyT<Quelm::Topology::MyTraits>;

// An nx x ny height field over [0, nx] x [0, ny]: gentle hills plus seeded noise of amplitude
// `noise`. 2 nx ny faces, open border, counter-clockwise seen from +z.
inline std::unique_ptr<DecimationMesh> makeTerrain(int nx, int ny, float noise = 0.05f, uint32_t seed = 7)
{
    auto mesh = std::make_unique<DecimationMesh>();
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> jitter(-noise, noise);
    mesh->reserve(size_t(nx + 1) * size_t(ny + 1), size_t(3) * nx * ny + nx + ny, size_t(2) * nx * ny);
    std::vector<DecimationMesh::VertexHandle> vh;
    vh.reserve(size_t(nx + 1) * size_t(ny + 1));
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i)
        {
            const float x = float(i), y = float(j);
            const float z = 3.0f * std::sin(x * 0.05f) * std::cos(y * 0.04f) + jitter(rng);
            vh.push_back(mesh->add_vertex(DecimationMesh::Point(x, y, z)));
        }
    auto at = [&](int i, int j) { return vh[size_t(j) * (nx + 1) + i]; };
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i)
        {
            mesh->add_face(at(i, j), at(i + 1, j), at(i + 1, j + 1));
            mesh->add_face(at(i, j), at(i + 1, j + 1), at(i, j + 1));
        }
    return mesh;
}

// Live faces with a repeated corner or zero area.
inline size_t countDegenerateFaces(const DecimationMesh& mesh)
{
    size_t count = 0;
    for (auto fh : mesh.faces())
    {
        DecimationMesh::VertexHandle v[3];
        int n = 0;
        for (auto vh : mesh.fv_range(fh))
            if (n < 3)
                v[n++] = vh;
        if (n != 3 || v[0] == v[1] || v[1] == v[2] || v[0] == v[2] || mesh.calc_face_area(fh) <= 0.0f)
            ++count;
    }
    return count;
}

// True when every live vertex lies in the box [lo, hi] (inclusive).
inline bool allInside(const DecimationMesh& mesh, const DecimationMesh::Point& lo,
                      const DecimationMesh::Point& hi)
{
    for (auto vh : mesh.vertices())
        for (int k = 0; k < 3; ++k)
            if (!(mesh.point(vh)[k] >= lo[k] && mesh.point(vh)[k] <= hi[k]))
                return false;
    return true;
}

// True when the mesh holds no deleted element (it was garbage-collected).
inline bool isCompact(const DecimationMesh& mesh)
{
    for (size_t i = 0; i < mesh.n_vertices(); ++i)
        if (mesh.status(DecimationMesh::VertexHandle(int(i))).deleted())
            return false;
    for (size_t i = 0; i < mesh.n_faces(); ++i)
        if (mesh.status(DecimationMesh::FaceHandle(int(i))).deleted())
            return false;
    return true;
}

}  // namespace test
