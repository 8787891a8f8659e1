#include "tools/GridCells.h"

#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/parallel_reduce.h>

#include <algorithm>
#include <atomic>
#include <cmath>

namespace Quelm::Tools
{

uint64_t countDecimatableFaces(const Topology::TopologyMesh& mesh, bool coarseGrid)
{
    return tbb::parallel_reduce(
        tbb::blocked_range<int>(0, int(mesh.n_faces()), 4096), uint64_t(0),
        [&](const tbb::blocked_range<int>& range, uint64_t count)
        {
            for (int f = range.begin(); f != range.end(); ++f)
            {
                const Topology::TopologyMesh::FaceHandle fh(f);
                const auto& status = mesh.status(fh);
                if (status.deleted() || status.hidden() || status.locked())
                    continue;
                if (!coarseGrid)
                    ++count;
                else
                    for (auto vh : mesh.fv_range(fh))
                        if (!mesh.is_boundary(vh))
                        {
                            ++count;
                            break;
                        }
            }
            return count;
        },
        [](uint64_t a, uint64_t b) { return a + b; });
}

std::vector<GridPass> plannedGridPasses(uint64_t faces, float ratio, bool coarseGrid)
{
    std::vector<GridPass> passes;
    if (faces == 0)
        return passes;
    const int fine = static_cast<int>(std::ceil(std::max(std::log10(double(faces)), 5.0)));
    const int coarse = fine - 3;
    const int passCount = ratio > 0.5f ? 2 : 1;
    for (int p = 0; p < passCount; ++p)
    {
        GridPass pass;
        pass.level = (p == 0 && !coarseGrid) ? fine : coarse;
        pass.gridCells = uint64_t(pass.level) * uint64_t(pass.level) * uint64_t(pass.level);
        passes.push_back(pass);
    }
    return passes;
}

uint64_t countCellsWithFaces(const Topology::TopologyMesh& mesh, const Objects::Box<float>& box, int level)
{
    if (level < 1)
        return 0;
    const auto lo = box.getMin();
    const auto hi = box.getMax();
    const float levelF = float(level);
    const float cx = (hi.x - lo.x) / levelF, cy = (hi.y - lo.y) / levelF, cz = (hi.z - lo.z) / levelF;
    const int64_t n = level, cells = n * n * n;
    // one byte per cell: written in parallel, so never std::vector<bool>; racing writes all store 1
    std::vector<std::atomic<uint8_t>> used(static_cast<size_t>(cells));
    tbb::parallel_for(tbb::blocked_range<int>(0, int(mesh.n_faces()), 4096),
                      [&](const tbb::blocked_range<int>& range)
                      {
                          for (int f = range.begin(); f != range.end(); ++f)
                          {
                              const Topology::TopologyMesh::FaceHandle fh(f);
                              if (mesh.status(fh).deleted())
                                  continue;
                              const auto& p = mesh.point(mesh.to_vertex_handle(mesh.halfedge_handle(fh)));
                              auto index = [n, cells](float offset, float extent) -> int64_t
                              {
                                  const float q = std::floor(offset / extent);
                                  if (std::isnan(q))  // a flat axis: 0 / 0
                                      return 0;
                                  if (q >= float(n))
                                      return n - 1;
                                  // no lower clamp per axis; only keeps the sum below from overflowing
                                  return q < -float(cells) ? -cells : static_cast<int64_t>(q);
                              };
                              int64_t cell = index(p[0] - lo.x, cx) * n * n + index(p[1] - lo.y, cy) * n +
                                             index(p[2] - lo.x, cz);  // z offset by min x, as partitioned
                              cell = std::clamp<int64_t>(cell, 0, cells - 1);
                              used[size_t(cell)].store(1, std::memory_order_relaxed);
                          }
                      });
    return static_cast<uint64_t>(
        std::count_if(used.begin(), used.end(), [](const std::atomic<uint8_t>& u) { return u.load() != 0; }));
}

}  // namespace Quelm::Tools
