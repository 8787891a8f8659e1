#include "io/ObjCheck.h"

#include "io/TextScan.h"

#include <filesystem>
#include <string>

namespace Quelm::IO::detail
{
namespace
{

// OpenMesh's reader opens the material library named by the rest of the "mtllib" line (trimmed),
// as given: relative to the current directory, since it reads from a stream and knows no folder
// of the mesh. A name it cannot open only costs a warning, and a regular file is read to its
// end; but a device or a named pipe (/dev/zero, a FIFO) would be read without end. So a name is
// refused when it names something that exists and is not a regular file, taken both as it
// stands and trimmed, so that whichever the reader opens is checked.
bool isSafeMaterialName(std::string_view rest)
{
    auto opensSomethingEndless = [](std::string_view name)
    {
        std::error_code error;
        const auto type = std::filesystem::status(std::filesystem::path(std::string(name)), error).type();
        // an error other than "not found" (no access, a name too long) fails the reader's open too
        return type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found &&
               type != std::filesystem::file_type::none;
    };
    return !opensSomethingEndless(rest) && !opensSomethingEndless(trim(rest));
}

// Why `token` is not a plain finite number: it is "nan"/"inf", too large, or not a number.
std::string notFinite(std::string_view token)
{
    double value = 0;
    if (isNonFiniteWord(token))
        return quoted(token) + " is not a finite number";
    if (parseNumber(token, value))
        return quoted(token) + " is too large for a float";
    return quoted(token) + " is not a number";
}

bool checkValues(ObjLineKind kind, std::string_view rest, uint64_t lineNumber, Fault& fault)
{
    // The reader extracts the numbers it wants and stops at the first failure, so a trailing
    // comment ("v 1 2 3 # note") is never read.
    Tokens tokens(rest);
    std::string_view token;
    size_t n = 0;
    for (; tokens.next(token) && token[0] != '#'; ++n)
    {
        if (isFiniteNumber(token))
            continue;
        // A normal that does not read fails only its own line in the reader, which the mesh
        // does not need: exporters write "vn nan nan nan" for faces of no area.
        double value = 0;
        if (kind == ObjLineKind::Normal && (isNonFiniteWord(token) || parseNumber(token, value)))
            continue;
        return fault.atLine(lineNumber, notFinite(token));
    }
    if (kind == ObjLineKind::TexCoord && n < 1)
        return fault.atLine(lineNumber, "a texture coordinate needs a number");
    if (kind != ObjLineKind::TexCoord && n < 3)
        return fault.atLine(lineNumber, std::string(kind == ObjLineKind::Position ? "a vertex" : "a normal") +
                                            " needs 3 numbers, found " + std::to_string(n));
    return true;
}

bool checkFace(std::string_view rest, uint64_t lineNumber, Fault& fault)
{
    // The reader does not stop at a '#' on a face line: it drops each token it cannot read a
    // number from and still takes the corners that follow. So after a '#' the words of a comment
    // are let through, but anything that reads as a corner is checked as one.
    Tokens tokens(rest);
    std::string_view token;
    size_t corners = 0;
    bool inComment = false;
    while (tokens.next(token))
    {
        inComment = inComment || token[0] == '#';
        if (inComment && !isObjCorner(token) && token.find('/') == std::string_view::npos)
            continue;
        if (!isObjCorner(token))
            return fault.atLine(lineNumber,
                                "face corner " + quoted(token) + " does not start with a vertex index");
        if (corners++ >= kMaxFaceCorners)
            return fault.atLine(lineNumber,
                                "a face of more than " + std::to_string(kMaxFaceCorners) + " corners");
    }
    return true;
}

}  // namespace

ObjLineKind classifyObjLine(std::string_view line, std::string_view& rest)
{
    rest = line;
    const std::string_view keyword = nextToken(rest);
    if (keyword.empty())
        return ObjLineKind::Blank;
    if (keyword.size() == 1)
    {
        if (keyword[0] == 'v')
            return ObjLineKind::Position;
        if (keyword[0] == 'f')
            return ObjLineKind::Face;
    }
    else if (keyword == "vn")
        return ObjLineKind::Normal;
    else if (keyword == "vt")
        return ObjLineKind::TexCoord;
    else if (keyword == "mtllib")
        return ObjLineKind::MaterialLibrary;
    return ObjLineKind::Other;
}

bool checkObjLine(std::string_view line, uint64_t lineNumber, Fault& fault)
{
    std::string_view rest;
    const ObjLineKind kind = classifyObjLine(line, rest);
    switch (kind)
    {
    case ObjLineKind::Position:
    case ObjLineKind::Normal:
    case ObjLineKind::TexCoord:
        return checkValues(kind, rest, lineNumber, fault);
    case ObjLineKind::Face:
        return checkFace(rest, lineNumber, fault);
    case ObjLineKind::MaterialLibrary:
        // the reader takes the line from just after the keyword, not the trimmed rest
        if (!isSafeMaterialName(line.substr(line.find("mtllib") + 6)))
            return fault.atLine(lineNumber, "the material library " + quoted(trim(rest)) +
                                                " is not a regular file (a device, a pipe or a folder)");
        return true;
    default:
        return true;
    }
}

bool checkObj(ByteSource& src, Fault& fault)
{
    std::string_view line;
    while (src.line(line))
        if (!checkObjLine(line, src.lineNumber(), fault))
            return false;
    return true;
}

}  // namespace Quelm::IO::detail
