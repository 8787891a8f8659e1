#pragma once

#include "io/ByteSource.h"

namespace Quelm::IO::detail
{

// The OFF file check. Refused: a first line other than [ST][C][N]OFF (so binary, 4-D and n-D
// files); a counts line not exactly three unsigned 32-bit integers; counts the remaining bytes
// cannot hold (2 bytes a number, 2 a face); fewer vertex or face lines than counted; a vertex
// line with too few numbers or one that is not finite; a face with more than kMaxFaceCorners
// corners or indices that are not integers; after the vertices, any integer the reader would
// extract (a token like "0-1" holds two) that is negative or above both the vertex count and
// kMaxFaceCorners (the reader takes faces as one stream of numbers, so a leftover token becomes
// the next face's corner count). Reasons name the line.
bool checkOff(ByteSource& src, Fault& fault);

}  // namespace Quelm::IO::detail
