#pragma once

#include "io/ByteSource.h"
#include "io/TextScan.h"

#include <cstdint>
#include <string_view>

// The OBJ file check, line by line, so that a reader that streams the file can run the same
// checks on each line it reads.
namespace Quelm::IO::detail
{

// The readers' cost for one polygon grows with the square of its corners (duplicate-vertex test,
// fan triangulation around one vertex): past this many a single face can stall a reader.
constexpr uint64_t kMaxFaceCorners = 1024;

enum class ObjLineKind
{
    Blank,
    Position,         // v
    Normal,           // vn
    TexCoord,         // vt
    Face,             // f
    MaterialLibrary,  // mtllib
    Other,            // anything else: comments, groups, usemtl, ...
};

// The kind of `line` by its first token; `rest` gets what follows that token.
ObjLineKind classifyObjLine(std::string_view line, std::string_view& rest);

// Every corner starts with its vertex index: a corner like "/5" makes a reader attach a texture
// coordinate to a vertex it does not have.
inline bool isObjCorner(std::string_view token)
{
    const size_t digit = token[0] == '-' || token[0] == '+' ? 1 : 0;
    return digit < token.size() && isDigit(token[digit]);
}

// Checks one line (number `lineNumber`, for the reason). Refused: a "v" line with fewer than 3
// values or one that is not a plain decimal number below about 1e38; a "vn" line with fewer than
// 3 values or one that is not a number (a number that is not finite, "nan", "inf", "1e99", is
// let through: its normal becomes zero); a "vt" line without a number or with one that is not
// finite; a face with more than kMaxFaceCorners corners or a corner without its vertex index; an
// "mtllib" name that names something that exists and is not a regular file. Values after a "#"
// on v, vn and vt lines are a comment; on a face line only words without "/" are (a reader goes
// on taking corners after a "#").
bool checkObjLine(std::string_view line, uint64_t lineNumber, Fault& fault);

// checkObjLine over every line of `src`.
bool checkObj(ByteSource& src, Fault& fault);

}  // namespace Quelm::IO::detail
