#include "color/ColorUtility.h"
#include "engine/GSurface.h"
#include "engine/OxmTnSurface.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <utility>

using Quelm::Topology::ClrRGB;
using Quelm::Topology::ColorUtility;
using Quelm::Topology::OxmTnSurface;

namespace
{

// One triangle (group 5) over a 4 x 4 RGB image whose pixel (x, y) is (10 + x, 20 + 4 y, 100),
// with the material of group 5 carrying that image.
class TriangleColor : public ::testing::Test
{
protected:
    void SetUp() override
    {
        surface_ = boost::shared_ptr<OxmTnSurface>(new OxmTnSurface());
        auto& mesh = surface_->getMesh();
        for (int k = 0; k < 3; ++k)
            mesh.AppendVertex(vsk::Vector3f(float(k), float(k * k), 0.0f));
        tID_ = mesh.AppendTriangle(0, 1, 2, 5);
        layer_ = surface_->AddUVLayer();
        image_ = std::make_shared<vsk::Image>(4, 4, 3);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x)
            {
                unsigned char* p = image_->GetPixel(x, y);
                p[0] = static_cast<unsigned char>(10 + x);
                p[1] = static_cast<unsigned char>(20 + 4 * y);
                p[2] = 100;
            }
        material_ = std::make_shared<vsk::Material>("m");
        material_->SetTexture(std::make_shared<vsk::Texture>(image_));
        surface_->GetMaterialSet().SetMaterial(5, material_);
    }

    void setUVs(float u0, float v0, float u1, float v1, float u2, float v2, unsigned group = 5)
    {
        const unsigned a = layer_->AppendUV(vsk::Vector2f(u0, v0));
        const unsigned b = layer_->AppendUV(vsk::Vector2f(u1, v1));
        const unsigned c = layer_->AppendUV(vsk::Vector2f(u2, v2));
        ASSERT_TRUE(layer_->SetTriangle(tID_, a, b, c, group));
    }

    ClrRGB colour() { return ColorUtility::getTriangleColor(OxmTnSurface::castUp(surface_), layer_, tID_); }

    boost::shared_ptr<OxmTnSurface> surface_;
    vsk::UVLayerMesh* layer_ = nullptr;
    unsigned tID_ = 0;
    std::shared_ptr<vsk::Image> image_;
    std::shared_ptr<vsk::Material> material_;
};

}  // namespace

// Samples the centre and the three corner midpoints, each pixel / 4 truncated, in [0, 1) without
// flipping v; a corner outside samples pixel (0, 0).
TEST_F(TriangleColor, SamplesTheCentreAndTheCornerMidpoints)
{
    const std::pair<std::array<float, 6>, std::array<unsigned, 3>> rows[] = {
        // corners (0, 0), (3, 0), (0, 3): centre (1, 1), midpoints (0, 0), (2, 0), (0, 2);
        // red 2 + 2 + 3 + 2, green 6 + 5 + 5 + 7
        {{0.0f, 0.0f, 0.8f, 0.0f, 0.0f, 0.8f}, {9, 23, 100}},
        {{1.0f, 0.5f, -0.01f, 0.5f, 0.5f, 1.0f}, {8, 20, 100}},  // u = 1, v = 1 outside: (10, 20, 100) / 4
        {{0.0f, 0.9f, 0.0f, 0.9f, 0.0f, 0.9f}, {8, 32, 100}},    // v not flipped: row 3 is (10, 32, 100)
    };
    for (const auto& [uv, expected] : rows)
    {
        setUVs(uv[0], uv[1], uv[2], uv[3], uv[4], uv[5]);
        const ClrRGB c = colour();
        EXPECT_EQ((std::array<unsigned, 3>{c.r, c.g, c.b}), expected) << uv[0] << ", " << uv[1];
    }
}

TEST_F(TriangleColor, BlackWithoutAUsableTexture)
{
    setUVs(0.1f, 0.1f, 0.2f, 0.1f, 0.1f, 0.2f);
    EXPECT_FALSE(colour() == ClrRGB());

    const auto surface = OxmTnSurface::castUp(surface_);
    EXPECT_TRUE(ColorUtility::getTriangleColor(nullptr, layer_, tID_) == ClrRGB());
    EXPECT_TRUE(ColorUtility::getTriangleColor(surface, nullptr, tID_) == ClrRGB());
    EXPECT_TRUE(ColorUtility::getTriangleColor(surface, layer_, tID_ + 1) == ClrRGB());
    EXPECT_TRUE(ColorUtility::getTriangleColor(surface, layer_, vsk::IMesh::InvalidID) == ClrRGB());

    auto twoChannels = std::make_shared<vsk::Image>(4, 4, 2);
    std::fill(twoChannels->Buffer().begin(), twoChannels->Buffer().end(), 200);
    material_->SetTexture(std::make_shared<vsk::Texture>(twoChannels));
    EXPECT_TRUE(colour() == ClrRGB());
    material_->SetTexture(std::make_shared<vsk::Texture>(nullptr));  // texture without image
    EXPECT_TRUE(colour() == ClrRGB());
    material_->SetTexture(nullptr);
    EXPECT_TRUE(colour() == ClrRGB());

    material_->SetTexture(std::make_shared<vsk::Texture>(image_));
    EXPECT_FALSE(colour() == ClrRGB());
    setUVs(0.1f, 0.1f, 0.2f, 0.1f, 0.1f, 0.2f, 6);  // a group without material
    EXPECT_TRUE(colour() == ClrRGB());
}
