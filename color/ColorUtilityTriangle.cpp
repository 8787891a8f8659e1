#include "color/ColorUtility.h"
#include "common/Vector.h"
#include "engine/GSurface.h"
#include "engine/UVLayerMesh.h"

#include <algorithm>

namespace Quelm::Topology
{
namespace
{

using PixelPos = Objects::Vector2<int>;

// The image of the material of the triangle's group, or null when there is none or it cannot
// be sampled (fewer than 3 channels, no pixels, a buffer shorter than its size says).
vsk::Image* triangleImage(const vsk::GSurface& surface, const vsk::UVLayerMesh& uvMesh, unsigned tID)
{
    const vsk::Material* material = surface.GetMaterialSet().FindMaterial(uvMesh.GetTriangleGroup(tID));
    const vsk::Texture* texture = material != nullptr ? material->GetTexture() : nullptr;
    vsk::Image* img = texture != nullptr ? texture->GetImage() : nullptr;
    if (img == nullptr || img->Channels() < 3 || img->GetWidth() == 0 || img->GetHeight() == 0)
        return nullptr;
    if (img->Buffer().size() < size_t(img->GetWidth()) * img->GetHeight() * img->Channels())
        return nullptr;
    return img;
}

}  // namespace

ClrRGB ColorUtility::getTriangleColor(boost::shared_ptr<vsk::GSurface> surface, vsk::UVLayerMesh* uvMesh,
                                      unsigned tID)
{
    if (!surface || uvMesh == nullptr || !uvMesh->IsTriangle(tID))
        return ClrRGB();
    vsk::Image* img = triangleImage(*surface, *uvMesh, tID);
    if (img == nullptr)
        return ClrRGB();
    const unsigned width = img->GetWidth();
    const unsigned height = img->GetHeight();

    vsk::Index3i corners;
    uvMesh->GetTriangle(tID, corners);
    PixelPos p[3];  // a corner outside [0, 1) keeps (0, 0)
    for (int j = 0; j < 3; ++j)
    {
        vsk::Vector2f uv;
        if (!uvMesh->GetUV(corners[j], uv))
            continue;
        const float u = uv.X();
        const float v = uv.Y();  // not flipped: v = 0 is image row 0
        if (u >= 0.0f && u < 1.0f && v >= 0.0f && v < 1.0f)
        {
            // note: the min only guards against rounding; width * u < width for u < 1 in float
            p[j] = PixelPos(std::min(int(width * u), int(width) - 1),
                            std::min(int(height * v), int(height) - 1));
        }
    }

    const PixelPos centre = (p[0] + p[1] + p[2]) / 3;
    ClrRGB result;
    result = result + getPixel(img, centre.x, centre.y) / 4.0f;
    for (const PixelPos& corner : p)
    {
        const PixelPos mid = (corner + centre) / 2;
        result = result + getPixel(img, mid.x, mid.y) / 4.0f;
    }
    return result;
}

}  // namespace Quelm::Topology
