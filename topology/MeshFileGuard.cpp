#include "topology/MeshFileGuard.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace Quelm::Topology
{
namespace
{

// The readers' cost for one polygon grows with the square of its corners (duplicate-vertex test,
// fan triangulation around one vertex): past this many a single face can stall the reader.
constexpr uint64_t kMaxFaceCorners = 1024;
// Longest PLY list of any other element; the reader allocates the list before reading it.
constexpr uint64_t kMaxListLength = 1024;
constexpr size_t kBlockBytes = size_t(1) << 20;

// --- Input --------------------------------------------------------------------------------------

// Forward-only buffered view of the stream, `size` bytes long. Every read is checked against the
// bytes that are left, so nothing is allocated for data that is not there.
class ByteSource
{
public:
    ByteSource(std::istream& in, uint64_t size) : in_(in), unread_(size) {}

    // Bytes not yet consumed.
    uint64_t left() const { return unread_ + (buffer_.size() - pos_); }

    bool read(void* dst, size_t n)
    {
        if (!ensure(n))
            return false;
        std::memcpy(dst, buffer_.data() + pos_, n);
        pos_ += n;
        return true;
    }

    // Makes `n` bytes available at data(); false when the input holds fewer.
    bool ensure(size_t n)
    {
        while (buffer_.size() - pos_ < n)
            if (!fill(n - (buffer_.size() - pos_)))
                return false;
        return true;
    }
    const unsigned char* data() const
    {
        return reinterpret_cast<const unsigned char*>(buffer_.data()) + pos_;
    }
    void consume(size_t n) { pos_ += n; }

    bool skip(uint64_t n)
    {
        const uint64_t buffered = buffer_.size() - pos_;
        if (n <= buffered)
        {
            pos_ += static_cast<size_t>(n);
            return true;
        }
        n -= buffered;
        buffer_.clear();
        pos_ = 0;
        if (n > unread_)
            return false;
        in_.seekg(static_cast<std::streamoff>(n), std::ios::cur);
        unread_ -= n;
        return static_cast<bool>(in_);
    }

    // The next line without its line end; false once the input is exhausted.
    bool line(std::string_view& out)
    {
        size_t searchFrom = pos_;
        for (;;)
        {
            const char* begin = buffer_.data() + searchFrom;
            const void* nl = std::memchr(begin, '\n', buffer_.size() - searchFrom);
            if (nl)
            {
                const size_t end = static_cast<size_t>(static_cast<const char*>(nl) - buffer_.data());
                out = std::string_view(buffer_.data() + pos_, end - pos_);
                pos_ = end + 1;
                return true;
            }
            const size_t scanned = buffer_.size() - pos_;
            if (!fill(1))
            {
                if (pos_ == buffer_.size())
                    return false;
                out = std::string_view(buffer_.data() + pos_, buffer_.size() - pos_);
                pos_ = buffer_.size();
                return true;
            }
            searchFrom = pos_ + scanned;  // fill() moved the unconsumed bytes to the front
        }
    }

private:
    // Appends at least `want` bytes (one block when more are left); false at the end.
    bool fill(size_t want)
    {
        if (unread_ == 0)
            return false;
        if (pos_ > 0)
        {
            buffer_.erase(0, pos_);
            pos_ = 0;
        }
        const size_t chunk = static_cast<size_t>(std::min<uint64_t>(std::max(want, kBlockBytes), unread_));
        const size_t old = buffer_.size();
        buffer_.resize(old + chunk);
        in_.read(&buffer_[old], static_cast<std::streamsize>(chunk));
        const size_t got = static_cast<size_t>(in_.gcount());
        buffer_.resize(old + got);
        unread_ = got < chunk ? 0 : unread_ - got;  // a stream shorter than it claimed ends here
        return got >= std::min(want, chunk) && got > 0;
    }

    std::istream& in_;
    uint64_t unread_;
    std::string buffer_;
    size_t pos_ = 0;
};

// --- Text tokens ----------------------------------------------------------------------------------

// Character classes for the scanners below, which see every byte of a text file.
enum CharClass : uint8_t
{
    kSpaceChar = 1,
    kDigitChar = 2,
};

struct CharTable
{
    uint8_t cls[256] = {};
    constexpr CharTable()
    {
        for (unsigned char c : {' ', '\t', '\r', '\v', '\f'})
            cls[c] = kSpaceChar;
        for (int c = '0'; c <= '9'; ++c)
            cls[c] = kDigitChar;
    }
};
constexpr CharTable kChars;

inline bool isSpace(char c)
{
    return kChars.cls[static_cast<unsigned char>(c)] == kSpaceChar;
}

inline bool isDigit(char c)
{
    return kChars.cls[static_cast<unsigned char>(c)] == kDigitChar;
}

// Splits a line at white space, the way the readers' stream extraction does.
class Tokens
{
public:
    explicit Tokens(std::string_view line) : p_(line.data()), end_(line.data() + line.size()) {}
    bool next(std::string_view& token)
    {
        while (p_ != end_ && isSpace(*p_))
            ++p_;
        if (p_ == end_)
            return false;
        const char* begin = p_;
        while (p_ != end_ && !isSpace(*p_))
            ++p_;
        token = std::string_view(begin, static_cast<size_t>(p_ - begin));
        return true;
    }
    size_t count()
    {
        size_t n = 0;
        std::string_view t;
        while (next(t))
            ++n;
        return n;
    }

private:
    const char* p_;
    const char* end_;
};

std::string_view trim(std::string_view s)
{
    while (!s.empty() && isSpace(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && isSpace(s.back()))
        s.remove_suffix(1);
    return s;
}

// A decimal integer, optionally signed: what `>> int` reads whole.
bool isInteger(std::string_view t)
{
    const char* p = t.data();
    const char* end = p + t.size();
    if (p != end && (*p == '+' || *p == '-'))
        ++p;
    if (p == end)
        return false;
    for (; p != end; ++p)
        if (!isDigit(*p))
            return false;
    return true;
}

// A decimal integer, optionally signed; `value` gets its magnitude (saturated) and sign.
bool parseInteger(std::string_view t, uint64_t& value, bool& negative)
{
    if (!isInteger(t))
        return false;
    negative = t[0] == '-';
    value = 0;
    for (char c : t)
        if (isDigit(c))
            value = value > (UINT64_MAX - 9) / 10 ? UINT64_MAX : value * 10 + static_cast<uint64_t>(c - '0');
    return true;
}

bool parseUnsigned(std::string_view t, uint64_t& value)
{
    bool negative = false;
    return !t.empty() && t[0] != '+' && parseInteger(t, value, negative) && !negative;
}

// A finite decimal number that a float holds without overflow: [+-]digits[.digits][e[+-]digits],
// at most about 1e38. "nan", "inf" and hexadecimal forms are refused: stream extraction fails on
// them and leaves the rest of the element unread, its values uninitialised.
bool isFiniteNumber(std::string_view t)
{
    const char* p = t.data();
    const char* end = p + t.size();
    if (p != end && (*p == '+' || *p == '-'))
        ++p;
    const char* intBegin = p;
    while (p != end && isDigit(*p))
        ++p;
    const char* intEnd = p;
    const char* fracBegin = p;
    if (p != end && *p == '.')
    {
        fracBegin = ++p;
        while (p != end && isDigit(*p))
            ++p;
    }
    if (intEnd == intBegin && p == fracBegin)
        return false;  // no digit at all
    int64_t exponent = 0;
    if (p != end)
    {
        if (*p != 'e' && *p != 'E')
            return false;
        uint64_t magnitude = 0;
        bool negative = false;
        if (!parseInteger(std::string_view(p + 1, static_cast<size_t>(end - p - 1)), magnitude, negative))
            return false;
        if (negative)
            return true;  // underflow reads as zero or a denormal
        exponent = static_cast<int64_t>(std::min<uint64_t>(magnitude, 1000));
    }
    // fast path: few integer digits and a small exponent cannot overflow
    if (intEnd - intBegin + exponent <= 38)
        return true;
    while (intBegin != intEnd && *intBegin == '0')
        ++intBegin;
    if (intBegin != intEnd)
        return (intEnd - intBegin) + exponent <= 38;
    for (const char* f = fracBegin; f != p && isDigit(*f); ++f)
        if (*f != '0')
            return exponent - (f - fracBegin) <= 38;
    return true;  // zero
}

// --- OBJ ----------------------------------------------------------------------------------------

// The reader opens the material library named by the rest of the "mtllib" line (trimmed), as
// given: relative to the current directory, since it reads from a stream and knows no folder of
// the mesh. A name it cannot open only costs a warning, and a regular file is read to its end;
// but a device or a named pipe (/dev/zero, a FIFO) would be read without end. So a name is
// refused when it names something that exists and is not a regular file, taken both as it stands
// and trimmed, so that whichever the reader opens is checked.
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

// Every corner starts with its vertex index: a corner like "/5" makes the reader attach a texture
// coordinate to a vertex it does not have, and assert.
bool isCorner(std::string_view token)
{
    const size_t digit = token[0] == '-' || token[0] == '+' ? 1 : 0;
    return digit < token.size() && isDigit(token[digit]);
}

bool checkObj(ByteSource& src)
{
    std::string_view line;
    while (src.line(line))
    {
        Tokens tokens(line);
        std::string_view keyword, token;
        if (!tokens.next(keyword))
            continue;
        if (keyword == "v" || keyword == "vn" || keyword == "vt")
        {
            // The reader extracts the numbers it wants and stops at the first failure, so a
            // trailing comment ("v 1 2 3 # note") is never read.
            size_t n = 0;
            for (; tokens.next(token) && token[0] != '#'; ++n)
                if (!isFiniteNumber(token))
                    return false;
            if (n < (keyword == "vt" ? 1u : 3u))
                return false;
        }
        else if (keyword == "f")
        {
            // The reader does not stop at a '#' on a face line: it drops each token it cannot read
            // a number from and still takes the corners that follow. So after a '#' the words of a
            // comment are let through, but anything that reads as a corner is checked as one.
            size_t corners = 0;
            bool inComment = false;
            while (tokens.next(token))
            {
                inComment = inComment || token[0] == '#';
                if (inComment && !isCorner(token) && token.find('/') == std::string_view::npos)
                    continue;
                if (!isCorner(token) || corners++ >= kMaxFaceCorners)
                    return false;
            }
        }
        else if (keyword == "mtllib")
        {
            if (!isSafeMaterialName(line.substr(line.find("mtllib") + 6)))
                return false;
        }
    }
    return true;
}

// --- OFF ----------------------------------------------------------------------------------------

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

bool checkOff(ByteSource& src)
{
    std::string_view line;
    if (!src.line(line))
        return false;
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
        return false;

    if (!contentLine(src, line))
        return false;
    Tokens countTokens(line);
    std::string_view t[3];
    uint64_t counts[3];
    for (int i = 0; i < 3; ++i)
        if (!countTokens.next(t[i]) || !parseUnsigned(t[i], counts[i]) || counts[i] > UINT32_MAX)
            return false;
    std::string_view extra;
    if (countTokens.next(extra))
        return false;
    const uint64_t vertexCount = counts[0], faceCount = counts[1];
    // At least "0 " per number and "0\n" per face: counts the file cannot hold are refused
    // before the reader reserves memory for them.
    if (vertexCount * vertexTokens * 2 + faceCount * 2 > src.left())
        return false;

    for (uint64_t v = 0; v < vertexCount; ++v)
    {
        if (!contentLine(src, line))
            return false;
        Tokens tokens(line);
        std::string_view token;
        size_t n = 0;
        for (; tokens.next(token); ++n)
            if (!isFiniteNumber(token))
                return false;
        if (n < vertexTokens)
            return false;
    }
    // The reader takes the faces as one stream of numbers, not line by line: a token left over on
    // a face line (after a face of no corners, or a colour) is read as the next face's corner
    // count, which then sizes the corner list. So every token after the vertices must read, as an
    // integer, as a count no larger than the vertex count or the corner limit: no negative and no
    // overflowing integer part anywhere in the face section.
    const uint64_t countLimit = std::max<uint64_t>(vertexCount, kMaxFaceCorners);
    uint64_t facesSeen = 0;
    while (contentLine(src, line))
    {
        Tokens tokens(line);
        std::string_view token;
        if (facesSeen < faceCount)
        {
            uint64_t corners = 0;
            if (!tokens.next(token) || !parseUnsigned(token, corners) || corners > kMaxFaceCorners)
                return false;
            for (uint64_t c = 0; c < corners; ++c)
                if (!tokens.next(token) || !isInteger(token) || !readsAsSmallCount(token, countLimit))
                    return false;
            ++facesSeen;
        }
        while (tokens.next(token))
            if (!readsAsSmallCount(token, countLimit))
                return false;
    }
    return facesSeen == faceCount;
}

// --- STL ----------------------------------------------------------------------------------------

constexpr uint64_t kStlHeaderBytes = 84;
constexpr uint64_t kStlFacetBytes = 50;

bool isFinite(float x)
{
    return std::isfinite(x);
}

uint32_t loadLE32(const unsigned char* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;  // one load
}

float loadFloatLE(const unsigned char* p)
{
    const uint32_t bits = loadLE32(p);
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

bool checkBinaryStl(ByteSource& src, uint64_t facets)
{
    src.consume(kStlHeaderBytes);
    for (uint64_t f = 0; f < facets; ++f)
    {
        if (!src.ensure(kStlFacetBytes))
            return false;
        const unsigned char* p = src.data();
        for (int k = 3; k < 12; ++k)  // the three corners; the facet normal is not used
            if (!isFinite(loadFloatLE(p + 4 * k)))
                return false;
        src.consume(kStlFacetBytes);
    }
    return true;
}

bool checkAsciiStl(ByteSource& src)
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
                return false;
        if (n != 3)
            return false;
    }
    return true;
}

// The reader's own choice, which ReadMesh makes for it on a stream: binary when the facet count at
// byte 80 accounts for the size exactly; else text when the file starts with "solid" (any case);
// else binary when the size holds at least the facets counted (trailing bytes unread).
bool checkStl(ByteSource& src)
{
    const uint64_t size = src.left();
    if (!src.ensure(static_cast<size_t>(std::min<uint64_t>(size, kStlHeaderBytes))))
        return false;
    const uint64_t facets = size >= kStlHeaderBytes ? loadLE32(src.data() + 80) : 0;
    const bool holdsFacets = size >= kStlHeaderBytes && kStlHeaderBytes + facets * kStlFacetBytes <= size;
    if (holdsFacets && kStlHeaderBytes + facets * kStlFacetBytes == size)
        return checkBinaryStl(src, facets);
    std::string start(reinterpret_cast<const char*>(src.data()),
                      static_cast<size_t>(std::min<uint64_t>(size, 80)));
    start.erase(0, std::min(start.size(), start.find_first_not_of(" \t\r\n")));
    std::transform(start.begin(), start.end(), start.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    if (start.compare(0, 5, "solid") == 0)
        return checkAsciiStl(src);
    return holdsFacets && checkBinaryStl(src, facets);
}

// --- PLY ----------------------------------------------------------------------------------------

struct PlyType
{
    const char* name;
    uint8_t bytes;
    bool isFloat;
    bool isSigned;
    bool isListCount;  // accepted by the reader as the length type of a list
};

// clang-format off
constexpr PlyType kPlyTypes[] = {
    {"char", 1, false, true, false},   {"int8", 1, false, true, false},
    {"uchar", 1, false, false, true},  {"uint8", 1, false, false, true},
    {"short", 2, false, true, false},  {"int16", 2, false, true, false},
    {"ushort", 2, false, false, false}, {"uint16", 2, false, false, true},
    {"int", 4, false, true, true},     {"int32", 4, false, true, false},
    {"uint", 4, false, false, false},  {"uint32", 4, false, false, false},
    {"float", 4, true, true, false},   {"float32", 4, true, true, false},
    {"double", 8, true, true, false},  {"float64", 8, true, true, false},
};
// clang-format on

const PlyType* findPlyType(std::string_view name)
{
    for (const PlyType& type : kPlyTypes)
        if (name == type.name)
            return &type;
    return nullptr;
}

struct PlyProperty
{
    const PlyType* type = nullptr;
    const PlyType* countType = nullptr;  // set for a list
    bool isPosition = false;             // x, y or z of a vertex: must be finite
};

struct PlyElement
{
    bool isVertex = false;
    uint64_t count = 0;
    uint64_t maxListLength = kMaxListLength;
    std::vector<PlyProperty> properties;
};

enum class PlyFormat
{
    Ascii,
    LittleEndian,
    BigEndian
};

bool parsePlyHeader(ByteSource& src, PlyFormat& format, std::vector<PlyElement>& elements)
{
    std::string_view line;
    if (!src.line(line) || trim(line) != "ply")
        return false;
    if (!src.line(line))
        return false;
    {
        Tokens tokens(line);
        std::string_view keyword, name, version, extra;
        if (!tokens.next(keyword) || keyword != "format" || !tokens.next(name) || !tokens.next(version) ||
            version != "1.0" || tokens.next(extra))
            return false;
        if (name == "ascii")
            format = PlyFormat::Ascii;
        else if (name == "binary_little_endian")
            format = PlyFormat::LittleEndian;
        else if (name == "binary_big_endian")
            format = PlyFormat::BigEndian;
        else
            return false;
    }
    // One keyword per line, with exactly its own arguments: the reader loops forever on a token
    // it does not know, so nothing unexpected may pass.
    while (src.line(line))
    {
        Tokens tokens(line);
        std::string_view t[6];
        size_t n = 0;
        while (n < 6 && tokens.next(t[n]))
            ++n;
        if (n == 0)
            return false;
        if (t[0] == "comment" || t[0] == "obj_info")
            continue;
        if (t[0] == "end_header" && n == 1)
            return true;
        if (t[0] == "element" && n == 3)
        {
            PlyElement element;
            if (!parseUnsigned(t[2], element.count) || element.count > UINT32_MAX)
                return false;
            if (t[1] == "face")
                element.maxListLength = kMaxFaceCorners;
            element.isVertex = t[1] == "vertex";
            elements.push_back(element);
            continue;
        }
        if (t[0] != "property" || elements.empty())
            return false;
        PlyProperty property;
        if (n == 3)
        {
            property.type = findPlyType(t[1]);
            property.isPosition = elements.back().isVertex && (t[2] == "x" || t[2] == "y" || t[2] == "z");
        }
        else if (n == 5 && t[1] == "list")
        {
            property.countType = findPlyType(t[2]);
            property.type = findPlyType(t[3]);
            if (!property.countType || !property.countType->isListCount)
                return false;
        }
        else
            return false;
        if (!property.type)
            return false;
        elements.back().properties.push_back(property);
    }
    return false;
}

// Smallest size of one element: a list counts its length field only.
uint64_t minElementBytes(const PlyElement& element, PlyFormat format)
{
    uint64_t bytes = 0;
    for (const PlyProperty& p : element.properties)
        bytes += format == PlyFormat::Ascii ? 2 : (p.countType ? p.countType->bytes : p.type->bytes);
    return bytes;
}

bool checkPlyAscii(ByteSource& src, const std::vector<PlyElement>& elements)
{
    // Values are read token by token, whatever the line breaks.
    std::string_view line;
    Tokens tokens{std::string_view()};
    auto nextToken = [&](std::string_view& token)
    {
        while (!tokens.next(token))
        {
            if (!src.line(line))
                return false;
            tokens = Tokens(line);
        }
        return true;
    };
    auto checkValue = [&](const PlyType& type)
    {
        std::string_view token;
        if (!nextToken(token))
            return false;
        if (type.isFloat)
            return isFiniteNumber(token);
        return isInteger(token);
    };
    for (const PlyElement& element : elements)
        for (uint64_t i = 0; i < element.count; ++i)
            for (const PlyProperty& p : element.properties)
            {
                if (!p.countType)
                {
                    if (!checkValue(*p.type))
                        return false;
                    continue;
                }
                std::string_view token;
                uint64_t length = 0;
                if (!nextToken(token) || !parseUnsigned(token, length) || length > element.maxListLength)
                    return false;
                for (uint64_t k = 0; k < length; ++k)
                    if (!checkValue(*p.type))
                        return false;
            }
    return true;
}

uint64_t loadUnsigned(const unsigned char* p, size_t bytes, bool bigEndian)
{
    uint64_t v = 0;
    for (size_t i = 0; i < bytes; ++i)
        v |= uint64_t(p[bigEndian ? bytes - 1 - i : i]) << (8 * i);
    return v;
}

bool isFiniteBinary(const unsigned char* p, const PlyType& type, bool bigEndian)
{
    // fast path: the exponent bits sit in the same place for either byte order once loaded
    if (type.bytes == 4 && !bigEndian)
        return (loadLE32(p) & 0x7f800000u) != 0x7f800000u;
    const uint64_t bits = loadUnsigned(p, type.bytes, bigEndian);
    if (type.bytes == 4)
        return (bits & 0x7f800000u) != 0x7f800000u;
    return (bits & 0x7ff0000000000000ull) != 0x7ff0000000000000ull;
}

bool checkPlyBinary(ByteSource& src, const std::vector<PlyElement>& elements, bool bigEndian)
{
    auto checkValues = [&](const PlyType& type, uint64_t n, bool mustBeFinite)
    {
        if (!mustBeFinite || !type.isFloat)
            return src.skip(n * type.bytes);
        for (uint64_t k = 0; k < n; ++k)
        {
            if (!src.ensure(type.bytes) || !isFiniteBinary(src.data(), type, bigEndian))
                return false;
            src.consume(type.bytes);
        }
        return true;
    };
    for (const PlyElement& element : elements)
        for (uint64_t i = 0; i < element.count; ++i)
            for (const PlyProperty& p : element.properties)
            {
                if (!p.countType)
                {
                    if (!checkValues(*p.type, 1, p.isPosition))
                        return false;
                    continue;
                }
                const size_t bytes = p.countType->bytes;
                if (!src.ensure(bytes))
                    return false;
                uint64_t length = loadUnsigned(src.data(), bytes, bigEndian);
                if (p.countType->isSigned && (length >> (8 * bytes - 1)) != 0)
                    return false;  // negative
                src.consume(bytes);
                if (length > element.maxListLength || !checkValues(*p.type, length, false))
                    return false;
            }
    return true;
}

bool checkPly(ByteSource& src)
{
    PlyFormat format = PlyFormat::Ascii;
    std::vector<PlyElement> elements;
    if (!parsePlyHeader(src, format, elements))
        return false;
    uint64_t left = src.left();
    for (const PlyElement& element : elements)
    {
        const uint64_t bytes = minElementBytes(element, format);
        if (element.count > 0 && bytes == 0)
            return false;  // nothing to read, but the reader would still loop over the count
        if (element.count > left / std::max<uint64_t>(bytes, 1))
            return false;
        left -= element.count * bytes;
    }
    if (format == PlyFormat::Ascii)
        return checkPlyAscii(src, elements);
    return checkPlyBinary(src, elements, format == PlyFormat::BigEndian);
}

// --- OM -----------------------------------------------------------------------------------------

// Chunk header fields, as the 16 bits of each chunk lay them out.
struct OmChunk
{
    bool named;
    unsigned entity;
    unsigned type;
    bool isFloat;
    unsigned dim;  // components - 1
    unsigned bits;
};

enum OmEntity : unsigned
{
    kVertex = 0,
    kMesh = 1,
    kFace = 2,
    kEdge = 4,
    kHalfedge = 6,
    kSentinel = 7
};

enum OmType : unsigned
{
    kPos = 0,
    kNormal = 1,
    kTexcoord = 2,
    kStatus = 3,
    kColor = 4,
    kCustom = 6,
    kTopology = 7
};

constexpr uint8_t kOmNewestVersion = (2 << 5) | 2;  // 2.2, the newest the reader accepts
constexpr uint8_t kOmHalfedgeVersion = (2 << 5) | 0;

// A plain (non-custom, non-topology) chunk the reader handles without tripping an assertion:
// its entity, type, float flag, component count and accepted bit sizes.
struct OmPlainChunk
{
    unsigned entity;
    unsigned type;
    bool isFloat;
    unsigned minDim, maxDim;
    unsigned bitsMask;  // bit b set: bits field b accepted
};

// clang-format off
constexpr OmPlainChunk kOmPlainChunks[] = {
    {kVertex, kPos,      true,  2, 2, 0b11},
    {kVertex, kNormal,   true,  2, 2, 0b11},
    {kVertex, kTexcoord, true,  1, 1, 0b01},
    {kVertex, kColor,    false, 2, 3, 0b01},
    {kVertex, kStatus,   false, 0, 0, 0b1111},
    {kFace,   kNormal,   true,  2, 2, 0b11},
    {kFace,   kColor,    false, 2, 3, 0b01},
    {kFace,   kStatus,   false, 0, 0, 0b1111},
    {kEdge,   kStatus,   false, 0, 0, 0b1111},
    {kHalfedge, kStatus, false, 0, 0, 0b1111},
    {kHalfedge, kTexcoord, true, 1, 1, 0b01},
};
// clang-format on

const OmPlainChunk* findOmPlainChunk(const OmChunk& c)
{
    for (const OmPlainChunk& row : kOmPlainChunks)
        if (row.entity == c.entity && row.type == c.type && row.isFloat == c.isFloat && c.dim >= row.minDim &&
            c.dim <= row.maxDim && ((row.bitsMask >> c.bits) & 1u))
            return &row;
    return nullptr;
}

// Status words are restored as 32-bit values whatever the bits field says.
uint64_t omScalarBytes(const OmChunk& c)
{
    if (c.type == kStatus)
        return 4;
    return c.isFloat ? (uint64_t(4) << c.bits) : (uint64_t(1) << c.bits);
}

class OmChecker
{
public:
    explicit OmChecker(ByteSource& src) : src_(src) {}

    bool check()
    {
        unsigned char header[16];
        if (!src_.read(header, sizeof header) || header[0] != 'O' || header[1] != 'M')
            return false;
        meshKind_ = header[2];
        version_ = header[3];
        if ((meshKind_ != 'T' && meshKind_ != 'Q' && meshKind_ != 'P') || version_ > kOmNewestVersion)
            return false;
        nVertices_ = loadLE32(header + 4);
        nFaces_ = loadLE32(header + 8);
        nEdges_ = loadLE32(header + 12);
        if (nVertices_ > INT32_MAX || nFaces_ > INT32_MAX || 2 * nEdges_ > INT32_MAX)
            return false;  // beyond OpenMesh's handles
        // Every vertex needs its position: a count the file cannot hold is refused at once.
        if (nVertices_ * 12 > src_.left())
            return false;

        while (src_.left() > 0)
        {
            unsigned char raw[2];
            if (!src_.read(raw, 2))
                return false;
            const unsigned bits = raw[0] | raw[1] << 8;
            const OmChunk c{((bits >> 1) & 1u) != 0,  (bits >> 2) & 7u,  (bits >> 5) & 15u,
                            ((bits >> 10) & 1u) != 0, (bits >> 11) & 7u, (bits >> 14) & 3u};
            if (c.entity == kSentinel)
                break;
            if (!chunk(c))
                return false;
        }
        return topologyIsConsistent();
    }

private:
    uint64_t elementCount(unsigned entity) const
    {
        switch (entity)
        {
        case kVertex:
            return nVertices_;
        case kFace:
            return nFaces_;
        case kEdge:
            return nEdges_;
        case kHalfedge:
            return 2 * nEdges_;
        default:
            return 1;
        }
    }

    // True when the chunk's elements already exist in the mesh being built, so the reader's
    // per-element writes stay inside its arrays.
    bool elementsExist(unsigned entity) const
    {
        switch (entity)
        {
        case kVertex:
            return seenPositions_ || nVertices_ == 0;
        case kFace:
            return seenFaces_ || nFaces_ == 0;
        case kEdge:
        case kHalfedge:
            return seenHalfedges_ || nEdges_ == 0;
        default:
            return true;
        }
    }

    bool chunk(const OmChunk& c)
    {
        const bool isEntity = c.entity == kVertex || c.entity == kFace || c.entity == kEdge ||
                              c.entity == kHalfedge || c.entity == kMesh;
        if (!isEntity)
            return false;
        if (c.named)
        {
            if (c.type != kCustom || !propertyName())
                return false;
        }
        if (c.type == kCustom)
            return c.named && custom();
        if (c.type == kTopology)
            return topology(c);
        const OmPlainChunk* row = findOmPlainChunk(c);
        if (!row)
            return false;
        if (c.entity == kVertex && c.type == kPos)
        {
            if (seenPositions_)
                return false;
            seenPositions_ = true;
        }
        else if (!elementsExist(c.entity))
            return false;
        if (version_ < kOmHalfedgeVersion && c.entity != kVertex)
            return false;  // old files: faces may be dropped while read, so face data could overrun
        const uint64_t scalarBytes = omScalarBytes(c);
        const uint64_t n = elementCount(c.entity) * (c.dim + 1);
        if (n * scalarBytes > src_.left())
            return false;
        if (c.type != kPos)
            return src_.skip(n * scalarBytes);
        const PlyType scalar{"", static_cast<uint8_t>(scalarBytes), true, true, false};
        for (uint64_t i = 0; i < n;)
        {
            // one block at a time: positions are most of an OM file
            const uint64_t batch = std::min<uint64_t>(n - i, kBlockBytes / scalarBytes);
            if (!src_.ensure(static_cast<size_t>(batch * scalarBytes)))
                return false;
            const unsigned char* p = src_.data();
            for (uint64_t k = 0; k < batch; ++k)
                if (!isFiniteBinary(p + k * scalarBytes, scalar, false))
                    return false;
            src_.consume(static_cast<size_t>(batch * scalarBytes));
            i += batch;
        }
        return true;
    }

    // A name of one length byte and that many characters. Names of the standard properties are
    // refused: the reader would restore the data into the mesh's own attributes.
    bool propertyName()
    {
        unsigned char length = 0;
        std::string name;
        if (!src_.read(&length, 1))
            return false;
        name.resize(length);
        if (length > 0 && !src_.read(&name[0], length))
            return false;
        if (name.size() >= 2 && name[1] == ':')
            return false;
        return true;
    }

    // [type name, from version 2.2] block size, block.
    bool custom()
    {
        if (version_ >= kOmNewestVersion)
        {
            unsigned char length = 0;
            std::string typeName;
            if (!src_.read(&length, 1))
                return false;
            typeName.resize(length);
            if (length > 0 && !src_.read(&typeName[0], length))
                return false;
            // Strings and vectors restore with lengths taken from the data, one allocation each.
            if (typeName.find("std::") != std::string::npos || typeName.find("bool") != std::string::npos)
                return false;
        }
        unsigned char size[4];
        if (!src_.read(size, 4))
            return false;
        return src_.skip(loadLE32(size));
    }

    // `count` signed indices of 1, 2, 4 or 8 bytes each, appended to `out`; false when cut short
    // or outside the 32-bit range of OpenMesh's handles.
    bool readIndices(unsigned bits, uint64_t count, std::vector<int32_t>& out)
    {
        switch (bits)
        {
        case 0:
            return readIndicesOf<int8_t>(count, out);
        case 1:
            return readIndicesOf<int16_t>(count, out);
        case 2:
            return readIndicesOf<int32_t>(count, out);
        default:
            return readIndicesOf<int64_t>(count, out);
        }
    }

    template <class Int>
    bool readIndicesOf(uint64_t count, std::vector<int32_t>& out)
    {
        static_assert(sizeof(Int) <= 8);
        if (count * sizeof(Int) > src_.left())
            return false;
        size_t at = out.size();
        out.resize(at + static_cast<size_t>(count));
        for (uint64_t i = 0; i < count;)
        {
            const size_t batch =
                static_cast<size_t>(std::min<uint64_t>(count - i, kBlockBytes / sizeof(Int)));
            if (!src_.ensure(batch * sizeof(Int)))
                return false;
            const unsigned char* p = src_.data();
            bool inRange = true;
            for (size_t k = 0; k < batch; ++k)
            {
                Int value;  // OM files are little-endian, as is every platform this builds on
                std::memcpy(&value, p + k * sizeof(Int), sizeof(Int));
                inRange &= value >= INT32_MIN && value <= INT32_MAX;
                out[at + k] = static_cast<int32_t>(value);
            }
            if (!inRange)
                return false;
            src_.consume(batch * sizeof(Int));
            at += batch;
            i += batch;
        }
        return true;
    }

    bool topology(const OmChunk& c)
    {
        if (c.dim != 0 && !(c.entity == kHalfedge && c.dim == 2))
            return false;
        if (c.entity == kFace && version_ < kOmHalfedgeVersion)
            return oldFaces(c);
        if (version_ < kOmHalfedgeVersion)
            return false;
        if (c.entity == kHalfedge)
        {
            // per halfedge: next, to-vertex, face
            if (seenHalfedges_ || c.dim != 2)
                return false;
            seenHalfedges_ = true;
            return readIndices(c.bits, 6 * nEdges_, halfedges_);
        }
        if (c.entity == kVertex)
        {
            if (!seenPositions_ || seenVertexHalfedges_)
                return false;
            seenVertexHalfedges_ = true;
            return readIndices(c.bits, nVertices_, vertexHalfedge_);
        }
        if (c.entity == kFace)
        {
            if (!seenHalfedges_ || seenFaces_)
                return false;
            seenFaces_ = true;
            return readIndices(c.bits, nFaces_, faceHalfedge_);
        }
        return false;
    }

    // Files before version 2.0 list faces by vertex index, so the reader's importer checks them.
    bool oldFaces(const OmChunk& c)
    {
        if (seenFaces_ || !seenPositions_)
            return false;
        seenFaces_ = true;
        const uint64_t fixedCorners = meshKind_ == 'T' ? 3 : meshKind_ == 'Q' ? 4 : 0;
        for (uint64_t f = 0; f < nFaces_; ++f)
        {
            uint64_t corners = fixedCorners;
            if (meshKind_ == 'P')
            {
                unsigned char raw[2];
                if (!src_.read(raw, 2))
                    return false;
                corners = raw[0] | raw[1] << 8;
                if (corners > kMaxFaceCorners)
                    return false;
            }
            if (!src_.skip(corners << c.bits))
                return false;
        }
        return true;
    }

    // The halfedge lists must describe a valid triangle mesh: the reader installs them as they
    // stand, and any broken link would send later circulators out of bounds or round forever.
    bool topologyIsConsistent() const
    {
        if (version_ < kOmHalfedgeVersion)
            return true;
        if ((nEdges_ > 0 || nFaces_ > 0) && (!seenHalfedges_ || !seenFaces_))
            return false;
        if (nEdges_ > 0 && !seenVertexHalfedges_)
            return false;
        const int64_t nHalfedges = static_cast<int64_t>(2 * nEdges_);
        const int64_t nVertices = static_cast<int64_t>(nVertices_);
        const int64_t nFaces = static_cast<int64_t>(nFaces_);
        const int32_t* he = halfedges_.data();
        auto next = [&](int64_t h) { return he[3 * h]; };
        auto toVertex = [&](int64_t h) { return he[3 * h + 1]; };
        auto face = [&](int64_t h) { return he[3 * h + 2]; };
        std::vector<uint8_t> seenAsNext(static_cast<size_t>(nHalfedges), 0);
        std::vector<uint8_t> faceCorners(static_cast<size_t>(nFaces), 0);
        std::vector<uint8_t> hasOutgoing(static_cast<size_t>(nVertices), 0);
        for (int64_t h = 0; h < nHalfedges; ++h)
        {
            const int64_t n = next(h), v = toVertex(h), f = face(h);
            if (n < 0 || n >= nHalfedges || v < 0 || v >= nVertices || f < -1 || f >= nFaces)
                return false;
        }
        for (int64_t h = 0; h < nHalfedges; ++h)  // every index is in range from here on
        {
            const int64_t n = next(h), v = toVertex(h), f = face(h);
            if (seenAsNext[static_cast<size_t>(n)]++)
                return false;  // two halfedges with the same successor
            if (toVertex(n ^ 1) != v || face(n) != f)
                return false;  // the successor must leave this halfedge's end, in the same face
            if (toVertex(h ^ 1) == v)
                return false;  // an edge from a vertex to itself
            if (f >= 0 && ++faceCorners[static_cast<size_t>(f)] > 3)
                return false;
            hasOutgoing[static_cast<size_t>(toVertex(h ^ 1))] = 1;
        }
        for (int64_t f = 0; f < nFaces; ++f)
        {
            const int64_t h = faceHalfedge_[static_cast<size_t>(f)];
            if (faceCorners[static_cast<size_t>(f)] != 3 || h < 0 || h >= nHalfedges || face(h) != f)
                return false;
        }
        for (int64_t v = 0; v < static_cast<int64_t>(vertexHalfedge_.size()); ++v)
        {
            const int64_t h = vertexHalfedge_[static_cast<size_t>(v)];
            if (h == -1 && !hasOutgoing[static_cast<size_t>(v)])
                continue;
            if (h < 0 || h >= nHalfedges || toVertex(h ^ 1) != v)
                return false;
        }
        return true;
    }

    ByteSource& src_;
    unsigned char meshKind_ = 0;
    uint8_t version_ = 0;
    uint64_t nVertices_ = 0, nFaces_ = 0, nEdges_ = 0;
    bool seenPositions_ = false, seenHalfedges_ = false, seenVertexHalfedges_ = false, seenFaces_ = false;
    std::vector<int32_t> halfedges_;  // next, to-vertex, face of each halfedge in turn
    std::vector<int32_t> vertexHalfedge_, faceHalfedge_;
};

bool checkOm(ByteSource& src)
{
    return OmChecker(src).check();
}

// --- Dispatch -----------------------------------------------------------------------------------

struct FormatCheck
{
    const char* extension;
    bool (*check)(ByteSource&);
};

constexpr FormatCheck kFormatChecks[] = {
    {".obj", checkObj}, {".off", checkOff}, {".ply", checkPly}, {".stl", checkStl}, {".om", checkOm},
};

bool rewind(std::istream& in)
{
    in.clear();
    in.seekg(0, std::ios::beg);
    return static_cast<bool>(in);
}

}  // namespace

bool MeshFileGuard::accepts(std::istream& in, const std::string& extension)
{
    const FormatCheck* format = nullptr;
    for (const FormatCheck& f : kFormatChecks)
        if (extension == f.extension)
            format = &f;
    in.clear();
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (!format || size < 0 || !rewind(in))
    {
        rewind(in);
        return false;
    }
    ByteSource src(in, static_cast<uint64_t>(size));
    const bool accepted = format->check(src);
    return rewind(in) && accepted;
}

}  // namespace Quelm::Topology
