// The display's profile through a real X server's root window: ctest runs this under
// xvfb-run, with -noreset (the server would drop root properties when its last client leaves).
#include <gtest/gtest.h>
#include <stdlib.h>

#include "colour/Sync.h"
#include "platform/icc/DisplayProfile.h"

namespace ombrel {
namespace {

TEST(XvfbDisplayTest, TheRootWindowsProfileComesBackByteForByte) {
    if (!getenv("DISPLAY")) GTEST_SKIP() << "no X display: ctest runs this under xvfb-run";
    unsetenv("WAYLAND_DISPLAY");
    unsetenv("XDG_SESSION_TYPE");

    X11Connection x;
    ASSERT_TRUE(x.valid());
    // The built-in sRGB, with a creation year of its own to tell it from the fallback.
    std::vector<uint8_t> bytes = IccProfile::SRGB()->Bytes();
    bytes[24] = 0x07, bytes[25] = 0xD1;
    ASSERT_TRUE(x.WriteRootProperty(0, "_ICC_PROFILE", bytes));
    DisplayProfileSource source{};
    const auto shown = DisplayProfile(kMainDisplayId, &source);
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->Bytes(), bytes);
    EXPECT_EQ(source, DisplayProfileSource::kRootWindow);
    EXPECT_EQ(Color::Sync().GetProfileRef()->Bytes(), bytes);

    // A property that is no profile gives none; a screen the display lacks, none either.
    ASSERT_TRUE(x.WriteRootProperty(0, "_ICC_PROFILE", {1, 2, 3}));
    EXPECT_FALSE(DisplayProfile(kMainDisplayId, &source));
    EXPECT_FALSE(DisplayProfile(2));

    ASSERT_TRUE(x.DeleteRootProperty(0, "_ICC_PROFILE"));
    EXPECT_EQ(DisplayProfile(kMainDisplayId, &source)->Description(), "sRGB built-in");
    EXPECT_EQ(source, DisplayProfileSource::kBuiltInSRGB);
}

}  // namespace
}  // namespace ombrel
