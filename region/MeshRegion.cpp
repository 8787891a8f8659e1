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

void MeshRegion::Faces(std::vector<unsigned>& out) const
{
    out.reserve(out.size() + faces_.size());
    out.insert(out.end(), faces_.begin(), faces_.end());
}

}  // namespace Quelm::Topology
