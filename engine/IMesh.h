#pragma once

#include "engine/MeshTypes.h"

#include <vector>

namespace vsk
{

// A set of points addressed by stable unsigned IDs. IDs below GetMaxVertexID() for which
// IsVertex() is false are holes that callers skip.
class IPointSet
{
public:
    virtual ~IPointSet() = default;

    // Position (and normal, when `pNormal` is not null), widened to double. An invalid ID is
    // reported through the assertion handler and yields zero vectors.
    virtual void GetVertex(unsigned vID, Vector3d& v, Vector3d* pNormal = nullptr) const = 0;
    virtual void GetVertex(unsigned vID, Vector3f& v, Vector3f* pNormal = nullptr) const = 0;
    // Live vertices.
    virtual unsigned GetVertexCount() const = 0;
    // One past the highest vertex slot ever used; 0 for an empty set.
    virtual unsigned GetMaxVertexID() const = 0;
    // False for IMesh::InvalidID, holes and IDs past the end; never asserts.
    virtual bool IsVertex(unsigned vID) const = 0;
    virtual void GetNormal(unsigned vID, Vector3f& n) const = 0;

protected:
    IPointSet() = default;
    IPointSet(const IPointSet&) = default;
    IPointSet& operator=(const IPointSet&) = default;
};

// A triangle mesh over a point set, with optional per-vertex attribute sets.
class IMesh : public IPointSet
{
public:
    // Returned by every lookup or iterator that finds nothing.
    static constexpr unsigned InvalidID = 0xFFFFFFFF;
    // Growth an attribute set accepts in one step.
    static constexpr size_t kMaxGrowth = size_t(1) << 26;

    // One scalar per vertex ID; IDs never set read as 0.
    class ScalarSet
    {
    public:
        float Get(unsigned vID) const { return vID < values_.size() ? values_[vID] : 0.0f; }
        // Grows the set to cover `vID`; InvalidID and IDs more than 2^26 past the end (garbage)
        // are ignored.
        void Set(unsigned vID, float value)
        {
            if (vID == InvalidID || (vID >= values_.size() && vID - values_.size() >= kMaxGrowth))
                return;
            if (vID >= values_.size())
                values_.resize(static_cast<size_t>(vID) + 1, 0.0f);
            values_[vID] = value;
        }
        size_t Size() const { return values_.size(); }

    private:
        std::vector<float> values_;
    };

    // One 2-D coordinate per vertex ID; IDs never set read as (0, 0).
    class UVSet
    {
    public:
        Vector2f Get(unsigned vID) const { return vID < values_.size() ? values_[vID] : Vector2f(); }
        // As ScalarSet::Set.
        void Set(unsigned vID, const Vector2f& uv)
        {
            if (vID == InvalidID || (vID >= values_.size() && vID - values_.size() >= kMaxGrowth))
                return;
            if (vID >= values_.size())
                values_.resize(static_cast<size_t>(vID) + 1);
            values_[vID] = uv;
        }
        size_t Size() const { return values_.size(); }

    private:
        std::vector<Vector2f> values_;
    };

    // The three vertex IDs of a triangle in winding order. An invalid ID is reported and gives
    // three InvalidIDs.
    virtual void GetTriangle(unsigned tID, Index3i& tri) const = 0;
    // Pointer to the three stored vertex IDs, valid until the mesh changes; an invalid ID is
    // reported and gives a pointer to three InvalidIDs (never null).
    virtual const unsigned* GetTriangle(unsigned tID) const = 0;
    virtual unsigned GetTriangleCount() const = 0;
    virtual unsigned GetMaxTriangleID() const = 0;
    virtual bool IsTriangle(unsigned tID) const = 0;
    // The slot becomes a hole; an invalid ID is reported and changes nothing.
    virtual void RemoveTriangle(unsigned tID) = 0;
    // The triangle's group ID (material group); 0 when never set, InvalidID for an invalid ID.
    virtual unsigned GetTriangleGroup(unsigned tID) const = 0;

    // Attribute sets, created and looked up by index. Pointers stay valid until the next Append.
    unsigned AppendScalarSet()
    {
        scalarSets_.emplace_back();
        return static_cast<unsigned>(scalarSets_.size() - 1);
    }
    unsigned GetScalarSetCount() const { return static_cast<unsigned>(scalarSets_.size()); }
    // Null when `i` is out of range.
    ScalarSet* GetScalarSet(unsigned i) { return i < scalarSets_.size() ? &scalarSets_[i] : nullptr; }
    const ScalarSet* GetScalarSet(unsigned i) const
    {
        return i < scalarSets_.size() ? &scalarSets_[i] : nullptr;
    }
    unsigned AppendUVSet()
    {
        uvSets_.emplace_back();
        return static_cast<unsigned>(uvSets_.size() - 1);
    }
    unsigned GetUVSetCount() const { return static_cast<unsigned>(uvSets_.size()); }
    UVSet* GetUVSet(unsigned i) { return i < uvSets_.size() ? &uvSets_[i] : nullptr; }
    const UVSet* GetUVSet(unsigned i) const { return i < uvSets_.size() ? &uvSets_[i] : nullptr; }

protected:
    IMesh() = default;
    IMesh(const IMesh&) = default;
    IMesh& operator=(const IMesh&) = default;

    // Three InvalidIDs, handed out by the pointer form of GetTriangle for an invalid ID.
    static const unsigned* invalidTriangle()
    {
        static const unsigned kInvalid[3] = {InvalidID, InvalidID, InvalidID};
        return kInvalid;
    }

private:
    std::vector<ScalarSet> scalarSets_;
    std::vector<UVSet> uvSets_;
};

}  // namespace vsk
