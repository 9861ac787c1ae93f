#pragma once

#include <cmath>
#include <concepts>
#include <iostream>

#include "colour/Matrix3.h"
#include "colour/Quaternion.h"
#include "colour/Vector.h"

namespace ombrel::Math {

// Vector2, Vector3 and Quaternion: whatever has the shared element operators.
template <typename V>
concept Vec = requires(const V& v) {
    { v * v };
    { v.bound(v * v) };
};

template <Vec V> auto sqr(const V& v) { return v * v; }
template <Vec V> auto norm(const V& v) { return std::sqrt(v * v); }
template <Vec V> auto abs(const V& v) { return norm(v); }
template <Vec V> auto inorm(const V& v) { return 1 / norm(v); }
template <Vec V> auto dist(const V& a, const V& b) { return norm(b - a); }
template <Vec V> V diff(const V& a, const V& b) {
    V out = a - b;
    for (size_t i = 0; i < V::kSize; ++i) out[i] = std::abs(out[i]);
    return out;
}
template <Vec V> auto cos(const V& a, const V& b) { return (a * b) / (norm(a) * norm(b)); }
template <typename T> T sin(const Vector3<T>& a, const Vector3<T>& b) { return norm(a ^ b) / (norm(a) * norm(b)); }

// v at length 1; left as it is when its length is within tol of 1. A zero vector has no result.
template <Vec V, typename T> V norml(T tolerance, const V& v) {
    const auto length = norm(v);
    return std::abs(length - 1) <= tolerance ? v : v / length;
}
template <Vec V> V norml(const V& v) { return norml(decltype(norm(v))(1e-7), v); }

template <typename T> Vector3<T> normalv(const Vector3<T>& a, const Vector3<T>& b) {
    return norml(norml(a) ^ norml(b));
}
// The normal of the plane through three points.
template <typename T> Vector3<T> normalv(const Vector3<T>& a, const Vector3<T>& b, const Vector3<T>& c) {
    return normalv(b - a, c - a);
}

// atan2 with x first: the angle from the y axis towards x.
template <typename T> T atan2(const Vector2<T>& v) { return std::atan2(v.x, v.y); }
template <typename T> T arg(const Vector2<T>& v) { return atan2(v); }

template <typename T> Matrix3<T> diag(const Vector3<T>& v) {
    Matrix3<T> m;
    m(0, 0) = v.x, m(1, 1) = v.y, m(2, 2) = v.z;
    return m;
}
template <typename T> T det(const Matrix3<T>& m) { return m[0] * (m[1] ^ m[2]); }
template <typename T> Matrix3<T> tr(const Matrix3<T>& m) { return Matrix3<T>(false, m[0], m[1], m[2]); }

// By cofactors: the columns of the adjugate are the cross products of the rows. A determinant
// within the tolerance of zero gives the matrix back, with a message.
template <typename T> Matrix3<T> inv(const Matrix3<T>& m) {
    const T d = det(m);
    if (std::abs(d) < m.GetTolerance()) {
        std::cerr << ">> ERROR:  Matrix 3 -  3x3 matrix is singular!" << std::endl;
        return m;
    }
    return Matrix3<T>(false, m[1] ^ m[2], m[2] ^ m[0], m[0] ^ m[1]) / d;
}

// x with m x = b.
template <typename T> Vector3<T> solve(const Vector3<T>& b, const Matrix3<T>& m) { return inv(m) * b; }

}  // namespace ombrel::Math
