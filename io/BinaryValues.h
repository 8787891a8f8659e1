#pragma once

#include <cstddef>
#include <cstdint>

// Loads of little- and big-endian values from unaligned bytes, and finiteness tests on the raw
// bits of floats, for the binary file checks.
namespace Quelm::IO::detail
{

inline uint32_t loadLE32(const unsigned char* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;  // one load
}

// An unsigned integer of `bytes` (1 to 8) bytes.
inline uint64_t loadUnsigned(const unsigned char* p, size_t bytes, bool bigEndian)
{
    uint64_t v = 0;
    for (size_t i = 0; i < bytes; ++i)
        v |= uint64_t(p[bigEndian ? bytes - 1 - i : i]) << (8 * i);
    return v;
}

inline bool isFiniteFloatLE(const unsigned char* p)
{
    return (loadLE32(p) & 0x7f800000u) != 0x7f800000u;
}

// A float (4 bytes) or double (8 bytes) that is neither NaN nor infinite.
inline bool isFiniteBinary(const unsigned char* p, size_t bytes, bool bigEndian)
{
    if (bytes == 4 && !bigEndian)  // fast path: the common case
        return isFiniteFloatLE(p);
    const uint64_t bits = loadUnsigned(p, bytes, bigEndian);
    if (bytes == 4)
        return (bits & 0x7f800000u) != 0x7f800000u;
    return (bits & 0x7ff0000000000000ull) != 0x7ff0000000000000ull;
}

}  // namespace Quelm::IO::detail
