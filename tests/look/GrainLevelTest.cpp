// Grain through the whole pipeline with the installed scans and curves: it moves levels
// around where they were without shifting them, and it changes from frame to frame in a
// way that a render can repeat.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "LookTestSupport.h"
#include "look/GrainWalk.h"

namespace ombrel {
namespace {

constexpr int kSize = 512;

test::Frame16 Grey(uint16_t level) {
    test::Frame16 f;
    f.width = f.height = kSize;
    f.rgb.assign(static_cast<size_t>(kSize) * kSize * 3, level);
    return f;
}

struct ChannelStats {
    double mean[3] = {0, 0, 0};
    double deviation[3] = {0, 0, 0};
};

ChannelStats Stats(const std::vector<uint16_t>& rgb) {
    ChannelStats s;
    const double n = static_cast<double>(rgb.size() / 3);
    for (size_t i = 0; i < rgb.size(); ++i) s.mean[i % 3] += rgb[i] / n;
    for (size_t i = 0; i < rgb.size(); ++i) {
        const double d = rgb[i] - s.mean[i % 3];
        s.deviation[i % 3] += d * d / n;
    }
    for (double& d : s.deviation) d = std::sqrt(d);
    return s;
}

// Correlation of the green samples of two frames, pixel by pixel.
double Correlation(const std::vector<uint16_t>& a, const std::vector<uint16_t>& b) {
    const ChannelStats sa = Stats(a), sb = Stats(b);
    double sum = 0;
    size_t n = 0;
    for (size_t i = 1; i < a.size(); i += 3, ++n) sum += (a[i] - sa.mean[1]) * (b[i] - sb.mean[1]);
    return sum / static_cast<double>(n) / (sa.deviation[1] * sb.deviation[1]);
}

class GrainLevel : public testing::TestWithParam<const char*> {};

TEST_P(GrainLevel, GrainOnAGreyPatchIsVisibleNoiseThatLeavesTheAverageLevelWhereItWas) {
    OMBREL_PROCESSOR_OR_SKIP(sp, kSize, kSize, kSize, kSize);
    sp->SetCurrentLUTSourceTypeChosenR3DMode(GetParam(), "EpicM", "", true);
    sp->ChangeGrainMapToStockScaleCurveOnly(GetParam(), 1.0, false);
    const test::Frame16 frame = Grey(26000);  // about 0.4, where grain is strongest

    sp->SetGrainValue(0.0);
    sp->SetGrainOffsetForNextDraw({0, 0});
    const ChannelStats off = Stats(test::DrawOnGpu(*sp, frame, kSize, kSize));
    sp->SetGrainValue(1.0);
    for (float offset : {0.0f, 333.0f, 1201.0f}) {
        sp->SetGrainOffsetForNextDraw({offset, offset / 2});
        const ChannelStats on = Stats(test::DrawOnGpu(*sp, frame, kSize, kSize));
        for (int k = 0; k < 3; ++k) {
            EXPECT_NEAR(on.mean[k], off.mean[k], 65535.0 / 1023.0) << "channel " << k << " at offset " << offset;
            EXPECT_GT(on.deviation[k], 4.0 * off.deviation[k] + 20.0) << "grain is there to see, channel " << k;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Stocks, GrainLevel, testing::Values("5207", "KodakTriX", "Polaroid"));

TEST(GrainFrames, NeighbouringFramesAreUncorrelatedAndAFrameRepeatsExactly) {
    OMBREL_PROCESSOR_OR_SKIP(sp, kSize, kSize, kSize, kSize);
    sp->SetCurrentLUTSourceTypeChosenR3DMode("5207", "EpicM", "", true);
    sp->ChangeGrainMapToStockScaleCurveOnly("5207", 1.0, false);
    sp->SetGrainValue(1.0);
    const test::Frame16 frame = Grey(26000);
    const auto grain = sp->grainSize();
    auto draw = [&](int64_t f) {
        GrainWalk walk(GrainWalk::SeedForClip("/any/where/A001_C001_0101AB_001.R3D"));
        const auto o = walk.OffsetForFrame(f, grain[0], grain[1]);
        sp->SetGrainOffsetForNextDraw({static_cast<float>(o[0]), static_cast<float>(o[1])});
        return test::DrawOnGpu(*sp, frame, kSize, kSize);
    };
    const auto f0 = draw(0), f1 = draw(1), f2 = draw(2);
    EXPECT_LT(std::abs(Correlation(f0, f1)), 0.05);
    EXPECT_LT(std::abs(Correlation(f1, f2)), 0.05);
    EXPECT_GT(Correlation(f0, f0), 0.999);
    EXPECT_TRUE(draw(1) == f1) << "frame 1 again, after others, is the same frame";
}

}  // namespace
}  // namespace ombrel
