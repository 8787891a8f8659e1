#pragma once

#include "io/StlCheck.h"

#include <istream>
#include <string>
#include <string_view>

namespace Quelm::IO::detail
{

// What the file check learned about a mesh file.
struct MeshFileCheck
{
    bool isAccepted = false;
    // Empty when accepted; else one line saying why, with the place where the file is at fault
    // ("line 4: 'x' is not a number", "byte 84: ...").
    std::string reason;
    // For ".stl": how the reader must take the file (text or binary).
    StlMode stlMode = StlMode::Unknown;
};

// The extensions the check knows, lower case with the dot: ".obj", ".off", ".ply", ".stl", ".om".
bool isMeshExtension(std::string_view extension);

// "unknown extension '.xyz': not an OBJ, OFF, PLY, STL or OM file", or "no extension: ..."
std::string unknownExtensionReason(std::string_view extension);

// A cheap structural check of a mesh file, made before the file reaches a reader, so that a
// malformed or hostile file is refused with a reason instead of hanging, aborting or exhausting
// memory in the reader. `extension` is lower case with the dot. The stream is read from its
// start and left rewound to it. O(file size): one pass, no mesh built, little allocated beyond
// one 1 MB block (OM: the file's halfedge lists). What each format refuses is listed with its
// check (ObjCheck.h, OffCheck.h, PlyCheck.h, StlCheck.h, OmCheck.h).
MeshFileCheck checkMeshFile(std::istream& in, std::string_view extension);

}  // namespace Quelm::IO::detail
