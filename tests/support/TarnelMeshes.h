#pragma once

#include "engine/VFTriangleMesh.h"

#include <memory>
#include <vector>

// Engine grids, grids with holes and flag helpers for the tests and the benchmarks (no test
// framework here). Vertex (i, j) of an nx x ny grid has ID j * (nx + 1) + i; quad (i, j) holds
// triangles 2 (j * nx + i) = (i,j)(i+1,j)(i+1,j+1) and 2 (j * nx + i) + 1 = (i,j)(i+1,j+1)(i,j+1).
namespace test
{

inline unsigned gridVertex(int nx, int i, int j)
{
    return static_cast<unsigned>(j * (nx + 1) + i);
}

inline unsigned gridTriangle(int nx, int i, int j, int half)
{
    return static_cast<unsigned>(2 * (j * nx + i) + half);
}

// Appends an nx x ny grid of quads in z = 0, counter-clockwise seen from +z, numbered as above
// from the mesh's current maximum vertex ID.
template <class Mesh>
void fillGrid(Mesh& mesh, int nx, int ny, float spacing = 1.0f)
{
    const unsigned base = mesh.GetMaxVertexID();
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i)
            mesh.AppendVertex(vsk::Vector3f(i * spacing, j * spacing, 0.0f));
    auto at = [&](int i, int j) { return base + gridVertex(nx, i, j); };
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i)
        {
            mesh.AppendTriangle(at(i, j), at(i + 1, j), at(i + 1, j + 1));
            mesh.AppendTriangle(at(i, j), at(i + 1, j + 1), at(i, j + 1));
        }
}

template <class Mesh = vsk::VFTriangleMesh>
std::unique_ptr<Mesh> makeEngineGrid(int nx, int ny, float spacing = 1.0f)
{
    auto mesh = std::make_unique<Mesh>();
    fillGrid(*mesh, nx, ny, spacing);
    return mesh;
}

// Removes both triangles of quad (i, j) of a grid.
inline void removeQuad(vsk::VFTriangleMesh& mesh, int nx, int i, int j)
{
    mesh.RemoveTriangle(gridTriangle(nx, i, j, 0));
    mesh.RemoveTriangle(gridTriangle(nx, i, j, 1));
}

// A side x side grid (2 side^2 triangles before the holes) with about `holes` square holes of
// 2 x 2 quads on a regular lattice, away from the border and from each other.
inline std::unique_ptr<vsk::VFTriangleMesh> makeHoleyGrid(int side, int holes)
{
    auto mesh = makeEngineGrid(side, side);
    int perRow = 1;
    while ((perRow + 1) * (perRow + 1) <= holes)
        ++perRow;
    const int step = side / (perRow + 1);
    for (int a = 1; a <= perRow; ++a)
        for (int b = 1; b <= perRow; ++b)
            for (int di = 0; di < 2; ++di)
                for (int dj = 0; dj < 2; ++dj)
                    removeQuad(*mesh, side, a * step + di, b * step + dj);
    return mesh;
}

// A strip of `count` triangles between a bottom and a top row of vertices: count + 2 vertices,
// count + 2 boundary edges forming one loop. Vertex k is at the bottom for even k.
inline std::unique_ptr<vsk::VFTriangleMesh> makeStrip(unsigned count)
{
    auto mesh = std::make_unique<vsk::VFTriangleMesh>();
    for (unsigned k = 0; k < count + 2; ++k)
        mesh->AppendVertex(vsk::Vector3f(float(k / 2), float(k % 2), 0.0f));
    for (unsigned k = 0; k < count; ++k)  // every triangle counter-clockwise
        mesh->AppendTriangle(k, k % 2 ? k + 1 : k + 2, k % 2 ? k + 2 : k + 1);
    return mesh;
}

inline std::vector<unsigned> liveTriangles(const vsk::VFTriangleMesh& mesh)
{
    return std::vector<unsigned>(mesh.BeginTriangles(), mesh.EndTriangles());
}

inline void flagAll(vsk::VFTriangleMesh& mesh, unsigned flag)
{
    for (unsigned tID : mesh.Triangles())
        mesh.SetTriangleFlag(tID, flag);
}

}  // namespace test
