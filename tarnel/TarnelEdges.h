#pragma once

#include "engine/VFTriangleMesh.h"

// Small edge queries shared by the TarnelUtility sources (not part of the public interface).
namespace Quelm::Topology::detail
{

// The triangle of an edge: its first triangle, or its second when the first slot is empty.
// InvalidID for an edge that is not live. Reads the whole triangle list, so non-manifold edges
// are not reported by the engine.
inline unsigned edgeTriangle(const vsk::VFTriangleMesh& mesh, unsigned eID)
{
    if (!mesh.IsEdge(eID))
        return vsk::IMesh::InvalidID;
    vsk::Index2i ends;
    const vsk::VFTriangleMesh::EdgeTriangles tris = mesh.GetEdge(eID, ends);
    // note: the engine keeps the list packed, so an empty first slot means no triangle at all
    return tris.empty() ? vsk::IMesh::InvalidID : tris[0];
}

// Whether (a, b) is one of the directed edges (t0, t1), (t1, t2), (t2, t0) of a triangle.
inline bool runsWithWinding(const unsigned* tri, unsigned a, unsigned b)
{
    return (tri[0] == a && tri[1] == b) || (tri[1] == a && tri[2] == b) || (tri[2] == a && tri[0] == b);
}

}  // namespace Quelm::Topology::detail
