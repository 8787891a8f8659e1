#include "engine/GSurface.h"

#include <utility>

namespace vsk
{

GSurface::GSurface(VFTriangleMesh* mesh, SurfaceAuxiliary* aux, bool takeOwnership)
    : m_pMesh(mesh), m_pAuxiliary(aux), m_bOwnsMesh(takeOwnership)
{
}

GSurface::GSurface(std::unique_ptr<VFTriangleMesh> mesh, std::unique_ptr<SurfaceAuxiliary> aux)
    : m_pMesh(mesh.release()), m_pAuxiliary(aux.release()), m_bOwnsMesh(true)
{
}

GSurface::GSurface(const GSurface& other) : boost::enable_shared_from_this<GSurface>(other)
{
    copyFrom(other);
}

// Copy, then swap: when a clone fails to allocate, this surface keeps what it had.
GSurface& GSurface::operator=(const GSurface& other)
{
    if (this == &other)
        return *this;
    GSurface copy(other);
    std::swap(m_sName, copy.m_sName);
    std::swap(m_pMesh, copy.m_pMesh);
    std::swap(m_pAuxiliary, copy.m_pAuxiliary);
    std::swap(m_BVTree, copy.m_BVTree);
    std::swap(m_Octree, copy.m_Octree);
    std::swap(m_UVList, copy.m_UVList);
    std::swap(m_NormalList, copy.m_NormalList);
    std::swap(m_vUVLayers, copy.m_vUVLayers);
    std::swap(m_Materials, copy.m_Materials);
    std::swap(m_bOwnsMesh, copy.m_bOwnsMesh);
    return *this;  // `copy` releases what this surface held
}

GSurface::~GSurface()
{
    release();
}

void GSurface::release()
{
    if (m_bOwnsMesh)
    {
        delete m_pMesh;
        delete m_pAuxiliary;
    }
    m_pMesh = nullptr;
    m_pAuxiliary = nullptr;
    m_bOwnsMesh = false;
}

void GSurface::copyFrom(const GSurface& other)
{
    m_sName = other.m_sName;
    if (other.m_bOwnsMesh)
    {
        std::unique_ptr<VFTriangleMesh> mesh = other.m_pMesh ? other.m_pMesh->Clone() : nullptr;
        std::unique_ptr<SurfaceAuxiliary> aux = other.m_pAuxiliary ? other.m_pAuxiliary->Clone() : nullptr;
        m_pMesh = mesh.release();
        m_pAuxiliary = aux.release();
    }
    else
    {
        m_pMesh = other.m_pMesh;
        m_pAuxiliary = other.m_pAuxiliary;
    }
    m_bOwnsMesh = other.m_bOwnsMesh;
    m_BVTree = IMeshBVTree();
    m_Octree = IMeshOctree();
    m_UVList = other.m_UVList;
    m_NormalList = other.m_NormalList;
    m_vUVLayers.clear();
    for (const auto& layer : other.m_vUVLayers)
        m_vUVLayers.push_back(layer ? std::make_unique<UVLayerMesh>(*layer) : nullptr);
    m_Materials = other.m_Materials;
}

UVLayerMesh* GSurface::AddUVLayer()
{
    m_vUVLayers.push_back(std::make_unique<UVLayerMesh>());
    return m_vUVLayers.back().get();
}

void GSurface::AddUVLayer(std::unique_ptr<UVLayerMesh> layer)
{
    m_vUVLayers.push_back(std::move(layer));
}

}  // namespace vsk
