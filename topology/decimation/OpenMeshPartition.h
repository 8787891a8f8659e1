#pragma once

#include "common/oxmvertex.h"

#include <oneapi/tbb/mutex.h>

#include <memory>
#include <unordered_map>
#include <vector>

namespace Quelm::Topology
{

// What one grid cell collects while a mesh is partitioned, before the cell's mesh is built.
// Source faces are recorded by index; their corners are welded by `oxmvertex` key into
// cell-local vertices, so a vertex shared by several faces of the cell appears once.
struct OpenMeshPartition
{
    virtual ~OpenMeshPartition() = default;

    // Serialises the tasks that append faces to this cell (one lock per task and cell).
    std::shared_ptr<tbb::mutex> mutex = std::make_shared<tbb::mutex>();
    // Source face indices assigned to the cell (sorted before the cell is built).
    std::vector<int> faces;
    // Corners of each recorded face as cell-local vertex indices, three per face.
    std::vector<int> corners;
    // Source vertex index of each cell-local vertex, in order of first appearance.
    std::vector<int> vertices;
    // Welding key -> cell-local vertex index (a hash map: the order is never observed).
    std::unordered_map<Objects::oxmvertex, int, Objects::oxmvertexHash> weldMap;
    // Coarse grid only: the cell-local vertices that may be removed, ascending.
    std::vector<int> movableVertices;
};

}  // namespace Quelm::Topology
