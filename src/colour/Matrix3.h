#pragma once

#include <cmath>
#include <iostream>

#include "colour/Vector.h"

namespace ombrel::Math {

// Row-major 3 x 3, with the tolerance below which a determinant counts as zero kept as a
// tenth element.
template <typename T>
class Matrix3 {
public:
    static constexpr T kDefaultTolerance = T(1e-9);

    Matrix3() = default;
    // byRows true: the elements are given row after row; false: column after column.
    // A null pointer gives zeros.
    Matrix3(bool byRows, const T* elements) { SetMatrix(byRows, elements); }
    Matrix3(bool byRows, const Vector3<T>& a, const Vector3<T>& b, const Vector3<T>& c) { SetMatrix(byRows, a, b, c); }
    // Two elements a row (or column); the third is 0.
    Matrix3(bool byRows, const Vector2<T>& a, const Vector2<T>& b, const Vector2<T>& c) { SetMatrix(byRows, a, b, c); }
    Matrix3(const Matrix3&) = default;
    Matrix3& operator=(const Matrix3&) = default;
    virtual ~Matrix3() = default;

    void SetMatrix(bool byRows, const T* e) {
        for (int i = 0; i < 9; ++i) matrix[byRows ? i : (i % 3) * 3 + i / 3] = e ? e[i] : T(0);
    }
    void SetMatrix(bool byRows, const Vector3<T>& a, const Vector3<T>& b, const Vector3<T>& c) {
        const Vector3<T>* v[3] = {&a, &b, &c};
        for (int i = 0; i < 3; ++i) byRows ? SetRow(i, *v[i]) : SetColumn(i, *v[i]);
    }
    void SetMatrix(bool byRows, const Vector2<T>& a, const Vector2<T>& b, const Vector2<T>& c) {
        SetMatrix(byRows, Vector3<T>(a, 0), Vector3<T>(b, 0), Vector3<T>(c, 0));
    }

    // Rows and columns outside 0 to 2 read as zeros and are not written.
    Vector3<T> GetRow(int i) const {
        return Inside(i) ? Vector3<T>(matrix[3 * i], matrix[3 * i + 1], matrix[3 * i + 2]) : Vector3<T>();
    }
    Vector3<T> GetColumn(int i) const {
        return Inside(i) ? Vector3<T>(matrix[i], matrix[3 + i], matrix[6 + i]) : Vector3<T>();
    }
    void SetRow(int i, const Vector3<T>& v) {
        if (Inside(i)) matrix[3 * i] = v.x, matrix[3 * i + 1] = v.y, matrix[3 * i + 2] = v.z;
    }
    void SetColumn(int i, const Vector3<T>& v) {
        if (Inside(i)) matrix[i] = v.x, matrix[3 + i] = v.y, matrix[6 + i] = v.z;
    }
    T GetTolerance() const { return matrix[9]; }
    void SetTolerance(T tolerance) { matrix[9] = tolerance; }

    Vector3<T> operator[](int row) const { return GetRow(row); }

    T& operator()(int row, int column) {
        if (!Inside(row)) return OutOfBounds("Row", row);
        if (!Inside(column)) return OutOfBounds("Column", column);
        return matrix[3 * row + column];
    }
    T operator()(int row, int column) const { return const_cast<Matrix3&>(*this)(row, column); }

    Matrix3& operator+=(const Matrix3& o) { return Each([&](T& v, int i) { v += o.matrix[i]; }); }
    Matrix3& operator-=(const Matrix3& o) { return Each([&](T& v, int i) { v -= o.matrix[i]; }); }
    Matrix3& operator*=(const Matrix3& o) { return *this = *this * o; }
    Matrix3& operator+=(T s) { return Each([&](T& v, int) { v += s; }); }
    Matrix3& operator-=(T s) { return Each([&](T& v, int) { v -= s; }); }
    Matrix3& operator*=(T s) { return Each([&](T& v, int) { v *= s; }); }
    Matrix3& operator/=(T s) { return Each([&](T& v, int) { v /= s; }); }

    friend Matrix3 operator+(Matrix3 a, const Matrix3& b) { return a += b; }
    friend Matrix3 operator-(Matrix3 a, const Matrix3& b) { return a -= b; }
    friend Matrix3 operator+(Matrix3 a, T s) { return a += s; }
    friend Matrix3 operator-(Matrix3 a, T s) { return a -= s; }
    friend Matrix3 operator*(Matrix3 a, T s) { return a *= s; }
    friend Matrix3 operator/(Matrix3 a, T s) { return a /= s; }
    friend Matrix3 operator*(const Matrix3& a, const Matrix3& b) {
        Matrix3 out(a);
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c) out.matrix[3 * r + c] = a.GetRow(r) * b.GetColumn(c);
        return out;
    }

private:
    static bool Inside(int i) { return i >= 0 && i < 3; }
    static T& OutOfBounds(const char* what, int index) {
        std::cerr << ">> ERROR:  Matrix 3 - " << what << " index " << index << " is outside the "
                  << (what[0] == 'R' ? "row" : "column") << " bounds of this matrix!" << std::endl;
        return SharedNaN<T>();
    }
    template <typename F>
    Matrix3& Each(F f) {
        for (int i = 0; i < 9; ++i) f(matrix[i], i);
        return *this;
    }

    T matrix[10] = {0, 0, 0, 0, 0, 0, 0, 0, 0, kDefaultTolerance};
};

// Matrix times column vector; row vector times matrix.
template <typename T>
Vector3<T> operator*(const Matrix3<T>& m, const Vector3<T>& v) {
    return {m[0] * v, m[1] * v, m[2] * v};
}
template <typename T>
Vector3<T> operator*(const Vector3<T>& v, const Matrix3<T>& m) {
    return {v * m.GetColumn(0), v * m.GetColumn(1), v * m.GetColumn(2)};
}

}  // namespace ombrel::Math
