#pragma once

#include <istream>
#include <string>

namespace Quelm::Topology
{

// The file check that ReadMesh runs before a file reaches OpenMesh's readers, as a yes or no.
// The checks themselves, their reasons and what each format refuses are in io/ (MeshFileCheck.h
// and one check per format).
class MeshFileGuard
{
public:
    // True when `in` may be handed to the reader for `extension` (lower case, with the dot:
    // ".obj", ".off", ".ply", ".stl", ".om"). The stream is read from its start and left
    // rewound to it. O(file size): reads every byte once.
    static bool accepts(std::istream& in, const std::string& extension);
};

}  // namespace Quelm::Topology
