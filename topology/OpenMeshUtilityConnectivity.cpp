#include "topology/OpenMeshUtility.h"

#include <cstdint>
#include <vector>

namespace Quelm::Topology
{
namespace
{

using Mesh = OpenMeshUtility::Mesh;

// Disjoint-set forest over the indices [0, n): union by rank and full path compression. At equal
// rank the second root becomes the parent and its rank grows by one; otherwise the root of lower
// rank hangs under the other.
class DisjointSets
{
public:
    explicit DisjointSets(size_t n) : parent_(n, 0), rank_(n, 0) {}

    void makeSet(int32_t x) { parent_[x] = x; }

    int32_t find(int32_t x)
    {
        int32_t root = x;
        while (parent_[root] != root)
            root = parent_[root];
        while (parent_[x] != root)  // second walk: hang every node of the path under the root
        {
            const int32_t next = parent_[x];
            parent_[x] = root;
            x = next;
        }
        return root;
    }

    void unite(int32_t x, int32_t y) { link(find(x), find(y)); }

private:
    void link(int32_t a, int32_t b)
    {
        if (a == b)
            return;
        if (rank_[a] > rank_[b])
            parent_[b] = a;
        else
        {
            parent_[a] = b;
            if (rank_[a] == rank_[b])
                ++rank_[b];
        }
    }

    std::vector<int32_t> parent_;
    std::vector<int32_t> rank_;
};

// One pass of the clean-up: the live faces around non-manifold vertices, each listed once, in
// order of first meeting (vertices in index order, faces in circulation order).
std::vector<OpenMesh::FaceHandle> facesAtNonManifoldVertices(const Mesh& mesh)
{
    std::vector<OpenMesh::FaceHandle> faces;
    std::vector<uint8_t> listed;  // by face index; replaces a linear search of `faces`
    for (auto vh : mesh.vertices())
    {
        if (mesh.is_manifold(vh))
            continue;
        if (listed.empty())
            listed.assign(mesh.n_faces(), 0);
        for (auto fh : mesh.vf_range(vh))
        {
            if (mesh.status(fh).deleted() || listed[fh.idx()])
                continue;
            listed[fh.idx()] = 1;
            faces.push_back(fh);
        }
    }
    return faces;
}

}  // namespace

OpenMeshUtility::VertexComponents OpenMeshUtility::GetConnectedVertexComponents(const Mesh* mesh)
{
    VertexComponents components;
    if (!mesh)
        return components;

    const size_t n = mesh->n_vertices();
    DisjointSets sets(n);
    for (auto vh : mesh->vertices())
        sets.makeSet(vh.idx());
    for (auto eh : mesh->edges())
    {
        const auto heh = mesh->halfedge_handle(eh, 0);
        sets.unite(mesh->from_vertex_handle(heh).idx(), mesh->to_vertex_handle(heh).idx());
    }

    // Group by root. A table indexed by root replaces a hash map from root to set: the component
    // order (which callers must not rely on) becomes that of each component's lowest vertex.
    constexpr int32_t kNone = -1;
    std::vector<int32_t> componentOfRoot(n, kNone);
    std::vector<size_t> sizes;
    std::vector<int32_t> rootOf(n, kNone);
    for (auto vh : mesh->vertices())
    {
        const int32_t root = sets.find(vh.idx());
        rootOf[vh.idx()] = root;
        if (componentOfRoot[root] == kNone)
        {
            componentOfRoot[root] = static_cast<int32_t>(sizes.size());
            sizes.push_back(0);
        }
        ++sizes[componentOfRoot[root]];
    }
    components.resize(sizes.size());
    for (size_t c = 0; c < sizes.size(); ++c)
        components[c].reserve(sizes[c]);
    for (auto vh : mesh->vertices())
        components[componentOfRoot[rootOf[vh.idx()]]].insert(vh.idx());
    return components;
}

OpenMeshUtility::VertexComponents
OpenMeshUtility::GetConnectedFaceComponents(const Mesh* mesh, const VertexComponents* vertexComponents)
{
    VertexComponents faceComponents;
    if (!mesh)
        return faceComponents;

    VertexComponents computed;
    if (!vertexComponents)
    {
        computed = GetConnectedVertexComponents(mesh);
        vertexComponents = &computed;
    }
    if (vertexComponents->empty())
        return faceComponents;

    if (vertexComponents->size() == 1)  // fast path: one piece holds every live face
    {
        faceComponents.resize(1);
        faceComponents[0].reserve(mesh->n_faces());
        for (auto fh : mesh->faces())
            faceComponents[0].insert(fh.idx());
        return faceComponents;
    }

    const int vertexEnd = static_cast<int>(mesh->n_vertices());
    faceComponents.resize(vertexComponents->size());
    for (size_t i = 0; i < vertexComponents->size(); ++i)
    {
        const std::unordered_set<int>& vertices = (*vertexComponents)[i];
        std::unordered_set<int>& faces = faceComponents[i];
        faces.reserve(2 * vertices.size());
        for (int v : vertices)
        {
            // checked: the list may come from the caller and need not match the mesh
            if (v < 0 || v >= vertexEnd)
                continue;
            const OpenMesh::VertexHandle vh(v);
            if (mesh->status(vh).deleted())
                continue;
            for (auto heh : mesh->voh_range(vh))
            {
                const auto fh = mesh->face_handle(heh);
                if (fh.is_valid())  // a boundary halfedge carries no face
                    faces.insert(fh.idx());
            }
        }
    }
    return faceComponents;
}

bool OpenMeshUtility::HasNonManifoldVertices(const Mesh& mesh)
{
    for (auto vh : mesh.vertices())
        if (!mesh.is_manifold(vh))
            return true;
    return false;
}

uint64_t OpenMeshUtility::RemoveFacesConnectedToNonManifoldVertices(Mesh& mesh, bool garbageCollect,
                                                                    uint32_t maxPasses)
{
    // Deleting the faces around one non-manifold vertex can leave a neighbour non-manifold, so the
    // removal repeats. The pass count is part of the contract: up to maxPasses + 1 passes run.
    uint64_t total = 0;
    uint32_t passes = 0;
    for (;;)
    {
        const std::vector<OpenMesh::FaceHandle> faces = facesAtNonManifoldVertices(mesh);
        total += faces.size();
        for (auto fh : faces)
            mesh.delete_face(fh, true);  // isolated vertices go too
        ++passes;
        if (passes > maxPasses || faces.empty())
            break;
    }
    if (garbageCollect)
        mesh.garbage_collection(true, true, true);
    return total;
}

}  // namespace Quelm::Topology
