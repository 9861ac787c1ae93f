#pragma once

#include <iostream>

#include "colour/Matrix3.h"

namespace ombrel::Color {

// 4 rows of 3, row after row: red, green, blue, white.
template <typename T>
class Matrix {
public:
    Matrix() = default;
    // A null pointer gives zeros.
    explicit Matrix(const T* elements) { SetMatrix(elements); }
    Matrix(const Math::Matrix3<T>& rgb, const Math::Vector3<T>& white) { SetMatrix(rgb, white); }
    Matrix(const Math::Vector3<T>& r, const Math::Vector3<T>& g, const Math::Vector3<T>& b,
           const Math::Vector3<T>& w) {
        SetMatrix(r, g, b, w);
    }
    Matrix(const Matrix&) = default;
    Matrix& operator=(const Matrix&) = default;
    virtual ~Matrix() = default;

    void SetMatrix(const T* e) {
        for (int i = 0; i < 12; ++i) matrix_[i] = e ? e[i] : T(0);
    }
    void SetMatrix(const Math::Matrix3<T>& rgb, const Math::Vector3<T>& white) {
        SetMatrix(rgb[0], rgb[1], rgb[2], white);
    }
    void SetMatrix(const Math::Vector3<T>& r, const Math::Vector3<T>& g, const Math::Vector3<T>& b,
                   const Math::Vector3<T>& w) {
        const Math::Vector3<T>* rows[4] = {&r, &g, &b, &w};
        for (int i = 0; i < 4; ++i) SetRow(i, *rows[i]);
    }
    // Rows outside 0 to 3 read as zeros and are not written.
    Math::Vector3<T> GetRow(int i) const {
        return i >= 0 && i < 4 ? Math::Vector3<T>(matrix_ + 3 * i) : Math::Vector3<T>();
    }
    void SetRow(int i, const Math::Vector3<T>& v) {
        if (i >= 0 && i < 4) matrix_[3 * i] = v.x, matrix_[3 * i + 1] = v.y, matrix_[3 * i + 2] = v.z;
    }

    T& operator()(int row, int column) {
        if (row < 0 || row > 3) return OutOfBounds("Row", row);
        if (column < 0 || column > 2) return OutOfBounds("Column", column);
        return matrix_[3 * row + column];
    }
    T operator()(int row, int column) const { return const_cast<Matrix&>(*this)(row, column); }

    Matrix& operator+=(const Matrix& o) { return Each([&](T& v, int i) { v += o.matrix_[i]; }); }
    Matrix& operator-=(const Matrix& o) { return Each([&](T& v, int i) { v -= o.matrix_[i]; }); }
    Matrix& operator+=(T s) { return Each([&](T& v, int) { v += s; }); }
    Matrix& operator-=(T s) { return Each([&](T& v, int) { v -= s; }); }
    Matrix& operator*=(T s) { return Each([&](T& v, int) { v *= s; }); }
    Matrix& operator/=(T s) { return Each([&](T& v, int) { v /= s; }); }
    friend Matrix operator+(Matrix a, const Matrix& b) { return a += b; }
    friend Matrix operator-(Matrix a, const Matrix& b) { return a -= b; }
    friend Matrix operator+(Matrix a, T s) { return a += s; }
    friend Matrix operator-(Matrix a, T s) { return a -= s; }
    friend Matrix operator*(Matrix a, T s) { return a *= s; }
    friend Matrix operator/(Matrix a, T s) { return a /= s; }

private:
    static T& OutOfBounds(const char* what, int index) {
        std::cerr << ">> ERROR: Core Color -  Matrix - " << what << " index " << index << " is outside the "
                  << (what[0] == 'R' ? "row" : "column") << " bounds of this matrix!" << std::endl;
        return Math::SharedNaN<T>();
    }
    template <typename F>
    Matrix& Each(F f) {
        for (int i = 0; i < 12; ++i) f(matrix_[i], i);
        return *this;
    }

    T matrix_[12] = {};
};

// Chromaticities to rows (x, y, 1 - x - y) of red, green, blue and white.
template <typename T>
struct Chromaticity {
    virtual ~Chromaticity() = default;
    // rx, ry, gx, gy, bx, by, wx, wy; a null pointer gives zeros.
    Matrix<T> operator()(const T* e) const {
        if (!e) return {};
        return (*this)({e[0], e[1]}, {e[2], e[3]}, {e[4], e[5]}, {e[6], e[7]});
    }
    Matrix<T> operator()(const Math::Vector2<T>& r, const Math::Vector2<T>& g, const Math::Vector2<T>& b,
                         const Math::Vector2<T>& w) const {
        auto row = [](const Math::Vector2<T>& v) { return Math::Vector3<T>(v.x, v.y, T(1) - v.x - v.y); };
        return Matrix<T>(row(r), row(g), row(b), row(w));
    }
};

}  // namespace ombrel::Color
