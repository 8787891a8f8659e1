#include "engine/OxmTnSurface.h"

#include <boost/pointer_cast.hpp>

namespace Quelm::Topology
{
namespace
{

using Quelm::Objects::Vector3;
constexpr uint32_t InvalidID = vsk::IMesh::InvalidID;

Vector3<float> positionOf(const OxmTnTriangleMesh& mesh, uint32_t vID)
{
    vsk::Vector3f p;
    mesh.GetVertex(vID, p);
    return {p.X(), p.Y(), p.Z()};
}

// The walk shared by the loop-fusing operations: for i = 0 while i < current size, when
// `shouldFuse(a, b, c)` holds for loop[i], loop[i + 1], loop[i + 2] (indices mod size) and
// `surface.fuseVertices(a, b, &removed)` succeeds, the removed vertex leaves the loop (position i when it was
// a, else position (i + 1) mod size) and position i is examined again. True when any was fused.
template <class Predicate>
bool fuseAlongLoop(const OxmTnSurface& surface, std::vector<uint32_t>& loop, Predicate shouldFuse)
{
    if (loop.size() < 3)
        return false;  // too short to be a loop: left alone
    bool changed = false;
    size_t i = 0;
    while (i < loop.size())
    {
        const size_t next = (i + 1) % loop.size();
        const uint32_t a = loop[i];
        const uint32_t b = loop[next];
        const uint32_t c = loop[(i + 2) % loop.size()];
        uint32_t removed = InvalidID;
        if (shouldFuse(a, b, c) && surface.fuseVertices(a, b, &removed))
        {
            loop.erase(loop.begin() + static_cast<std::ptrdiff_t>(removed == a ? i : next));
            changed = true;
            continue;  // the new neighbour of loop[i] is examined next
        }
        ++i;
    }
    return changed;
}

}  // namespace

OxmTnSurface::OxmTnSurface()
    : vsk::GSurface(std::make_unique<OxmTnTriangleMesh>(), std::make_unique<vsk::SurfaceAuxiliary>())
{
}

boost::shared_ptr<vsk::GSurface> OxmTnSurface::castUp(const boost::shared_ptr<OxmTnSurface>& surface)
{
    return boost::static_pointer_cast<vsk::GSurface>(surface);
}

boost::shared_ptr<OxmTnSurface> OxmTnSurface::castDown(const boost::shared_ptr<vsk::GSurface>& surface)
{
    return boost::static_pointer_cast<OxmTnSurface>(surface);
}

OxmTnTriangleMesh& OxmTnSurface::getMesh() const
{
    // The constructor made an OxmTnTriangleMesh, and copies clone it with its type.
    return *static_cast<OxmTnTriangleMesh*>(const_cast<vsk::VFTriangleMesh*>(GetMesh()));
}

vsk::UVLayerMesh* OxmTnSurface::getUVLayer() const
{
    return GetUVLayerCount() > 0 ? GetUVLayer(0) : nullptr;
}

uint32_t OxmTnSurface::getUVVertexID(uint32_t t, uint32_t v) const
{
    if (t == InvalidID || v == InvalidID)
        return InvalidID;
    const vsk::UVLayerMesh* layer = getUVLayer();
    const OxmTnTriangleMesh& mesh = getMesh();
    if (!layer || !mesh.IsTriangle(t))
        return InvalidID;
    for (unsigned j = 0; j < 3; ++j)
        if (mesh.GetTriangleVertex(t, j) == v)
            return layer->IsTriangle(t) ? layer->GetTriangle(t)[j] : InvalidID;
    return InvalidID;
}

std::vector<uint32_t> OxmTnSurface::getUVBoundaryLoop(const std::vector<uint32_t>& loop) const
{
    std::vector<uint32_t> uvLoop;
    if (loop.size() < 2 || !getUVLayer())
        return uvLoop;
    const OxmTnTriangleMesh& mesh = getMesh();
    uvLoop.reserve(loop.size());
    for (size_t i = 0; i < loop.size(); ++i)
    {
        const std::vector<uint32_t> shared =
            mesh.getTrianglesSharingVertices({loop[i], loop[(i + 1) % loop.size()]});
        uvLoop.push_back(shared.empty() ? InvalidID : getUVVertexID(shared.front(), loop[i]));
    }
    return uvLoop;
}

bool OxmTnSurface::fuseVertices(uint32_t a, uint32_t b, uint32_t* removed) const
{
    OxmTnTriangleMesh& mesh = getMesh();
    const unsigned eID = mesh.FindEdge(a, b);
    if (eID == InvalidID || !mesh.CanCollapseEdge(eID, true))
        return false;
    vsk::VFTriangleMesh::EdgeCollapseInfo info;
    const bool collapsed =
        mesh.IsBoundaryEdge(eID) ? mesh.CollapseBoundaryEdge(a, b, info) : mesh.CollapseEdge(a, b, info);
    if (!collapsed)
        return false;
    if (removed)
        *removed = info.vRemoved;
    if (vsk::UVLayerMesh* layer = getUVLayer())
        for (int k = 0; k < 2; ++k)
            if (info.tRemoved[k] != InvalidID && layer->IsTriangle(info.tRemoved[k]))
                layer->RemoveTriangle(info.tRemoved[k]);
    return true;
}

bool OxmTnSurface::fuseCoincidentVertices(std::vector<uint32_t>& loop, float tolerance) const
{
    const OxmTnTriangleMesh& mesh = getMesh();
    return fuseAlongLoop(*this, loop,
                         [&](uint32_t a, uint32_t b, uint32_t)
                         { return positionOf(mesh, a).isEqualTo(positionOf(mesh, b), tolerance); });
}

bool OxmTnSurface::fuseCollinearVertices(std::vector<uint32_t>& loop, float tolerance) const
{
    const OxmTnTriangleMesh& mesh = getMesh();
    return fuseAlongLoop(
        *this, loop,
        [&](uint32_t a, uint32_t b, uint32_t c)
        {
            const Vector3<float> pa = positionOf(mesh, a);
            return (positionOf(mesh, b) - pa).isCodirectionalTo(positionOf(mesh, c) - pa, tolerance);
        });
}

}  // namespace Quelm::Topology
