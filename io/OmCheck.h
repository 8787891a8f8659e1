#pragma once

#include "io/ByteSource.h"

namespace Quelm::IO::detail
{

// The OM file check. Refused: a header without "OM", a mesh kind other than T, Q, P, a version
// newer than 2.2, counts past 2^31-1 (OpenMesh's handles), a vertex count whose positions the
// file cannot hold; an unknown entity or chunk type; a chunk whose component count or scalar
// size the reader would assert on; data for elements not yet created; a second position,
// halfedge, vertex-halfedge or face chunk; a chunk cut short; non-finite positions; named custom
// chunks called like standard properties ("v:...", "f:...", ...), unnamed ones, and (version
// 2.2) custom chunks of string, vector or bool type. From version 2.0 the halfedge connectivity
// is checked whole: indices in range, successors forming a permutation that continues at the
// right vertex inside one face, no edge from a vertex to itself, every face a triangle reached
// from its halfedge, every vertex halfedge leaving its vertex. Older files: faces past 1024
// corners (kind P) and any non-vertex data. Reasons name the byte of the chunk (or of the
// topology chunk, for a broken link). Allocates the file's halfedge lists, to check them.
bool checkOm(ByteSource& src, Fault& fault);

}  // namespace Quelm::IO::detail
