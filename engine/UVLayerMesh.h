#pragma once

#include "engine/IMesh.h"
#include "engine/RefCountedVector.h"

namespace vsk
{

// One UV layer of a surface: a mesh whose vertices are UV coordinates and whose triangles mirror
// the surface mesh's triangles ID for ID. Corner j of layer triangle t is the UV vertex of corner j
// of surface triangle t. One surface vertex may have several UV vertices (one per side of a seam),
// so a UV vertex is found through a triangle and a corner. A UV vertex's reference count is one
// plus the number of layer triangles that use it; the layer keeps no further adjacency.
class UVLayerMesh : public IMesh
{
public:
    struct UVTriangle
    {
        unsigned nVertices[3] = {InvalidID, InvalidID, InvalidID};
        unsigned nGroupID = 0;
    };

    UVLayerMesh() = default;
    UVLayerMesh(const UVLayerMesh&) = default;
    UVLayerMesh& operator=(const UVLayerMesh&) = default;
    ~UVLayerMesh() override = default;

    // Appends a UV vertex and returns its ID.
    unsigned AppendUV(const Vector2f& uv);
    // The coordinate of a UV vertex; false (uv untouched) for an invalid ID.
    bool GetUV(unsigned uvID, Vector2f& uv) const;
    // Changes a UV vertex; false for an invalid ID.
    bool SetUV(unsigned uvID, const Vector2f& uv);
    // Removes a UV vertex that no triangle uses; false otherwise.
    bool RemoveUV(unsigned uvID);

    // Creates (or replaces) the layer triangle at exactly ID `tID` with UV corners (uv0, uv1,
    // uv2). False, with nothing changed, when tID is InvalidID or more than 2^26 past the current
    // maximum triangle ID, or a UV vertex is not live.
    bool SetTriangle(unsigned tID, unsigned uv0, unsigned uv1, unsigned uv2, unsigned groupID = 0);

    // UV vertices seen as points (u, v, 0) with normal (0, 0, 1).
    void GetVertex(unsigned vID, Vector3d& v, Vector3d* pNormal = nullptr) const override;
    void GetVertex(unsigned vID, Vector3f& v, Vector3f* pNormal = nullptr) const override;
    unsigned GetVertexCount() const override { return m_vUVs.count(); }
    unsigned GetMaxVertexID() const override { return m_vUVs.maxIndex(); }
    bool IsVertex(unsigned vID) const override { return m_vUVs.isValid(vID); }
    void GetNormal(unsigned vID, Vector3f& n) const override;

    void GetTriangle(unsigned tID, Index3i& tri) const override;
    const unsigned* GetTriangle(unsigned tID) const override;
    unsigned GetTriangleCount() const override { return m_vTriangles.count(); }
    unsigned GetMaxTriangleID() const override { return m_vTriangles.maxIndex(); }
    // Whether the surface triangle with this ID has UV coordinates in this layer.
    bool IsTriangle(unsigned tID) const override { return m_vTriangles.isValid(tID); }
    // The slot becomes a hole; the UV vertices stay. An invalid ID is reported.
    void RemoveTriangle(unsigned tID) override;
    unsigned GetTriangleGroup(unsigned tID) const override;
    void SetTriangleGroup(unsigned tID, unsigned groupID);
    // Number of layer triangles that use a UV vertex (0 for an invalid ID).
    unsigned GetTriangleCount(unsigned uvID) const;

    size_t GetAllocatedBytes() const { return m_vUVs.allocatedBytes() + m_vTriangles.allocatedBytes(); }

private:
    RefCountedVector<Vector2f> m_vUVs;
    RefCountedVector<UVTriangle> m_vTriangles;
};

}  // namespace vsk
