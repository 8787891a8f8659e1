#pragma once

#include <istream>
#include <string>

namespace Quelm::Topology
{

// A cheap structural check of a mesh file, made before the file reaches a reader, so that a
// malformed or hostile file is refused instead of hanging, aborting or exhausting memory.
class MeshFileGuard
{
public:
    // True when `in` may be handed to the reader for `extension` (lower case, with the dot:
    // ".obj", ".off", ".ply", ".stl", ".om"). The stream is read from its start and left
    // rewound to it.
    static bool accepts(std::istream& in, const std::string& extension);
};

}  // namespace Quelm::Topology
