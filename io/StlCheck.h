#pragma once

#include "io/ByteSource.h"

#include <cstdint>

namespace Quelm::IO::detail
{

enum class StlMode
{
    Unknown,
    Text,
    Binary,
};

constexpr uint64_t kStlHeaderBytes = 84;
constexpr uint64_t kStlFacetBytes = 50;

// How a reader must take an STL file `size` bytes long whose first bytes are `start` (up to 84):
// binary when the facet count at byte 80 accounts for the size exactly; else text when the file
// starts with "solid" (any case, after white space); else binary when the size holds at least the
// facets counted (trailing bytes unread). Unknown when none applies (a binary file announcing
// more facets than it holds).
StlMode stlModeOf(const unsigned char* start, size_t startBytes, uint64_t size);

// The STL file check; `mode` gets the file's mode as stlModeOf decides it. Refused: binary with
// a NaN or infinite corner, or fewer bytes than its count needs; text whose "vertex" or "facet
// normal" lines do not carry exactly three finite numbers. Reasons name the byte of the facet
// (binary) or the line (text).
bool checkStl(ByteSource& src, StlMode& mode, Fault& fault);

}  // namespace Quelm::IO::detail
