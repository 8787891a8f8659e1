#pragma once

#include "topology/OxmOMTopology.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

// Small topology meshes built in code, and a temporary directory for tests that write files.
namespace test
{

using Mesh = Quelm::Topology::OxmOMTopologyT<Quelm::Topology::MyTraits>;

// A mesh of the given points and triangles (corner indices into `points`, vertex i at points[i]);
// faces that OpenMesh refuses are left out.
inline std::unique_ptr<Mesh> makeMesh(const std::vector<Mesh::Point>& points,
                                      const std::vector<std::array<int, 3>>& faces)
{
    auto mesh = std::make_unique<Mesh>();
    for (const auto& p : points)
        mesh->add_vertex(p);
    for (const auto& f : faces)
        mesh->add_face(Mesh::VertexHandle(f[0]), Mesh::VertexHandle(f[1]), Mesh::VertexHandle(f[2]));
    return mesh;
}

// An nx x ny grid of unit quads in the z = 0 plane, each split into two triangles:
// (nx + 1)(ny + 1) vertices, 2 nx ny faces, counter-clockwise seen from +z.
inline std::unique_ptr<Mesh> makeGrid(int nx, int ny, float spacing = 1.0f)
{
    auto mesh = std::make_unique<Mesh>();
    std::vector<Mesh::VertexHandle> vh;
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i)
            vh.push_back(mesh->add_vertex(Mesh::Point(i * spacing, j * spacing, 0.0f)));
    auto at = [&](int i, int j) { return vh[j * (nx + 1) + i]; };
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i)
        {
            mesh->add_face(at(i, j), at(i + 1, j), at(i + 1, j + 1));
            mesh->add_face(at(i, j), at(i + 1, j + 1), at(i, j + 1));
        }
    return mesh;
}

// A closed tetrahedron: 4 vertices, 4 faces, outward winding.
inline std::unique_ptr<Mesh> makeTetrahedron()
{
    return makeMesh({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                    {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {2, 0, 3}});
}

// A closed UV sphere of radius r: `rings` latitude bands and `segments` longitude segments.
inline std::unique_ptr<Mesh> makeSphere(int rings, int segments, float r = 1.0f)
{
    auto mesh = std::make_unique<Mesh>();
    const float pi = 3.14159265358979f;
    auto top = mesh->add_vertex(Mesh::Point(0, 0, r));
    std::vector<Mesh::VertexHandle> vh;
    for (int i = 1; i < rings; ++i)
    {
        const float th = pi * float(i) / float(rings);
        for (int j = 0; j < segments; ++j)
        {
            const float ph = 2 * pi * float(j) / float(segments);
            vh.push_back(mesh->add_vertex(Mesh::Point(r * std::sin(th) * std::cos(ph),
                                                      r * std::sin(th) * std::sin(ph), r * std::cos(th))));
        }
    }
    auto bottom = mesh->add_vertex(Mesh::Point(0, 0, -r));
    auto at = [&](int ring, int seg) { return vh[(ring)*segments + (seg % segments)]; };
    for (int j = 0; j < segments; ++j)
        mesh->add_face(top, at(0, j), at(0, j + 1));
    for (int i = 0; i + 1 < rings - 1; ++i)
        for (int j = 0; j < segments; ++j)
        {
            mesh->add_face(at(i, j), at(i + 1, j), at(i + 1, j + 1));
            mesh->add_face(at(i, j), at(i + 1, j + 1), at(i, j + 1));
        }
    for (int j = 0; j < segments; ++j)
        mesh->add_face(bottom, at(rings - 2, j + 1), at(rings - 2, j));
    return mesh;
}

// Two triangles that share only one vertex (a non-manifold "bow tie"): 5 vertices, 2 faces.
inline std::unique_ptr<Mesh> makeBowTie()
{
    return makeMesh({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {-1, 0, 0}, {-1, -1, 0}}, {{0, 1, 2}, {0, 3, 4}});
}

// A temporary directory that is removed, with everything in it, when the object goes.
class TempDir
{
public:
    TempDir()
    {
        std::random_device rd;
        path_ = std::filesystem::temp_directory_path() /
                ("qlm_test_" + std::to_string(rd()) + std::to_string(rd()));
        std::filesystem::create_directories(path_);
    }
    ~TempDir()
    {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::filesystem::path file(const std::string& name) const { return path_ / name; }
    std::wstring wfile(const std::string& name) const { return file(name).wstring(); }

private:
    std::filesystem::path path_;
};

}  // namespace test
