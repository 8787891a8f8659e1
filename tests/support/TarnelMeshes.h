#pragma once

#include "engine/VFTriangleMesh.h"

#include <memory>
#include <vector>

// Engine meshes with holes and flag helpers for the boundary and selection tests and benchmarks.
// Grids follow the layout of EngineMeshes.h: vertex (i, j) has ID j * (nx + 1) + i and quad (i, j)
// holds triangles 2 (j * nx + i) = (i,j)(i+1,j)(i+1,j+1) and 2 (j * nx + i) + 1 = (i,j)(i+1,j+1)(i,j+1).
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

// An nx x ny grid of unit quads in z = 0, counter-clockwise seen from +z.
inline std::unique_ptr<vsk::VFTriangleMesh> makeTarnelGrid(int nx, int ny)
{
    auto mesh = std::make_unique<vsk::VFTriangleMesh>();
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i)
            mesh->AppendVertex(vsk::Vector3f(float(i), float(j), 0.0f));
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i)
        {
            mesh->AppendTriangle(gridVertex(nx, i, j), gridVertex(nx, i + 1, j),
                                 gridVertex(nx, i + 1, j + 1));
            mesh->AppendTriangle(gridVertex(nx, i, j), gridVertex(nx, i + 1, j + 1),
                                 gridVertex(nx, i, j + 1));
        }
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
    auto mesh = makeTarnelGrid(side, side);
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
// count + 2 boundary edges forming one loop.
inline std::unique_ptr<vsk::VFTriangleMesh> makeStrip(unsigned count)
{
    auto mesh = std::make_unique<vsk::VFTriangleMesh>();
    for (unsigned k = 0; k < count + 2; ++k)
        mesh->AppendVertex(vsk::Vector3f(float(k / 2), float(k % 2), 0.0f));
    for (unsigned k = 0; k < count; ++k)
    {
        // vertex k is at the bottom for even k; keep every triangle counter-clockwise
        if (k % 2 == 0)
            mesh->AppendTriangle(k, k + 2, k + 1);
        else
            mesh->AppendTriangle(k, k + 1, k + 2);
    }
    return mesh;
}

inline std::vector<unsigned> liveTriangles(const vsk::VFTriangleMesh& mesh)
{
    std::vector<unsigned> ids;
    for (unsigned tID : mesh.Triangles())
        ids.push_back(tID);
    return ids;
}

inline void flagAll(vsk::VFTriangleMesh& mesh, unsigned flag)
{
    for (unsigned tID : mesh.Triangles())
        mesh.SetTriangleFlag(tID, flag);
}

}  // namespace test
