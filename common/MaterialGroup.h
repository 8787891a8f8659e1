#pragma once

#include <cstdint>
#include <vector>

namespace Quelm::Objects
{

// The triangles of one material group of a surface: the group ID and its triangle IDs in
// ascending order.
struct MaterialGroup
{
    uint32_t groupID = 0;
    std::vector<uint32_t> triangles;
};

}  // namespace Quelm::Objects
