#pragma once

#include "io/ByteSource.h"
#include "io/PlyHeader.h"
#include "io/TextScan.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

// The PLY data checks, record by record, so that a streaming reader can validate each record it
// decodes with the same rules as the file check.
namespace Quelm::IO::detail
{

// Why a text value cannot be read as `type`, or null when it can: a float must be a finite
// decimal number within a float's range, an integer a decimal integer within its type's range
// (OpenMesh's reader otherwise fails the extraction and goes on with an uninitialised value).
// `integer` gets an integer's value.
const char* plyTextValueFault(std::string_view token, const PlyType& type, int64_t& integer);

// Values of a text PLY body token by token, whatever the line breaks.
class PlyTextTokens
{
public:
    explicit PlyTextTokens(ByteSource& src) : src_(src), tokens_(std::string_view()) {}
    bool next(std::string_view& token)
    {
        while (!tokens_.next(token))
        {
            std::string_view line;
            if (!src_.line(line))
                return false;
            tokens_ = Tokens(line);
        }
        return true;
    }
    // Line of the last token returned.
    uint64_t lineNumber() const { return src_.lineNumber(); }

private:
    ByteSource& src_;
    Tokens tokens_;
};

// Checks one record of `element` from a text body. `index` is the record's number, for reasons.
bool checkPlyTextRecord(PlyTextTokens& values, const PlyElement& element, uint64_t index, Fault& fault);

// The result of checking one binary record held in memory.
struct PlyBinaryRecord
{
    enum Status
    {
        Ok,        // `bytes` is the record's size
        NeedMore,  // the record runs past the bytes given: `bytes` is how many it needs at least
        Bad,       // `faultOffset` (from the record's start) and `what` say why
    };
    Status status = Ok;
    size_t bytes = 0;
    size_t faultOffset = 0;
    const char* what = nullptr;
};

// Checks the binary record of `element` at `p` (`available` bytes there): list lengths not
// negative and at most the element's limit, positions (vertex x, y, z) finite.
PlyBinaryRecord checkPlyBinaryRecord(const unsigned char* p, size_t available, const PlyElement& element,
                                     bool bigEndian);

// The whole PLY file check: parsePlyHeader, checkPlyCounts, then every record. Refused
// besides: data cut short; text values that are not numbers, that are not finite, or that do
// not fit their type; list counts that are negative, do not fit their count type or pass the
// element's limit; binary positions that are NaN or infinite. Reasons give the line (header and
// text data) or the byte (binary data).
bool checkPly(ByteSource& src, Fault& fault);

}  // namespace Quelm::IO::detail
