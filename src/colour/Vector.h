#pragma once

#include <cmath>
#include <cstddef>
#include <utility>
#include <type_traits>

#include "colour/SharedNaN.h"

namespace ombrel::Math {

// The element-wise operators every small vector and the quaternion share; D gives element i by
// At(i) and has N of them.
template <typename D, typename T, size_t N>
struct VectorOps {
    static constexpr size_t kSize = N;

    D& self() { return static_cast<D&>(*this); }
    const D& self() const { return static_cast<const D&>(*this); }

    T& operator[](size_t i) { return i < N ? self().At(i) : SharedNaN<T>(); }
    T operator[](size_t i) const { return i < N ? const_cast<D&>(self()).At(i) : SharedNaN<T>(); }

    D& operator+=(const D& o) { return Each([&](T& v, size_t i) { v += o[i]; }); }
    D& operator-=(const D& o) { return Each([&](T& v, size_t i) { v -= o[i]; }); }
    D& operator+=(T s) { return Each([&](T& v, size_t) { v += s; }); }
    D& operator-=(T s) { return Each([&](T& v, size_t) { v -= s; }); }
    D& operator*=(T s) { return Each([&](T& v, size_t) { v *= s; }); }
    D& operator/=(T s) { return Each([&](T& v, size_t) { v /= s; }); }

    friend D operator+(D a, const D& b) { return a += b; }
    friend D operator-(D a, const D& b) { return a -= b; }
    friend D operator+(D a, T s) { return a += s; }
    friend D operator-(D a, T s) { return a -= s; }
    friend D operator*(D a, T s) { return a *= s; }
    friend D operator/(D a, T s) { return a /= s; }
    D operator+() const { return self(); }
    D operator-() const { return D(self()) *= T(-1); }

    // The dot product.
    friend T operator*(const D& a, const D& b) {
        T sum = 0;
        for (size_t i = 0; i < N; ++i) sum += a[i] * b[i];
        return sum;
    }

    // sqrt(r^2 - |v|^2): the height over a sphere of radius r, 0 outside it.
    T bound(T r) const {
        const T s = self() * self();
        return s > r * r ? T(0) : std::sqrt(r * r - s);
    }

private:
    template <typename F>
    D& Each(F f) {
        for (size_t i = 0; i < N; ++i) f(self().At(i), i);
        return self();
    }
};

template <typename T>
struct Vector2 : VectorOps<Vector2<T>, T, 2> {
    T x = 0, y = 0;

    Vector2() = default;
    // A template, so that a literal 0 is a value, never a null pointer.
    template <typename U>
        requires std::is_arithmetic_v<U>
    explicit Vector2(U v) : x(T(v)), y(T(v)) {}
    Vector2(T x_, T y_) : x(x_), y(y_) {}
    explicit Vector2(const T* e) : x(e ? e[0] : 0), y(e ? e[1] : 0) {}
    explicit Vector2(const Vector2* p) : Vector2(p ? *p : Vector2()) {}
    Vector2(const Vector2&) = default;
    Vector2& operator=(const Vector2&) = default;

    void swap() { std::swap(x, y); }

    T& At(size_t i) { return i == 0 ? x : y; }
};

template <typename T>
struct Vector3 : VectorOps<Vector3<T>, T, 3> {
    T x = 0, y = 0, z = 0;

    Vector3() = default;
    template <typename U>
        requires std::is_arithmetic_v<U>
    explicit Vector3(U v) : x(T(v)), y(T(v)), z(T(v)) {}
    Vector3(T x_, T y_, T z_ = 0) : x(x_), y(y_), z(z_) {}
    explicit Vector3(const T* e) : x(e ? e[0] : 0), y(e ? e[1] : 0), z(e ? e[2] : 0) {}
    explicit Vector3(const Vector3* p) : Vector3(p ? *p : Vector3()) {}
    Vector3(const Vector2<T>& v, T z_) : x(v.x), y(v.y), z(z_) {}
    Vector3(const Vector3&) = default;
    Vector3& operator=(const Vector3&) = default;

    // The cross product.
    Vector3& operator^=(const Vector3& o) { return *this = *this ^ o; }
    friend Vector3 operator^(const Vector3& a, const Vector3& b) {
        return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
    }

    T& At(size_t i) { return i == 0 ? x : i == 1 ? y : z; }
};

}  // namespace ombrel::Math
