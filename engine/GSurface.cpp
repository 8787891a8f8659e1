#include "engine/GSurface.h"

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

GSurface& GSurface::operator=(const GSurface& other)
{
    if (this != &other)
    {
        release();
        copyFrom(other);
    }
    return *this;
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
