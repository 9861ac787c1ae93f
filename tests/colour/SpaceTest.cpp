#include <gtest/gtest.h>
#include <lcms2.h>

#include <cmath>

#include "CerrCapture.h"
#include "LongDouble.h"
#include "colour/Adaptation.h"
#include "colour/MathFunctions.h"
#include "colour/Profile.h"
#include "colour/WorkingSpace.h"
#include "core/Log.h"

namespace ombrel::Color {
namespace {

using test::L;

// An RGB profile made by the library itself: BT.709 primaries, white D65, gamma 2.2. `white`
// rewrites "wtpt"; `dropWhite` deletes it.
std::unique_ptr<IccProfile> MadeProfile(const cmsCIEXYZ* white = nullptr, bool dropWhite = false) {
    const cmsCIExyY d65{0.3127, 0.3290, 1.0};
    const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1.0}, {0.30, 0.60, 1.0}, {0.15, 0.06, 1.0}};
    cmsToneCurve* gamma = cmsBuildGamma(nullptr, 2.2);
    cmsToneCurve* curves[3] = {gamma, gamma, gamma};
    cmsHPROFILE h = cmsCreateRGBProfile(&d65, &primaries, curves);
    cmsFreeToneCurve(gamma);
    if (white) cmsWriteTag(h, cmsSigMediaWhitePointTag, white);
    if (dropWhite) cmsWriteTag(h, cmsSigMediaWhitePointTag, nullptr);
    std::vector<uint8_t> bytes(20000);
    cmsUInt32Number size = cmsUInt32Number(bytes.size());
    EXPECT_TRUE(cmsSaveProfileToMem(h, bytes.data(), &size));
    cmsCloseProfile(h);
    return IccProfile::FromBytes(bytes.data(), size, nullptr);
}

template <typename T>
class SpaceTest : public ::testing::Test {
protected:
    static constexpr L kEps = sizeof(T) == 4 ? 2e-6L : 1e-12L;

    static void ExpectMatrix(const Math::Matrix3<T>& m, const test::L33& ref, L eps, const std::string& what) {
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c) EXPECT_NEAR(m(r, c), ref[r][c], eps) << what << " (" << r << ", " << c << ")";
    }
};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(SpaceTest, Types);

TYPED_TEST(SpaceTest, WorkingSpacesAgreeWithTheLongDoubleDerivation) {
    using T = TypeParam;
    const L eps = TestFixture::kEps;
    for (unsigned long which : {0ul, 1ul, 2ul, 7ul}) {
        const WorkingSpace<T> ws(which);
        std::array<L, 8> c;
        for (int i = 0; i < 8; ++i) c[size_t(i)] = L(ws.GetWorkingSpace()[i]);
        const Space<T> space(ws.GetWorkingSpace());
        const test::L33 ref = test::RgbToXyz(c);
        TestFixture::ExpectMatrix(space.GetCIEMatrix(), ref, eps, "space " + std::to_string(which));
        TestFixture::ExpectMatrix(space.GetCIEMatrixInv(), test::Inverse(ref), 5 * eps, "inverse " + std::to_string(which));
    }
    // The usual BT.709 matrix, to the printed digits.
    const test::L33 usual{{{0.412411L, 0.357585L, 0.180454L}, {0.212649L, 0.715169L, 0.072182L},
                           {0.019332L, 0.119195L, 0.950390L}}};
    TestFixture::ExpectMatrix(Space<T>(WorkingSpace<T>(0).GetWorkingSpace()).GetCIEMatrix(), usual, 1e-6L, "BT.709");
    EXPECT_EQ(WorkingSpace<T>(2).GetWorkingSpaceGreen().x + WorkingSpace<T>(1).GetWorkingSpaceRed().x, T(0.31) + T(0.625));
}

TYPED_TEST(SpaceTest, EmptyChromaticitiesGiveZerosAndTheIdentity) {
    using T = TypeParam;
    const Matrix<T> zero = Chromaticity<T>()(static_cast<const T*>(nullptr));
    for (int i = 0; i < 12; ++i) EXPECT_EQ(zero(i / 3, i % 3), T(0));
    const Space<T> empty(static_cast<const T*>(nullptr));
    TestFixture::ExpectMatrix(empty.GetCIEMatrix(), {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}, 0, "empty");
    const Matrix<T> c = Chromaticity<T>()({T(0.64), T(0.33)}, {T(0.3), T(0.6)}, {T(0.15), T(0.06)}, {0, 0});
    EXPECT_NEAR(c(0, 2) + c(3, 2), T(1.03), T(1e-6));
}

TYPED_TEST(SpaceTest, AProfileOfTheLibraryGivesItsColorantsAndMatrix) {
    using T = TypeParam;
    const auto icc = MadeProfile();
    ASSERT_TRUE(icc);
    const Space<T> space(icc.get());
    auto* h = static_cast<cmsHPROFILE>(icc->Handle());
    const cmsTagSignature tags[4] = {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag,
                                     cmsSigMediaWhitePointTag};
    for (int i = 0; i < 4; ++i) {
        const auto* lib = static_cast<const cmsCIEXYZ*>(cmsReadTag(h, tags[i]));
        ASSERT_TRUE(lib);
        const Math::Vector3<T> ours = space.GetColorants().GetRow(i);
        EXPECT_NEAR(std::abs(ours.x - lib->X) + std::abs(ours.y - lib->Y) + std::abs(ours.z - lib->Z), 0, 1e-6) << i;
        // The stored primaries are D50-adapted, and so is the white: the matrix has them as columns.
        for (int r = 0; r < 3 && i < 3; ++r) EXPECT_NEAR(space.GetCIEMatrix()(r, i), ours[size_t(r)], 1e-4) << i << r;
    }
    EXPECT_EQ(space.GetColorantDictionary().size(), 4u);
    EXPECT_EQ(space.GetColorantDictionary().at("wtpt")[1], space.GetColorants()(3, 1));
    EXPECT_NEAR(space.GetChromaticityWhitePoint().x, 0.3457, 1e-3);  // D50
    EXPECT_NEAR(space.GetDisplayGamma(), T(2.2), T(0.01));
    EXPECT_NE(space.GetProfileRef(), icc.get());
}

