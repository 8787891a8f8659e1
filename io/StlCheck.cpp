#include "io/StlCheck.h"

#include "io/BinaryValues.h"
#include "io/TextScan.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace Quelm::IO::detail
{
namespace
{

bool checkBinaryStl(ByteSource& src, uint64_t facets, Fault& fault)
{
    src.consume(kStlHeaderBytes);
    for (uint64_t f = 0; f < facets; ++f)
    {
        if (!src.ensure(kStlFacetBytes))
            return fault.atByte(src.offset(), "the header announces " + std::to_string(facets) +
                                                  " facets, the file ends after " + std::to_string(f));
        const unsigned char* p = src.data();
        for (int k = 3; k < 12; ++k)  // the three corners; the facet normal is not used
            if (!isFiniteFloatLE(p + 4 * k))
                return fault.atByte(src.offset() + 4 * static_cast<uint64_t>(k),
                                    "a corner of facet " + std::to_string(f) + " is not a finite number");
        src.consume(kStlFacetBytes);
    }
    return true;
}

bool checkTextStl(ByteSource& src, Fault& fault)
{
    std::string_view line;
    while (src.line(line))
    {
        Tokens tokens(line);
        std::string_view keyword, token;
        if (!tokens.next(keyword) || (keyword != "vertex" && keyword != "normal" && keyword != "facet"))
            continue;
        if (keyword == "facet" && (!tokens.next(token) || token != "normal"))
            continue;
        size_t n = 0;
        for (; tokens.next(token); ++n)
            if (!isFiniteNumber(token))
                return fault.atLine(src.lineNumber(), quoted(token) + " is not a finite number");
        if (n != 3)
            return fault.atLine(src.lineNumber(),
                                "'" + std::string(keyword == "vertex" ? "vertex" : "facet normal") +
                                    "' needs 3 numbers, found " + std::to_string(n));
    }
    return true;
}

}  // namespace

StlMode stlModeOf(const unsigned char* start, size_t startBytes, uint64_t size)
{
    const bool hasCount = startBytes >= kStlHeaderBytes && size >= kStlHeaderBytes;
    const uint64_t facets = hasCount ? loadLE32(start + 80) : 0;
    const bool holdsFacets = hasCount && kStlHeaderBytes + facets * kStlFacetBytes <= size;
    if (holdsFacets && kStlHeaderBytes + facets * kStlFacetBytes == size)
        return StlMode::Binary;
    size_t i = 0;
    const size_t n = std::min<size_t>(startBytes, 80);
    while (i < n && (start[i] == ' ' || start[i] == '\t' || start[i] == '\r' || start[i] == '\n'))
        ++i;
    static const char kSolid[] = "solid";
    bool isSolid = i + 5 <= n;
    for (size_t k = 0; isSolid && k < 5; ++k)
        isSolid = (start[i + k] | 0x20) == kSolid[k];
    if (isSolid)
        return StlMode::Text;
    return holdsFacets ? StlMode::Binary : StlMode::Unknown;
}

bool checkStl(ByteSource& src, StlMode& mode, Fault& fault)
{
    const uint64_t size = src.left();
    const size_t startBytes = static_cast<size_t>(std::min<uint64_t>(size, kStlHeaderBytes));
    mode = StlMode::Unknown;
    if (!src.ensure(startBytes))
        return fault.general("cannot be read to its end");
    mode = stlModeOf(src.data(), startBytes, size);
    if (mode == StlMode::Text)
        return checkTextStl(src, fault);
    if (mode == StlMode::Binary)
        return checkBinaryStl(src, loadLE32(src.data() + 80), fault);
    if (size < kStlHeaderBytes)
        return fault.atByte(size, "not a text STL file (no 'solid') and too short for a binary one");
    return fault.atByte(80, "the header announces " + std::to_string(loadLE32(src.data() + 80)) +
                                " facets, more than the file's " + std::to_string(size) + " bytes hold");
}

}  // namespace Quelm::IO::detail
