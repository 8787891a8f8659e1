#include "tarnel/EngineMeshConversion.h"

#include <vector>

namespace Quelm::Topology
{

size_t AppendTopologyMesh(const TopologyMesh& source, vsk::VFTriangleMesh& target)
{
    const bool hasNormals = source.has_vertex_normals();
    std::vector<unsigned> engineID(source.n_vertices(), vsk::IMesh::InvalidID);  // by vertex handle index
    for (const auto vh : source.vertices())  // the skipping range: deleted vertices are passed over
    {
        const auto& p = source.point(vh);
        const vsk::Vector3f position(p[0], p[1], p[2]);
        vsk::Vector3f normal;
        if (hasNormals)
        {
            const auto& n = source.normal(vh);
            normal = vsk::Vector3f(n[0], n[1], n[2]);
        }
        engineID[static_cast<size_t>(vh.idx())] =
            target.AppendVertex(position, hasNormals ? &normal : nullptr);
    }
    size_t refused = 0;
    for (const auto fh : source.faces())
    {
        unsigned corners[3];
        int k = 0;
        for (const auto vh : source.fv_range(fh))
            if (k < 3)
                corners[k++] = engineID[static_cast<size_t>(vh.idx())];
        const bool isTriangle =
            k == 3 && corners[0] != corners[1] && corners[1] != corners[2] && corners[0] != corners[2];
        if (!isTriangle || target.AppendTriangle(corners[0], corners[1], corners[2]) == vsk::IMesh::InvalidID)
            ++refused;
    }
    return refused;
}

}  // namespace Quelm::Topology
