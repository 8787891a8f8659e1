#pragma once

// The grid rules of the parallel decimation, in one place: which faces it counts, the grid level
// of each pass, and the cell a point falls in. The partitioning and the parallel decimation use
// them, and so does anything that reports on a planned run (the command-line tool).

#include "common/Box.h"
#include "topology/OxmOMTopology.h"
#include "topology/decimation/DecimationSupport.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace Quelm::Topology::detail
{

// The faces a parallel decimation may remove, counted over the whole mesh: live faces that are
// neither HIDDEN nor LOCKED; with the coarse grid, only those of them with at least one corner off
// the open boundary (found by walking the face's half-edges), since a face whose corners all lie
// on the boundary can only lose a corner in the final seam pass. O(n): walks every face.
inline size_t countDecimatableFaces(const OxmOMTopologyT<MyTraits>& mesh, bool coarseGrid)
{
    if (!coarseGrid)
        return countUnlockedFaces(mesh);
    return tbb::parallel_reduce(
        tbb::blocked_range<size_t>(0, mesh.n_faces(), kElementGrain), size_t(0),
        [&mesh](const tbb::blocked_range<size_t>& range, size_t count)
        {
            for (size_t i = range.begin(); i != range.end(); ++i)
            {
                const OpenMesh::FaceHandle fh(static_cast<int>(i));
                const auto& s = mesh.status(fh);
                if (s.deleted() || s.hidden() || s.locked())
                    continue;
                for (auto heh : mesh.fh_range(fh))
                    if (!mesh.is_boundary(mesh.to_vertex_handle(heh)))
                    {
                        ++count;
                        break;
                    }
            }
            return count;
        },
        [](size_t a, size_t b) { return a + b; });
}

// Grid levels of a parallel decimation of F decimatable faces: the fine level is
// ceil(max(log10 F, 5)), so never below 5; the coarse level is three less.
struct GridLevels
{
    int fine = 0;
    int coarse = 0;

    explicit GridLevels(size_t decimatableFaces)
        : fine(static_cast<int>(std::ceil(std::max(std::log10(static_cast<double>(decimatableFaces)), 5.0)))),
          coarse(fine - 3)
    {
    }

    // Passes run: two when the ratio is above 0.5, else one.
    static int passCount(float ratio) { return ratio > 0.5f ? 2 : 1; }
    // The level of pass `pass` (0-based): the fine level for the first pass unless the coarse
    // grid is asked for; the coarse level for every later pass.
    int levelOfPass(int pass, bool coarseGrid) const { return pass == 0 && !coarseGrid ? fine : coarse; }
};

// The uniform grid over a bounding box: N cells per axis (N = the level truncated, at least 1),
// N^3 in all, numbered ix * N^2 + iy * N + iz.
class Grid
{
public:
    Grid(const Objects::Box<float>& box, float level)
        : min_(box.getMin()), n_(std::max(1, static_cast<int>(level)))
    {
        const Objects::Vector3<float> size = box.getMax() - box.getMin();
        cx_ = size.x / level;
        cy_ = size.y / level;
        cz_ = size.z / level;
    }

    int cellCount() const { return n_ * n_ * n_; }

    // note: z is offset by the box's minimum x, not its minimum z. Kept as it stands: the cell
    // numbers of existing callers depend on it. Per axis only the upper clamp applies; the cell
    // number as a whole is clamped to [0, N^3 - 1].
    int cellOf(const OpenMesh::Vec3f& p) const
    {
        const int64_t n = n_;
        const int64_t ix = axisIndex((p[0] - min_.x) / cx_);
        const int64_t iy = axisIndex((p[1] - min_.y) / cy_);
        const int64_t iz = axisIndex((p[2] - min_.x) / cz_);
        const int64_t cell = ix * n * n + iy * n + iz;
        if (cell < 0)
            return 0;
        return cell >= n * n * n ? n_ * n_ * n_ - 1 : static_cast<int>(cell);
    }

    // The cell of a face: that of its reference corner, the target of its stored half-edge.
    int cellOf(const OxmOMTopologyT<MyTraits>& mesh, OpenMesh::FaceHandle fh) const
    {
        return cellOf(mesh.point(mesh.to_vertex_handle(mesh.halfedge_handle(fh))));
    }

private:
    // floor(t), with N - 1 for t >= N. Below, the index is only bounded far enough down that any
    // clamped index still makes the cell number negative (so the result is unchanged); NaN (a
    // NaN coordinate, or 0 / 0 on a flat axis) counts as 0.
    int64_t axisIndex(float t) const
    {
        if (std::isnan(t))
            return 0;
        const float n = static_cast<float>(n_);
        if (t >= n)
            return n_ - 1;
        const float lowest = -(n * n * n + n);
        if (t < lowest)
            return static_cast<int64_t>(lowest);
        return static_cast<int64_t>(std::floor(t));
    }

    Objects::Vector3<float> min_;
    int n_;
    float cx_ = 0, cy_ = 0, cz_ = 0;
};

}  // namespace Quelm::Topology::detail
