#include "tools/MeshGenerators.h"

#include <oneapi/tbb/parallel_for.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace Quelm::Tools
{

namespace
{

using Mesh = Topology::TopologyMesh;

const float kExtent = 100.0f;  // side of the square the terrain covers, in model units

// A 32-bit integer hash (lowbias32): good enough avalanche for noise lattices and coin flips.
uint32_t hash(uint32_t x)
{
    x ^= x >> 16;
    x *= 0x7feb352dU;
    x ^= x >> 15;
    x *= 0x846ca68bU;
    x ^= x >> 16;
    return x;
}

uint32_t hash(int i, int j, uint32_t seed)
{
    return hash(static_cast<uint32_t>(i) * 0x9E3779B1U ^ hash(static_cast<uint32_t>(j) + seed * 0x85EBCA77U));
}

// Uniform in [-1, 1).
float unitNoise(uint32_t h)
{
    return float(h >> 8) * (2.0f / 16777216.0f) - 1.0f;
}

// Value noise: random values on the integer lattice, blended with a smoothstep.
float valueNoise(float x, float y, uint32_t seed)
{
    const float fx = std::floor(x), fy = std::floor(y);
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    float tx = x - fx, ty = y - fy;
    tx = tx * tx * (3 - 2 * tx);
    ty = ty * ty * (3 - 2 * ty);
    const float v00 = unitNoise(hash(ix, iy, seed)), v10 = unitNoise(hash(ix + 1, iy, seed));
    const float v01 = unitNoise(hash(ix, iy + 1, seed)), v11 = unitNoise(hash(ix + 1, iy + 1, seed));
    const float a = v00 + (v10 - v00) * tx;
    const float b = v01 + (v11 - v01) * tx;
    return a + (b - a) * ty;
}

// Relief in model units: six octaves of fractal noise over a gentle slope.
float height(float x, float y, uint32_t seed)
{
    float sum = 0.02f * x + 0.01f * y;
    float amplitude = 8.0f, frequency = 3.0f / kExtent;
    for (int octave = 0; octave < 6; ++octave)
    {
        sum += amplitude * valueNoise(x * frequency, y * frequency, seed + uint32_t(octave) * 7919U);
        amplitude *= 0.5f;
        frequency *= 2.0f;
    }
    return sum;
}

// A hole: the grid cells [i0, i1) x [j0, j1) carry no faces.
struct CellRect
{
    int i0, j0, i1, j1;
    bool contains(int i, int j) const { return i >= i0 && i < i1 && j >= j0 && j < j1; }
};

}  // namespace

std::unique_ptr<Topology::TopologyMesh> makeTerrain(size_t faces, const TerrainOptions& options)
{
    // Plan: a square grid of n x n cells (two faces each) is laid out; the points of the grid are
    // computed once, in parallel, so that the copies of a point in neighbouring charts coincide.
    // Then every chart adds its own vertices (with chart-local texture coordinates) and faces.
    const int n = std::max(1, static_cast<int>(std::lround(std::sqrt(double(faces) / 2.0))));
    const int charts = std::clamp(std::min(options.chartsPerSide, n), 1, 16);
    const float cell = kExtent / float(n);
    const uint32_t seed = options.seed;

    std::vector<int> cut(size_t(charts) + 1);
    for (int k = 0; k <= charts; ++k)
        cut[size_t(k)] = static_cast<int>(int64_t(k) * n / charts);

    const size_t side = size_t(n) + 1;
    std::vector<OpenMesh::Vec3f> points(side * side);
    tbb::parallel_for(0, n + 1,
                      [&](int j)
                      {
                          for (int i = 0; i <= n; ++i)
                          {
                              const uint32_t h = hash(i, j, seed ^ 0xA5A5A5A5U);
                              // in-plane jitter below a quarter cell never flips a triangle
                              const float x = (float(i) + 0.25f * unitNoise(h)) * cell;
                              const float y = (float(j) + 0.25f * unitNoise(hash(h))) * cell;
                              const float scanNoise = 0.05f * cell * unitNoise(hash(h + 1));
                              points[size_t(j) * side + size_t(i)] =  // disjoint: one row per task
                                  OpenMesh::Vec3f(x, y, height(x, y, seed) + scanNoise);
                          }
                      });

    // Holes lie strictly inside distinct charts, two cells from any chart border, so that every
    // vertex keeps a single fan of faces (no hole touches another hole or a chart cut).
    std::vector<CellRect> holes;
    std::mt19937 rng(seed);
    const int holeSize = std::max(2, n / 40);
    for (int k = 0; k < std::min(options.holes, charts * charts); ++k)
    {
        const int cx = (k * 5 + 1) % charts, cy = (k * 3 + 1) % charts;
        const int cw = cut[size_t(cx) + 1] - cut[size_t(cx)], ch = cut[size_t(cy) + 1] - cut[size_t(cy)];
        if (std::min(cw, ch) < holeSize + 6)
            continue;
        const int i0 = cut[size_t(cx)] + 2 + static_cast<int>(rng() % uint32_t(cw - holeSize - 4));
        const int j0 = cut[size_t(cy)] + 2 + static_cast<int>(rng() % uint32_t(ch - holeSize - 4));
        const CellRect hole{i0, j0, i0 + holeSize, j0 + holeSize};
        const bool clash =
            std::any_of(holes.begin(), holes.end(),
                        [&](const CellRect& o)
                        { return hole.i0 <= o.i1 && o.i0 <= hole.i1 && hole.j0 <= o.j1 && o.j0 <= hole.j1; });
        if (!clash)
            holes.push_back(hole);
    }

    auto mesh = std::make_unique<Mesh>();
    mesh->request_vertex_texcoords2D();
    mesh->request_face_texture_index();
    OpenMesh::MPropHandleT<TextureMapping> mapping;
    mesh->add_property(mapping, "TextureMapping");
    const size_t chartVertices = (side + size_t(charts) - 1) * (side + size_t(charts) - 1);
    const size_t faceCount = 2 * size_t(n) * size_t(n);
    mesh->reserve(chartVertices, chartVertices + faceCount, faceCount);

    std::vector<Mesh::VertexHandle> local;
    for (int cy = 0; cy < charts; ++cy)
        for (int cx = 0; cx < charts; ++cx)
        {
            const int texture = cy * charts + cx;
            const auto textureIndex = static_cast<unsigned char>(texture);
            mesh->property(mapping)[textureIndex] = "texture_" + std::to_string(texture) + ".png";
            mesh->materialIndexMap["Material_" + std::to_string(texture)] = texture;

            const int i0 = cut[size_t(cx)], i1 = cut[size_t(cx) + 1];
            const int j0 = cut[size_t(cy)], j1 = cut[size_t(cy) + 1];
            const int w = i1 - i0 + 1;
            local.clear();
            for (int j = j0; j <= j1; ++j)
                for (int i = i0; i <= i1; ++i)
                {
                    // a point strictly inside a hole would be left without faces
                    if (std::any_of(holes.begin(), holes.end(),
                                    [&](const CellRect& r)
                                    { return i > r.i0 && i < r.i1 && j > r.j0 && j < r.j1; }))
                    {
                        local.emplace_back();
                        continue;
                    }
                    const auto vh = mesh->add_vertex(points[size_t(j) * side + size_t(i)]);
                    mesh->set_texcoord2D(
                        vh, OpenMesh::Vec2f(float(i - i0) / float(i1 - i0), float(j - j0) / float(j1 - j0)));
                    local.push_back(vh);
                }
            auto at = [&](int i, int j) { return local[size_t(j - j0) * size_t(w) + size_t(i - i0)]; };
            for (int j = j0; j < j1; ++j)
                for (int i = i0; i < i1; ++i)
                {
                    if (std::any_of(holes.begin(), holes.end(),
                                    [&](const CellRect& r) { return r.contains(i, j); }))
                        continue;
                    const auto v00 = at(i, j), v10 = at(i + 1, j), v11 = at(i + 1, j + 1), v01 = at(i, j + 1);
                    Mesh::FaceHandle f0, f1;
                    if (hash(i, j, seed + 17U) & 1U)  // a scanner's triangulation is not regular
                    {
                        f0 = mesh->add_face(v00, v10, v11);
                        f1 = mesh->add_face(v00, v11, v01);
                    }
                    else
                    {
                        f0 = mesh->add_face(v00, v10, v01);
                        f1 = mesh->add_face(v10, v11, v01);
                    }
                    mesh->set_texture_index(f0, textureIndex);
                    mesh->set_texture_index(f1, textureIndex);
                }
        }
    return mesh;
}

}  // namespace Quelm::Tools
