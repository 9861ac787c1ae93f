// `ombrel colour` on a profile the colour library itself makes, on bytes that are none and on a
// display that is not there.
#include <gtest/gtest.h>
#include <lcms2.h>

#include "CliSupport.h"
#include "support/RefFile.h"

namespace ombrel {
namespace {

using namespace clitest;

TEST(ColourCli, ALibraryMadeProfileItsRefusalsAndTheFallbackDisplay) {
    test::TempDir dir;
    const cmsCIExyY d65{0.3127, 0.3290, 1.0};
    const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1.0}, {0.30, 0.60, 1.0}, {0.15, 0.06, 1.0}};
    cmsToneCurve* gamma = cmsBuildGamma(nullptr, 2.2);
    cmsToneCurve* curves[3] = {gamma, gamma, gamma};
    cmsHPROFILE made = cmsCreateRGBProfile(&d65, &primaries, curves);
    ASSERT_TRUE(cmsSaveProfileToFile(made, (dir / "made.icc").c_str()));
    cmsCloseProfile(made);
    cmsFreeToneCurve(gamma);
    auto r = Ombrel("colour --json " + dir / "made.icc");
    EXPECT_EQ(r.status, 0) << r.output;
    EXPECT_TRUE(test::MatchesRef("app/colour-made.json", r.output.replace(r.output.find(dir.path()), dir.path().size(), "{dir}")));

    test::WriteWholeFile(dir / "junk.icc", "not a profile");
    r = Ombrel("colour " + dir / "junk.icc");
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(Has(r, "junk.icc: not an ICC profile: ")) << r.output;
    EXPECT_EQ(Ombrel("colour").status, 2);
    r = test::RunShell("env -u DISPLAY -u WAYLAND_DISPLAY " + std::string(OMBREL_CLI) + " colour --display");
    EXPECT_EQ(r.status, 0);
    EXPECT_TRUE(Has(r, "description     sRGB built-in\n")) << r.output;
}

}  // namespace
}  // namespace ombrel
