#pragma once

// Inputs and measurements for the decimation benchmarks: a captured-terrain-like height field,
// an approximate symmetric Hausdorff distance, a wall-clock timer and a peak-RSS sampler.

#include "topology/OxmOMTopology.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_reduce.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <random>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unordered_map>
#include <vector>

namespace bench
{

using Mesh = Quelm::Topology::OxmOMTopologyT<Quelm::Topology::MyTraits>;
// The same mesh without the library's own connectivity checks: OpenMesh's kernel as shipped, for
// the baseline measurements and for code that reads either kind.
using KernelMesh = OpenMesh::TriMesh_ArrayKernelT<Quelm::Topology::MyTraits>;

// A scanned-terrain stand-in: an n x n height field with rolling hills, a ridge, and per-sample
// noise of about 2% of the relief, as a photogrammetric capture of rough ground looks.
// 2 n^2 faces (n = 708 gives ~1M).
inline Mesh makeTerrain(int n, uint32_t seed = 11)
{
    Mesh mesh;
    std::mt19937 rng(seed);
    std::normal_distribution<float> noise(0.0f, 0.15f);
    mesh.reserve(size_t(n + 1) * size_t(n + 1), size_t(3) * n * n + 2 * n, size_t(2) * n * n);
    std::vector<Mesh::VertexHandle> vh;
    vh.reserve(size_t(n + 1) * size_t(n + 1));
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i)
        {
            const float x = float(i) * 0.5f, y = float(j) * 0.5f;
            const float hills =
                4.0f * std::sin(x * 0.021f) * std::cos(y * 0.017f) + 2.0f * std::sin(x * 0.07f + y * 0.05f);
            const float ridge = 6.0f * std::exp(-std::pow((x - y * 0.6f - 40.0f) * 0.05f, 2.0f));
            vh.push_back(mesh.add_vertex(Mesh::Point(x, y, hills + ridge + noise(rng))));
        }
    auto at = [&](int i, int j) { return vh[size_t(j) * (n + 1) + i]; };
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
        {
            mesh.add_face(at(i, j), at(i + 1, j), at(i + 1, j + 1));
            mesh.add_face(at(i, j), at(i + 1, j + 1), at(i, j + 1));
        }
    return mesh;
}

