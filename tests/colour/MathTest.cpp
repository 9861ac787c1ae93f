#include <gtest/gtest.h>

#include <cmath>

#include "CerrCapture.h"
#include "colour/MathFunctions.h"

namespace ombrel::Math {
namespace {

template <typename T>
class MathTest : public ::testing::Test {
protected:
    // Float results carry float rounding.
    static constexpr T kEps = sizeof(T) == 4 ? T(2e-6) : T(1e-12);
    using V2 = Vector2<T>;
    using V3 = Vector3<T>;
    using Q = Quaternion<T>;
    using M = Matrix3<T>;

    static void Near(const V3& a, const V3& b, T eps = kEps) {
        for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(a[i], b[i], eps) << "element " << i;
    }
    static void Near(const M& a, const M& b, T eps = kEps) {
        for (int i = 0; i < 3; ++i) Near(a[i], b[i], eps);
    }
};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(MathTest, Types);

TYPED_TEST(MathTest, ConstructorsFillAsTold) {
    using T = TypeParam;
    using V3 = typename TestFixture::V3;
    const T e[4] = {1, 2, 3, 4};
    const V3 fromArray(e), noArray(static_cast<const T*>(nullptr)), noVector(static_cast<const V3*>(nullptr));
    TestFixture::Near(V3(0) + V3(T(1), T(2)) + V3(typename TestFixture::V2(T(7)), T(5)), {8, 9, 5});
    TestFixture::Near(V3(&fromArray) + noArray + noVector, {1, 2, 3});
    const typename TestFixture::Q q(e), q1(T(2));
    EXPECT_EQ(q.w + 10 * q.x + 100 * q.y + 1000 * q.z, T(4321));
    EXPECT_EQ(q1.w + q1.x + q1.y + q1.z, T(2));
    EXPECT_TRUE(std::isnan(fromArray[3]));
}

TYPED_TEST(MathTest, CrossDotHamiltonAndScalars) {
    using T = TypeParam;
    using V3 = typename TestFixture::V3;
    using Q = typename TestFixture::Q;
    V3 c(1, 2, 3);
    TestFixture::Near(c ^ V3(4, 5, 6), {-3, 6, -3});
    EXPECT_EQ(c * V3(4, 5, 6), T(32));
    c ^= V3(4, 5, 6);
    TestFixture::Near(-((c + V3(3, -6, 3)) * T(2) + T(1)) / T(2) - T(1), {-1.5, -1.5, -1.5});
    // i j = k, j i = -k; (1 + i) j = j + k.
    EXPECT_EQ((Q(0, 1, 0, 0) ^ Q(0, 0, 1, 0)).z, T(1));
    EXPECT_EQ((Q(0, 0, 1, 0) ^ Q(0, 1, 0, 0)).z, T(-1));
    const Q mixed = Q(1, 1, 0, 0) ^ Q(0, 0, 1, 0);
    EXPECT_EQ(mixed.w + mixed.x + 10 * mixed.y + 100 * mixed.z, T(110));
    EXPECT_EQ((conj(Q(1, 2, 3, 4)) ^ Q(1, 2, 3, 4)).w, Q(1, 2, 3, 4) * Q(1, 2, 3, 4));
}

TYPED_TEST(MathTest, BoundNormsAndAngles) {
    using T = TypeParam;
    using V2 = typename TestFixture::V2;
    using V3 = typename TestFixture::V3;
    const V3 v(3, 4, 0), almost(T(1.00005), 0, 0);
    EXPECT_NEAR(v.bound(T(13)), T(12), TestFixture::kEps);
    EXPECT_EQ(v.bound(T(4)), T(0));
    EXPECT_EQ(sqr(v) + abs(v) + dist(V3(1, 1, 1), V3(4, 5, 1)), T(35));
    EXPECT_NEAR(inorm(v), T(0.2), TestFixture::kEps);
    TestFixture::Near(diff(V3(1, 5, -2), V3(3, 1, 2)), {2, 4, 4});
    EXPECT_NEAR(cos(V3(1, 0, 0), V3(1, 1, 0)) - sin(V3(1, 0, 0), V3(1, 1, 0)), T(0), TestFixture::kEps);
    // Within the tolerance of length 1 the vector stays as it is; beyond it, it is scaled.
    EXPECT_EQ(norml(T(1e-4), almost).x, T(1.00005));
    EXPECT_EQ(norml(almost).x, T(1));
    TestFixture::Near(norml(v), {T(0.6), T(0.8), 0});
    TestFixture::Near(normalv(V3(1, 1, 5), V3(1, 2, 5), V3(3, 1, 5)), {0, 0, -1});
    // x first: (1, 0) lies a quarter turn from the y axis.
    EXPECT_NEAR(atan2(V2(1, 0)) + arg(V2(0, -1)), T(1.5 * M_PI), TestFixture::kEps);
    V2 s(1, 2);
    s.swap();
    EXPECT_EQ(s.x - s.y, T(1));
}

TYPED_TEST(MathTest, RotationRoundTrip) {
    using T = TypeParam;
    using Q = typename TestFixture::Q;
    const Q q(T(120), norml(typename TestFixture::V3(1, 1, 1)));
    EXPECT_NEAR(q.w, T(0.5), T(1e-7));  // the float pi
    EXPECT_FALSE(q.isIdentity(T(1e-6)));
    T out[4];
    q.toRotation(out);
    EXPECT_NEAR(out[0], T(120), T(2e-4));
    for (int i = 1; i < 4; ++i) EXPECT_NEAR(out[i], T(1) / std::sqrt(T(3)), T(1e-5));
    EXPECT_EQ(Q(T(180), typename TestFixture::V3(0, 0, 1)).w, std::cos(T(3.1415927f) / 2));
    EXPECT_TRUE(Q(T(1)).isIdentity(T(1e-6)));
}

TYPED_TEST(MathTest, MatrixByRowsAndColumns) {
    using T = TypeParam;
    using M = typename TestFixture::M;
    using V3 = typename TestFixture::V3;
    const T e[9] = {1, 2, 3, 4, 5, 6, 7, 8, 10};
    const M rows(true, e), cols(false, e);
    TestFixture::Near(rows, M(false, V3(1, 4, 7), V3(2, 5, 8), V3(3, 6, 10)));
    TestFixture::Near(tr(rows), cols);
    EXPECT_EQ(rows(1, 2) + 10 * cols(1, 2), T(86));
    EXPECT_EQ(rows.GetTolerance(), T(1e-9));
    TestFixture::Near(rows[3] + M(true, nullptr)[1] + rows.GetColumn(2), {3, 6, 10});
    TestFixture::Near(M(true, typename TestFixture::V2(1, 2), {3, 4}, {5, 6})[2], {5, 6, 0});
    TestFixture::Near(rows * V3(1, 0, 0) + V3(1, 0, 0) * rows, {2, 6, 10});
    TestFixture::Near(diag(V3(1, 2, 3)) * rows, M(true, V3(1, 2, 3), V3(8, 10, 12), V3(21, 24, 30)));
    TestFixture::Near((rows + rows - rows * T(2) + T(1)) / T(2) * T(4) - T(2), M());
}

TYPED_TEST(MathTest, InverseSolveAndSingular) {
    using T = TypeParam;
    using M = typename TestFixture::M;
    using V3 = typename TestFixture::V3;
    const M m(true, V3(1, 2, 0), V3(3, 4, 0), V3(0, 0, 1)), sing(true, V3(1, 2, 3), V3(2, 4, 6), V3(0, 1, 1));
    ASSERT_NEAR(det(m), T(-2), TestFixture::kEps);
    test::CerrCapture cerr;
    TestFixture::Near(inv(m), M(true, V3(-2, 1, 0), V3(1.5, -0.5, 0), V3(0, 0, 1)));
    TestFixture::Near(solve(V3(3, 7, 1), m), {1, 1, 1});
    EXPECT_EQ(cerr.Text(), "");
    TestFixture::Near(inv(sing), sing, 0);
    EXPECT_EQ(cerr.Text(), ">> ERROR:  Matrix 3 -  3x3 matrix is singular!\n");
}

TYPED_TEST(MathTest, IndexErrorsNameTheIndexAndGiveNaN) {
    typename TestFixture::M m;
    test::CerrCapture cerr;
    EXPECT_TRUE(std::isnan(m(3, 0)) && std::isnan(m(0, -1)));
    EXPECT_EQ(&m(5, 5), &SharedNaN<TypeParam>());
    EXPECT_EQ(cerr.Text(),
              ">> ERROR:  Matrix 3 - Row index 3 is outside the row bounds of this matrix!\n"
              ">> ERROR:  Matrix 3 - Column index -1 is outside the column bounds of this matrix!\n"
              ">> ERROR:  Matrix 3 - Row index 5 is outside the row bounds of this matrix!\n");
}

}  // namespace
}  // namespace ombrel::Math
