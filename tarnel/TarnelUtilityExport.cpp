#include "common/oxmvertex.h"
#include "tarnel/TarnelUtility.h"

#include <algorithm>
#include <map>
#include <memory>
#include <unordered_map>

namespace Quelm::Topology
{
namespace
{

using Objects::oxmvertex;
using Objects::oxmvertexHash;
using vsk::VFTriangleMesh;

Objects::Vector3<float> toObjects(const vsk::Vector3f& v)
{
    return {v.X(), v.Y(), v.Z()};
}

}  // namespace

std::vector<Objects::MaterialGroup>
TarnelUtility::SeparateMeshByGroups(const boost::shared_ptr<vsk::GSurface>& surface)
{
    std::vector<Objects::MaterialGroup> groups;
    if (!surface || !surface->GetMesh())
        return groups;
    const VFTriangleMesh& mesh = *surface->GetMesh();
    std::map<unsigned, size_t> slotOfGroup;  // group ID -> index in `groups`, while filling
    for (unsigned tID : mesh.Triangles())    // ascending, so each group's list comes out sorted
    {
        const unsigned groupID = mesh.GetTriangleGroup(tID);
        const auto [it, isNew] = slotOfGroup.emplace(groupID, groups.size());
        if (isNew)
        {
            groups.emplace_back();
            groups.back().groupID = groupID;
        }
        groups[it->second].triangles.push_back(tID);
    }
    std::sort(groups.begin(), groups.end(),
              [](const Objects::MaterialGroup& a, const Objects::MaterialGroup& b)
              { return a.groupID < b.groupID; });
    return groups;
}

bool TarnelUtility::CreateRawMeshFromFaces(const boost::shared_ptr<vsk::GSurface>& surface,
                                           const std::vector<unsigned>& triangles, Objects::RawMesh* raw)
{
    if (!surface || !surface->GetMesh() || !raw || triangles.empty())
        return false;
    const VFTriangleMesh& mesh = *surface->GetMesh();
    const vsk::UVLayerMesh* layer = surface->GetUVLayerCount() > 0 ? surface->GetUVLayer(0) : nullptr;

    // Welding key as on the topology side: position and texture coordinate (flagged as present
    // when the surface has a layer); normals take no part. Raw indices continue after whatever
    // `raw` already holds.
    std::unordered_map<oxmvertex, uint32_t, oxmvertexHash> rawIndexOf;
    rawIndexOf.reserve(triangles.size() * 2);
    raw->reserveIndices(raw->indicesSize() + 3 * triangles.size());
    for (unsigned tID : triangles)
    {
        if (!mesh.IsTriangle(tID))
            continue;
        const unsigned* tri = mesh.GetTriangle(tID);
        const unsigned* uvTri = layer && layer->IsTriangle(tID) ? layer->GetTriangle(tID) : nullptr;
        for (int j = 0; j < 3; ++j)
        {
            vsk::Vector3f position, normal;
            mesh.GetVertex(tri[j], position, &normal);
            vsk::Vector2f uv;
            if (uvTri)
                layer->GetUV(uvTri[j], uv);  // a dead UV vertex leaves (0, 0)
            const oxmvertex key(toObjects(position), {uv.X(), uv.Y()}, layer ? 1 : 0);
            const auto [it, isNew] = rawIndexOf.emplace(key, static_cast<uint32_t>(raw->positionsSize()));
            if (isNew)
            {
                raw->pushBackPosition(key.position);
                raw->pushBackNormal(toObjects(normal));
                if (layer)
                    raw->pushBackTextureCoord(key.texCoord);
            }
            raw->pushBackIndex(it->second);
        }
    }
    return true;
}

Objects::RawMesh* TarnelUtility::CreateRawMeshFromFaces(const boost::shared_ptr<vsk::GSurface>& surface,
                                                        const std::vector<unsigned>& triangles)
{
    if (!surface || !surface->GetMesh() || triangles.empty())
        return nullptr;
    auto raw = std::make_unique<Objects::RawMesh>(Objects::Index32);
    CreateRawMeshFromFaces(surface, triangles, raw.get());
    return raw.release();
}

}  // namespace Quelm::Topology
