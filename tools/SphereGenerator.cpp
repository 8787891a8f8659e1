#include "tools/MeshGenerators.h"

#include <oneapi/tbb/parallel_for.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

namespace Quelm::Tools
{

namespace
{

using Mesh = Topology::TopologyMesh;
using Vec3 = OpenMesh::Vec3f;

// The regular icosahedron on the unit-golden-ratio box; faces wound counter-clockwise seen from
// outside.
const float kPhi = 1.6180339887f;
// clang-format off
const std::array<Vec3, 12> kCorners = {{
    {-1, kPhi, 0}, {1, kPhi, 0}, {-1, -kPhi, 0}, {1, -kPhi, 0},
    {0, -1, kPhi}, {0, 1, kPhi}, {0, -1, -kPhi}, {0, 1, -kPhi},
    {kPhi, 0, -1}, {kPhi, 0, 1}, {-kPhi, 0, -1}, {-kPhi, 0, 1}}};
const std::array<std::array<int, 3>, 20> kFaces = {{
    {0, 11, 5}, {0, 5, 1}, {0, 1, 7}, {0, 7, 10}, {0, 10, 11},
    {1, 5, 9}, {5, 11, 4}, {11, 10, 2}, {10, 7, 6}, {7, 1, 8},
    {3, 9, 4}, {3, 4, 2}, {3, 2, 6}, {3, 6, 8}, {3, 8, 9},
    {4, 9, 5}, {2, 4, 11}, {6, 2, 10}, {8, 6, 7}, {9, 8, 1}}};
// clang-format on

// Vertex numbering of the subdivided icosahedron with frequency n. Point (i, j) of face f is
// corner a + i/n (b - a) + j/n (c - a); points on an icosahedron edge are numbered once, from the
// edge's lower corner, so that the two faces of the edge share them.
class GeodesicLayout
{
public:
    explicit GeodesicLayout(int n) : n_(n)
    {
        for (const auto& f : kFaces)
            for (int k = 0; k < 3; ++k)
            {
                const auto key = std::minmax(f[k], f[(k + 1) % 3]);
                edges_.emplace(key, static_cast<int>(edges_.size()));
            }
    }

    int frequency() const { return n_; }
    size_t edgeBase() const { return 12; }
    size_t faceBase() const { return 12 + 30 * size_t(n_ - 1); }
    size_t interiorPerFace() const { return size_t(n_ - 1) * size_t(std::max(n_ - 2, 0)) / 2; }
    size_t vertexCount() const { return faceBase() + 20 * interiorPerFace(); }

    // Number of the point at step t (0..n) on the edge from corner `from` to corner `to`.
    size_t edgePoint(int from, int to, int t) const
    {
        if (t == 0)
            return size_t(from);
        if (t == n_)
            return size_t(to);
        const int e = edges_.at(std::minmax(from, to));
        const int k = from < to ? t : n_ - t;
        return edgeBase() + size_t(e) * size_t(n_ - 1) + size_t(k - 1);
    }

    size_t point(int f, int i, int j) const
    {
        const auto& c = kFaces[size_t(f)];
        if (j == 0)
            return edgePoint(c[0], c[1], i);
        if (i == 0)
            return edgePoint(c[0], c[2], j);
        if (i + j == n_)
            return edgePoint(c[1], c[2], j);
        // interior rows j = 1 .. n-2 hold n-1-j points each
        const size_t rowOffset = size_t(j - 1) * size_t(n_ - 1) - size_t(j - 1) * size_t(j) / 2;
        return faceBase() + size_t(f) * interiorPerFace() + rowOffset + size_t(i - 1);
    }

    std::pair<int, int> edgeCorners(int e) const
    {
        for (const auto& [key, id] : edges_)
            if (id == e)
                return key;
        return {0, 0};
    }

private:
    int n_;
    std::map<std::pair<int, int>, int> edges_;
};

Vec3 onSphere(const Vec3& p, float radius)
{
    return p * (radius / p.norm());
}

}  // namespace

std::unique_ptr<Topology::TopologyMesh> makeGeodesicSphere(size_t faces, float radius)
{
    const int n = std::max(1, static_cast<int>(std::lround(std::sqrt(double(faces) / 20.0))));
    const GeodesicLayout layout(n);

    std::vector<Vec3> points(layout.vertexCount());
    for (int c = 0; c < 12; ++c)
        points[size_t(c)] = onSphere(kCorners[size_t(c)], radius);
    for (int e = 0; e < 30; ++e)
    {
        const auto [lo, hi] = layout.edgeCorners(e);
        for (int k = 1; k < n; ++k)
        {
            const float t = float(k) / float(n);
            points[layout.edgePoint(lo, hi, k)] =
                onSphere(kCorners[size_t(lo)] * (1 - t) + kCorners[size_t(hi)] * t, radius);
        }
    }
    tbb::parallel_for(0, 20,
                      [&](int f)
                      {
                          const auto& c = kFaces[size_t(f)];
                          const Vec3 a = kCorners[size_t(c[0])];
                          const Vec3 ab = (kCorners[size_t(c[1])] - a) / float(n);
                          const Vec3 ac = (kCorners[size_t(c[2])] - a) / float(n);
                          // disjoint: each face owns its interior points
                          for (int j = 1; j < n - 1; ++j)
                              for (int i = 1; i + j < n; ++i)
                                  points[layout.point(f, i, j)] =
                                      onSphere(a + ab * float(i) + ac * float(j), radius);
                      });

    auto mesh = std::make_unique<Mesh>();
    const size_t faceCount = 20 * size_t(n) * size_t(n);
    mesh->reserve(points.size(), points.size() + faceCount, faceCount);
    std::vector<Mesh::VertexHandle> vh;
    vh.reserve(points.size());
    for (const Vec3& p : points)
        vh.push_back(mesh->add_vertex(p));
    for (int f = 0; f < 20; ++f)
        for (int j = 0; j < n; ++j)
            for (int i = 0; i + j < n; ++i)
            {
                mesh->add_face(vh[layout.point(f, i, j)], vh[layout.point(f, i + 1, j)],
                               vh[layout.point(f, i, j + 1)]);
                if (i + j < n - 1)
                    mesh->add_face(vh[layout.point(f, i + 1, j)], vh[layout.point(f, i + 1, j + 1)],
                                   vh[layout.point(f, i, j + 1)]);
            }
    return mesh;
}

}  // namespace Quelm::Tools
