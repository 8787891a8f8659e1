#pragma once

#include "support/TestMeshes.h"
#include "topology/OxmOMTopology.h"

#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <vector>

// Meshes for the decimation tests: a noisy height field like a captured terrain, and checks
// that every decimation result must pass.
namespace test
{

using DecimationMesh = Quelm::Topology::OxmOMTopologyT<Quelm::Topology::MyTraits>;

// An nx x ny height field over [0, nx] x [0, ny]: gentle hills plus seeded noise of amplitude
// `noise` on the grid of TestMeshes.h (2 nx ny faces, open border, counter-clockwise from +z).
inline std::unique_ptr<DecimationMesh> makeTerrain(int nx, int ny, float noise = 0.05f, uint32_t seed = 7)
{
    auto mesh = makeGrid(nx, ny);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> jitter(-noise, noise);
    for (auto vh : mesh->vertices())  // row by row, as the grid was built
    {
        auto p = mesh->point(vh);
        p[2] = 3.0f * std::sin(p[0] * 0.05f) * std::cos(p[1] * 0.04f) + jitter(rng);
        mesh->set_point(vh, p);
    }
    return mesh;
}

// Live faces with a repeated corner or zero area.
inline size_t countDegenerateFaces(const DecimationMesh& mesh)
{
    size_t count = 0;
    for (auto fh : mesh.faces())
    {
        const std::vector<DecimationMesh::VertexHandle> v(mesh.cfv_begin(fh), mesh.cfv_end(fh));
        count +=
            v.size() != 3 || v[0] == v[1] || v[1] == v[2] || v[0] == v[2] || mesh.calc_face_area(fh) <= 0.0f;
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

// The points of the live vertices, in handle order.
inline std::vector<DecimationMesh::Point> points(const DecimationMesh& mesh)
{
    std::vector<DecimationMesh::Point> result;
    for (auto vh : mesh.vertices())
        result.push_back(mesh.point(vh));
    return result;
}

// True when the mesh holds no deleted element (it was garbage-collected): the skipping iterators,
// which pass over deleted elements, then meet every slot.
inline bool isCompact(const DecimationMesh& mesh)
{
    return size_t(std::distance(mesh.vertices_sbegin(), mesh.vertices_end())) == mesh.n_vertices() &&
           size_t(std::distance(mesh.faces_sbegin(), mesh.faces_end())) == mesh.n_faces();
}

}  // namespace test