// Seconds taken by `f`.
template <class F>
double seconds(F&& f)
{
    const auto t0 = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// CPU seconds (user + system, all threads) this process has used so far.
inline double processCpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           1e-6 * double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

// Wall and CPU seconds taken by `f`.
struct Timing
{
    double wall = 0, cpu = 0;
    Timing& operator+=(const Timing& o)
    {
        wall += o.wall;
        cpu += o.cpu;
        return *this;
    }
};
template <class F>
Timing timed(F&& f)
{
    const double cpu0 = processCpuSeconds();
    const double wall = seconds(f);
    return {wall, processCpuSeconds() - cpu0};
}

// Resident set size of this process in bytes (Linux), 0 when unknown.
inline size_t residentBytes()
{
    std::ifstream statm("/proc/self/statm");
    size_t pages = 0, resident = 0;
    if (!(statm >> pages >> resident))
        return 0;
    return resident * 4096;
}

// Samples the resident set every few milliseconds while `f` runs; returns the peak in bytes.
template <class F>
size_t peakResidentDuring(F&& f)
{
    std::atomic<bool> done{false};
    std::atomic<size_t> peak{residentBytes()};
    std::thread sampler(
        [&]
        {
            while (!done.load())
            {
                peak = std::max(peak.load(), residentBytes());
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
    f();
    done = true;
    sampler.join();
    return std::max(peak.load(), residentBytes());
}

// Squared distance from p to triangle (a, b, c) (closest-point regions, as in real-time
// collision detection texts).
inline double pointTriangleDistance2(const OpenMesh::Vec3d& p, const OpenMesh::Vec3d& a,
                                     const OpenMesh::Vec3d& b, const OpenMesh::Vec3d& c)
{
    const OpenMesh::Vec3d ab = b - a, ac = c - a, ap = p - a;
    const double d1 = OpenMesh::dot(ab, ap), d2 = OpenMesh::dot(ac, ap);
    if (d1 <= 0 && d2 <= 0)
        return ap.sqrnorm();
    const OpenMesh::Vec3d bp = p - b;
    const double d3 = OpenMesh::dot(ab, bp), d4 = OpenMesh::dot(ac, bp);
    if (d3 >= 0 && d4 <= d3)
        return bp.sqrnorm();
    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0)
        return (p - (a + ab * (d1 / (d1 - d3)))).sqrnorm();
    const OpenMesh::Vec3d cp = p - c;
    const double d5 = OpenMesh::dot(ab, cp), d6 = OpenMesh::dot(ac, cp);
    if (d6 >= 0 && d5 <= d6)
        return cp.sqrnorm();
    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0)
        return (p - (a + ac * (d2 / (d2 - d6)))).sqrnorm();
    const double va = d3 * d6 - d5 * d4;
    if (va <= 0 && (d4 - d3) >= 0 && (d5 - d6) >= 0)
        return (p - (b + (c - b) * ((d4 - d3) / ((d4 - d3) + (d5 - d6))))).sqrnorm();
    const double denom = 1.0 / (va + vb + vc);
    return (p - (a + ab * (vb * denom) + ac * (vc * denom))).sqrnorm();
}

// Triangles of a mesh binned into a uniform grid for nearest-surface queries.
class TriangleGrid
{
public:
    explicit TriangleGrid(const KernelMesh& mesh)
    {
        for (auto fh : mesh.faces())
        {
            std::array<OpenMesh::Vec3d, 3> t;
            int k = 0;
            for (auto vh : mesh.fv_range(fh))
                t[k++] = OpenMesh::vector_cast<OpenMesh::Vec3d>(mesh.point(vh));
            tris_.push_back(t);
        }
        lo_ = OpenMesh::Vec3d(1e300, 1e300, 1e300);
        OpenMesh::Vec3d hi(-1e300, -1e300, -1e300);
        double edge = 0;
        for (const auto& t : tris_)
            for (int k = 0; k < 3; ++k)
            {
                lo_.minimize(t[k]);
                hi.maximize(t[k]);
                edge += (t[k] - t[(k + 1) % 3]).norm();
            }
        cell_ = std::max(2.0 * edge / std::max<size_t>(1, 3 * tris_.size()), 1e-9);
        for (size_t i = 0; i < tris_.size(); ++i)
        {
            OpenMesh::Vec3d a = tris_[i][0], b = tris_[i][0];
            for (int k = 1; k < 3; ++k)
            {
                a.minimize(tris_[i][k]);
                b.maximize(tris_[i][k]);
            }
            const auto ia = index(a), ib = index(b);
            for (int64_t x = ia[0]; x <= ib[0]; ++x)
                for (int64_t y = ia[1]; y <= ib[1]; ++y)
                    for (int64_t z = ia[2]; z <= ib[2]; ++z)
                        cells_[key(x, y, z)].push_back(uint32_t(i));
        }
    }

    // Distance from p to the nearest triangle: rings of cells are searched outwards until the
    // next ring cannot hold anything closer.
    double distance(const OpenMesh::Vec3d& p) const
    {
        const auto c = index(p);
        double best2 = 1e300;
        for (int64_t r = 0; r < 64; ++r)
        {
            for (int64_t x = c[0] - r; x <= c[0] + r; ++x)
                for (int64_t y = c[1] - r; y <= c[1] + r; ++y)
                    for (int64_t z = c[2] - r; z <= c[2] + r; ++z)
                    {
                        if (std::max({std::abs(x - c[0]), std::abs(y - c[1]), std::abs(z - c[2])}) != r)
                            continue;  // only the shell of ring r
                        const auto it = cells_.find(key(x, y, z));
                        if (it == cells_.end())
                            continue;
                        for (uint32_t t : it->second)
                            best2 = std::min(
                                best2, pointTriangleDistance2(p, tris_[t][0], tris_[t][1], tris_[t][2]));
                    }
            const double reach = double(r) * cell_;
            if (best2 <= reach * reach)
                break;
        }
        return std::sqrt(best2);
    }

private:
    std::array<int64_t, 3> index(const OpenMesh::Vec3d& p) const
    {
        return {int64_t(std::floor((p[0] - lo_[0]) / cell_)), int64_t(std::floor((p[1] - lo_[1]) / cell_)),
                int64_t(std::floor((p[2] - lo_[2]) / cell_))};
    }
    static uint64_t key(int64_t x, int64_t y, int64_t z)
    {
        return (uint64_t(x & 0x1FFFFF) << 42) | (uint64_t(y & 0x1FFFFF) << 21) | uint64_t(z & 0x1FFFFF);
    }

    std::vector<std::array<OpenMesh::Vec3d, 3>> tris_;
    std::unordered_map<uint64_t, std::vector<uint32_t>> cells_;
    OpenMesh::Vec3d lo_;
    double cell_ = 1;
};

// Sample points of a surface: every vertex and every face's centroid and edge midpoints.
inline std::vector<OpenMesh::Vec3d> surfaceSamples(const KernelMesh& mesh)
{
    std::vector<OpenMesh::Vec3d> samples;
    for (auto vh : mesh.vertices())
        samples.push_back(OpenMesh::vector_cast<OpenMesh::Vec3d>(mesh.point(vh)));
    for (auto fh : mesh.faces())
    {
        OpenMesh::Vec3d p[3];
        int k = 0;
        for (auto vh : mesh.fv_range(fh))
            p[k++] = OpenMesh::vector_cast<OpenMesh::Vec3d>(mesh.point(vh));
        samples.push_back((p[0] + p[1] + p[2]) / 3.0);
        samples.push_back((p[0] + p[1]) * 0.5);
    }
    return samples;
}

// max over samples of `from` of the distance to the surface of `to`.
inline double oneSidedHausdorff(const KernelMesh& from, const KernelMesh& to)
{
    const TriangleGrid grid(to);
    const auto samples = surfaceSamples(from);
    return tbb::parallel_reduce(
        tbb::blocked_range<size_t>(0, samples.size(), 2048), 0.0,
        [&](const tbb::blocked_range<size_t>& range, double worst)
        {
            for (size_t i = range.begin(); i != range.end(); ++i)
                worst = std::max(worst, grid.distance(samples[i]));
            return worst;
        },
        [](double a, double b) { return std::max(a, b); });
}

// Approximate symmetric Hausdorff distance between two surfaces, relative to the diagonal of
// `reference`'s bounding box.
inline double relativeHausdorff(const KernelMesh& reference, const KernelMesh& result)
{
    OpenMesh::Vec3f lo(1e30f, 1e30f, 1e30f), hi(-1e30f, -1e30f, -1e30f);
    for (auto vh : reference.vertices())
    {
        lo.minimize(reference.point(vh));
        hi.maximize(reference.point(vh));
    }
    const double diagonal = (hi - lo).norm();
    const double h = std::max(oneSidedHausdorff(reference, result), oneSidedHausdorff(result, reference));
    return diagonal > 0 ? h / diagonal : 0.0;
}

}  // namespace bench
