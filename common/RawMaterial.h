#pragma once

#include "common/Color3.h"

#include <string>
#include <vector>

namespace Quelm::Objects
{

// A material: a name, a texture tag (the texture file name) and three colours. The string getters
// never return null: an unset value is "".
class RawMaterial
{
public:
    RawMaterial() = default;
    virtual ~RawMaterial() = default;
    RawMaterial(const RawMaterial&) = default;
    RawMaterial& operator=(const RawMaterial&) = default;
    RawMaterial(RawMaterial&&) noexcept = default;
    RawMaterial& operator=(RawMaterial&&) noexcept = default;

    const wchar_t* materialName() const { return name_.c_str(); }
    void materialName(const wchar_t* name) { name_ = name ? name : L""; }
    const wchar_t* textureTag() const { return textureTag_.c_str(); }
    void textureTag(const wchar_t* tag) { textureTag_ = tag ? tag : L""; }

    const Color3& firstColor() const { return colors_[0]; }
    const Color3& secondColor() const { return colors_[1]; }
    const Color3& thirdColor() const { return colors_[2]; }
    void setColors(const Color3& first, const Color3& second, const Color3& third)
    {
        colors_[0] = first;
        colors_[1] = second;
        colors_[2] = third;
    }

private:
    std::wstring name_;
    std::wstring textureTag_;
    Color3 colors_[3];
};

// Ordered list of materials with contiguous storage.
class RawMaterialList
{
public:
    RawMaterial* begin() { return items_.data(); }
    RawMaterial* end() { return items_.data() + items_.size(); }
    const RawMaterial* begin() const { return items_.data(); }
    const RawMaterial* end() const { return items_.data() + items_.size(); }
    void push_back(const RawMaterial& m) { items_.push_back(m); }
    size_t size() const { return items_.size(); }
    bool empty() const { return items_.empty(); }
    RawMaterial& operator[](size_t i) { return items_[i]; }
    const RawMaterial& operator[](size_t i) const { return items_[i]; }

private:
    std::vector<RawMaterial> items_;
};

}  // namespace Quelm::Objects
