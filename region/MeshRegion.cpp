#include "region/MeshRegion.h"

#include <utility>

namespace Quelm::Topology
{

MeshRegion& MeshRegion::operator=(const MeshRegion& other)
{
    if (this != &other)
        faces_ = other.faces_;
    return *this;
}

MeshRegion& MeshRegion::operator=(MeshRegion&& other)
{
    if (this != &other)
    {
        faces_ = std::move(other.faces_);
        other.faces_.clear();  // the moved-from region is left empty, not in an unspecified state
    }
    return *this;
}

// Traversal may run beside insertions, but the set can grow between a size query and the end
// of the walk, so nothing here relies on its size: each ID is appended as it is reached.
void MeshRegion::Faces(std::vector<unsigned>& out)
{
    for (unsigned fID : faces_)
        out.push_back(fID);
}

tbb::concurrent_unordered_set<unsigned> MeshRegion::Faces() const
{
    tbb::concurrent_unordered_set<unsigned> copy;
    for (unsigned fID : faces_)
        copy.insert(fID);
    return copy;
}

}  // namespace Quelm::Topology
