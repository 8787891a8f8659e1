#include "color/TexturedObj.h"

#include "color/ImageFile.h"
#include "engine/Material.h"

#include <map>
#include <memory>

namespace Quelm::Topology
{
namespace
{

// Reads each texture file once; null (with a warning) when it cannot be read.
class TextureCache
{
public:
    explicit TextureCache(std::vector<std::string>& warnings) : warnings_(warnings) {}

    std::shared_ptr<vsk::Texture> get(const std::filesystem::path& path)
    {
        const auto found = textures_.find(path);
        if (found != textures_.end())
            return found->second;
        std::string error;
        std::shared_ptr<vsk::Image> image = ImageFile::Load(path, &error);
        std::shared_ptr<vsk::Texture> texture;
        if (image)
        {
            ImageFile::FlipRows(*image);  // row 0 becomes the bottom of the picture: OBJ's v = 0
            if (image->Channels() < 3)
                warnings_.push_back("texture '" + path.string() + "' has " +
                                    std::to_string(image->Channels()) +
                                    " channel(s): its triangles sample black");
            texture = std::make_shared<vsk::Texture>(std::move(image));
        }
        else
            warnings_.push_back("texture " + error);
        textures_.emplace(path, texture);
        return texture;
    }

private:
    std::vector<std::string>& warnings_;
    std::map<std::filesystem::path, std::shared_ptr<vsk::Texture>> textures_;
};

}  // namespace

TexturedObj TexturedObj::Build(const ObjMesh& mesh)
{
    TexturedObj result;
    result.warnings = mesh.warnings;
    result.surface = boost::shared_ptr<OxmTnSurface>(new OxmTnSurface());
    OxmTnSurface& surface = *result.surface;
    OxmTnTriangleMesh& triMesh = surface.getMesh();

    std::vector<unsigned> vertexIDs;
    vertexIDs.reserve(mesh.positions.size());
    for (const auto& p : mesh.positions)
        vertexIDs.push_back(triMesh.AppendVertex(vsk::Vector3f(p.x, p.y, p.z)));

    vsk::UVLayerMesh* layer = surface.AddUVLayer();
    std::vector<unsigned> uvIDs;
    uvIDs.reserve(mesh.uvs.size());
    for (const auto& uv : mesh.uvs)
        uvIDs.push_back(layer->AppendUV(vsk::Vector2f(uv.x, uv.y)));

    TextureCache cache(result.warnings);
    for (size_t m = 0; m < mesh.materials.size(); ++m)
    {
        const ObjMesh::Material& source = mesh.materials[m];
        auto material = std::make_shared<vsk::Material>(source.name);
        if (!source.texture.empty())
            material->SetTexture(cache.get(source.texture));
        else if (source.defined)
            result.warnings.push_back("material '" + source.name + "' has no texture");
        surface.GetMaterialSet().SetMaterial(static_cast<unsigned>(m), std::move(material));
    }

    size_t refused = 0;
    result.triangleIDs.reserve(mesh.triangles.size());
    for (const ObjMesh::Triangle& t : mesh.triangles)
    {
        const unsigned group = t.material == ObjMesh::kNone ? kNoMaterialGroup : t.material;
        const unsigned a = vertexIDs[t.v[0]], b = vertexIDs[t.v[1]], c = vertexIDs[t.v[2]];
        // a face with a repeated corner is refused here, not reported by the mesh's assertion
        const unsigned tID =
            a != b && b != c && a != c ? triMesh.AppendTriangle(a, b, c, group) : vsk::IMesh::InvalidID;
        result.triangleIDs.push_back(tID);
        if (tID == vsk::IMesh::InvalidID)
        {
            ++refused;
            continue;
        }
        if (t.vt[0] != ObjMesh::kNone && t.vt[1] != ObjMesh::kNone && t.vt[2] != ObjMesh::kNone)
            layer->SetTriangle(tID, uvIDs[t.vt[0]], uvIDs[t.vt[1]], uvIDs[t.vt[2]], group);
    }
    if (refused > 0)
        result.warnings.push_back(std::to_string(refused) + " triangles with two equal corners skipped");
    return result;
}

TexturedObj TexturedObj::Load(const std::filesystem::path& path, std::string* error)
{
    ObjMesh mesh;
    if (!ObjFile::Read(path, mesh, error))
        return TexturedObj();
    return Build(mesh);
}

}  // namespace Quelm::Topology
