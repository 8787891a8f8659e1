#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>

// The library's one tokenizer, trim and number scanner for text files: the file check, the mesh
// readers' record checks and the colour path's OBJ/MTL reader all split and parse with these, so
// they agree on what a token and a number are.
namespace Quelm::IO::detail
{

// Character classes: every byte of a text file passes through isSpace.
enum CharClass : uint8_t
{
    kOtherChar = 0,
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
inline constexpr CharTable kChars;

// White space within a line, as stream extraction skips it ('\n' ends lines and is not included).
inline bool isSpace(char c)
{
    return kChars.cls[static_cast<unsigned char>(c)] == kSpaceChar;
}

inline bool isDigit(char c)
{
    return kChars.cls[static_cast<unsigned char>(c)] == kDigitChar;
}

inline std::string_view trim(std::string_view s)
{
    while (!s.empty() && isSpace(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && isSpace(s.back()))
        s.remove_suffix(1);
    return s;
}

// Splits the next white-space separated token off the front of `rest`; empty when none is left.
// `rest` keeps what follows the token (its leading white space included).
inline std::string_view nextToken(std::string_view& rest)
{
    const char* p = rest.data();
    const char* end = p + rest.size();
    while (p != end && isSpace(*p))
        ++p;
    const char* begin = p;
    while (p != end && !isSpace(*p))
        ++p;
    rest = std::string_view(p, static_cast<size_t>(end - p));
    return std::string_view(begin, static_cast<size_t>(p - begin));
}

// The tokens of one line in turn.
class Tokens
{
public:
    explicit Tokens(std::string_view line) : rest_(line) {}
    bool next(std::string_view& token)
    {
        token = nextToken(rest_);
        return !token.empty();
    }
    // What follows the last token taken.
    std::string_view rest() const { return rest_; }

private:
    std::string_view rest_;
};

// A decimal integer, optionally signed: what `>> int` reads whole.
inline bool isInteger(std::string_view t)
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

// A decimal integer, optionally signed; `magnitude` gets its absolute value (saturated at
// UINT64_MAX) and `negative` its sign.
inline bool parseInteger(std::string_view t, uint64_t& magnitude, bool& negative)
{
    if (!isInteger(t))
        return false;
    negative = t[0] == '-';
    magnitude = 0;
    for (char c : t)
        if (isDigit(c))
            magnitude = magnitude > (UINT64_MAX - 9) / 10 ? UINT64_MAX
                                                          : magnitude * 10 + static_cast<uint64_t>(c - '0');
    return true;
}

// Digits only, no sign.
inline bool parseUnsigned(std::string_view t, uint64_t& value)
{
    bool negative = false;
    return !t.empty() && t[0] != '+' && parseInteger(t, value, negative) && !negative;
}

enum class IntegerFit
{
    Fits,
    NotInteger,
    OutOfRange,
};

// Whether the token is a decimal integer (optionally signed) within [min, max] (min <= 0), in
// one pass; `value` gets it when it fits. The file checks run this on every integer of a file.
inline IntegerFit fitInteger(std::string_view t, int64_t min, uint64_t max, int64_t& value)
{
    const char* p = t.data();
    const char* end = p + t.size();
    bool negative = false;
    if (p != end && (*p == '+' || *p == '-'))
        negative = *p++ == '-';
    if (p == end)
        return IntegerFit::NotInteger;
    uint64_t magnitude = 0;
    bool overflow = false;
    for (; p != end; ++p)
    {
        const auto digit = static_cast<unsigned>(static_cast<unsigned char>(*p) - '0');
        if (digit > 9)
            return IntegerFit::NotInteger;
        overflow = overflow || magnitude > (UINT64_MAX - 9) / 10;
        magnitude = magnitude * 10 + digit;
    }
    if (overflow)
        return IntegerFit::OutOfRange;
    if (!negative || magnitude == 0)
    {
        if (magnitude > max)
            return IntegerFit::OutOfRange;
        value = static_cast<int64_t>(magnitude);  // max never exceeds UINT32_MAX in the checks
        return IntegerFit::Fits;
    }
    const uint64_t largestNegative = min == 0 ? 0 : static_cast<uint64_t>(-(min + 1)) + 1;
    if (magnitude > largestNegative)
        return IntegerFit::OutOfRange;
    value = -static_cast<int64_t>(magnitude - 1) - 1;
    return IntegerFit::Fits;
}

// True when the integer token lies in [min, max] (min <= 0).
inline bool integerFits(std::string_view t, int64_t min, uint64_t max)
{
    int64_t value = 0;
    return fitInteger(t, min, max, value) == IntegerFit::Fits;
}

// A finite decimal number that a float holds without overflow: [+-]digits[.digits][e[+-]digits],
// at most about 1e38. "nan", "inf" and hexadecimal forms are refused: stream extraction fails on
// them and leaves the rest of the record unread, its values uninitialised.
inline bool isFiniteNumber(std::string_view t)
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

// "nan" or "inf"/"infinity" in any case, signed or not: what C's strtod reads as not finite.
inline bool isNonFiniteWord(std::string_view t)
{
    if (!t.empty() && (t[0] == '+' || t[0] == '-'))
        t.remove_prefix(1);
    auto equalsLower = [&](std::string_view word)
    {
        if (t.size() != word.size())
            return false;
        for (size_t i = 0; i < t.size(); ++i)
            if ((t[i] | 0x20) != word[i])
                return false;
        return true;
    };
    return equalsLower("nan") || equalsLower("inf") || equalsLower("infinity");
}

// The whole token as a number (a leading '+' allowed, which from_chars refuses). Floats follow
// from_chars: "nan" and "inf" parse, an overflowing value does not.
template <typename T>
bool parseNumber(std::string_view token, T& value)
{
    if (!token.empty() && token.front() == '+')
        token.remove_prefix(1);
    if (token.empty())
        return false;
    const auto [end, ec] = std::from_chars(token.data(), token.data() + token.size(), value);
    return ec == std::errc() && end == token.data() + token.size();
}

}  // namespace Quelm::IO::detail
