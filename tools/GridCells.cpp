#include "tools/GridCells.h"

#include "topology/decimation/GridPartition.h"

#include <oneapi/tbb/parallel_for.h>

#include <algorithm>
#include <atomic>

namespace Quelm::Tools
{

uint64_t countDecimatableFaces(const Topology::TopologyMesh& mesh, bool coarseGrid)
{
    return Topology::detail::countDecimatableFaces(mesh, coarseGrid);
}

std::vector<GridPass> plannedGridPasses(uint64_t faces, float ratio, bool coarseGrid)
{
    std::vector<GridPass> passes;
    if (faces == 0)
        return passes;
    const Topology::detail::GridLevels levels(static_cast<size_t>(faces));
    for (int p = 0; p < Topology::detail::GridLevels::passCount(ratio); ++p)
    {
        GridPass pass;
        pass.level = levels.levelOfPass(p, coarseGrid);
        pass.gridCells = uint64_t(pass.level) * uint64_t(pass.level) * uint64_t(pass.level);
        passes.push_back(pass);
    }
    return passes;
}

uint64_t countCellsWithFaces(const Topology::TopologyMesh& mesh, const Objects::Box<float>& box, int level)
{
    if (level < 1)
        return 0;
    const Topology::detail::Grid grid(box, static_cast<float>(level));
    // one byte per cell: written in parallel, so never std::vector<bool>; racing writes all store 1
    std::vector<std::atomic<uint8_t>> used(static_cast<size_t>(grid.cellCount()));
    tbb::parallel_for(tbb::blocked_range<int>(0, int(mesh.n_faces()), 4096),
                      [&](const tbb::blocked_range<int>& range)
                      {
                          for (int f = range.begin(); f != range.end(); ++f)
                          {
                              const Topology::TopologyMesh::FaceHandle fh(f);
                              if (!mesh.status(fh).deleted())
                                  used[size_t(grid.cellOf(mesh, fh))].store(1, std::memory_order_relaxed);
                          }
                      });
    return static_cast<uint64_t>(
        std::count_if(used.begin(), used.end(), [](const std::atomic<uint8_t>& u) { return u.load() != 0; }));
}

}  // namespace Quelm::Tools
