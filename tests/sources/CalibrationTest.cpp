#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "look/AppState.h"
#include "sources/CalibrateRenderSource.h"
#include "sources/Calibration.h"

namespace ombrel {
namespace {

using namespace calibration;

struct PatternCase {
    int frame, row, column;
    float r, g, b;
};

TEST(CalibrationPattern, CellsCarryRowColumnAndFrameLevels) {
    const PatternCase cases[] = {
        {0, 0, 0, 0.0f, 0.0f, 0.0f},
        {5, 15, 16, 0.0f, 1.0f / 63, 5.0f / 63},
        {10, 16, 31, 1.0f / 63, 1.0f / 63, 10.0f / 63},
        {0, 527, 1000, 32.0f / 63, 62.0f / 63, 0.0f},
        {63, 1023, 1023, 1.0f, 1.0f, 1.0f},
    };
    std::vector<float> frame(kPatternFloats);
    for (const auto& c : cases) {
        FillPattern(c.frame, frame.data());
        const float* p = &frame[(size_t(c.row) * kSide + size_t(c.column)) * 3];
        EXPECT_FLOAT_EQ(p[0], c.r) << c.row;
        EXPECT_FLOAT_EQ(p[1], c.g) << c.column;
        EXPECT_FLOAT_EQ(p[2], c.b) << c.frame;
    }
}

TEST(CalibrateRenderSource, AnswersAsAFixedClipAndHandsOutThePatternAsSamples) {
    CalibrateRenderSource source;
    EXPECT_TRUE(source.OpenFileForOutputSize("/nowhere/cube", true));
    EXPECT_EQ(source.FilePath(), "/nowhere/cube");
    source.SetPlanar(true);
    EXPECT_EQ(source.FramesInClip(), 64u);
    EXPECT_FLOAT_EQ(source.FramesPerSecond(), 25.0f);
    EXPECT_EQ(source.MetadataKelvin(), 5600u);
    EXPECT_EQ(source.MetadataExposure(), 0.0f);
    EXPECT_TRUE(source.ExposureConsistent());
    EXPECT_EQ(source.SourceType(), "EpicX_RC3RG3");
    for (const std::string& code : {source.TimecodeString(), source.TimecodeString(9), source.EdgecodeString(9)})
        EXPECT_EQ(code, "00:00:00.00");
    EXPECT_EQ(source.bufferSize(), 0x800000u);
    const BitmapImage* rep = source.ImageRep();
    EXPECT_EQ(rep->samplesPerPixel, 3);
    EXPECT_EQ(rep->bytesPerRow, 6144u);
    EXPECT_EQ(source.bytesPerPlane(), 0x200000);

    EXPECT_EQ(source.RetrieveBufferForFrame(63), kFrameReady);
    const auto* s = reinterpret_cast<const uint16_t*>(source.RawBuffer());
    const size_t at = (size_t(1023) * kSide + 16) * 3;  // last cell row, second cell column
    EXPECT_EQ(s[at], 65535);
    EXPECT_EQ(s[at + 1], 1040);  // 65535 / 63, cut
    EXPECT_EQ(s[at + 2], 65535);
}

// A dialog capture with the pipeline's and the movie's views as the frame's cells, the first
// brighter by `glLift` levels.
std::vector<uint8_t> SyntheticCapture(int frame, int glLift, Capture* c) {
    c->width = 1100;
    c->height = 620;
    c->stride = size_t(c->width) * 4;
    std::vector<uint8_t> rgba(c->stride * size_t(c->height), 0);
    for (int row = 0; row < kViewHeight; ++row)
        for (int column = 0; column < kViewWidth; ++column)
            for (int top : {89, 346}) {
                uint8_t* p = &rgba[size_t(top + row) * c->stride + size_t(36 + column) * 4];
                for (int ch = 0; ch < 3; ++ch)
                    p[ch] = uint8_t(PatternValue(frame, row * 4, column, ch) * 200.0f + (top == 89 ? glLift : 0));
            }
    c->data = rgba.data();
    return rgba;
}

TEST(CalibrationCompare, EqualViewsGiveTheIdentityAndABrighterPipelineLowersIt) {
    std::vector<float> lut(kLUTFloats, -1.0f);
    for (int lift : {0, 3}) {
        for (int z = 0; z < kFrames; ++z) {
            Capture c;
            const auto pixels = SyntheticCapture(z, lift, &c);
            ASSERT_TRUE(CompareFrame(c, z, lut.data()));
        }
        AppState::ResetViewingLUTData();
        const float* identity = AppState::GetViewingLUTData();
        if (lift == 0) {
            EXPECT_EQ(std::memcmp(lut.data(), identity, kLUTFloats * sizeof(float)), 0);
            EXPECT_EQ(LargestDeviation(lut.data()), 0.0);
        } else {
            for (size_t i = 0; i < kLUTFloats; i += 997) EXPECT_FLOAT_EQ(lut[i], identity[i] - 3.0f / 255.0f) << i;
            EXPECT_NEAR(LargestDeviation(lut.data()), 3.0, 1e-4);
        }
    }
    Capture small;
    const auto pixels = SyntheticCapture(0, 0, &small);
    small.height = 600;  // the movie view's last sample row falls outside
    EXPECT_FALSE(CompareFrame(small, 0, lut.data()));
}

TEST(CalibrationFiles, TheTableIsRawLittleEndianFloats) {
    AppState::ResetViewingLUTData();
    ASSERT_TRUE(WriteLUT(AppState::GetViewingLUTData(), LUTPath()).ok());
    std::ifstream in(LUTPath(), std::ios::binary);
    const std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), {});
    ASSERT_EQ(bytes.size(), 3145728u);
    const size_t entry = 1 + 64 * 2 + 4096 * 63;  // (1, 2, 63)
    uint32_t word = 0;
    for (int b = 0; b < 4; ++b) word |= uint32_t(bytes[entry * 12 + 8 + size_t(b)]) << (8 * b);
    EXPECT_EQ(word, 0x3f800000u);  // blue 1.0
}

}  // namespace
}  // namespace ombrel
