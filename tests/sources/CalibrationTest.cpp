#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "look/AppState.h"
#include "sources/CalibrateRenderSource.h"
#include "sources/Calibration.h"

namespace ombrel {
namespace {

using namespace calibration;

TEST(CalibrateRenderSource, AnswersAsAFixedClipAndHandsOutTheCubeAsCutSamples) {
    CalibrateRenderSource source;
    EXPECT_TRUE(source.OpenFileForOutputSize("/nowhere/cube", true));
    EXPECT_EQ(source.FilePath(), "/nowhere/cube");
    source.SetPlanar(true);
    EXPECT_EQ(source.FramesInClip(), 64u);
    EXPECT_FLOAT_EQ(source.FramesPerSecond(), 25.0f);
    EXPECT_EQ(source.MetadataKelvin(), 5600u);
    EXPECT_EQ(source.SourceType(), "EpicX_RC3RG3");
    for (const std::string& code : {source.TimecodeString(), source.TimecodeString(9), source.EdgecodeString(9)})
        EXPECT_EQ(code, "00:00:00.00");
    EXPECT_EQ(source.bufferSize(), 0x800000u);
    EXPECT_EQ(source.ImageRep()->bytesPerRow, 6144u);
    EXPECT_EQ(source.bytesPerPlane(), 0x200000);
    // Frame, row, column and the samples there: levels 1, 5, 10, 32, 62 of 63 as 65535 x level / 63, cut.
    const struct { int frame, row, column, r, g, b; } cases[] = {
        {0, 0, 0, 0, 0, 0},           {5, 15, 16, 0, 1040, 5201},        {10, 16, 31, 1040, 1040, 10402},
        {0, 527, 1000, 33287, 64494, 0}, {63, 1023, 1023, 65535, 65535, 65535},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(source.RetrieveBufferForFrame(c.frame), kFrameReady);
        const auto* s = reinterpret_cast<const uint16_t*>(source.RawBuffer()) + (size_t(c.row) * kSide + c.column) * 3;
        EXPECT_EQ(s[0], c.r) << c.row;
        EXPECT_EQ(s[1], c.g) << c.column;
        EXPECT_EQ(s[2], c.b) << c.frame;
    }
}

// A dialog capture whose two views show the same picture of frame z, the upper one `lift` levels brighter.
std::vector<uint8_t> SyntheticCapture(int z, int lift, Capture* c) {
    *c = {nullptr, 1100, 620, 1100 * 4, 4, 0};
    std::vector<uint8_t> rgba(c->stride * size_t(c->height), 0);
    for (int row = 0; row < kViewHeight; ++row)
        for (int column = 0; column < kViewWidth; ++column)
            for (int top : {89, 346})
                for (int ch = 0; ch < 3; ++ch)
                    rgba[size_t(top + row) * c->stride + size_t(36 + column) * 4 + size_t(ch)] =
                        uint8_t(PatternValue(z, row * 4, column, ch) * 200.0f + (top == 89 ? lift : 0));
    c->data = rgba.data();
    return rgba;
}

TEST(CalibrationCompare, EqualViewsGiveTheIdentityAndABrighterPipelineLowersIt) {
    AppState::ResetViewingLUTData();
    const float* identity = AppState::GetViewingLUTData();
    std::vector<float> lut(kLUTFloats, -1.0f);
    for (int lift : {0, 3}) {
        for (int z = 0; z < kFrames; ++z) {
            Capture c;
            const auto pixels = SyntheticCapture(z, lift, &c);
            ASSERT_TRUE(CompareFrame(c, z, lut.data()));
        }
        if (lift == 0) {
            EXPECT_EQ(std::memcmp(lut.data(), identity, kLUTFloats * sizeof(float)), 0);
        }
        for (size_t i = 0; i < kLUTFloats; i += 997) EXPECT_FLOAT_EQ(lut[i], identity[i] - lift / 255.0f) << i;
        EXPECT_NEAR(LargestDeviation(lut.data()), lift, 1e-4);
    }
    Capture small;
    const auto pixels = SyntheticCapture(0, 0, &small);
    small.height = 600;  // the movie view's last sample row falls outside
    EXPECT_FALSE(CompareFrame(small, 0, lut.data()));
}

}  // namespace
}  // namespace ombrel
