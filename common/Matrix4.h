#pragma once

#include "common/Vector.h"

namespace Quelm::Objects
{

// Row-major 4 x 4 matrix acting on column vectors: p' = M * (x, y, z, 1). Identity by default.
template <typename T>
class Matrix4
{
public:
    Matrix4()
    {
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
                m_[r][c] = (r == c) ? T(1) : T(0);
    }

    static Matrix4 translation(T x, T y, T z)
    {
        Matrix4 m;
        m(0, 3) = x;
        m(1, 3) = y;
        m(2, 3) = z;
        return m;
    }

    static Matrix4 scale(T x, T y, T z)
    {
        Matrix4 m;
        m(0, 0) = x;
        m(1, 1) = y;
        m(2, 2) = z;
        return m;
    }

    T& operator()(int row, int col) { return m_[row][col]; }
    const T& operator()(int row, int col) const { return m_[row][col]; }

    Matrix4 operator*(const Matrix4& o) const
    {
        Matrix4 r;
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
            {
                T s = T(0);
                for (int k = 0; k < 4; ++k)
                    s += m_[i][k] * o.m_[k][j];
                r.m_[i][j] = s;
            }
        return r;
    }

    // Affine transform of a point: the upper 3 x 4 part applied to (x, y, z, 1).
    Vector3<T> TransformPoint(const Vector3<T>& p) const
    {
        return {m_[0][0] * p.x + m_[0][1] * p.y + m_[0][2] * p.z + m_[0][3],
                m_[1][0] * p.x + m_[1][1] * p.y + m_[1][2] * p.z + m_[1][3],
                m_[2][0] * p.x + m_[2][1] * p.y + m_[2][2] * p.z + m_[2][3]};
    }

    // Transform of a direction: the upper 3 x 3 part only, no translation, no renormalisation.
    Vector3<T> TransformVector(const Vector3<T>& v) const
    {
        return {m_[0][0] * v.x + m_[0][1] * v.y + m_[0][2] * v.z,
                m_[1][0] * v.x + m_[1][1] * v.y + m_[1][2] * v.z,
                m_[2][0] * v.x + m_[2][1] * v.y + m_[2][2] * v.z};
    }

private:
    T m_[4][4];
};

}  // namespace Quelm::Objects
