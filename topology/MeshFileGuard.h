#pragma once

#include <istream>
#include <string>

namespace Quelm::Topology
{

// A cheap structural check of a mesh file, made before the file reaches a reader, so that a
// malformed or hostile file is refused instead of hanging, aborting or exhausting memory.
//
// One pass over the bytes, no mesh is built. Refused, per format:
// - every format: a stream whose size cannot be taken; an extension other than the five below.
// - OBJ: a "v" or "vn" line with fewer than 3 numbers, a "vt" line with none, any value on those lines
//   before a "#" comment that is not a plain decimal number below about 1e38 ("nan", "inf", "0x1p3",
//   "1e99"); a face ("f") with more than 1024 corners or a corner that does not begin with a vertex index
//   ("/5"; after a "#" the reader still takes corners, so only words without "/" are let through there);
//   an "mtllib" name that, taken relative to the current directory as the reader takes it (or absolute),
//   names something that exists and is not a regular file (a device, a named pipe, a directory).
// - OFF: a first line other than [ST][C][N]OFF (so binary, 4-D and n-D files); a counts line not exactly
//   three unsigned 32-bit integers; counts the remaining bytes cannot hold (2 bytes a number, 2 a face);
//   fewer vertex or face lines than counted (truncation); a vertex line with too few or non-finite
//   numbers; a face with more than 1024 corners or non-integer indices; after the vertices, any integer
//   the reader would extract (a token like "0-1" holds two) that is negative or above both the vertex
//   count and 1024 (the reader takes faces as one stream of numbers, so a leftover token becomes the
//   next face's corner count).
// - PLY: a first line other than "ply", a second other than "format ascii|binary_little_endian|
//   binary_big_endian 1.0"; any header line that is not comment, obj_info, "element <name> <count>",
//   "property <type> <name>", "property list <count type> <type> <name>" or "end_header" (extra tokens
//   included); types outside char..double and their sized aliases; list count types other than uchar,
//   uint8, uint16 and int; counts above 2^32-1, element counts the remaining bytes cannot hold (exact
//   sizes for binary, 2 bytes a value for text), an element counted but without properties; data cut
//   short; a face list longer than 1024 (other lists likewise) or negative; text values that are not
//   numbers (non-finite included); binary vertex x, y, z that are NaN or infinite.
// - STL, told apart as ReadMesh does (binary at exactly 84 + 50 n bytes, n the count at byte 80; else text
//   when it begins with "solid"; else binary when it holds at least n facets): binary with a NaN or
//   infinite corner, or fewer bytes than its count needs; text whose "vertex" or "facet normal" lines do
//   not carry exactly three finite numbers.
// - OM: a header without "OM", a mesh kind other than T, Q, P, a version newer than 2.2, counts past
//   2^31-1 (OpenMesh's handles), a vertex count whose positions the file cannot hold; an unknown entity or
//   chunk type; a chunk whose component count or scalar size the reader would assert on; data for elements
//   not yet created; a second position, halfedge, vertex-halfedge or face chunk; a chunk cut short;
//   non-finite positions; named custom chunks called like standard properties ("v:...", "f:...", ...),
//   unnamed ones, and (version 2.2) custom chunks of string, vector or bool type. From version 2.0 the
//   halfedge connectivity is checked whole: indices in range, successors forming a permutation that
//   continues at the right vertex inside one face, no edge from a vertex to itself, every face a triangle
//   reached from its halfedge, every vertex halfedge leaving its vertex. Older files: faces past 1024
//   corners (kind P) and any non-vertex data.
class MeshFileGuard
{
public:
    // True when `in` may be handed to the reader for `extension` (lower case, with the dot:
    // ".obj", ".off", ".ply", ".stl", ".om"). The stream is read from its start and left
    // rewound to it. O(file size): reads every byte once, allocates little beyond one 1 MB
    // block (OM: the file's halfedge lists, to check them).
    static bool accepts(std::istream& in, const std::string& extension);
};

}  // namespace Quelm::Topology
