#include "io/OffCheck.h"

#include "io/ObjCheck.h"
#include "io/TextScan.h"

#include <algorithm>
#include <string>

namespace Quelm::IO::detail
{
namespace
{

// True when every `>>` into an integer that consumes `t` reads a value in [0, limit]. An
// extraction takes a sign and digits and stops at the first other character, where the next
// extraction starts: "0-1" reads as 0 and then -1. An extraction that finds no digits fails,
// and a failed stream reads nothing more, so what follows it is harmless.
bool readsAsSmallCount(std::string_view t, uint64_t limit)
{
    size_t i = 0;
    while (i < t.size())
    {
        bool negative = false;
        if (t[i] == '+' || t[i] == '-')
            negative = t[i++] == '-';
        uint64_t value = 0;
        const size_t digitsBegin = i;
        for (; i < t.size() && isDigit(t[i]); ++i)
            value =
                value > (UINT64_MAX - 9) / 10 ? UINT64_MAX : value * 10 + static_cast<uint64_t>(t[i] - '0');
        if (i == digitsBegin)
            return true;
        if (value != 0 && (negative || value > limit))
            return false;
    }
    return true;
}

// Next line holding anything but white space.
bool contentLine(ByteSource& src, std::string_view& line)
{
    while (src.line(line))
        if (!trim(line).empty())
            return true;
    return false;
}

std::string vertices(uint64_t n)
{
    return std::to_string(n) + (n == 1 ? " vertex" : " vertices");
}

std::string plural(uint64_t n, const char* word)
{
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

}  // namespace

bool checkOff(ByteSource& src, Fault& fault)
{
    std::string_view line;
    if (!src.line(line))
        return fault.general("is empty");
    // [ST][C][N]OFF. Binary, 4-D and n-D variants are refused: the stream reader does not read
    // them back as written.
    std::string_view magic = trim(line);
    size_t vertexTokens = 3;
    if (magic.substr(0, 2) == "ST")
    {
        vertexTokens += 2;
        magic.remove_prefix(2);
    }
    if (!magic.empty() && magic[0] == 'C')
        magic.remove_prefix(1);  // colours vary in width: counted as optional
    if (!magic.empty() && magic[0] == 'N')
    {
        vertexTokens += 3;
        magic.remove_prefix(1);
    }
    if (magic != "OFF")
        return fault.atLine(src.lineNumber(),
                            quoted(trim(line)) +
                                " is not a text OFF header ([ST][C][N]OFF on a line of its own)");

    if (!contentLine(src, line))
        return fault.atLine(src.lineNumber(), "the file ends before the counts line");
    Tokens countTokens(line);
    std::string_view t[3];
    uint64_t counts[3];
    for (int i = 0; i < 3; ++i)
        if (!countTokens.next(t[i]) || !parseUnsigned(t[i], counts[i]) || counts[i] > UINT32_MAX)
            return fault.atLine(src.lineNumber(),
                                "the counts line needs three counts (vertices, faces, edges) "
                                "below 2^32, found " +
                                    quoted(trim(line)));
    std::string_view extra;
    if (countTokens.next(extra))
        return fault.atLine(src.lineNumber(), "the counts line holds more than three counts");
    const uint64_t vertexCount = counts[0], faceCount = counts[1];
    const uint64_t countsLine = src.lineNumber();
    // At least "0 " per number and "0\n" per face: counts the file cannot hold are refused
    // before the reader reserves memory for them.
    if (vertexCount * vertexTokens * 2 + faceCount * 2 > src.left())
        return fault.atLine(countsLine, "the header announces " + vertices(vertexCount) + " and " +
                                            plural(faceCount, "face") + ", more than the " +
                                            std::to_string(src.left()) + " bytes after it can hold");

    for (uint64_t v = 0; v < vertexCount; ++v)
    {
        if (!contentLine(src, line))
            return fault.atLine(src.lineNumber(), "the header announces " + vertices(vertexCount) +
                                                      ", the file ends after " + std::to_string(v));
        Tokens tokens(line);
        std::string_view token;
        size_t n = 0;
        for (; tokens.next(token); ++n)
            if (!isFiniteNumber(token))
                return fault.atLine(src.lineNumber(), quoted(token) + " is not a finite number");
        if (n < vertexTokens)
            return fault.atLine(src.lineNumber(), "a vertex needs " + std::to_string(vertexTokens) +
                                                      " numbers, found " + std::to_string(n));
    }
    // The reader takes the faces as one stream of numbers, not line by line: a token left over on
    // a face line (after a face of no corners, or a colour) is read as the next face's corner
    // count, which then sizes the corner list. So every token after the vertices must read, as an
    // integer, as a count no larger than the vertex count or the corner limit: no negative and no
    // overflowing integer part anywhere in the face section.
    const uint64_t countLimit = std::max<uint64_t>(vertexCount, kMaxFaceCorners);
    const std::string tooLarge =
        " would be read as a negative index or a corner count above " + std::to_string(countLimit);
    uint64_t facesSeen = 0;
    while (contentLine(src, line))
    {
        Tokens tokens(line);
        std::string_view token;
        if (facesSeen < faceCount)
        {
            uint64_t corners = 0;
            tokens.next(token);
            if (!parseUnsigned(token, corners))
                return fault.atLine(src.lineNumber(),
                                    "face corner count " + quoted(token) + " is not a count");
            if (corners > kMaxFaceCorners)
                return fault.atLine(src.lineNumber(), "a face of " + std::to_string(corners) +
                                                          " corners (at most " +
                                                          std::to_string(kMaxFaceCorners) + ")");
            for (uint64_t c = 0; c < corners; ++c)
            {
                if (!tokens.next(token))
                    return fault.atLine(src.lineNumber(), "the face announces " + plural(corners, "corner") +
                                                              ", the line holds " + std::to_string(c));
                if (!isInteger(token))
                    return fault.atLine(src.lineNumber(),
                                        "face corner " + quoted(token) + " is not an index");
                if (!readsAsSmallCount(token, countLimit))
                    return fault.atLine(src.lineNumber(), "face corner " + quoted(token) + tooLarge);
            }
            ++facesSeen;
        }
        while (tokens.next(token))
            if (!readsAsSmallCount(token, countLimit))
                return fault.atLine(src.lineNumber(), quoted(token) + tooLarge);
    }
    if (facesSeen != faceCount)
        return fault.atLine(src.lineNumber(), "the header announces " + plural(faceCount, "face") +
                                                  ", the file ends after " + std::to_string(facesSeen));
    return true;
}

}  // namespace Quelm::IO::detail
