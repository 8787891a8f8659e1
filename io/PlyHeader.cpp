#include "io/PlyHeader.h"

#include "io/TextScan.h"

#include <algorithm>

namespace Quelm::IO::detail
{
namespace
{

// clang-format off
constexpr PlyType kPlyTypes[] = {
    {"char",    1, false, false, INT8_MIN,  INT8_MAX},   {"int8",    1, false, false, INT8_MIN,  INT8_MAX},
    {"uchar",   1, false, true,  0,         UINT8_MAX},  {"uint8",   1, false, true,  0,         UINT8_MAX},
    {"short",   2, false, false, INT16_MIN, INT16_MAX},  {"int16",   2, false, false, INT16_MIN, INT16_MAX},
    {"ushort",  2, false, false, 0,         UINT16_MAX}, {"uint16",  2, false, true,  0,         UINT16_MAX},
    {"int",     4, false, true,  INT32_MIN, INT32_MAX},  {"int32",   4, false, false, INT32_MIN, INT32_MAX},
    {"uint",    4, false, false, 0,         UINT32_MAX}, {"uint32",  4, false, false, 0,         UINT32_MAX},
    {"float",   4, true,  false, 0,         0},          {"float32", 4, true,  false, 0,         0},
    {"double",  8, true,  false, 0,         0},          {"float64", 8, true,  false, 0,         0},
};
// clang-format on

}  // namespace

const PlyType* findPlyType(std::string_view name)
{
    for (const PlyType& type : kPlyTypes)
        if (name == type.name)
            return &type;
    return nullptr;
}

bool parsePlyHeader(ByteSource& src, PlyHeader& header, Fault& fault)
{
    header = PlyHeader();
    std::string_view line;
    if (!src.line(line) || trim(line) != "ply")
        return fault.atLine(1, "not a PLY file (the first line must be 'ply')");
    if (!src.line(line))
        return fault.atLine(2, "the file ends before the format line");
    {
        Tokens tokens(line);
        std::string_view keyword, name, version, extra;
        tokens.next(keyword);
        tokens.next(name);
        tokens.next(version);
        if (keyword != "format" || version != "1.0" || tokens.next(extra))
            return fault.atLine(2, quoted(trim(line)) + " is not a PLY format line (format <kind> 1.0)");
        if (name == "ascii")
            header.format = PlyFormat::Ascii;
        else if (name == "binary_little_endian")
            header.format = PlyFormat::LittleEndian;
        else if (name == "binary_big_endian")
            header.format = PlyFormat::BigEndian;
        else
            return fault.atLine(2, "unknown PLY format " + quoted(name));
    }
    // One keyword per line, with exactly its own arguments: the reader loops forever on a token
    // it does not know, so nothing unexpected may pass.
    while (src.line(line))
    {
        const uint64_t lineNumber = src.lineNumber();
        Tokens tokens(line);
        std::string_view t[6];
        size_t n = 0;
        while (n < 6 && tokens.next(t[n]))
            ++n;
        if (n == 0)
            return fault.atLine(lineNumber, "an empty header line");
        if (t[0] == "comment" || t[0] == "obj_info")
            continue;
        if (t[0] == "end_header" && n == 1)
        {
            header.headerBytes = src.offset();
            header.headerLines = lineNumber;
            return true;
        }
        if (t[0] == "element" && n == 3)
        {
            PlyElement element;
            element.name = std::string(t[1]);
            element.line = lineNumber;
            if (!parseUnsigned(t[2], element.count) || element.count > UINT32_MAX)
                return fault.atLine(lineNumber,
                                    "element count " + quoted(t[2]) + " is not a count below 2^32");
            element.maxListLength = t[1] == "face" ? kMaxPlyFaceCorners : kMaxPlyListLength;
            header.elements.push_back(std::move(element));
            continue;
        }
        if (t[0] != "property")
            return fault.atLine(lineNumber, "unknown header line " + quoted(trim(line)));
        if (header.elements.empty())
            return fault.atLine(lineNumber, "a property before any element");
        PlyElement& element = header.elements.back();
        PlyProperty property;
        std::string_view typeName;
        if (n == 3)
        {
            typeName = t[1];
            property.name = std::string(t[2]);
            property.isPosition = element.name == "vertex" && (t[2] == "x" || t[2] == "y" || t[2] == "z");
        }
        else if (n == 5 && t[1] == "list")
        {
            property.countType = findPlyType(t[2]);
            if (!property.countType || !property.countType->isListCount)
                return fault.atLine(lineNumber, "list count type " + quoted(t[2]) +
                                                    " is not one of uchar, uint8, uint16, int");
            typeName = t[3];
            property.name = std::string(t[4]);
        }
        else
            return fault.atLine(lineNumber, "unknown header line " + quoted(trim(line)));
        property.type = findPlyType(typeName);
        if (!property.type)
            return fault.atLine(lineNumber, "unknown property type " + quoted(typeName));
        element.hasLists = element.hasLists || property.countType;
        element.fixedBytes += property.countType ? property.countType->bytes : property.type->bytes;
        element.properties.push_back(std::move(property));
    }
    return fault.atLine(src.lineNumber(), "the header does not end (no end_header line)");
}

bool checkPlyCounts(const PlyHeader& header, uint64_t bytesLeft, Fault& fault)
{
    uint64_t left = bytesLeft;
    for (const PlyElement& element : header.elements)
    {
        const uint64_t bytes =
            header.format == PlyFormat::Ascii ? 2 * element.properties.size() : element.fixedBytes;
        if (element.count > 0 && bytes == 0)
            return fault.atLine(element.line,
                                "element " + quoted(element.name) + " is counted but has no properties");
        if (element.count > left / std::max<uint64_t>(bytes, 1))
            return fault.atLine(element.line, "element " + quoted(element.name) + " announces " +
                                                  std::to_string(element.count) + " records, more than the " +
                                                  std::to_string(bytesLeft) +
                                                  " bytes after the header can hold");
        left -= element.count * bytes;
    }
    return true;
}

}  // namespace Quelm::IO::detail
