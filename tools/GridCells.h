#pragma once

#include "common/Box.h"
#include "topology/OxmOMTopology.h"

#include <cstdint>
#include <vector>

// What the tool can tell about the grid of a parallel decimation, computed from the input with
// the library's own grid rules (the library itself does not report its cells).
namespace Quelm::Tools
{

struct GridPass
{
    int level = 0;                // cells along each axis
    uint64_t gridCells = 0;       // level^3
    uint64_t cellsWithFaces = 0;  // cells that receive at least one face of the input
};

// The faces the parallel decimation counts as decimatable, the F of its grid level: live faces
// that are neither hidden nor locked; with a coarse grid, only those of them with at least one
// corner off the open boundary. O(n): walks every face.
uint64_t countDecimatableFaces(const Topology::TopologyMesh& mesh, bool coarseGrid);

// The passes of a parallel decimation of F = `faces` decimatable faces: the grid level is
// ceil(max(log10(F), 5)); there are two passes when ratio > 0.5, the second (and, with a coarse
// grid, the first too) at level - 3. Empty when F is 0. `cellsWithFaces` is left at 0.
std::vector<GridPass> plannedGridPasses(uint64_t faces, float ratio, bool coarseGrid);

// Number of cells of a level^3 grid over `box` that receive a face, each face assigned by one
// corner as the partitioning does (including its z index being offset by the box's minimum x).
// O(n): walks every face.
uint64_t countCellsWithFaces(const Topology::TopologyMesh& mesh, const Objects::Box<float>& box, int level);

}  // namespace Quelm::Tools
