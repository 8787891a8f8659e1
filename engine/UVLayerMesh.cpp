#include "engine/UVLayerMesh.h"

namespace vsk
{

unsigned UVLayerMesh::AppendUV(const Vector2f& uv)
{
    return m_vUVs.insert(uv);
}

bool UVLayerMesh::GetUV(unsigned uvID, Vector2f& uv) const
{
    if (!m_vUVs.isValid(uvID))
        return false;
    uv = m_vUVs[uvID];
    return true;
}

bool UVLayerMesh::SetUV(unsigned uvID, const Vector2f& uv)
{
    if (!m_vUVs.isValid(uvID))
        return false;
    m_vUVs[uvID] = uv;
    return true;
}

bool UVLayerMesh::RemoveUV(unsigned uvID)
{
    if (!m_vUVs.isValid(uvID) || m_vUVs.refCount(uvID) != 1)
        return false;
    m_vUVs.decrement(uvID);
    return true;
}

bool UVLayerMesh::SetTriangle(unsigned tID, unsigned uv0, unsigned uv1, unsigned uv2, unsigned groupID)
{
    if (tID == InvalidID || !m_vUVs.isValid(uv0) || !m_vUVs.isValid(uv1) || !m_vUVs.isValid(uv2))
        return false;
    if (tID >= m_vTriangles.maxIndex() &&
        tID - m_vTriangles.maxIndex() >= RefCountedVector<UVTriangle>::kMaxGrowth)
        return false;
    if (m_vTriangles.isValid(tID))
        RemoveTriangle(tID);
    UVTriangle t;
    t.nVertices[0] = uv0;
    t.nVertices[1] = uv1;
    t.nVertices[2] = uv2;
    t.nGroupID = groupID;
    if (!m_vTriangles.insertAt(t, tID))
        return false;
    for (unsigned uvID : t.nVertices)
        m_vUVs.increment(uvID);
    return true;
}

void UVLayerMesh::GetVertex(unsigned vID, Vector3d& v, Vector3d* pNormal) const
{
    Vector3f p, n;
    GetVertex(vID, p, pNormal ? &n : nullptr);
    v = Vector3d(p.X(), p.Y(), p.Z());
    if (pNormal)
        *pNormal = Vector3d(n.X(), n.Y(), n.Z());
}

void UVLayerMesh::GetVertex(unsigned vID, Vector3f& v, Vector3f* pNormal) const
{
    const bool valid = VSK_ASSERT(m_vUVs.isValid(vID));
    v = valid ? Vector3f(m_vUVs[vID].X(), m_vUVs[vID].Y(), 0.0f) : Vector3f();
    if (pNormal)
        *pNormal = valid ? Vector3f(0.0f, 0.0f, 1.0f) : Vector3f();
}

void UVLayerMesh::GetNormal(unsigned vID, Vector3f& n) const
{
    n = VSK_ASSERT(m_vUVs.isValid(vID)) ? Vector3f(0.0f, 0.0f, 1.0f) : Vector3f();
}

void UVLayerMesh::GetTriangle(unsigned tID, Index3i& tri) const
{
    const unsigned* corners = GetTriangle(tID);
    tri = Index3i(corners[0], corners[1], corners[2]);
}

const unsigned* UVLayerMesh::GetTriangle(unsigned tID) const
{
    if (!VSK_ASSERT(m_vTriangles.isValid(tID)))
        return invalidTriangle();
    return m_vTriangles[tID].nVertices;
}

void UVLayerMesh::RemoveTriangle(unsigned tID)
{
    if (!VSK_ASSERT(m_vTriangles.isValid(tID)))
        return;
    const UVTriangle t = m_vTriangles[tID];
    for (unsigned uvID : t.nVertices)
        m_vUVs.decrement(uvID);  // the UV vertex keeps its own reference
    m_vTriangles.decrement(tID);
}

unsigned UVLayerMesh::GetTriangleGroup(unsigned tID) const
{
    return VSK_ASSERT(m_vTriangles.isValid(tID)) ? m_vTriangles[tID].nGroupID : InvalidID;
}

void UVLayerMesh::SetTriangleGroup(unsigned tID, unsigned groupID)
{
    if (VSK_ASSERT(m_vTriangles.isValid(tID)))
        m_vTriangles[tID].nGroupID = groupID;
}

unsigned UVLayerMesh::GetTriangleCount(unsigned uvID) const
{
    return m_vUVs.isValid(uvID) ? static_cast<unsigned>(m_vUVs.refCount(uvID) - 1) : 0u;
}

}  // namespace vsk
