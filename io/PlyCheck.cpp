#include "io/PlyCheck.h"

#include "io/BinaryValues.h"
#include "io/TextScan.h"

#include <algorithm>
#include <string>

namespace Quelm::IO::detail
{
namespace
{

static_assert(kMaxPlyFaceCorners == 1024 && kMaxPlyListLength == 1024, "the binary reason names the limit");

std::string ends(const PlyElement& element, uint64_t index)
{
    return "the header announces " + std::to_string(element.count) + " " + element.name +
           " records, the file ends after " + std::to_string(index);
}

bool checkPlyText(ByteSource& src, const PlyHeader& header, Fault& fault)
{
    PlyTextTokens values(src);
    for (const PlyElement& element : header.elements)
        for (uint64_t i = 0; i < element.count; ++i)
            if (!checkPlyTextRecord(values, element, i, fault))
                return false;
    return true;
}

bool checkPlyBinary(ByteSource& src, const PlyHeader& header, Fault& fault)
{
    const bool bigEndian = header.format == PlyFormat::BigEndian;
    for (const PlyElement& element : header.elements)
    {
        if (element.count == 0)
            continue;
        bool needsCheck = element.hasLists;
        for (const PlyProperty& p : element.properties)
            needsCheck = needsCheck || (p.isPosition && p.type->isFloat);
        if (!needsCheck)  // fast path: fixed-size records with nothing to check
        {
            const uint64_t records = std::min(element.count, src.left() / element.fixedBytes);
            if (records < element.count || !src.skip(element.count * element.fixedBytes))
                return fault.atByte(src.offset() + records * element.fixedBytes, ends(element, records));
            continue;
        }
        for (uint64_t i = 0; i < element.count; ++i)
        {
            size_t want = static_cast<size_t>(element.fixedBytes);
            for (;;)
            {
                if (!src.ensure(want))
                    return fault.atByte(src.offset(), ends(element, i));
                const PlyBinaryRecord record =
                    checkPlyBinaryRecord(src.data(), src.buffered(), element, bigEndian);
                if (record.status == PlyBinaryRecord::Ok)
                {
                    src.consume(record.bytes);
                    break;
                }
                if (record.status == PlyBinaryRecord::Bad)
                    return fault.atByte(src.offset() + record.faultOffset,
                                        element.name + " " + std::to_string(i) + ": " + record.what);
                want = record.bytes;
            }
        }
    }
    return true;
}

}  // namespace

const char* plyTextValueFault(std::string_view token, const PlyType& type, int64_t& integer)
{
    if (type.isFloat)
    {
        if (isFiniteNumber(token))
            return nullptr;
        double value = 0;
        return isNonFiniteWord(token)      ? "is not a finite number"
               : parseNumber(token, value) ? "is too large for a float"
                                           : "is not a number";
    }
    switch (fitInteger(token, type.min, type.max, integer))
    {
    case IntegerFit::Fits:
        return nullptr;
    case IntegerFit::NotInteger:
        return "is not an integer";
    default:
        return "does not fit its type";
    }
}

bool checkPlyTextRecord(PlyTextTokens& values, const PlyElement& element, uint64_t index, Fault& fault)
{
    std::string_view token;
    int64_t integer = 0;
    auto value = [&](const PlyType& type)
    {
        if (!values.next(token))
            return fault.atLine(values.lineNumber(), ends(element, index));
        // fast path: the test the reason below would make, without building it
        if (type.isFloat ? isFiniteNumber(token)
                         : fitInteger(token, type.min, type.max, integer) == IntegerFit::Fits)
            return true;
        const char* why = plyTextValueFault(token, type, integer);
        return fault.atLine(values.lineNumber(), quoted(token) + " " + why + " (" + type.name + ")");
    };
    for (const PlyProperty& p : element.properties)
    {
        if (!p.countType)
        {
            if (!value(*p.type))
                return false;
            continue;
        }
        if (!value(*p.countType))
            return false;
        if (integer < 0)
            return fault.atLine(values.lineNumber(), "list length " + quoted(token) + " is negative");
        const auto length = static_cast<uint64_t>(integer);
        if (length > element.maxListLength)
            return fault.atLine(values.lineNumber(), "a list of " + std::to_string(length) +
                                                         " entries (at most " +
                                                         std::to_string(element.maxListLength) + ")");
        for (uint64_t k = 0; k < length; ++k)
            if (!value(*p.type))
                return false;
    }
    return true;
}

PlyBinaryRecord checkPlyBinaryRecord(const unsigned char* p, size_t available, const PlyElement& element,
                                     bool bigEndian)
{
    PlyBinaryRecord result;
    size_t at = 0;
    for (const PlyProperty& property : element.properties)
    {
        const PlyType* head = property.countType ? property.countType : property.type;
        if (at + head->bytes > available)
        {
            result.status = PlyBinaryRecord::NeedMore;
            result.bytes = at + head->bytes;
            return result;
        }
        if (!property.countType)
        {
            if (property.isPosition && property.type->isFloat &&
                !isFiniteBinary(p + at, property.type->bytes, bigEndian))
            {
                result.status = PlyBinaryRecord::Bad;
                result.faultOffset = at;
                result.what = "a position that is not a finite number";
                return result;
            }
            at += property.type->bytes;
            continue;
        }
        const size_t bytes = property.countType->bytes;
        const uint64_t length = loadUnsigned(p + at, bytes, bigEndian);
        if (property.countType->min < 0 && (length >> (8 * bytes - 1)) != 0)
        {
            result.status = PlyBinaryRecord::Bad;
            result.faultOffset = at;
            result.what = "a list length that is negative";
            return result;
        }
        if (length > element.maxListLength)
        {
            result.status = PlyBinaryRecord::Bad;
            result.faultOffset = at;
            result.what = "a list longer than 1024 entries";
            return result;
        }
        at += bytes + static_cast<size_t>(length) * property.type->bytes;
    }
    if (at > available)
    {
        result.status = PlyBinaryRecord::NeedMore;
        result.bytes = at;
        return result;
    }
    result.bytes = at;
    return result;
}

bool checkPly(ByteSource& src, Fault& fault)
{
    PlyHeader header;
    if (!parsePlyHeader(src, header, fault) || !checkPlyCounts(header, src.left(), fault))
        return false;
    if (header.format == PlyFormat::Ascii)
        return checkPlyText(src, header, fault);
    return checkPlyBinary(src, header, fault);
}

}  // namespace Quelm::IO::detail
