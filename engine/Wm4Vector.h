#pragma once

#include <cmath>

namespace Wm4
{

// Three components of type Real, zero by default. Stored as exactly three contiguous Reals, so an
// array of them can be handed on as a flat coordinate array.
template <class Real>
class Vector3
{
public:
    Vector3() = default;
    Vector3(Real x, Real y, Real z) : m_afTuple{x, y, z} {}

    Real operator[](int i) const { return m_afTuple[i]; }
    Real& operator[](int i) { return m_afTuple[i]; }
    Real X() const { return m_afTuple[0]; }
    Real& X() { return m_afTuple[0]; }
    Real Y() const { return m_afTuple[1]; }
    Real& Y() { return m_afTuple[1]; }
    Real Z() const { return m_afTuple[2]; }
    Real& Z() { return m_afTuple[2]; }
    const Real* Data() const { return m_afTuple; }

    Vector3 operator+(const Vector3& o) const { return {X() + o.X(), Y() + o.Y(), Z() + o.Z()}; }
    Vector3 operator-(const Vector3& o) const { return {X() - o.X(), Y() - o.Y(), Z() - o.Z()}; }
    Vector3 operator*(Real s) const { return {X() * s, Y() * s, Z() * s}; }
    Vector3 operator/(Real s) const { return {X() / s, Y() / s, Z() / s}; }
    Vector3 operator-() const { return {-X(), -Y(), -Z()}; }
    Vector3& operator+=(const Vector3& o) { return *this = *this + o; }
    Vector3& operator-=(const Vector3& o) { return *this = *this - o; }
    Vector3& operator*=(Real s) { return *this = *this * s; }
    Vector3& operator/=(Real s) { return *this = *this / s; }
    bool operator==(const Vector3& o) const { return X() == o.X() && Y() == o.Y() && Z() == o.Z(); }
    bool operator!=(const Vector3& o) const { return !(*this == o); }

    Real SquaredLength() const { return Dot(*this); }
    Real Length() const { return std::sqrt(SquaredLength()); }
    Real Dot(const Vector3& o) const { return X() * o.X() + Y() * o.Y() + Z() * o.Z(); }
    Vector3 Cross(const Vector3& o) const
    {
        return {Y() * o.Z() - Z() * o.Y(), Z() * o.X() - X() * o.Z(), X() * o.Y() - Y() * o.X()};
    }
    // Scales to unit length and returns the previous length; a zero vector stays zero.
    Real Normalize()
    {
        const Real length = Length();
        if (length > Real(0))
            *this /= length;
        return length;
    }

private:
    Real m_afTuple[3] = {Real(0), Real(0), Real(0)};
};

template <class Real>
Vector3<Real> operator*(Real s, const Vector3<Real>& v)
{
    return v * s;
}

// Two components of type Real, zero by default; texture coordinates are (u, v) = (X, Y).
template <class Real>
class Vector2
{
public:
    Vector2() = default;
    Vector2(Real x, Real y) : m_afTuple{x, y} {}

    Real operator[](int i) const { return m_afTuple[i]; }
    Real& operator[](int i) { return m_afTuple[i]; }
    Real X() const { return m_afTuple[0]; }
    Real& X() { return m_afTuple[0]; }
    Real Y() const { return m_afTuple[1]; }
    Real& Y() { return m_afTuple[1]; }

    Vector2 operator+(const Vector2& o) const { return {X() + o.X(), Y() + o.Y()}; }
    Vector2 operator-(const Vector2& o) const { return {X() - o.X(), Y() - o.Y()}; }
    Vector2 operator*(Real s) const { return {X() * s, Y() * s}; }
    Vector2 operator/(Real s) const { return {X() / s, Y() / s}; }
    Vector2 operator-() const { return {-X(), -Y()}; }
    Vector2& operator+=(const Vector2& o) { return *this = *this + o; }
    Vector2& operator-=(const Vector2& o) { return *this = *this - o; }
    bool operator==(const Vector2& o) const { return X() == o.X() && Y() == o.Y(); }
    bool operator!=(const Vector2& o) const { return !(*this == o); }

    Real SquaredLength() const { return Dot(*this); }
    Real Length() const { return std::sqrt(SquaredLength()); }
    Real Dot(const Vector2& o) const { return X() * o.X() + Y() * o.Y(); }
    // The z component of the 3-D cross product (positive when o is counter-clockwise of this).
    Real Cross(const Vector2& o) const { return X() * o.Y() - Y() * o.X(); }

private:
    Real m_afTuple[2] = {Real(0), Real(0)};
};

template <class Real>
Vector2<Real> operator*(Real s, const Vector2<Real>& v)
{
    return v * s;
}

typedef Vector3<float> Vector3f;
typedef Vector3<double> Vector3d;
typedef Vector2<float> Vector2f;
typedef Vector2<double> Vector2d;

static_assert(sizeof(Vector3f) == 12, "a Vector3f is three packed floats");
static_assert(sizeof(Vector2f) == 8, "a Vector2f is two packed floats");

}  // namespace Wm4
