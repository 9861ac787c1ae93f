// The grain walk of renders: a pure function of clip and frame with the live walk's jumps.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "look/GrainWalk.h"

namespace ombrel {
namespace {

TEST(GrainWalk, AFramesOffsetDependsOnlyOnTheClipAndTheFrame) {
    const uint64_t seed = GrainWalk::SeedForClip("/Volumes/A/A001_C001_0101AB_001.R3D");
    EXPECT_EQ(seed, GrainWalk::SeedForClip("/mnt/other/place/A001_C001_0101AB_001.R3D"))
        << "the same clip on another machine walks the same way";
    EXPECT_NE(seed, GrainWalk::SeedForClip("/Volumes/A/A001_C002_0101AB_001.R3D"));

    GrainWalk whole(seed);
    std::vector<std::array<int32_t, 2>> offsets;
    for (int f = 0; f < 200; ++f) offsets.push_back(whole.OffsetForFrame(f, 2048, 1080));

    // A second range on a fresh walk, a backwards walk and random jumps all agree.
    GrainWalk split(seed);
    for (int f = 120; f < 200; ++f) EXPECT_EQ(split.OffsetForFrame(f, 2048, 1080), offsets[size_t(f)]) << f;
    for (int f = 199; f >= 0; f -= 7) EXPECT_EQ(split.OffsetForFrame(f, 2048, 1080), offsets[size_t(f)]) << f;
    std::mt19937 pick(3);
    for (int i = 0; i < 50; ++i) {
        const int f = int(pick() % 200);
        EXPECT_EQ(split.OffsetForFrame(f, 2048, 1080), offsets[size_t(f)]) << f;
    }
    // Another grain size is another walk, and asking for it does not disturb the first.
    EXPECT_NE(split.OffsetForFrame(150, 1024, 540), offsets[150]);
    EXPECT_EQ(split.OffsetForFrame(151, 2048, 1080), offsets[151]);

    EXPECT_EQ(split.OffsetForFrame(5, 0, 1080), (std::array<int32_t, 2>{0, 0}));
    EXPECT_EQ(split.OffsetForFrame(-1, 2048, 1080), (std::array<int32_t, 2>{0, 0}));
}

TEST(GrainWalk, EachFrameJumpsAQuarterToThreeQuartersOfTheImageUniformly) {
    for (const auto& size :
         {std::array<int32_t, 2>{2048, 1536}, std::array<int32_t, 2>{641, 481}, std::array<int32_t, 2>{3, 2}}) {
        GrainWalk walk(GrainWalk::SeedForClip("clip_" + std::to_string(size[0]) + ".R3D"));
        std::array<int32_t, 2> last = walk.OffsetForFrame(0, size[0], size[1]);
        std::array<double, 2> sum{0, 0};
        std::array<int32_t, 2> lo{INT32_MAX, INT32_MAX}, hi{INT32_MIN, INT32_MIN};
        const int steps = 20000;
        for (int f = 1; f <= steps; ++f) {
            const auto now = walk.OffsetForFrame(f, size[0], size[1]);
            for (size_t k = 0; k < 2; ++k) {
                ASSERT_GE(now[k], 0);
                ASSERT_LT(now[k], size[k]);
                const int32_t jump = (now[k] - last[k] + size[k]) % size[k];
                sum[k] += jump;
                lo[k] = std::min(lo[k], jump);
                hi[k] = std::max(hi[k], jump);
            }
            last = now;
        }
        for (size_t k = 0; k < 2; ++k) {
            const int32_t n = size[k];
            // The jump of the live walk: n / 4 + [0, n / 2).
            const int32_t first = n / 4, lastJump = n / 4 + std::max(n / 2, 1) - 1;
            if (lo[k] == hi[k] && first == lastJump) {
                EXPECT_EQ(lo[k], first % n);
                continue;
            }
            EXPECT_EQ(lo[k], first) << n;
            EXPECT_EQ(hi[k], lastJump) << n;
            EXPECT_NEAR(sum[k] / steps, (first + lastJump) / 2.0, 0.02 * n) << n;
        }
    }
}

// With the walk, a pixel of the output sees unrelated grain from one frame to the next.
TEST(GrainWalk, GrainAtOnePixelIsUncorrelatedFromFrameToFrame) {
    const int w = 512, h = 384;
    std::mt19937 gen(11);
    std::normal_distribution<float> noise(0.0f, 1.0f);
    // Grain with a few pixels of correlation, as scans have.
    std::vector<float> white(size_t(w) * h), grain(size_t(w) * h);
    for (auto& v : white) v = noise(gen);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            float s = 0;
            for (int d = -2; d <= 2; ++d) s += white[size_t(y) * w + size_t((x + d + w) % w)];
            grain[size_t(y) * w + size_t(x)] = s;
        }
    GrainWalk walk(GrainWalk::SeedForClip("A001_C001_0101AB_001.R3D"));
    const int frames = 400;
    std::vector<float> seen(frames);
    double worst = 0;
    for (int px : {0, 77, 300}) {
        for (int f = 0; f < frames; ++f) {
            const auto o = walk.OffsetForFrame(f, w, h);
            seen[size_t(f)] = grain[size_t((px / 2 + o[1]) % h) * w + size_t((px + o[0]) % w)];
        }
        double mean = 0, var = 0, cov = 0;
        for (float v : seen) mean += v;
        mean /= frames;
        for (int f = 0; f < frames; ++f) var += (seen[size_t(f)] - mean) * (seen[size_t(f)] - mean);
        for (int f = 1; f < frames; ++f) cov += (seen[size_t(f)] - mean) * (seen[size_t(f - 1)] - mean);
        worst = std::max(worst, std::abs(cov / var));
    }
    EXPECT_LT(worst, 0.15) << "lag-1 correlation of the grain seen at one pixel";
}

}  // namespace
}  // namespace ombrel
