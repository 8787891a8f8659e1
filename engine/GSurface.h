#pragma once

#include "engine/DVector.h"
#include "engine/Material.h"
#include "engine/UVLayerMesh.h"
#include "engine/VFTriangleMesh.h"

#include <boost/enable_shared_from_this.hpp>

#include <memory>
#include <string>
#include <vector>

namespace vsk
{

// The second engine object a surface is built with (editing state of the engine's tools). The
// library only ever creates an empty one; subclasses carry the engine's data.
class SurfaceAuxiliary
{
public:
    virtual ~SurfaceAuxiliary() = default;
    // A copy of the same dynamic type; the caller owns it.
    virtual std::unique_ptr<SurfaceAuxiliary> Clone() const
    {
        return std::make_unique<SurfaceAuxiliary>(*this);
    }
};

// Spatial search structures over a surface's mesh. They are built on demand by the engine's
// picking and projection tools; a surface starts (and a copy restarts) with them empty.
class IMeshBVTree
{
public:
    bool IsEmpty() const { return nodeCount_ == 0; }
    void Clear() { nodeCount_ = 0; }

private:
    size_t nodeCount_ = 0;
};
class IMeshOctree
{
public:
    bool IsEmpty() const { return cellCount_ == 0; }
    void Clear() { cellCount_ = 0; }

private:
    size_t cellCount_ = 0;
};

// Per-corner UV and normal storage of a surface.
using UVList = dvector<Vector2f, 8192>;
using NormalList = dvector<Vector3f, 5461>;

// A surface: one triangle mesh and everything attached to it (search structures, per-corner
// storage, UV layers, materials by triangle group). Held by boost::shared_ptr.
class GSurface : public boost::enable_shared_from_this<GSurface>
{
public:
    // Wraps `mesh` and `aux`; with `takeOwnership` the surface deletes both when it goes.
    GSurface(VFTriangleMesh* mesh, SurfaceAuxiliary* aux, bool takeOwnership);
    // Takes ownership of both (for subclasses that create their own mesh).
    GSurface(std::unique_ptr<VFTriangleMesh> mesh, std::unique_ptr<SurfaceAuxiliary> aux);
    // A copy owns deep copies of an owned mesh and auxiliary object (and shares borrowed ones),
    // and copies the layers, per-corner lists and materials; its search structures start empty.
    GSurface(const GSurface& other);
    GSurface& operator=(const GSurface& other);
    virtual ~GSurface();

    const std::string& GetName() const { return m_sName; }
    void SetName(const std::string& name) { m_sName = name; }

    VFTriangleMesh* GetMesh() { return m_pMesh; }
    const VFTriangleMesh* GetMesh() const { return m_pMesh; }
    SurfaceAuxiliary* GetAuxiliary() const { return m_pAuxiliary; }
    bool OwnsMesh() const { return m_bOwnsMesh; }

    IMeshBVTree& GetBVTree() { return m_BVTree; }
    IMeshOctree& GetOctree() { return m_Octree; }
    UVList& GetUVList() { return m_UVList; }
    NormalList& GetNormalList() { return m_NormalList; }

    unsigned GetUVLayerCount() const { return static_cast<unsigned>(m_vUVLayers.size()); }
    // Layer `i` (owned by the surface); null when out of range or when a null layer was added.
    UVLayerMesh* GetUVLayer(unsigned i) const
    {
        return i < m_vUVLayers.size() ? m_vUVLayers[i].get() : nullptr;
    }
    // Appends a new empty layer owned by the surface and returns it.
    UVLayerMesh* AddUVLayer();
    // Appends `layer`, taking ownership; a null pointer is kept as a null entry.
    void AddUVLayer(std::unique_ptr<UVLayerMesh> layer);

    MaterialSet& GetMaterialSet() { return m_Materials; }
    const MaterialSet& GetMaterialSet() const { return m_Materials; }

private:
    void release();
    void copyFrom(const GSurface& other);

    std::string m_sName;
    VFTriangleMesh* m_pMesh = nullptr;
    SurfaceAuxiliary* m_pAuxiliary = nullptr;
    IMeshBVTree m_BVTree;
    IMeshOctree m_Octree;
    UVList m_UVList;
    NormalList m_NormalList;
    std::vector<std::unique_ptr<UVLayerMesh>> m_vUVLayers;
    MaterialSet m_Materials;
    bool m_bOwnsMesh = false;
};

}  // namespace vsk
