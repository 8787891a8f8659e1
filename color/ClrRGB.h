#pragma once

#include <cstdint>

namespace Quelm::Topology
{

// An integer RGB colour with three unsigned 16-bit channels. Arithmetic is per channel and wraps
// modulo 65536: nothing is clamped. Colours read from 8-bit images carry 0..255 in each channel.
//
// Two rules callers depend on (results are compared and hashed, so they must not change):
// - grey substitution: the three-value constructor stores r in place of a zero g or b, and every
//   operator marked "via the constructor" builds its result with it; ClrRGB(k, 0, 0) is grey k.
// - the shift operators change their left operand, like compound assignments.
class ClrRGB
{
public:
    // Public channels: this is a plain value type that callers read and hash directly.
    unsigned short r = 0;
    unsigned short g = 0;
    unsigned short b = 0;

    ClrRGB() = default;
    // Stores r; g, or r when g is 0; b, or r when b is 0.
    ClrRGB(unsigned short red, unsigned short green, unsigned short blue)
        : r(red), g(green != 0 ? green : red), b(blue != 0 ? blue : red)
    {
    }
    ClrRGB(const ClrRGB&) = default;
    ClrRGB(ClrRGB&&) = default;
    ClrRGB& operator=(const ClrRGB&) = default;
    ClrRGB& operator=(ClrRGB&&) = default;
    ~ClrRGB() {}

    // Per channel, wrapped to 16 bits, result via the constructor (grey substitution).
    ClrRGB operator+(const ClrRGB& o) const { return ClrRGB(wrap(r + o.r), wrap(g + o.g), wrap(b + o.b)); }
    ClrRGB operator-(const ClrRGB& o) const { return ClrRGB(wrap(r - o.r), wrap(g - o.g), wrap(b - o.b)); }
    ClrRGB operator*(const ClrRGB& o) const
    {
        // note: 32-bit unsigned products, since 65535 * 65535 overflows a signed int
        return ClrRGB(wrap(uint32_t(r) * o.r), wrap(uint32_t(g) * o.g), wrap(uint32_t(b) * o.b));
    }
    // Integer quotient per channel, blue first. A zero channel in `o` is an integer division by
    // zero: callers must not pass one.
    ClrRGB operator/(const ClrRGB& o) const
    {
        const unsigned short qb = static_cast<unsigned short>(b / o.b);
        const unsigned short qg = static_cast<unsigned short>(g / o.g);
        const unsigned short qr = static_cast<unsigned short>(r / o.r);
        return ClrRGB(qr, qg, qb);
    }

    // Float scaling: truncated toward zero through a 64-bit integer, low 16 bits kept, stored
    // directly (no grey substitution). A negative product wraps.
    ClrRGB operator*(float f) const { return raw(truncate(r * f), truncate(g * f), truncate(b * f)); }
    ClrRGB operator/(float f) const { return raw(truncate(r / f), truncate(g / f), truncate(b / f)); }

    ClrRGB& operator+=(const ClrRGB& o) { return *this = *this + o; }
    ClrRGB& operator-=(const ClrRGB& o) { return *this = *this - o; }
    ClrRGB& operator*=(const ClrRGB& o) { return *this = *this * o; }
    ClrRGB& operator/=(const ClrRGB& o) { return *this = *this / o; }

    // As the operators above with the operand (k, k, k).
    ClrRGB& operator+=(unsigned short k) { return *this = *this + raw(k, k, k); }
    ClrRGB& operator-=(unsigned short k) { return *this = *this - raw(k, k, k); }
    ClrRGB& operator*=(unsigned short k) { return *this = *this * raw(k, k, k); }
    ClrRGB& operator/=(unsigned short k) { return *this = *this / raw(k, k, k); }

    ClrRGB& operator*=(float f) { return *this = *this * f; }
    ClrRGB& operator/=(float f) { return *this = *this / f; }

    // Shift every channel by (n mod 32) bits and return *this: these change the operand.
    ClrRGB& operator>>(int n)
    {
        const unsigned s = static_cast<unsigned>(n) & 31u;
        r = static_cast<unsigned short>(r >> s);
        g = static_cast<unsigned short>(g >> s);
        b = static_cast<unsigned short>(b >> s);
        return *this;
    }
    ClrRGB& operator<<(int n)
    {
        const unsigned s = static_cast<unsigned>(n) & 31u;
        r = wrap(uint32_t(r) << s);
        g = wrap(uint32_t(g) << s);
        b = wrap(uint32_t(b) << s);
        return *this;
    }

    bool operator==(const ClrRGB& o) const { return r == o.r && b == o.b && g == o.g; }

    // Halves b, then a, in place (both stay halved), and returns a + b via the constructor.
    static ClrRGB avg(ClrRGB& a, ClrRGB& b)
    {
        b >> 1;
        a >> 1;
        return a + b;
    }

    // Builds a colour without grey substitution.
    static ClrRGB raw(unsigned short red, unsigned short green, unsigned short blue)
    {
        ClrRGB c;
        c.r = red;
        c.g = green;
        c.b = blue;
        return c;
    }

    // Truncates toward zero through a 64-bit integer and keeps the low 16 bits. Values that do
    // not fit a 64-bit integer (infinities, NaN) give 0 instead of undefined behaviour.
    static unsigned short truncate(double x)
    {
        if (!(x > -9.2e18 && x < 9.2e18))
            return 0;
        return static_cast<unsigned short>(static_cast<int64_t>(x));
    }

private:
    static unsigned short wrap(int64_t x) { return static_cast<unsigned short>(x); }
};

}  // namespace Quelm::Topology
