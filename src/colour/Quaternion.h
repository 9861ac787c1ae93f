#pragma once

#include <cmath>

#include "colour/Vector.h"

namespace ombrel::Math {

template <typename T>
struct Quaternion : VectorOps<Quaternion<T>, T, 4> {
    T w = 0, x = 0, y = 0, z = 0;

    // The rotations' pi is the float one, also for double quaternions.
    static constexpr T kPi = T(3.1415927f);

    Quaternion() = default;
    explicit Quaternion(T w_, T x_ = 0, T y_ = 0, T z_ = 0) : w(w_), x(x_), y(y_), z(z_) {}
    // w, x, y, z; a null pointer gives zeros.
    explicit Quaternion(const T* e) : w(e ? e[0] : 0), x(e ? e[1] : 0), y(e ? e[2] : 0), z(e ? e[3] : 0) {}
    // A rotation of `degrees` about `axis`.
    Quaternion(T degrees, const Vector3<T>& axis) {
        const T half = degrees * kPi / T(360);
        const T s = std::sin(half);
        w = std::cos(half);
        x = axis.x * s;
        y = axis.y * s;
        z = axis.z * s;
    }
    Quaternion(const Quaternion&) = default;
    Quaternion& operator=(const Quaternion&) = default;

    // The Hamilton product.
    friend Quaternion operator^(const Quaternion& a, const Quaternion& b) {
        return Quaternion(a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z, a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y,
                          a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x, a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w);
    }

    // Angle in degrees and axis back. The identity has no axis (sin 0 below): ask isIdentity first.
    void toRotation(T& degrees, Vector3<T>& axis) const {
        const T half = std::acos(w);
        const T s = std::sin(half);
        degrees = half * T(360) / kPi;
        axis = Vector3<T>(x / s, y / s, z / s);
    }
    // The same as degrees, x, y, z.
    void toRotation(T* out) const {
        Vector3<T> axis;
        toRotation(out[0], axis);
        out[1] = axis.x;
        out[2] = axis.y;
        out[3] = axis.z;
    }
    bool isIdentity(T tolerance) const { return std::abs(w - T(1)) < tolerance; }

    T& At(size_t i) { return i == 0 ? w : i == 1 ? x : i == 2 ? y : z; }
};

template <typename T>
Quaternion<T> conj(const Quaternion<T>& q) {
    return Quaternion<T>(q.w, -q.x, -q.y, -q.z);
}

}  // namespace ombrel::Math
