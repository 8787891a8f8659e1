#pragma once

#include "common/Vector.h"
#include "engine/VFTriangleMesh.h"

#include <cstdint>
#include <vector>

namespace Quelm::Topology
{

// The library's engine mesh: loop and vertex-set queries on top of the engine's indexed mesh.
// A loop is a closed boundary path: vertex IDs whose last vertex joins the first.
class OxmTnTriangleMesh : public vsk::VFTriangleMesh
{
public:
    OxmTnTriangleMesh() = default;
    OxmTnTriangleMesh(const OxmTnTriangleMesh& other) = default;
    OxmTnTriangleMesh& operator=(const OxmTnTriangleMesh& other) = default;
    ~OxmTnTriangleMesh() override = default;

    std::unique_ptr<vsk::VFTriangleMesh> Clone() const override;

    // Positions of the vertices, one per input ID in input order (zero, reported, for an invalid ID).
    std::vector<Quelm::Objects::Vector3<float>> getCoordinates(const std::vector<uint32_t>& vertices) const;

    // The triangles that contain every listed vertex, in the order of the first vertex's triangle
    // list; empty for no vertices or more than three.
    std::vector<uint32_t> getTrianglesSharingVertices(const std::vector<uint32_t>& vertices) const;

    // Mean length of the loop's n edges (vertex i to i + 1 mod n), summed in index order; 0 for
    // fewer than two vertices.
    float computeAverageEdgeLength(const std::vector<uint32_t>& loop) const;
    // Population standard deviation (divided by n) of the same n edge lengths; 0 for fewer than two.
    float computeStandardDeviationEdgeLength(const std::vector<uint32_t>& loop) const;

    // Reverses the loop when its first edge is a boundary edge run along its triangle's winding;
    // loops of fewer than three vertices, or whose first edge is not a boundary edge, are left.
    void makeLoopCounterClockwise(std::vector<uint32_t>& loop) const;
    // makeLoopCounterClockwise, then an unconditional reversal (so an undecidable loop is reversed).
    void makeLoopClockwise(std::vector<uint32_t>& loop) const;
};

}  // namespace Quelm::Topology
