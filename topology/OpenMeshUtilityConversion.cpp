#include "common/Node.h"
#include "common/Util.h"
#include "topology/OpenMeshQuiet.h"
#include "topology/OpenMeshUtility.h"
#include "topology/VertexWeldTable.h"

#include <tbb/blocked_range.h>
#include <tbb/concurrent_vector.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <limits>

namespace Quelm::Topology
{
namespace
{

using Mesh = OpenMeshUtility::Mesh;
using Objects::Vector2;
using Objects::Vector3;

// Nodes that ToModel writes carry this type; fromModel ignores nodes below it.
constexpr uint16_t kModelNodeType = 15;
const wchar_t* const kMaterialPrefix = L"Material_";
const wchar_t* const kDefaultMaterialName = L"Default";
const char* const kTangentsProperty = "v:tangents";
const char* const kBitangentsProperty = "v:bitangents";

// Finds the mesh vertex property `name` or adds it; `handle` is left valid either way.
void findOrAddVertexProperty(Mesh& mesh, OpenMesh::VPropHandleT<OpenMesh::Vec3f>& handle, const char* name)
{
    if (!mesh.get_property_handle(handle, name))
        mesh.add_property(handle, name);
}

// A vertex handle that add_face may take: in range and not deleted. Handles from a caller's weld
// map are data from outside.
bool isUsable(const Mesh& mesh, OpenMesh::VertexHandle vh)
{
    return vh.is_valid() && static_cast<size_t>(vh.idx()) < mesh.n_vertices() && !mesh.status(vh).deleted();
}

std::wstring materialName(int textureIndex)
{
    return kMaterialPrefix + std::to_wstring(textureIndex);
}

// Bytes from least significant: blue, green, red, alpha 255.
uint32_t packColor(const OpenMesh::Vec3uc& c)
{
    return 0xFF000000u | (uint32_t(c[0]) << 16) | (uint32_t(c[1]) << 8) | uint32_t(c[2]);
}

// The faces of one node of ToModel.
struct FaceGroup
{
    int textureIndex = 0;
    std::vector<OpenMesh::FaceHandle> faces;
};

// Groups the live faces by texture index (all into group 0 when the mesh is untextured), in
// ascending index order. Two passes so that every group is allocated once at its final size.
std::vector<FaceGroup> groupFacesByTexture(const Mesh& mesh, bool textured)
{
    std::vector<FaceGroup> groups;
    if (!textured)
    {
        groups.resize(1);
        groups[0].faces.reserve(mesh.n_faces());
        for (auto fh : mesh.faces())  // skips deleted and hidden faces
            groups[0].faces.push_back(fh);
        return groups;
    }
    std::array<size_t, 256> sizes{};
    for (auto fh : mesh.faces())
        ++sizes[mesh.texture_index(fh)];
    std::array<int, 256> groupOf{};
    for (int t = 0; t < 256; ++t)
    {
        groupOf[t] = -1;
        if (sizes[t] == 0)
            continue;
        groupOf[t] = static_cast<int>(groups.size());
        groups.push_back({t, {}});
        groups.back().faces.reserve(sizes[t]);
    }
    for (auto fh : mesh.faces())
        groups[groupOf[mesh.texture_index(fh)]].faces.push_back(fh);
    return groups;
}

}  // namespace

bool OpenMeshUtility::AddRawMesh(Mesh* mesh, Objects::RawMesh* raw, const WeldMap* weldMap,
                                 const TableMap* tableMap, Objects::RawMaterial* material)
{
    // The caller's maps only seed the welding and are never updated. Instead of copying the weld
    // map, keys are looked up in it first and new keys go to a local hash table, which gives
    // the same handles. The table map takes no part in welding at all.
    (void)tableMap;
    if (!raw || !mesh || !raw->isValid())  // isValid also checks every index against the positions
        return false;

    OpenMesh::MPropHandleT<TextureMapping> mappingHandle;
    if (material)
    {
        if (!mesh->get_property_handle(mappingHandle, kTextureMappingProperty))
            mesh->add_property(mappingHandle, kTextureMappingProperty);
        if (!mesh->has_face_texture_index())
            mesh->request_face_texture_index();
    }

    const uint64_t positionCount = raw->positionsSize();
    const bool hasNormals = raw->normalsSize() > 0;
    const bool hasTexCoords = raw->textureCoordsSize() > 0;
    const bool hasTangents = raw->tangentsSize() > 0;
    const bool hasBitangents = raw->bitangentsSize() > 0;
    if (hasTangents && !mesh->tangentHandle.is_valid())
        findOrAddVertexProperty(*mesh, mesh->tangentHandle, kTangentsProperty);
    if (hasBitangents && !mesh->bitangentHandle.is_valid())
        findOrAddVertexProperty(*mesh, mesh->bitangentHandle, kBitangentsProperty);
    if (hasTexCoords && !mesh->has_vertex_texcoords2D())
        mesh->request_vertex_texcoords2D();
    if (hasNormals && !mesh->has_vertex_normals())
        mesh->request_vertex_normals();

    int textureIndex = 0;
    if (material && mappingHandle.is_valid())
    {
        const std::string name = Objects::Util::ConvertToChar(material->materialName());
        const int next = static_cast<int>(mesh->materialIndexMap.size());
        const auto [entry, isNew] = mesh->materialIndexMap.emplace(name, next);
        if (isNew)  // overwrites what an earlier index sharing the low 8 bits left there
            mesh->property(mappingHandle)[static_cast<unsigned char>(entry->second)] =
                Objects::Util::ConvertToChar(material->textureTag());
        textureIndex = entry->second;
    }

    const uint64_t triangleCount = raw->indicesSize() / 3;
    if (mesh->n_vertices() == 0)  // a fresh mesh: size the arrays once (fromModel reserves for all nodes)
        mesh->reserve(positionCount, triangleCount * 3 / 2 + positionCount, triangleCount);

    // Vertices. A new vertex's handle index is n_vertices() before add_vertex, so the table can
    // be probed and filled in one step.
    auto* normals = hasNormals ? &mesh->property(mesh->vertex_normals_pph()) : nullptr;
    std::vector<OpenMesh::VertexHandle> handleOf(positionCount);
    VertexWeldTable<int> welded(positionCount);
    const bool isSeeded = weldMap && !weldMap->empty();
    auto keyOf = [&](uint64_t i)
    {
        Objects::oxmvertex key(raw->positionAt(i), Vector2<float>(), 0);
        if (hasTexCoords)
        {
            const Vector2<float>& t = raw->textureCoordAt(i);
            key.texCoord = Vector2<float>(t.x, 1.0f - t.y);  // flipped in the key only
            key.hasTexCoord = 1;
        }
        return key;
    };
    constexpr uint64_t kPrefetchDistance = 16;  // keys ahead
    for (uint64_t i = 0; i < positionCount; ++i)
    {
        if (i + kPrefetchDistance < positionCount)
            welded.prefetch(keyOf(i + kPrefetchDistance));
        const Vector3<float>& p = raw->positionAt(i);
        const Objects::oxmvertex key = keyOf(i);
        if (isSeeded)
        {
            const auto seed = weldMap->find(key);
            if (seed != weldMap->end())
            {
                handleOf[i] = seed->second;
                continue;
            }
        }
        const int next = static_cast<int>(mesh->n_vertices());
        const auto [index, isNew] = welded.findOrInsert(key, next);
        handleOf[i] = OpenMesh::VertexHandle(index);
        if (!isNew)
            continue;
        const auto vh = mesh->add_vertex(Mesh::Point(p.x, p.y, p.z));
        assert(vh.idx() == next);
        if (hasNormals)
        {
            const Vector3<float>& n = raw->normalAt(i);
            (*normals)[vh.idx()] = Mesh::Normal(n.x, n.y, n.z);
        }
        if (hasTexCoords)
        {
            const Vector2<float>& t = raw->textureCoordAt(i);
            mesh->set_texcoord2D(vh, Mesh::TexCoord2D(t.x, t.y));
        }
        if (hasTangents)
        {
            const Vector3<float>& t = raw->tangentAt(i);
            mesh->property(mesh->tangentHandle, vh) = OpenMesh::Vec3f(t.x, t.y, t.z);
        }
        if (hasBitangents)
        {
            const Vector3<float>& b = raw->bitangentAt(i);
            mesh->property(mesh->bitangentHandle, vh) = OpenMesh::Vec3f(b.x, b.y, b.z);
        }
    }

    // Faces. A triangle with a repeated or unusable vertex is skipped; OpenMesh refuses complex
    // edges and vertices itself, and would say so on its error stream.
    OpenMeshQuietScope quiet;
    const bool setsTextureIndex = material && mesh->has_face_texture_index();
    const auto faceTexture = static_cast<unsigned char>(textureIndex);
    for (uint64_t k = 0; k < triangleCount; ++k)
    {
        const OpenMesh::VertexHandle a = handleOf[raw->indexAt(3 * k)];
        const OpenMesh::VertexHandle b = handleOf[raw->indexAt(3 * k + 1)];
        const OpenMesh::VertexHandle c = handleOf[raw->indexAt(3 * k + 2)];
        if (a == b || b == c || a == c)
            continue;
        if (isSeeded && !(isUsable(*mesh, a) && isUsable(*mesh, b) && isUsable(*mesh, c)))
            continue;
        const auto fh = mesh->add_face(a, b, c);
        if (setsTextureIndex && fh.is_valid())
            mesh->set_texture_index(fh, faceTexture);
    }
    return true;
}

std::shared_ptr<OpenMeshUtility::Mesh> OpenMeshUtility::fromModel(std::shared_ptr<Objects::Model> model)
{
    if (!model)
        return {};

    // Material by name; an unnamed material answers to "Default"; the first of a name wins.
    std::map<std::wstring, Objects::RawMaterial*> materials;
    for (Objects::RawMaterial& material : model->materials())
    {
        std::wstring name = material.materialName();
        materials.emplace(name.empty() ? kDefaultMaterialName : std::move(name), &material);
    }

    std::vector<Objects::Node*> nodes;
    uint64_t positions = 0, triangles = 0;
    for (const std::shared_ptr<Objects::Group>& child : model->children())
    {
        auto* node = dynamic_cast<Objects::Node*>(child.get());
        if (!node || node->type() < kModelNodeType)
            continue;
        nodes.push_back(node);
        positions += node->rawMesh().positionsSize();
        triangles += node->rawMesh().indicesSize() / 3;
    }

    auto mesh = std::make_shared<Mesh>();
    mesh->reserve(positions, triangles * 3 / 2 + positions, triangles);
    // Empty maps for every node: vertices weld within a node, never across nodes.
    const WeldMap weldMap;
    const TableMap tableMap;
    for (Objects::Node* node : nodes)
    {
        const auto found = materials.find(node->name());
        AddRawMesh(mesh.get(), &node->rawMesh(), &weldMap, &tableMap,
                   found == materials.end() ? nullptr : found->second);
    }
    return mesh;
}

std::shared_ptr<Objects::Model> OpenMeshUtility::ToModel(const Mesh* mesh)
{
    if (!mesh)
        return {};
    auto model = std::make_shared<Objects::Model>();
    const std::wstring path = GetMeshPath(mesh);
    if (!path.empty())
        model->setFilePath(path);

    OpenMesh::MPropHandleT<TextureMapping> mappingHandle;
    const bool textured =
        mesh->get_property_handle(mappingHandle, kTextureMappingProperty) && mesh->has_face_texture_index();

    if (textured)
    {
        for (const auto& [index, fileName] : mesh->property(mappingHandle))  // ascending index
        {
            Objects::RawMaterial material;
            material.materialName(materialName(index).c_str());
            const float shade = fileName.empty() ? 0.5f : 1.0f;
            material.setColors({shade, shade, shade}, {shade, shade, shade}, {0.0f, 0.0f, 0.0f});
            material.textureTag(Objects::Util::ConvertToWchar(fileName).c_str());
            model->materials().push_back(material);
        }
    }
    else
    {
        Objects::RawMaterial material;
        material.materialName(materialName(0).c_str());
        model->materials().push_back(material);
    }

    const std::vector<FaceGroup> groups = groupFacesByTexture(*mesh, textured);

    // One node per group, each built by one task that reads the mesh and writes only its node.
    tbb::concurrent_vector<std::shared_ptr<Objects::Node>> nodes;
    tbb::parallel_for(tbb::blocked_range<size_t>(0, groups.size(), 1),
                      [&](const tbb::blocked_range<size_t>& range)
                      {
                          for (size_t g = range.begin(); g != range.end(); ++g)
                          {
                              auto node = std::make_shared<Objects::Node>(Objects::Index32, kModelNodeType);
                              node->setName(materialName(groups[g].textureIndex).c_str());
                              CreateRawMeshFromFaces(mesh, groups[g].faces, &node->rawMesh());
                              node->CalculateBoundingBox();
                              nodes.push_back(std::move(node));
                          }
                      });

    Objects::Box<double> box;
    for (const auto& node : nodes)
        box.includeBox(node->boundingBox());
    Objects::Box<double> cube = box;
    cube.makeCube();
    model->setBoundingBox(box);
    model->setCubicBoundingBox(cube);
    model->children().assign(nodes.begin(), nodes.end());  // in the order the tasks finished
    return model;
}

bool OpenMeshUtility::CreateRawMeshFromFaces(const Mesh* mesh, const std::vector<OpenMesh::FaceHandle>& faces,
                                             Objects::RawMesh* raw)
{
    if (!mesh || faces.empty() || !raw)
        return false;

    const bool hasNormals = mesh->has_vertex_normals();
    const bool hasColors = mesh->has_vertex_colors();
    const bool hasTexCoords = mesh->has_vertex_texcoords2D();

    // Raw indices are given in order of first meeting, so the weld table's own order never shows.
    // When the faces cover much of the mesh, a per-vertex cache spares hashing a vertex again
    // at each of its faces; for a small subset it would cost more to clear than it saves.
    constexpr uint32_t kUnset = std::numeric_limits<uint32_t>::max();
    const size_t vertexEnd = mesh->n_vertices();
    const size_t faceEnd = mesh->n_faces();
    std::vector<uint32_t> cachedIndex(faces.size() * 8 >= vertexEnd ? vertexEnd : 0, kUnset);
    const bool isCached = !cachedIndex.empty();

    const size_t expectedVertices =
        std::min(3 * faces.size(), faceEnd ? faces.size() * vertexEnd / faceEnd + 16 : 3 * faces.size());
    VertexWeldTable<uint32_t> welded(expectedVertices);
    raw->reserveIndices(raw->indicesSize() + 3 * faces.size());
    raw->reserveVertices(raw->positionsSize() + expectedVertices);
    if (hasNormals)
        raw->normals().reserve(raw->normalsSize() + expectedVertices);
    if (hasTexCoords)
        raw->textureCoords().reserve(raw->textureCoordsSize() + expectedVertices);

    auto keyOf = [&](OpenMesh::VertexHandle vh)
    {
        const Mesh::Point& p = mesh->point(vh);
        Objects::oxmvertex key(Vector3<float>(p[0], p[1], p[2]), Vector2<float>(), 0);
        if (hasTexCoords)
        {
            const Mesh::TexCoord2D& t = mesh->texcoord2D(vh);
            key.texCoord = Vector2<float>(t[0], t[1]);
            key.hasTexCoord = 1;
        }
        return key;
    };
    auto rawIndexOf = [&](OpenMesh::VertexHandle vh) -> uint32_t
    {
        if (isCached && cachedIndex[vh.idx()] != kUnset)
            return cachedIndex[vh.idx()];
        const Objects::oxmvertex key = keyOf(vh);
        const auto [index, isNew] = welded.findOrInsert(key, static_cast<uint32_t>(raw->positionsSize()));
        if (isNew)
        {
            raw->pushBackPosition(key.position);
            if (hasNormals)
            {
                const Mesh::Normal& n = mesh->normal(vh);
                raw->pushBackNormal(Vector3<float>(n[0], n[1], n[2]));
            }
            if (hasColors)
                raw->pushBackvertexColor(packColor(mesh->color(vh)));
            if (hasTexCoords)
                raw->pushBackTextureCoord(key.texCoord);
        }
        if (isCached)
            cachedIndex[vh.idx()] = index;
        return index;
    };

    // checked: the handles come from the caller (deleted faces are the caller's business)
    auto firstHalfedge = [&](OpenMesh::FaceHandle fh)
    {
        if (!fh.is_valid() || static_cast<size_t>(fh.idx()) >= faceEnd)
            return OpenMesh::HalfedgeHandle();
        return mesh->halfedge_handle(fh);
    };
    constexpr size_t kPrefetchDistance = 8;  // faces ahead
    for (size_t f = 0; f < faces.size(); ++f)
    {
        if (f + kPrefetchDistance < faces.size())
        {
            OpenMesh::HalfedgeHandle ahead = firstHalfedge(faces[f + kPrefetchDistance]);
            for (int corner = 0; ahead.is_valid() && corner < 3; ++corner)
            {
                const OpenMesh::VertexHandle vh = mesh->to_vertex_handle(ahead);
                if (!isCached || cachedIndex[vh.idx()] == kUnset)
                    welded.prefetch(keyOf(vh));
                ahead = mesh->next_halfedge_handle(ahead);
            }
        }
        OpenMesh::HalfedgeHandle heh = firstHalfedge(faces[f]);
        if (!heh.is_valid())
            continue;
        for (int corner = 0; corner < 3; ++corner)  // a triangle mesh: three corners from the face's halfedge
        {
            raw->pushBackIndex(rawIndexOf(mesh->to_vertex_handle(heh)));
            heh = mesh->next_halfedge_handle(heh);
        }
    }
    return true;
}

Objects::RawMesh* OpenMeshUtility::CreateRawMeshFromFaces(const Mesh* mesh,
                                                          const std::vector<OpenMesh::FaceHandle>& faces)
{
    if (!mesh || faces.empty())
        return nullptr;
    auto raw = std::make_unique<Objects::RawMesh>(Objects::Index32);
    CreateRawMeshFromFaces(mesh, faces, raw.get());
    return raw.release();
}

}  // namespace Quelm::Topology
