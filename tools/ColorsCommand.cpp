// qlm-mesh colors MESH.obj OUT.ply: samples the texture colour of every triangle of a textured OBJ
// and writes the mesh with one colour per face as binary PLY.

#include "color/ColorUtility.h"
#include "color/TexturedObj.h"
#include "engine/IMesh.h"
#include "tools/Commands.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_reduce.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace
{

using Quelm::Topology::ClrRGB;
using Quelm::Topology::ColorUtility;
using Quelm::Topology::ObjMesh;
using Quelm::Topology::OxmTnSurface;
using Quelm::Topology::TexturedObj;

// Mirrors the cases in which getTriangleColor answers black for want of a texture.
bool hasTexture(const OxmTnSurface& surface, const vsk::UVLayerMesh* layer, unsigned tID)
{
    if (layer == nullptr || !layer->IsTriangle(tID))
        return false;
    const vsk::Material* material = surface.GetMaterialSet().FindMaterial(layer->GetTriangleGroup(tID));
    const vsk::Texture* texture = material != nullptr ? material->GetTexture() : nullptr;
    const vsk::Image* image = texture != nullptr ? texture->GetImage() : nullptr;
    return image != nullptr && image->Channels() >= 3 && image->GetWidth() > 0 && image->GetHeight() > 0;
}

class LittleEndianWriter
{
public:
    void u8(uint8_t v) { bytes_.push_back(v); }
    void u32(uint32_t v)
    {
        for (int k = 0; k < 4; ++k)
            bytes_.push_back(static_cast<uint8_t>(v >> (8 * k)));
    }
    void f32(float v)
    {
        uint32_t bits;
        std::memcpy(&bits, &v, sizeof(bits));
        u32(bits);
    }
    const std::vector<uint8_t>& bytes() const { return bytes_; }
    void reserve(size_t n) { bytes_.reserve(n); }

private:
    std::vector<uint8_t> bytes_;
};

uint8_t channel(unsigned short c)
{
    return static_cast<uint8_t>(std::min<unsigned short>(c, 255));
}

// Writes every position and the triangles the mesh accepted, with their colours.
bool writePly(const char* path, const ObjMesh& mesh, const std::vector<unsigned>& triangleIDs,
              const std::vector<ClrRGB>& colours)
{
    size_t faceCount = 0;
    for (unsigned tID : triangleIDs)
        faceCount += tID != vsk::IMesh::InvalidID ? 1 : 0;
    const std::string header = "ply\nformat binary_little_endian 1.0\ncomment texture colour per face\n"
                               "element vertex " +
                               std::to_string(mesh.positions.size()) +
                               "\nproperty float x\nproperty float y\nproperty float z\n"
                               "element face " +
                               std::to_string(faceCount) +
                               "\nproperty list uchar int vertex_indices\n"
                               "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n";
    LittleEndianWriter body;
    body.reserve(mesh.positions.size() * 12 + faceCount * 16);
    for (const auto& p : mesh.positions)
    {
        body.f32(p.x);
        body.f32(p.y);
        body.f32(p.z);
    }
    for (size_t i = 0; i < mesh.triangles.size(); ++i)
    {
        if (triangleIDs[i] == vsk::IMesh::InvalidID)
            continue;
        body.u8(3);
        for (uint32_t v : mesh.triangles[i].v)
            body.u32(v);
        body.u8(channel(colours[i].r));
        body.u8(channel(colours[i].g));
        body.u8(channel(colours[i].b));
    }
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path, "wb"), std::fclose);
    if (!file)
        return false;
    const bool written =
        std::fwrite(header.data(), 1, header.size(), file.get()) == header.size() &&
        std::fwrite(body.bytes().data(), 1, body.bytes().size(), file.get()) == body.bytes().size();
    return std::fclose(file.release()) == 0 && written;
}

}  // namespace

int runColors(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: qlm-mesh colors MESH.obj OUT.ply\n");
        return 2;
    }
    ObjMesh mesh;
    std::string error;
    if (!Quelm::Topology::ObjFile::Read(argv[0], mesh, &error))
    {
        std::fprintf(stderr, "qlm-mesh: %s\n", error.c_str());
        return 2;
    }
    const TexturedObj textured = TexturedObj::Build(mesh);
    for (const std::string& warning : textured.warnings)
        std::fprintf(stderr, "qlm-mesh: warning: %s\n", warning.c_str());

    const boost::shared_ptr<vsk::GSurface> surface = OxmTnSurface::castUp(textured.surface);
    vsk::UVLayerMesh* layer = textured.surface->getUVLayer();
    const std::vector<unsigned>& ids = textured.triangleIDs;
    std::vector<ClrRGB> colours(ids.size());
    // disjoint: each index writes only its own colour; the untextured count is reduced
    const size_t untextured = tbb::parallel_reduce(
        tbb::blocked_range<size_t>(0, ids.size(), 1024), size_t(0),
        [&](const tbb::blocked_range<size_t>& range, size_t count)
        {
            for (size_t i = range.begin(); i != range.end(); ++i)
            {
                if (ids[i] == vsk::IMesh::InvalidID)
                    continue;
                colours[i] = ColorUtility::getTriangleColor(surface, layer, ids[i]);
                count += hasTexture(*textured.surface, layer, ids[i]) ? 0 : 1;
            }
            return count;
        },
        [](size_t a, size_t b) { return a + b; });

    if (!writePly(argv[1], mesh, ids, colours))
    {
        std::fprintf(stderr, "qlm-mesh: cannot write '%s'\n", argv[1]);
        return 2;
    }
    const size_t written = ids.size() - size_t(std::count(ids.begin(), ids.end(), vsk::IMesh::InvalidID));
    std::printf("%zu triangles coloured, %zu without texture (black); wrote %s\n", written, untextured,
                argv[1]);
    return 0;
}
