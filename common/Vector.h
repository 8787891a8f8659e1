#pragma once

#include <cmath>

namespace Quelm::Objects
{

// Three components, zero by default. Vector3<float> is exactly three contiguous floats (12 bytes):
// the topology code copies positions and normals to and from OpenMesh's Vec3f bytewise.
template <typename T>
struct Vector3
{
    T x{}, y{}, z{};

    Vector3() = default;
    Vector3(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}

    Vector3 operator+(const Vector3& o) const { return {x + o.x, y + o.y, z + o.z}; }
    Vector3 operator-(const Vector3& o) const { return {x - o.x, y - o.y, z - o.z}; }
    Vector3 operator*(T s) const { return {x * s, y * s, z * s}; }
    Vector3 operator/(T s) const { return {x / s, y / s, z / s}; }
    Vector3& operator+=(const Vector3& o)
    {
        x += o.x;
        y += o.y;
        z += o.z;
        return *this;
    }
    bool operator==(const Vector3& o) const { return x == o.x && y == o.y && z == o.z; }
    bool operator!=(const Vector3& o) const { return !(*this == o); }

    // Lexicographic on (x, y, z): a strict weak order in which only exactly equal vectors are
    // equivalent, which is what vertex welding needs.
    bool operator<(const Vector3& o) const
    {
        if (x != o.x)
            return x < o.x;
        if (y != o.y)
            return y < o.y;
        return z < o.z;
    }
    bool operator>(const Vector3& o) const { return o < *this; }

    T dot(const Vector3& o) const { return x * o.x + y * o.y + z * o.z; }
    Vector3 cross(const Vector3& o) const
    {
        return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x};
    }
    T squaredLength() const { return dot(*this); }
    T length() const { return std::sqrt(squaredLength()); }
    T distanceTo(const Vector3& o) const { return (*this - o).length(); }

    // True when every component differs by at most `tolerance`.
    bool isEqualTo(const Vector3& o, T tolerance) const
    {
        return std::abs(x - o.x) <= tolerance && std::abs(y - o.y) <= tolerance &&
               std::abs(z - o.z) <= tolerance;
    }

    // True when both vectors are non-zero and point the same way: the cosine of the angle between
    // them is at least 1 - tolerance (tolerance 0 asks for exactly parallel directions).
    bool isCodirectionalTo(const Vector3& o, T tolerance) const
    {
        const T la = length();
        const T lb = o.length();
        if (!(la > T(0)) || !(lb > T(0)))
            return false;
        return dot(o) / (la * lb) >= T(1) - tolerance;
    }
};

// Two components, zero by default. Vector2<float> is two contiguous floats (u, v);
// Vector2<int> holds pixel coordinates.
template <typename T>
struct Vector2
{
    T x{}, y{};

    Vector2() = default;
    Vector2(T x_, T y_) : x(x_), y(y_) {}

    Vector2 operator+(const Vector2& o) const { return {x + o.x, y + o.y}; }
    Vector2 operator-(const Vector2& o) const { return {x - o.x, y - o.y}; }
    Vector2 operator*(T s) const { return {x * s, y * s}; }
    // Component-wise division; for integer vectors an integer (truncating) division.
    Vector2 operator/(T s) const { return {x / s, y / s}; }
    bool operator==(const Vector2& o) const { return x == o.x && y == o.y; }
    bool operator!=(const Vector2& o) const { return !(*this == o); }

    // Lexicographic on (x, y).
    bool operator<(const Vector2& o) const
    {
        if (x != o.x)
            return x < o.x;
        return y < o.y;
    }
};

static_assert(sizeof(Vector3<float>) == 12, "positions are copied bytewise to OpenMesh");
static_assert(sizeof(Vector2<float>) == 8, "texture coordinates are copied bytewise to OpenMesh");

}  // namespace Quelm::Objects
