#pragma once

#include "engine/GSurface.h"
#include "engine/OxmTnTriangleMesh.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <vector>

namespace Quelm::Topology
{

// The library's surface: owns an OxmTnTriangleMesh and adds UV and loop operations. UV queries
// read layer 0; a surface without layers, or whose layer 0 is null, has no UVs.
class OxmTnSurface : public vsk::GSurface
{
public:
    // A surface owning a new empty mesh and a new empty auxiliary object.
    OxmTnSurface();
    OxmTnSurface(const OxmTnSurface& other) = default;
    OxmTnSurface& operator=(const OxmTnSurface& other) = default;
    ~OxmTnSurface() override = default;

    // Static casts sharing ownership with the argument; no type check.
    static boost::shared_ptr<vsk::GSurface> castUp(const boost::shared_ptr<OxmTnSurface>& surface);
    static boost::shared_ptr<OxmTnSurface> castDown(const boost::shared_ptr<vsk::GSurface>& surface);

    OxmTnTriangleMesh& getMesh() const;
    // UV layer 0, or null when the surface has none.
    vsk::UVLayerMesh* getUVLayer() const;

    // The UV vertex at the corner of triangle `t` that holds vertex `v`; InvalidID when either ID
    // is InvalidID, there is no usable layer 0, v is not a corner of t, or the layer lacks t.
    uint32_t getUVVertexID(uint32_t t, uint32_t v) const;
    // One UV vertex per loop vertex, taken on the triangle along the loop's outgoing edge; empty
    // for fewer than two vertices or no usable layer 0. Consecutive loop vertices must share an
    // edge (InvalidID at positions where they do not).
    std::vector<uint32_t> getUVBoundaryLoop(const std::vector<uint32_t>& loop) const;

    // Collapses the edge joining `a` and `b` (boundary edges allowed) and removes the vanished
    // triangles from layer 0. The engine keeps `a` unless only `b` lies on the boundary; the
    // removed vertex goes to `*removed` (when not null). False when there is no such edge or the
    // collapse is refused.
    bool fuseVertices(uint32_t a, uint32_t b, uint32_t* removed) const;
    // Fuses consecutive loop vertices whose positions are equal within `tolerance`, erasing the
    // removed ones from `loop`; true when any was fused. Loops of fewer than three are left.
    bool fuseCoincidentVertices(std::vector<uint32_t>& loop, float tolerance) const;
    // Fuses loop[i + 1] into loop[i] when loop[i + 1] - loop[i] points along loop[i + 2] -
    // loop[i] within `tolerance`; true when any was fused. Loops of fewer than three are left.
    bool fuseCollinearVertices(std::vector<uint32_t>& loop, float tolerance) const;
};

}  // namespace Quelm::Topology
