#pragma once

#include "io/ByteSource.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The PLY header as the file check and a streaming reader both need it: format, elements and
// their properties with types, the header's length, and the check of the element counts against
// the bytes after the header.
namespace Quelm::IO::detail
{

struct PlyType
{
    const char* name;
    uint8_t bytes;
    bool isFloat;
    bool isListCount;  // accepted by OpenMesh's reader as the length type of a list
    int64_t min;       // integer range; unused for floats
    uint64_t max;
};

// The type called `name` (char..double and their sized aliases), or null.
const PlyType* findPlyType(std::string_view name);

struct PlyProperty
{
    std::string name;
    const PlyType* type = nullptr;
    const PlyType* countType = nullptr;  // set for a list
    bool isPosition = false;             // x, y or z of a vertex: must be finite
};

struct PlyElement
{
    std::string name;
    uint64_t count = 0;
    uint64_t maxListLength = 0;  // longest list a record may hold
    uint64_t line = 0;           // header line that declares it
    std::vector<PlyProperty> properties;
    bool hasLists = false;
    uint64_t fixedBytes = 0;  // binary bytes of one record without lists (with lists: the smallest)
};

enum class PlyFormat
{
    Ascii,
    LittleEndian,
    BigEndian,
};

struct PlyHeader
{
    PlyFormat format = PlyFormat::Ascii;
    std::vector<PlyElement> elements;
    uint64_t headerBytes = 0;  // offset of the first data byte
    uint64_t headerLines = 0;  // lines up to and including end_header
};

// Longest face (an element called "face") and longest other list the check lets through: a
// reader allocates a list before reading it, and its cost for one polygon grows with the square
// of its corners.
constexpr uint64_t kMaxPlyFaceCorners = 1024;
constexpr uint64_t kMaxPlyListLength = 1024;

// Reads the header from the start of `src` up to and including "end_header". Refused: a first
// line other than "ply", a second other than "format ascii|binary_little_endian|
// binary_big_endian 1.0"; any line that is not comment, obj_info, "element <name> <count>",
// "property <type> <name>", "property list <count type> <type> <name>" or "end_header" (extra
// tokens included: OpenMesh's reader loops forever on a keyword it does not know); unknown types;
// list count types other than uchar, uint8, uint16 and int; counts above 2^32-1; a property
// before any element; no end_header. Reasons name the header line.
bool parsePlyHeader(ByteSource& src, PlyHeader& header, Fault& fault);

// The smallest number of bytes the data of every element needs (exact for binary without lists,
// 2 bytes a value for text) against the `bytesLeft` after the header; also refuses an element
// counted but without properties (a reader would loop over its count reading nothing).
bool checkPlyCounts(const PlyHeader& header, uint64_t bytesLeft, Fault& fault);

}  // namespace Quelm::IO::detail
