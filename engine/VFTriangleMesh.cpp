#include "engine/VFTriangleMesh.h"

#include <algorithm>
#include <cstdio>

namespace vsk
{
namespace
{

constexpr unsigned InvalidID = IMesh::InvalidID;

unsigned flagBit(unsigned flag)
{
    return 1u << (flag & 31u);
}

}  // namespace

VFTriangleMesh::VFTriangleMesh() = default;
VFTriangleMesh::VFTriangleMesh(const VFTriangleMesh& other) = default;
VFTriangleMesh& VFTriangleMesh::operator=(const VFTriangleMesh& other) = default;
VFTriangleMesh::~VFTriangleMesh() = default;

std::unique_ptr<VFTriangleMesh> VFTriangleMesh::Clone() const
{
    return std::make_unique<VFTriangleMesh>(*this);
}

void VFTriangleMesh::Clear()
{
    m_vVertices.clear();
    m_vTriangles.clear();
    m_vEdges.clear();
    m_VertexDataPool.clear();
    m_OverflowPool.clear();
    m_EdgeOverflow.clear();
    m_NonManifoldEdges.clear();
}

// ---- Adjacency lists ----
// Entries 0..kInline-1 sit in the record; entry kInline + k lies in overflow chunk k / kSize of
// the chain, at position k % kSize. Every walk over a list goes through nextEntry.

VFTriangleMesh::VtxNbrItr VFTriangleMesh::listCursor(unsigned vID, IndexList VertexData::*list) const
{
    VtxNbrItr v(vID);
    v.pOverflow = &m_OverflowPool;
    const unsigned data = m_vVertices[vID].nData;
    if (data != InvalidID)
        v.pList = &(m_VertexDataPool[data].*list);
    return v;
}

void VFTriangleMesh::beginVtxList(VtxNbrItr& v, IndexList VertexData::*list) const
{
    v = VSK_ASSERT(m_vVertices.isValid(v.vID)) ? listCursor(v.vID, list) : VtxNbrItr(v.vID);
}

void VFTriangleMesh::listPush(IndexList& list, unsigned value)
{
    const unsigned i = list.nCount++;
    if (i < kInline)
    {
        list.nInline[i] = value;
        return;
    }
    unsigned k = i - kInline;
    if (k == 0)
    {
        list.nOverflow = m_OverflowPool.allocate();
        m_OverflowPool[list.nOverflow].nValues[0] = value;
        return;
    }
    unsigned chunk = list.nOverflow;
    while (k >= OverflowChunk::kSize)
    {
        if (k == OverflowChunk::kSize)
        {
            const unsigned fresh = m_OverflowPool.allocate();
            m_OverflowPool[chunk].nNext = fresh;
            m_OverflowPool[fresh].nValues[0] = value;
            return;
        }
        chunk = m_OverflowPool[chunk].nNext;
        k -= OverflowChunk::kSize;
    }
    m_OverflowPool[chunk].nValues[k] = value;
}

bool VFTriangleMesh::listRemove(IndexList& list, unsigned value)
{
    // Gather, erase in order, rewrite: lists longer than the inline part are rare and short.
    if (list.nCount <= kInline)
    {
        unsigned* begin = list.nInline;
        unsigned* end = list.nInline + list.nCount;
        unsigned* it = std::find(begin, end, value);
        if (it == end)
            return false;
        std::copy(it + 1, end, it);
        --list.nCount;
        return true;
    }
    std::vector<unsigned> all;
    all.reserve(list.nCount);
    VtxNbrItr cursor;
    cursor.pList = &list;
    cursor.pOverflow = &m_OverflowPool;
    for (unsigned id = nextEntry(cursor); id != InvalidID; id = nextEntry(cursor))
        all.push_back(id);
    auto it = std::find(all.begin(), all.end(), value);
    if (it == all.end())
        return false;
    all.erase(it);
    listClear(list);
    for (unsigned v : all)
        listPush(list, v);
    return true;
}

void VFTriangleMesh::listClear(IndexList& list)
{
    unsigned chunk = list.nOverflow;
    while (chunk != InvalidID)
    {
        const unsigned next = m_OverflowPool[chunk].nNext;
        m_OverflowPool.release(chunk);
        chunk = next;
    }
    list = IndexList();
}

VFTriangleMesh::VertexData& VFTriangleMesh::ensureVertexData(unsigned vID)
{
    Vertex& v = m_vVertices[vID];
    if (v.nData == InvalidID)
        v.nData = m_VertexDataPool.allocate();
    return m_VertexDataPool[v.nData];
}

void VFTriangleMesh::releaseVertexDataIfEmpty(unsigned vID)
{
    Vertex& v = m_vVertices[vID];
    if (v.nData == InvalidID)
        return;
    VertexData& data = m_VertexDataPool[v.nData];
    if (data.triangles.nCount != 0 || data.edges.nCount != 0)
        return;
    listClear(data.triangles);
    listClear(data.edges);
    m_VertexDataPool.release(v.nData);
    v.nData = InvalidID;
}

// ---- Vertices ----

unsigned VFTriangleMesh::AppendVertex(const Vector3f& position, const Vector3f* normal, const Vector3f* color)
{
    Vertex v;
    v.vPosition = position;
    if (normal)
        v.vNormal = *normal;
    if (color)
        v.vColor = *color;
    return m_vVertices.insert(v);
}

bool VFTriangleMesh::RemoveVertex(unsigned vErase)
{
    if (!m_vVertices.isValid(vErase))
        return false;
    VSK_ASSERT_MSG(m_vVertices.refCount(vErase) == static_cast<int32_t>(GetTriangleCount(vErase)) + 1,
                   "m_vVertices.refCount(vErase) == GetTriangleCount(vErase)+1");
    if (m_vVertices.refCount(vErase) != 1)
        return false;
    releaseVertexDataIfEmpty(vErase);
    m_vVertices.decrement(vErase);
    return true;
}

void VFTriangleMesh::GetVertex(unsigned vID, Vector3d& v, Vector3d* pNormal) const
{
    widenVertex(vID, v, pNormal);
}

void VFTriangleMesh::GetVertex(unsigned vID, Vector3f& v, Vector3f* pNormal) const
{
    if (!VSK_ASSERT(m_vVertices.isValid(vID)))
    {
        v = Vector3f();
        if (pNormal)
            *pNormal = Vector3f();
        return;
    }
    const Vertex& vertex = m_vVertices[vID];
    v = vertex.vPosition;
    if (pNormal)
        *pNormal = vertex.vNormal;
}

void VFTriangleMesh::SetVertex(unsigned vID, const Vector3f& v)
{
    if (VSK_ASSERT(m_vVertices.isValid(vID)))
        m_vVertices[vID].vPosition = v;
}

void VFTriangleMesh::GetNormal(unsigned vID, Vector3f& n) const
{
    n = VSK_ASSERT(m_vVertices.isValid(vID)) ? m_vVertices[vID].vNormal : Vector3f();
}

void VFTriangleMesh::SetNormal(unsigned vID, const Vector3f& n)
{
    if (VSK_ASSERT(m_vVertices.isValid(vID)))
        m_vVertices[vID].vNormal = n;
}

void VFTriangleMesh::GetColor(unsigned vID, Vector3f& c) const
{
    c = VSK_ASSERT(IsVertex(vID)) ? m_vVertices[vID].vColor : Vector3f();
}

void VFTriangleMesh::SetColor(unsigned vID, const Vector3f& c)
{
    if (VSK_ASSERT(IsVertex(vID)))
        m_vVertices[vID].vColor = c;
}

unsigned VFTriangleMesh::GetTriangleCount(unsigned vID) const
{
    if (!VSK_ASSERT(m_vVertices.isValid(vID)))
        return 0;
    const VtxNbrItr itr = listCursor(vID, &VertexData::triangles);
    return itr.pList ? itr.pList->nCount : 0;
}

unsigned VFTriangleMesh::GetVertexEdgeCount(unsigned vID) const
{
    if (!VSK_ASSERT(m_vVertices.isValid(vID)))
        return 0;
    const VtxNbrItr itr = listCursor(vID, &VertexData::edges);
    return itr.pList ? itr.pList->nCount : 0;
}

void VFTriangleMesh::GetVertexTriangles(unsigned vID, std::vector<unsigned>& triangles) const
{
    VtxNbrItr itr(vID);
    BeginVtxTriangles(itr);
    if (itr.pList)
        triangles.reserve(triangles.size() + itr.pList->nCount);
    for (unsigned tID = GetNextVtxTriangle(itr); tID != InvalidID; tID = GetNextVtxTriangle(itr))
        triangles.push_back(tID);
}

bool VFTriangleMesh::IsBoundaryVertex(unsigned vID) const
{
    if (!m_vVertices.isValid(vID))
        return false;
    VtxNbrItr itr = listCursor(vID, &VertexData::edges);
    for (unsigned eID = GetNextVtxEdge(itr); eID != InvalidID; eID = GetNextVtxEdge(itr))
        if (GetEdgeTriangleCount(eID) == 1)
            return true;
    return false;
}

bool VFTriangleMesh::IsManifoldVertex(unsigned vID) const
{
    if (!m_vVertices.isValid(vID))
        return false;
    unsigned boundaryEdges = 0;
    VtxNbrItr itr = listCursor(vID, &VertexData::edges);
    for (unsigned eID = GetNextVtxEdge(itr); eID != InvalidID; eID = GetNextVtxEdge(itr))
    {
        const Edge& e = m_vEdges[eID];
        if (e.nTriangles[0] == InvalidID || e.nTriangles[1] == InvalidID)
            ++boundaryEdges;
    }
    return boundaryEdges < 3;
}

unsigned VFTriangleMesh::GetVertexFlags(unsigned vID) const
{
    return m_vVertices.isValid(vID) ? m_vVertices[vID].nFlags : 0u;
}

void VFTriangleMesh::SetVertexFlag(unsigned vID, unsigned flag)
{
    if (VSK_ASSERT(m_vVertices.isValid(vID)))
        m_vVertices[vID].nFlags |= flagBit(flag);
}

void VFTriangleMesh::ClearVertexFlag(unsigned vID, unsigned flag)
{
    if (VSK_ASSERT(m_vVertices.isValid(vID)))
        m_vVertices[vID].nFlags &= ~flagBit(flag);
}

bool VFTriangleMesh::HasVertexFlag(unsigned vID, unsigned flag) const
{
    return (GetVertexFlags(vID) & flagBit(flag)) != 0;
}

// ---- Triangles ----

unsigned VFTriangleMesh::AppendTriangle(unsigned v1, unsigned v2, unsigned v3, unsigned groupID)
{
    return InsertTriangle(m_vTriangles.maxIndex(), v1, v2, v3, groupID);
}

unsigned VFTriangleMesh::InsertTriangle(unsigned tID, unsigned v1, unsigned v2, unsigned v3, unsigned groupID)
{
    if (tID == InvalidID || m_vTriangles.isValid(tID))
        return InvalidID;
    if (!IsVertex(v1) || !IsVertex(v2) || !IsVertex(v3))
        return InvalidID;
    if (!VSK_ASSERT(v1 != v2 && v1 != v3 && v2 != v3))  // a triangle's corners are pairwise distinct
        return InvalidID;
    Triangle t;
    t.nVertices[0] = v1;
    t.nVertices[1] = v2;
    t.nVertices[2] = v3;
    t.nGroupID = groupID;
    if (!m_vTriangles.insertAt(t, tID))
        return InvalidID;
    linkTriangle(tID);
    return tID;
}

void VFTriangleMesh::linkTriangle(unsigned tID)
{
    const Triangle t = m_vTriangles[tID];
    for (int j = 0; j < 3; ++j)
    {
        const unsigned v = t.nVertices[j];
        m_vVertices.increment(v);
        listPush(ensureVertexData(v).triangles, tID);
    }
    for (int j = 0; j < 3; ++j)
    {
        const unsigned a = t.nVertices[j];
        const unsigned b = t.nVertices[(j + 1) % 3];
        unsigned eID = FindEdge(a, b);
        if (eID == InvalidID)
        {
            Edge e;
            e.nVertices[0] = a;
            e.nVertices[1] = b;
            eID = m_vEdges.insert(e);
            listPush(ensureVertexData(a).edges, eID);
            listPush(ensureVertexData(b).edges, eID);
        }
        addEdgeTriangle(eID, tID);
    }
}

void VFTriangleMesh::unlinkTriangle(unsigned tID)
{
    const Triangle t = m_vTriangles[tID];
    for (int j = 0; j < 3; ++j)
    {
        const unsigned a = t.nVertices[j];
        const unsigned b = t.nVertices[(j + 1) % 3];
        const unsigned eID = FindEdge(a, b);
        if (!VSK_ASSERT(eID != InvalidID))
            continue;
        removeEdgeTriangle(eID, tID);
        if (m_vEdges[eID].nTriangles[0] == InvalidID)
        {
            listRemove(m_VertexDataPool[m_vVertices[a].nData].edges, eID);
            listRemove(m_VertexDataPool[m_vVertices[b].nData].edges, eID);
            m_vEdges.remove(eID);
        }
    }
    for (int j = 0; j < 3; ++j)
    {
        const unsigned v = t.nVertices[j];
        listRemove(m_VertexDataPool[m_vVertices[v].nData].triangles, tID);
        m_vVertices.decrement(v);  // never reaches 0: the vertex keeps its own reference
        releaseVertexDataIfEmpty(v);
    }
}

void VFTriangleMesh::addEdgeTriangle(unsigned eID, unsigned tID)
{
    Edge& e = m_vEdges[eID];
    if (e.nTriangles[0] == InvalidID)
        e.nTriangles[0] = tID;
    else if (e.nTriangles[1] == InvalidID)
        e.nTriangles[1] = tID;
    else
    {
        m_EdgeOverflow[eID].push_back(tID);
        m_NonManifoldEdges.insert(eID);
    }
}

void VFTriangleMesh::removeEdgeTriangle(unsigned eID, unsigned tID)
{
    Edge& e = m_vEdges[eID];
    auto overflow = m_EdgeOverflow.find(eID);
    std::vector<unsigned> all(e.nTriangles, e.nTriangles + 2);
    if (overflow != m_EdgeOverflow.end())
        all.insert(all.end(), overflow->second.begin(), overflow->second.end());
    auto it = std::find(all.begin(), all.end(), tID);
    if (!VSK_ASSERT(it != all.end()))
        return;
    all.erase(it);
    all.resize(std::max<size_t>(all.size(), 2), InvalidID);
    e.nTriangles[0] = all[0];
    e.nTriangles[1] = all[1];
    if (overflow != m_EdgeOverflow.end())
    {
        if (all.size() > 2)
            overflow->second.assign(all.begin() + 2, all.end());
        else
        {
            m_EdgeOverflow.erase(overflow);
            m_NonManifoldEdges.erase(eID);
        }
    }
}

void VFTriangleMesh::RemoveTriangle(unsigned tID)
{
    if (!VSK_ASSERT(m_vTriangles.isValid(tID)))
        return;
    unlinkTriangle(tID);
    m_vTriangles.decrement(tID);
}

void VFTriangleMesh::GetTriangle(unsigned tID, Index3i& tri) const
{
    if (!VSK_ASSERT(m_vTriangles.isValid(tID)))
    {
        tri = Index3i(InvalidID, InvalidID, InvalidID);
        return;
    }
    const Triangle& t = m_vTriangles[tID];
    tri = Index3i(t.nVertices[0], t.nVertices[1], t.nVertices[2]);
}

const unsigned* VFTriangleMesh::GetTriangle(unsigned tID) const
{
    if (!VSK_ASSERT(m_vTriangles.isValid(tID)))
        return invalidTriangle();
    return m_vTriangles[tID].nVertices;
}

unsigned VFTriangleMesh::GetTriangleVertex(unsigned tID, unsigned j) const
{
    if (!VSK_ASSERT(m_vTriangles.isValid(tID)) || !VSK_ASSERT(j < 3))
        return InvalidID;
    return m_vTriangles[tID].nVertices[j];
}

void VFTriangleMesh::GetTriVertex(unsigned tID, unsigned j, Vector3f& v) const
{
    if (!VSK_ASSERT(m_vTriangles.isValid(tID)) || !VSK_ASSERT(j < 3))
    {
        v = Vector3f();
        return;
    }
    v = m_vVertices[m_vTriangles[tID].nVertices[j]].vPosition;
}

void VFTriangleMesh::GetTriEdges(unsigned tID, Index3i& edges) const
{
    if (!VSK_ASSERT(m_vTriangles.isValid(tID)))
    {
        edges = Index3i(InvalidID, InvalidID, InvalidID);
        return;
    }
    const Triangle& t = m_vTriangles[tID];
    for (int j = 0; j < 3; ++j)
        edges[j] = FindEdge(t.nVertices[j], t.nVertices[(j + 1) % 3]);
}

unsigned VFTriangleMesh::edgeOtherTriangle(unsigned eID, unsigned tID) const
{
    if (eID == InvalidID)
        return InvalidID;
    const Edge& e = m_vEdges[eID];
    if (e.nTriangles[0] != tID && e.nTriangles[0] != InvalidID)
        return e.nTriangles[0];
    if (e.nTriangles[1] != tID && e.nTriangles[1] != InvalidID)
        return e.nTriangles[1];
    auto overflow = m_EdgeOverflow.find(eID);
    if (overflow != m_EdgeOverflow.end())
        for (unsigned other : overflow->second)
            if (other != tID)
                return other;
    return InvalidID;
}

void VFTriangleMesh::GetTriNeighbourTris(unsigned tID, Index3i& neighbours) const
{
    Index3i edges;
    GetTriEdges(tID, edges);
    for (int j = 0; j < 3; ++j)
        neighbours[j] = edgeOtherTriangle(edges[j], tID);
}

bool VFTriangleMesh::IsBoundaryTriangle(unsigned tID) const
{
    if (!m_vTriangles.isValid(tID))  // an Is... query: false, not reported
        return false;
    const Triangle& t = m_vTriangles[tID];
    for (int j = 0; j < 3; ++j)
        if (IsBoundaryEdge(t.nVertices[j], t.nVertices[(j + 1) % 3]))
            return true;
    return false;
}

unsigned VFTriangleMesh::GetTriangleGroup(unsigned tID) const
{
    return VSK_ASSERT(m_vTriangles.isValid(tID)) ? m_vTriangles[tID].nGroupID : InvalidID;
}

void VFTriangleMesh::SetTriangleGroup(unsigned tID, unsigned groupID)
{
    if (VSK_ASSERT(m_vTriangles.isValid(tID)))
        m_vTriangles[tID].nGroupID = groupID;
}

unsigned VFTriangleMesh::GetTriangleFlags(unsigned tID) const
{
    return m_vTriangles.isValid(tID) ? m_vTriangles[tID].nFlags : 0u;
}

void VFTriangleMesh::SetTriangleFlag(unsigned tID, unsigned flag)
{
    if (VSK_ASSERT(m_vTriangles.isValid(tID)))
        m_vTriangles[tID].nFlags |= flagBit(flag);
}

void VFTriangleMesh::ClearTriangleFlag(unsigned tID, unsigned flag)
{
    if (VSK_ASSERT(m_vTriangles.isValid(tID)))
        m_vTriangles[tID].nFlags &= ~flagBit(flag);
}

bool VFTriangleMesh::HasTriangleFlag(unsigned tID, unsigned flag) const
{
    return (GetTriangleFlags(tID) & flagBit(flag)) != 0;
}

// ---- Edges ----

unsigned VFTriangleMesh::FindEdge(unsigned v1, unsigned v2) const
{
    // note: without the v1 != v2 test every edge at v1 would match, since each lists v1 as an end
    if (v1 == v2 || !m_vVertices.isValid(v1) || !m_vVertices.isValid(v2))
        return InvalidID;
    VtxNbrItr itr = listCursor(v1, &VertexData::edges);
    for (unsigned eID = GetNextVtxEdge(itr); eID != InvalidID; eID = GetNextVtxEdge(itr))
    {
        const Edge& e = m_vEdges[eID];
        if (e.nVertices[0] == v2 || e.nVertices[1] == v2)
            return eID;
    }
    return InvalidID;
}

void VFTriangleMesh::GetEdgeV(unsigned eID, Index2i& vertices) const
{
    if (!VSK_ASSERT(m_vEdges.isValid(eID)))
    {
        vertices = Index2i(InvalidID, InvalidID);
        return;
    }
    const Edge& e = m_vEdges[eID];
    vertices = Index2i(e.nVertices[0], e.nVertices[1]);
}

void VFTriangleMesh::GetEdge(unsigned eID, Index2i& vertices, Index2i& triangles) const
{
    if (!VSK_ASSERT(m_vEdges.isValid(eID)))
    {
        vertices = Index2i(InvalidID, InvalidID);
        triangles = Index2i(InvalidID, InvalidID);
        return;
    }
    const Edge& e = m_vEdges[eID];
    vertices = Index2i(e.nVertices[0], e.nVertices[1]);
    VSK_ASSERT_MSG(GetEdgeTriangleCount(eID) <= 2, "e.nTriangles.size() <= 2");
    triangles = Index2i(e.nTriangles[0], e.nTriangles[1]);
}

VFTriangleMesh::EdgeTriangles VFTriangleMesh::GetEdge(unsigned eID, Index2i& vertices) const
{
    if (!VSK_ASSERT(m_vEdges.isValid(eID)))
    {
        vertices = Index2i(InvalidID, InvalidID);
        return EdgeTriangles();
    }
    const Edge& e = m_vEdges[eID];
    vertices = Index2i(e.nVertices[0], e.nVertices[1]);
    const std::vector<unsigned>* overflow = nullptr;
    if (e.nTriangles[1] != InvalidID)
    {
        auto it = m_EdgeOverflow.find(eID);
        if (it != m_EdgeOverflow.end())
            overflow = &it->second;
    }
    return EdgeTriangles(e.nTriangles, overflow);
}

void VFTriangleMesh::GetEdgeT(unsigned eID, Index2i& triangles) const
{
    Index2i vertices;
    GetEdge(eID, vertices, triangles);
}

unsigned VFTriangleMesh::GetEdgeTriangleCount(unsigned eID) const
{
    if (!VSK_ASSERT(m_vEdges.isValid(eID)))
        return 0;
    const Edge& e = m_vEdges[eID];
    if (e.nTriangles[0] == InvalidID)
        return 0;
    if (e.nTriangles[1] == InvalidID)
        return 1;
    if (m_NonManifoldEdges.empty())
        return 2;
    auto it = m_EdgeOverflow.find(eID);
    return 2 + (it == m_EdgeOverflow.end() ? 0u : static_cast<unsigned>(it->second.size()));
}

bool VFTriangleMesh::IsBoundaryEdge(unsigned v1, unsigned v2) const
{
    const unsigned eID = FindEdge(v1, v2);
    return eID != InvalidID && IsBoundaryEdge(eID);
}

bool VFTriangleMesh::IsNonManifold(unsigned eID) const
{
    return m_vEdges.isValid(eID) && m_NonManifoldEdges.count(eID) != 0;
}

// ---- Iteration ----

size_t VFTriangleMesh::GetAllocatedBytes() const
{
    size_t bytes = m_vVertices.allocatedBytes() + m_vTriangles.allocatedBytes() + m_vEdges.allocatedBytes() +
                   m_VertexDataPool.allocatedBytes() + m_OverflowPool.allocatedBytes();
    for (const auto& entry : m_EdgeOverflow)
        bytes += sizeof(entry) + entry.second.capacity() * sizeof(unsigned) + 2 * sizeof(void*);
    bytes += m_NonManifoldEdges.size() * (sizeof(unsigned) + 4 * sizeof(void*));
    return bytes;
}

}  // namespace vsk
