// `ombrel calibrate`: the dialog run without a display on a fresh home, its movie and its table.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "CliSupport.h"

namespace ombrel {
namespace {

using namespace clitest;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

test::ShellResult CalibrateAt(const test::TempDir& home, const std::string& args) {
    return OmbrelAt(home, "calibrate " + args, "QT_QPA_PLATFORM=");
}

TEST(CalibrateCli, MeasuresATableWithinThreeLevelsOfTheIdentity) {
    test::TempDir home;
    const auto r = CalibrateAt(home, "--codec 9");
    ASSERT_EQ(r.status, 0) << r.output;
    EXPECT_THAT(r.output, HasSubstr("largest deviation from identity: "));
    const std::string data = home / "Documents/Ombrel/Data";
    EXPECT_TRUE(fs::exists(data + "/Calibrate.mov"));
    EXPECT_FALSE(fs::exists(data + "/__Calibrate.mov"));
    const std::string bytes = test::ReadWholeFile(data + "/ViewingLUT.f32");
    ASSERT_EQ(bytes.size(), 3145728u);
    double worst = 0.0;
    for (size_t i = 0; i < bytes.size() / 4; ++i) {
        uint32_t word = 0;
        for (int b = 0; b < 4; ++b) word |= uint32_t(uint8_t(bytes[i * 4 + size_t(b)])) << (8 * b);
        float v = 0.0f;
        std::memcpy(&v, &word, 4);
        const size_t entry = i / 3, level = i % 3 == 0 ? entry % 64 : i % 3 == 1 ? entry / 64 % 64 : entry / 4096;
        worst = std::max(worst, std::fabs(double(v) - double(level) / 63.0) * 255.0);
    }
    EXPECT_LE(worst, 3.0 + 1e-3);

    test::TempDir other;
    const auto bad = CalibrateAt(other, "--codec 42");
    EXPECT_EQ(bad.status, 1);
    EXPECT_THAT(bad.output, HasSubstr("no codec with tag 42"));
    EXPECT_FALSE(fs::exists(other / "Documents/Ombrel/Data/ViewingLUT.f32"));
}

}  // namespace
}  // namespace ombrel
