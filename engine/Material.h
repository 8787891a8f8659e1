#pragma once

#include "engine/Image.h"

#include <map>
#include <memory>
#include <string>

namespace vsk
{

// A named material with an optional texture.
class Material
{
public:
    explicit Material(std::string name = "") : name_(std::move(name)) {}

    const std::string& GetName() const { return name_; }
    void SetTexture(std::shared_ptr<Texture> texture) { texture_ = std::move(texture); }
    // The texture, or null when the material has none.
    Texture* GetTexture() const { return texture_.get(); }

private:
    std::string name_;
    std::shared_ptr<Texture> texture_;
};

// Materials of a surface, by triangle group ID.
class MaterialSet
{
public:
    // Sets (or replaces) the material of a group; a null material removes the entry.
    void SetMaterial(unsigned groupID, std::shared_ptr<Material> material)
    {
        if (material)
            materials_[groupID] = std::move(material);
        else
            materials_.erase(groupID);
    }
    // The material of a group, or null when the group has none.
    Material* FindMaterial(unsigned groupID) const
    {
        auto it = materials_.find(groupID);
        return it == materials_.end() ? nullptr : it->second.get();
    }
    size_t Size() const { return materials_.size(); }

private:
    std::map<unsigned, std::shared_ptr<Material>> materials_;
};

}  // namespace vsk
