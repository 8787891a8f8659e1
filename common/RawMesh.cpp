#include "common/RawMesh.h"

namespace Quelm::Objects
{

bool RawMesh::isValid() const
{
    const uint64_t n = positions_.size();
    if (n == 0 || indices_.size() % 3 != 0)
        return false;
    for (uint64_t size : {normals_.size(), texCoords_.size(), tangents_.size(), bitangents_.size()})
        if (size != 0 && size != n)
            return false;
    for (uint32_t index : indices_)
        if (index >= n)
            return false;
    return true;
}

bool RawMesh::pushBackIndex(uint32_t index) const
{
    if (indexType_ == Index16 && index > 0xFFFFu)
        return false;
    indices_.push_back(index);
    return true;
}

void RawMesh::reserveVertices(uint64_t n) const
{
    positions_.reserve(n);
}

}  // namespace Quelm::Objects
