// An independent reference in long double, from first principles: a space's primaries as the
// columns of P, scales S = P^-1 W, RGB to XYZ = P diag(S); Bradford written out.
#pragma once

#include <array>

namespace ombrel::test {

using L = long double;
using L3 = std::array<L, 3>;
using L33 = std::array<L3, 3>;  // rows

inline L Det(const L33& m) {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

// Cramer's rule, column by column.
inline L33 Inverse(const L33& m) {
    L33 out{};
    const L d = Det(m);
    for (int c = 0; c < 3; ++c)
        for (int r = 0; r < 3; ++r) {
            L33 k = m;
            for (int i = 0; i < 3; ++i) k[i][r] = i == c ? 1 : 0;
            out[r][c] = Det(k) / d;
        }
    return out;
}

inline L33 Product(const L33& a, const L33& b) {
    L33 out{};
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            for (int k = 0; k < 3; ++k) out[r][c] += a[r][k] * b[k][c];
    return out;
}

inline L3 Apply(const L33& m, const L3& v) {
    L3 out{};
    for (int r = 0; r < 3; ++r) out[r] = m[r][0] * v[0] + m[r][1] * v[1] + m[r][2] * v[2];
    return out;
}

inline L3 WhiteXYZ(L x, L y) { return {x / y, 1, (1 - x - y) / y}; }

// rx, ry, gx, gy, bx, by, wx, wy.
inline L33 RgbToXyz(const std::array<L, 8>& c) {
    L33 p{};
    for (int i = 0; i < 3; ++i) {
        const L3 col = WhiteXYZ(c[2 * i], c[2 * i + 1]);
        for (int r = 0; r < 3; ++r) p[r][i] = col[r];
    }
    const L3 s = Apply(Inverse(p), WhiteXYZ(c[6], c[7]));
    for (int r = 0; r < 3; ++r)
        for (int i = 0; i < 3; ++i) p[r][i] *= s[i];
    return p;
}

// Bradford from the white `from` (XYZ) to D65 (0.312727, 0.329023), with the tabled inverse.
inline L33 BradfordToD65(const L3& from) {
    const L33 b{{{0.8951L, 0.2664L, -0.1614L}, {-0.7502L, 1.7135L, 0.0367L}, {0.0389L, -0.0685L, 1.0296L}}};
    const L33 bInv{{{0.9870L, -0.1471L, 0.1600L}, {0.4323L, 0.5184L, 0.0493L}, {-0.0085L, 0.0400L, 0.9685L}}};
    const L3 to = Apply(b, WhiteXYZ(0.312727L, 0.329023L)), cone = Apply(b, from);
    L33 scale{};
    for (int i = 0; i < 3; ++i) scale[i][i] = to[i] / cone[i];
    return Product(bInv, Product(scale, b));
}

}  // namespace ombrel::test
