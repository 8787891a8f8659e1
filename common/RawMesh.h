#pragma once

#include "common/Vector.h"

#include <cstdint>
#include <vector>

namespace Quelm::Objects
{

// Index width of a RawMesh or Node. This library always uses Index32.
enum MeshIndexType : uint8_t
{
    Index16 = 0,
    Index32 = 1,
};

// A flat indexed triangle buffer: per-vertex arrays (positions, normals, texture coordinates,
// tangents, bitangents, packed colours) and three indices per triangle. Sizes count elements, not
// floats; a zero size means the attribute is absent. Accessors do not check their index.
class RawMesh
{
public:
    explicit RawMesh(MeshIndexType indexType = Index32) : indexType_(indexType) {}
    virtual ~RawMesh() = default;
    RawMesh(const RawMesh&) = default;
    RawMesh& operator=(const RawMesh&) = default;
    RawMesh(RawMesh&&) noexcept = default;
    RawMesh& operator=(RawMesh&&) noexcept = default;

    MeshIndexType indexType() const { return indexType_; }

    // True when the buffer holds a usable mesh: at least one position, a whole number of
    // triangles, every index below the position count, and every other per-vertex array either
    // absent or as long as the positions. O(indices).
    bool isValid() const;

    uint64_t positionsSize() const { return positions_.size(); }
    uint64_t normalsSize() const { return normals_.size(); }
    uint64_t textureCoordsSize() const { return texCoords_.size(); }
    uint64_t tangentsSize() const { return tangents_.size(); }
    uint64_t bitangentsSize() const { return bitangents_.size(); }
    uint64_t vertexColorsSize() const { return colors_.size(); }
    uint64_t indicesSize() const { return indices_.size(); }

    Vector3<float>& positionAt(uint64_t i) { return positions_[i]; }
    const Vector3<float>& positionAt(uint64_t i) const { return positions_[i]; }
    Vector3<float>& normalAt(uint64_t i) { return normals_[i]; }
    const Vector3<float>& normalAt(uint64_t i) const { return normals_[i]; }
    Vector3<float>& tangentAt(uint64_t i) { return tangents_[i]; }
    const Vector3<float>& tangentAt(uint64_t i) const { return tangents_[i]; }
    Vector3<float>& bitangentAt(uint64_t i) { return bitangents_[i]; }
    const Vector3<float>& bitangentAt(uint64_t i) const { return bitangents_[i]; }
    Vector2<float>& textureCoordAt(uint64_t i) { return texCoords_[i]; }
    const Vector2<float>& textureCoordAt(uint64_t i) const { return texCoords_[i]; }
    // Packed colour: bytes from least significant are blue, green, red, alpha.
    uint32_t vertexColorAt(uint64_t i) const { return colors_[i]; }
    uint32_t indexAt(uint64_t i) const { return indices_[i]; }

    // The push, resize and reserve operations are const, with mutable storage: host code fills
    // raw meshes through const references, so they must be callable there. On a non-const
    // RawMesh they behave as ordinary mutators.
    void pushBackPosition(const Vector3<float>& p) const { positions_.push_back(p); }
    void pushBackNormal(const Vector3<float>& n) const { normals_.push_back(n); }
    void pushBackTangent(const Vector3<float>& t) const { tangents_.push_back(t); }
    void pushBackBitangent(const Vector3<float>& b) const { bitangents_.push_back(b); }
    void pushBackTextureCoord(const Vector2<float>& t) const { texCoords_.push_back(t); }
    void pushBackvertexColor(uint32_t packed) const { colors_.push_back(packed); }
    // Appends one index; false (and nothing appended) when it does not fit the index type.
    bool pushBackIndex(uint32_t index) const;

    void resizePositions(uint64_t n) const { positions_.resize(n); }
    void resizeNormals(uint64_t n) const { normals_.resize(n); }
    void resizeTextureCoords(uint64_t n) const { texCoords_.resize(n); }
    void resizeTangents(uint64_t n) const { tangents_.resize(n); }
    void resizeBitangents(uint64_t n) const { bitangents_.resize(n); }
    void resizeIndices(uint64_t n) const { indices_.resize(n); }

    // Reserve room ahead of many pushes.
    void reserveVertices(uint64_t n) const;
    void reserveIndices(uint64_t n) const { indices_.reserve(n); }

    // Direct access to the arrays, for bulk copies.
    std::vector<Vector3<float>>& positions() { return positions_; }
    const std::vector<Vector3<float>>& positions() const { return positions_; }
    std::vector<Vector3<float>>& normals() { return normals_; }
    const std::vector<Vector3<float>>& normals() const { return normals_; }
    std::vector<Vector2<float>>& textureCoords() { return texCoords_; }
    const std::vector<Vector2<float>>& textureCoords() const { return texCoords_; }
    std::vector<uint32_t>& indices() { return indices_; }
    const std::vector<uint32_t>& indices() const { return indices_; }

private:
    MeshIndexType indexType_;
    // mutable: see the push and resize operations above
    mutable std::vector<Vector3<float>> positions_;
    mutable std::vector<Vector3<float>> normals_;
    mutable std::vector<Vector2<float>> texCoords_;
    mutable std::vector<Vector3<float>> tangents_;
    mutable std::vector<Vector3<float>> bitangents_;
    mutable std::vector<uint32_t> colors_;
    mutable std::vector<uint32_t> indices_;
};

}  // namespace Quelm::Objects
