#include <gtest/gtest.h>
#include <lcms2.h>
#include <stdlib.h>

#include "core/Log.h"
#include "platform/icc/DisplayProfile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

TEST(IccProfileTest, BytesThatAreNoProfileSayWhyAndTheLibraryToo) {
    Status status;
    const std::string junk(200, 'x');
    EXPECT_FALSE(IccProfile::FromBytes(junk.data(), junk.size(), &status));
    EXPECT_EQ(status.code(), Status::Code::kInvalid);
    EXPECT_TRUE(status.message().starts_with("not an ICC profile: ")) << status.message();
    EXPECT_FALSE(IccProfile::FromFile("/nonexistent/x.icc", &status));
    EXPECT_EQ(status.code(), Status::Code::kNotFound);
    EXPECT_FALSE(IccProfile::FromFile("/dev/zero", &status));  // refused, never read
    EXPECT_EQ(status.code(), Status::Code::kUnsupported);
}

TEST(IccProfileTest, TheBuiltInSRGBCopiesChecksAndReads) {
    const auto srgb = IccProfile::SRGB();
    ASSERT_TRUE(srgb);
    EXPECT_EQ(srgb->Description(), "sRGB built-in");
    EXPECT_TRUE(srgb->Check().ok());
    Status status;
    const auto copy = srgb->Copy(&status);
    ASSERT_TRUE(copy) << status.message();
    EXPECT_EQ(copy->Bytes(), srgb->Bytes());
    std::vector<uint8_t> tag;
    ASSERT_TRUE(copy->RawTag("wtpt", &tag));
    EXPECT_EQ(std::string(tag.begin(), tag.begin() + 4), "XYZ ");
    EXPECT_EQ(tag.size(), 20u);
    EXPECT_FALSE(copy->RawTag("zzzz", &tag));
    EXPECT_NEAR(copy->Gamma(), 2.2, 0.1);
    EXPECT_TRUE(copy->Messages().empty());
}

TEST(IccProfileTest, FromAFileAndNoGammaForLab) {
    test::TempDir dir;
    const std::string path = dir.path() + "/lab.icc";
    cmsHPROFILE lab = cmsCreateLab4Profile(nullptr);
    ASSERT_TRUE(cmsSaveProfileToFile(lab, path.c_str()));
    cmsCloseProfile(lab);
    Status status;
    const auto p = IccProfile::FromFile(path, &status);
    ASSERT_TRUE(p) << status.message();
    LogCapture log;
    EXPECT_EQ(p->Gamma(), 0.0);
    EXPECT_TRUE(log.Contains(">> ERROR: Color Profile:\n{\n"));
}

// Each case sets the environment it needs: ctest runs every case in a process of its own.
TEST(DisplayProfileTest, WithoutAnXDisplayTheBuiltInSRGB) {
    DisplayProfileSource source{};
    EXPECT_FALSE(DisplayProfile(0, &source));
    EXPECT_EQ(source, DisplayProfileSource::kNone);
    unsetenv("DISPLAY");
    EXPECT_EQ(DisplayProfile(kMainDisplayId, &source)->Description(), "sRGB built-in");
    EXPECT_EQ(source, DisplayProfileSource::kBuiltInSRGB);
    // A Wayland session is not asked, even with an X display named; an X display not there falls back.
    setenv("DISPLAY", ":99999", 1);
    setenv("WAYLAND_DISPLAY", "wayland-0", 1);
    EXPECT_EQ(DisplayProfile(3)->Description(), "sRGB built-in");
    unsetenv("WAYLAND_DISPLAY");
    unsetenv("XDG_SESSION_TYPE");
    EXPECT_FALSE(X11Connection().valid());
    EXPECT_EQ(X11Connection().ScreenCount(), 0);
    EXPECT_EQ(DisplayProfile(kMainDisplayId, &source)->Description(), "sRGB built-in");
    EXPECT_EQ(DisplayProfileAtom(0) + DisplayProfileAtom(2), "_ICC_PROFILE_ICC_PROFILE_2");
}

}  // namespace
}  // namespace ombrel
