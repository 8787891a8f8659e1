#include "engine/VFTriangleMesh.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace vsk
{
namespace
{

constexpr unsigned InvalidID = IMesh::InvalidID;

// The corner of `tri` that follows `v` in winding order (InvalidID when v is not a corner).
unsigned nextCorner(const unsigned* tri, unsigned v)
{
    for (int j = 0; j < 3; ++j)
        if (tri[j] == v)
            return tri[(j + 1) % 3];
    return InvalidID;
}

// The corner of `tri` that precedes `v` in winding order.
unsigned previousCorner(const unsigned* tri, unsigned v)
{
    for (int j = 0; j < 3; ++j)
        if (tri[j] == v)
            return tri[(j + 2) % 3];
    return InvalidID;
}

bool hasCorner(const unsigned* tri, unsigned v)
{
    return tri[0] == v || tri[1] == v || tri[2] == v;
}

bool sameVertexSet(const unsigned* a, const unsigned* b)
{
    return hasCorner(b, a[0]) && hasCorner(b, a[1]) && hasCorner(b, a[2]);
}

}  // namespace

// Walks the fan around the vertex from triangle to triangle across the edges at the vertex:
// triangle (v, a, b) is followed by the triangle across (v, b), which must read (v, b, c).
// A boundary vertex starts at the triangle whose edge (v, a) is a boundary edge.
bool VFTriangleMesh::GetVtxOneRing(unsigned vID, std::vector<unsigned>& vertices,
                                   std::vector<unsigned>* pTriangles) const
{
    vertices.clear();
    if (pTriangles)
        pTriangles->clear();
    if (!VSK_ASSERT(m_vVertices.isValid(vID)))
        return false;
    std::vector<unsigned> fan;
    GetVertexTriangles(vID, fan);
    if (fan.empty())
        return true;

    unsigned boundaryEdges = 0;
    bool nonManifoldEdge = false;
    VtxNbrItr itr = listCursor(vID, &VertexData::edges);
    for (unsigned eID = GetNextVtxEdge(itr); eID != InvalidID; eID = GetNextVtxEdge(itr))
    {
        const unsigned count = GetEdgeTriangleCount(eID);
        boundaryEdges += count == 1 ? 1 : 0;
        nonManifoldEdge = nonManifoldEdge || count > 2;
    }
    auto giveUp = [&]()
    {
        char message[128];
        std::snprintf(message, sizeof(message),
                      "Vertex %d has %d boundary edges - cannot find proper one-ring", static_cast<int>(vID),
                      static_cast<int>(boundaryEdges));
        ReportAssertion(message, __FILE__, __LINE__, __func__);
        vertices.clear();
        if (pTriangles)
            pTriangles->clear();
        return false;
    };
    if (nonManifoldEdge || (boundaryEdges != 0 && boundaryEdges != 2))
        return giveUp();

    const size_t triangleCount = fan.size();
    unsigned start = fan[0];
    if (boundaryEdges == 2)
    {
        auto onBoundary = [&](unsigned tID)
        { return IsBoundaryEdge(vID, nextCorner(m_vTriangles[tID].nVertices, vID)); };
        auto found = std::find_if(fan.begin(), fan.end(), onBoundary);
        if (found == fan.end())
            return giveUp();  // both boundary edges run against the winding
        start = *found;
    }

    unsigned tID = start;
    vertices.push_back(nextCorner(m_vTriangles[tID].nVertices, vID));
    for (size_t step = 0; step < triangleCount; ++step)
    {
        const unsigned b = previousCorner(m_vTriangles[tID].nVertices, vID);
        if (pTriangles)
            pTriangles->push_back(tID);
        const unsigned next = edgeOtherTriangle(FindEdge(vID, b), tID);
        if (next == InvalidID)
        {
            vertices.push_back(b);  // reached the far boundary edge
            break;
        }
        if (next == start)
            break;  // closed the ring; b is the first vertex again
        vertices.push_back(b);
        if (nextCorner(m_vTriangles[next].nVertices, vID) != b)
            return giveUp();  // neighbour wound the other way
        tID = next;
    }
    const size_t visited = boundaryEdges == 2 ? vertices.size() - 1 : vertices.size();
    if (visited != triangleCount)
        return giveUp();  // more than one fan meets at the vertex
    return true;
}

// A collapse of edge (a, b) is refused when:
//  - the edge has no triangle or more than two, or any edge at a or b is non-manifold;
//  - a or b already fails the manifold-vertex test;
//  - an interior edge joins two boundary vertices (the result would pinch);
//  - the common neighbours of a and b are not exactly the opposite corners of the edge's
//    triangles (the link condition: otherwise an edge would gain a third triangle);
//  - a triangle of the edge is isolated (it would vanish with all its edges);
//  - a moved triangle of b would coincide with a triangle already at a.
bool VFTriangleMesh::CanCollapseEdge(unsigned eID, bool bAllowBoundary) const
{
    if (!m_vEdges.isValid(eID))
        return false;
    const Edge& e = m_vEdges[eID];
    const unsigned a = e.nVertices[0];
    const unsigned b = e.nVertices[1];
    const unsigned count = GetEdgeTriangleCount(eID);
    if (count == 0 || count > 2 || (count == 1 && !bAllowBoundary))
        return false;
    if (!IsManifoldVertex(a) || !IsManifoldVertex(b))
        return false;
    if (count == 2 && IsBoundaryVertex(a) && IsBoundaryVertex(b))
        return false;

    std::vector<unsigned> opposite;
    for (unsigned k = 0; k < count; ++k)
    {
        const unsigned* tri = m_vTriangles[e.nTriangles[k]].nVertices;
        for (int j = 0; j < 3; ++j)
            if (tri[j] != a && tri[j] != b)
                opposite.push_back(tri[j]);
        if (IsBoundaryEdge(tri[0], tri[1]) && IsBoundaryEdge(tri[1], tri[2]) &&
            IsBoundaryEdge(tri[2], tri[0]))
            return false;
    }
    if (count == 2 && opposite[0] == opposite[1])
        return false;

    std::vector<unsigned> ringA, ringB;
    for (unsigned v : {a, b})
    {
        std::vector<unsigned>& ring = v == a ? ringA : ringB;
        VtxNbrItr itr(v);
        BeginVtxEdges(itr);
        for (unsigned eNbr = GetNextVtxEdge(itr); eNbr != InvalidID; eNbr = GetNextVtxEdge(itr))
        {
            if (IsNonManifold(eNbr))
                return false;
            const Edge& nbr = m_vEdges[eNbr];
            ring.push_back(nbr.nVertices[0] == v ? nbr.nVertices[1] : nbr.nVertices[0]);
        }
    }
    std::sort(ringA.begin(), ringA.end());
    std::sort(ringB.begin(), ringB.end());
    std::vector<unsigned> common;
    std::set_intersection(ringA.begin(), ringA.end(), ringB.begin(), ringB.end(), std::back_inserter(common));
    std::sort(opposite.begin(), opposite.end());
    if (common != opposite)
        return false;

    std::vector<unsigned> trianglesA, trianglesB;
    GetVertexTriangles(a, trianglesA);
    GetVertexTriangles(b, trianglesB);
    for (unsigned tb : trianglesB)
    {
        const unsigned* tri = m_vTriangles[tb].nVertices;
        if (hasCorner(tri, a))
            continue;
        unsigned moved[3] = {tri[0], tri[1], tri[2]};
        std::replace(moved, moved + 3, b, a);
        for (unsigned ta : trianglesA)
            if (!hasCorner(m_vTriangles[ta].nVertices, b) && sameVertexSet(moved, m_vTriangles[ta].nVertices))
                return false;
    }
    return true;
}

bool VFTriangleMesh::collapse(unsigned vKeep, unsigned vRemove, bool bBoundary, EdgeCollapseInfo& info)
{
    const unsigned eID = FindEdge(vKeep, vRemove);
    if (eID == InvalidID || IsBoundaryEdge(eID) != bBoundary || !CanCollapseEdge(eID, bBoundary))
        return false;

    Index2i removed(InvalidID, InvalidID);
    {
        Index2i ends;
        EdgeTriangles tris = GetEdge(eID, ends);
        for (size_t k = 0; k < tris.size() && k < 2; ++k)
            removed[static_cast<int>(k)] = tris[k];
    }
    for (int k = 0; k < 2; ++k)
        if (removed[k] != InvalidID)
            RemoveTriangle(removed[k]);

    // The remaining triangles of vRemove move to vKeep in place: same IDs, flags and groups.
    std::vector<unsigned> moving;
    GetVertexTriangles(vRemove, moving);
    for (unsigned tID : moving)
    {
        unlinkTriangle(tID);
        std::replace(m_vTriangles[tID].nVertices, m_vTriangles[tID].nVertices + 3, vRemove, vKeep);
        linkTriangle(tID);
    }
    RemoveVertex(vRemove);

    info.vKept = vKeep;
    info.vRemoved = vRemove;
    info.eCollapsed = eID;
    info.tRemoved = removed;
    return true;
}

bool VFTriangleMesh::CollapseEdge(unsigned vKeep, unsigned vRemove, EdgeCollapseInfo& info)
{
    if (IsBoundaryVertex(vRemove) && !IsBoundaryVertex(vKeep))
        std::swap(vKeep, vRemove);  // keep the border where it is
    return collapse(vKeep, vRemove, false, info);
}

bool VFTriangleMesh::CollapseBoundaryEdge(unsigned vKeep, unsigned vRemove, EdgeCollapseInfo& info)
{
    return collapse(vKeep, vRemove, true, info);
}

// Plan: (1) collect the border edges of the set, each with its one triangle in the set, and the
// number of border edges at every vertex; (2) repeatedly take the smallest unused border edge,
// orient it along its triangle's winding and follow unused border edges by adjacency until the
// start vertex comes back (or no edge is left: an open chain); (3) mark loops that pass a pinch
// vertex (more than two border edges) or a vertex flagged VertexFlagBoundaryPinch.
bool VFTriangleMesh::GetBoundaryLoops(const std::set<unsigned>& triangles,
                                      std::vector<BoundaryLoop>& loops) const
{
    std::map<unsigned, unsigned> borderTriangle;  // border edge -> its triangle in the set
    for (unsigned tID : triangles)
    {
        if (!m_vTriangles.isValid(tID))
            continue;
        const unsigned* tri = m_vTriangles[tID].nVertices;
        for (int j = 0; j < 3; ++j)
        {
            const unsigned eID = FindEdge(tri[j], tri[(j + 1) % 3]);
            Index2i ends;
            const EdgeTriangles tris = GetEdge(eID, ends);
            size_t inSet = 0;
            for (size_t k = 0; k < tris.size(); ++k)
                inSet += triangles.count(tris[k]);
            if (inSet == 1)
                borderTriangle.emplace(eID, tID);
        }
    }
    std::map<unsigned, unsigned> borderDegree;
    for (const auto& entry : borderTriangle)
    {
        const Edge& e = m_vEdges[entry.first];
        ++borderDegree[e.nVertices[0]];
        ++borderDegree[e.nVertices[1]];
    }

    std::set<unsigned> unused;
    for (const auto& entry : borderTriangle)
        unused.insert(unused.end(), entry.first);

    bool allClosed = true;
    while (!unused.empty())
    {
        const unsigned seed = *unused.begin();
        unused.erase(unused.begin());
        const Edge& e = m_vEdges[seed];
        unsigned a = e.nVertices[0], b = e.nVertices[1];
        if (nextCorner(m_vTriangles[borderTriangle[seed]].nVertices, a) != b)
            std::swap(a, b);

        BoundaryLoop loop;
        loop.vVertices = {a, b};
        unsigned c = b;
        while (c != a)
        {
            unsigned found = InvalidID;
            VtxNbrItr itr(c);
            BeginVtxEdges(itr);
            for (unsigned eNbr = GetNextVtxEdge(itr); eNbr != InvalidID; eNbr = GetNextVtxEdge(itr))
                if (unused.count(eNbr))
                {
                    found = eNbr;
                    break;
                }
            if (found == InvalidID)
            {
                loop.bIsClosed = false;
                allClosed = false;
                break;
            }
            unused.erase(found);
            const Edge& next = m_vEdges[found];
            c = next.nVertices[0] == c ? next.nVertices[1] : next.nVertices[0];
            if (c != a)
                loop.vVertices.push_back(c);
        }
        for (unsigned v : loop.vVertices)
            if (borderDegree[v] > 2 || HasVertexFlag(v, VertexFlagBoundaryPinch))
                loop.bIsSimple = false;
        loops.push_back(std::move(loop));
    }
    return allClosed;
}

}  // namespace vsk
