// Grain in renders: the walk is a pure function of clip and frame with the live walk's jumps,
// and through the whole pipeline with the installed scans and curves grain moves levels around
// where they were without shifting them, unrelated from one frame to the next.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "LookTestSupport.h"
#include "look/GrainWalk.h"

namespace ombrel {
namespace {

using Offset = std::array<int32_t, 2>;

TEST(GrainWalk, AFramesOffsetDependsOnlyOnTheClipAndTheFrame) {
    const uint64_t seed = GrainWalk::SeedForClip("/Volumes/A/A001_C001_0101AB_001.R3D");
    EXPECT_EQ(seed, GrainWalk::SeedForClip("/mnt/other/place/A001_C001_0101AB_001.R3D"))
        << "the same clip on another machine walks the same way";
    EXPECT_NE(seed, GrainWalk::SeedForClip("/Volumes/A/A001_C002_0101AB_001.R3D"));
    GrainWalk whole(seed), split(seed);
    std::vector<Offset> offsets;
    for (int f = 0; f < 200; ++f) offsets.push_back(whole.OffsetForFrame(f, 2048, 1080));
    // A fresh walk asked for later frames first, then backwards, agrees.
    for (int f = 199; f >= 0; f -= 7) EXPECT_EQ(split.OffsetForFrame(f, 2048, 1080), offsets[size_t(f)]) << f;
    // Another grain size is another walk, and asking for it does not disturb the first.
    EXPECT_NE(split.OffsetForFrame(150, 1024, 540), offsets[150]);
    EXPECT_EQ(split.OffsetForFrame(151, 2048, 1080), offsets[151]);
    EXPECT_EQ(split.OffsetForFrame(5, 0, 1080), (Offset{0, 0}));
    EXPECT_EQ(split.OffsetForFrame(-1, 2048, 1080), (Offset{0, 0}));
}

TEST(GrainWalk, EachFrameJumpsAQuarterToThreeQuartersOfTheImageUniformly) {
    for (const Offset& size : {Offset{2048, 1536}, Offset{641, 481}, Offset{3, 2}}) {
        GrainWalk walk(GrainWalk::SeedForClip("clip_" + std::to_string(size[0]) + ".R3D"));
        Offset last = walk.OffsetForFrame(0, size[0], size[1]);
        std::array<double, 2> sum{0, 0};
        Offset lo{INT32_MAX, INT32_MAX}, hi{INT32_MIN, INT32_MIN};
        for (int f = 1; f <= 20000; ++f) {
            const auto now = walk.OffsetForFrame(f, size[0], size[1]);
            for (size_t k = 0; k < 2; ++k) {
                const int32_t jump = (now[k] - last[k] + size[k]) % size[k];
                sum[k] += jump / 20000.0;
                lo[k] = std::min(lo[k], jump);
                hi[k] = std::max(hi[k], jump);
            }
            last = now;
        }
        for (size_t k = 0; k < 2; ++k) {
            // The jump of the live walk: n / 4 + [0, n / 2), taken modulo n.
            const int32_t n = size[k], first = n / 4, lastJump = n / 4 + std::max(n / 2, 1) - 1;
            EXPECT_EQ(std::vector<int32_t>({lo[k], hi[k]}), std::vector<int32_t>({first % n, lastJump % n})) << n;
            EXPECT_NEAR(sum[k], (first % n + lastJump % n) / 2.0, 0.02 * n) << n;
        }
    }
}

constexpr int kSize = 512;
constexpr double kGrey = 26000 / 65535.0;  // about 0.4, where grain is strongest

// Mean and standard deviation of each channel.
std::array<std::array<double, 2>, 3> Stats(const std::vector<uint16_t>& rgb) {
    std::array<std::array<double, 2>, 3> s{};
    const double n = static_cast<double>(rgb.size() / 3);
    for (size_t i = 0; i < rgb.size(); ++i) s[i % 3][0] += rgb[i] / n;
    for (size_t i = 0; i < rgb.size(); ++i) s[i % 3][1] += std::pow(rgb[i] - s[i % 3][0], 2) / n;
    for (auto& c : s) c[1] = std::sqrt(c[1]);
    return s;
}

// Correlation of the green samples of two frames, pixel by pixel.
double Correlation(const std::vector<uint16_t>& a, const std::vector<uint16_t>& b) {
    const auto sa = Stats(a)[1], sb = Stats(b)[1];
    double sum = 0;
    for (size_t i = 1; i < a.size(); i += 3) sum += (a[i] - sa[0]) * (b[i] - sb[0]);
    return sum / static_cast<double>(a.size() / 3) / (sa[1] * sb[1]);
}

class GrainLevel : public testing::TestWithParam<const char*> {};

TEST_P(GrainLevel, GrainOnAGreyPatchIsVisibleNoiseThatLeavesTheAverageLevelWhereItWas) {
    OMBREL_PROCESSOR_OR_SKIP(sp, kSize, kSize, kSize, kSize);
    sp->SetCurrentLUTSourceTypeChosenR3DMode(GetParam(), "EpicM", "", true);
    sp->ChangeGrainMapToStockScaleCurveOnly(GetParam(), 1.0, false);
    const test::Frame16 frame = test::Uniform(kSize, kSize, kGrey, kGrey, kGrey);
    sp->SetGrainValue(0.0);
    sp->SetGrainOffsetForNextDraw({0, 0});
    const auto off = Stats(test::DrawOnGpu(*sp, frame, kSize, kSize));
    sp->SetGrainValue(1.0);
    for (float offset : {0.0f, 333.0f, 1201.0f}) {
        sp->SetGrainOffsetForNextDraw({offset, offset / 2});
        const auto on = Stats(test::DrawOnGpu(*sp, frame, kSize, kSize));
        for (size_t k = 0; k < 3; ++k) {
            EXPECT_NEAR(on[k][0], off[k][0], 65535.0 / 1023.0) << "channel " << k << " at offset " << offset;
            EXPECT_GT(on[k][1], 4.0 * off[k][1] + 20.0) << "grain is there to see, channel " << k;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Stocks, GrainLevel, testing::Values("5207", "KodakTriX", "Polaroid"));

TEST(GrainFrames, NeighbouringFramesAreUncorrelatedAndAFrameRepeatsExactly) {
    OMBREL_PROCESSOR_OR_SKIP(sp, kSize, kSize, kSize, kSize);
    sp->SetCurrentLUTSourceTypeChosenR3DMode("5207", "EpicM", "", true);
    sp->ChangeGrainMapToStockScaleCurveOnly("5207", 1.0, false);
    sp->SetGrainValue(1.0);
    const test::Frame16 frame = test::Uniform(kSize, kSize, kGrey, kGrey, kGrey);
    const auto grain = sp->grainSize();
    auto draw = [&](int64_t f) {
        GrainWalk walk(GrainWalk::SeedForClip("/any/where/A001_C001_0101AB_001.R3D"));
        const auto o = walk.OffsetForFrame(f, grain[0], grain[1]);
        sp->SetGrainOffsetForNextDraw({static_cast<float>(o[0]), static_cast<float>(o[1])});
        return test::DrawOnGpu(*sp, frame, kSize, kSize);
    };
    const auto f0 = draw(0), f1 = draw(1);
    EXPECT_LT(std::abs(Correlation(f0, f1)), 0.05);
    EXPECT_TRUE(draw(0) == f0) << "frame 0 again, after another, is the same frame";
}

}  // namespace
}  // namespace ombrel