TYPED_TEST(SpaceTest, BradfordOfTheLibrarySRGBToD65) {
    using T = TypeParam;
    const auto srgb = IccProfile::SRGB();
    const ChromaticAdaptation<T> adapt(srgb.get());
    const Math::Vector3<T> white = adapt.GetSourceWhite();
    EXPECT_FALSE(adapt.IsD65());
    TestFixture::ExpectMatrix(adapt.GetChromaticAdaptation(), test::BradfordToD65({white.x, white.y, white.z}),
                              TestFixture::kEps, "sRGB");
    EXPECT_EQ(adapt.GetScaleMatrix()(1, 1) + adapt.GetScaleMatrix()(0, 1), adapt.GetScaleVector().y);
    EXPECT_EQ(BradfordAdaptation<T>(-1).GetBradfordAdaptation()(2, 2), T(0.9685));
}

TYPED_TEST(SpaceTest, AWhiteNearD65GivesExactlyTheIdentity) {
    using T = TypeParam;
    const Math::Vector3<T> d65 = D65White<T>();
    const cmsCIEXYZ near{double(d65.x) + 0.00008, double(d65.y) - 0.00005, double(d65.z) + 0.00009};
    const auto icc = MadeProfile(&near);
    const ChromaticAdaptation<T> adapt(icc.get());
    EXPECT_TRUE(adapt.IsD65());
    const Math::Matrix3<T> id = Math::diag(Math::Vector3<T>(1));
    for (int i = 0; i < 9; ++i) EXPECT_EQ(adapt.GetChromaticAdaptation()(i / 3, i % 3), id(i / 3, i % 3));
    EXPECT_EQ(adapt.GetScaleVector() * Math::Vector3<T>(1), T(3));
}

TYPED_TEST(SpaceTest, AProfileWithoutWhiteKeepsThreeRowsAndNoDictionary) {
    using T = TypeParam;
    const auto icc = MadeProfile(nullptr, true);
    const CIE::XYZ<T> xyz(icc.get());
    EXPECT_EQ(xyz.GetColorantCount(), 3);
    EXPECT_TRUE(xyz.GetColorantDictionary().empty());
    EXPECT_EQ(xyz.GetColorantWhitePoint() * xyz.GetColorantWhitePoint(), T(0));
    const Space<T> space(icc.get());
    EXPECT_EQ(space.GetCIEMatrix()(1, 1), T(1));  // no white: the identity
}

TYPED_TEST(SpaceTest, CopiesAreDeep) {
    using T = TypeParam;
    const auto icc = MadeProfile();
    auto first = std::make_unique<Space<T>>(icc.get());
    Space<T> copy(static_cast<const T*>(nullptr));
    copy = *first;
    first.reset();
    ASSERT_TRUE(copy.GetProfileRef());
    EXPECT_EQ(copy.GetProfileRef()->Bytes(), icc->Bytes());
    EXPECT_STREQ(copy.GetProfileDescription(), icc->Description().c_str());
    EXPECT_EQ(copy.GetCIEMatrix()(0, 0), Space<T>(icc.get()).GetCIEMatrix()(0, 0));
}

TYPED_TEST(SpaceTest, IndexErrorsWriteTheirTexts) {
    using T = TypeParam;
    Matrix<T> m;
    const WorkingSpace<T> ws(0);
    test::CerrCapture cerr;
    EXPECT_TRUE(std::isnan(m(4, 0)) && std::isnan(m(0, 3)) && std::isnan(ws(0, 2)) && std::isnan(ws(-1, 0)));
    EXPECT_EQ(ws(3, 1), T(0.329016));
    EXPECT_EQ(cerr.Text(),
              ">> ERROR: Core Color -  Matrix - Row index 4 is outside the row bounds of this matrix!\n"
              ">> ERROR: Core Color -  Matrix - Column index 3 is outside the column bounds of this matrix!\n"
              ">> ERROR: Core Color - Working Space - WorkingSpace - Column index 2 is outside the column bounds "
              "of this matrix!\n"
              ">> ERROR: Core Color - Working Space - WorkingSpace - Row index -1 is outside the row bounds of "
              "this matrix!\n");
}

TEST(SyncTest, AProfileThatFailsTheCheckLeavesItEmptyAndSaysWhy) {
    auto bytes = MadeProfile()->Bytes();
    std::copy_n("zzzz", 4, bytes.begin() + 16);  // the colour space
    Status status;
    const auto odd = IccProfile::FromBytes(bytes.data(), bytes.size(), &status);
    ASSERT_TRUE(odd) << status.message();
    LogCapture log;
    const Sync sync(odd.get());
    EXPECT_TRUE(!sync.GetProfileRef() && !sync.GetProfileDescription());
    EXPECT_EQ(sync.GetProfileDescriptionEncoding(), Sync::kEncodingUTF8);
    EXPECT_TRUE(log.Contains(">> ERROR: Color Sync:\n{\nunknown colour space 0x7a7a7a7a"));
    EXPECT_TRUE(log.Contains(">> ERROR: ICC Profile Desc - Copying Color Sync profile failed!"));
    EXPECT_EQ(Sync(0u).GetProfileRef(), nullptr);
}

}  // namespace
}  // namespace ombrel::Color
