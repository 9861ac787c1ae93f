// The frame draw: blur weights, the preview's histogram and the fits of the render pass; a
// processor without any GL driver; grain in renders (the
// walk is a pure function of clip and frame with the live walk's jumps, and grain moves levels
// around where they were); and setters on other threads, whose tables every frame shows whole.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <numeric>
#include <set>
#include <thread>
#include <vector>

#include "LookTestSupport.h"
#include "look/GrainWalk.h"
#include "look/LutManager.h"
#include "support/NoGlDriver.h"

namespace ombrel {
namespace {

using Backend = ShaderProcessor::Backend;
using test::Uniform;

double Gaussian(double x, double s) { return std::exp(-x * x / (2 * s)) / std::sqrt(2 * M_PI * s); }

// The spread runs from 1 / 2 pi to 1 and is capped outside 0 .. 1.
TEST(Blur, WeightsAreTheNormalisedBellAndFramesWiderThan4096PixelsStopAtTheWidest) {
    EXPECT_NEAR(ShaderProcessor::GaussForXYBlurPercent(1, 1, 0.5f), Gaussian(std::sqrt(2.0), 0.5 + 0.25 / M_PI), 1e-6);
    EXPECT_NEAR(ShaderProcessor::GaussForXYBlurPercent(1, 0, -1), Gaussian(1, 0.5 / M_PI), 1e-6);
    ShaderProcessor sp(Backend::Cpu);
    sp.BlurFboWidthHeight(16, 16);
    EXPECT_FLOAT_EQ(sp.blurOffset()[1], 1.3846154f);
    EXPECT_FLOAT_EQ(sp.blurOffset()[2], 3.2307692f);
    for (double p : {0.0, 0.5, 1.0}) {
        sp.SetBlurWeight(p);
        const double s = (1 - 1 / (2 * M_PI)) * p + 1 / (2 * M_PI);
        const double sum = Gaussian(0, s) + 2 * Gaussian(1, s) + 2 * Gaussian(2, s);  // side taps count twice
        for (int i = 0; i < 5; ++i) EXPECT_NEAR(sp.blurWeight()[i], i < 3 ? Gaussian(i, s) / sum : 0.0, 1e-6) << p;
    }
    const auto widest = sp.blurWeight();  // radius 1.0; an 8K frame asks 1.0 * 8192 / 4096
    sp.SetBlurWeight(2.0);
    EXPECT_EQ(sp.blurWeight(), widest);
}

// The preview: a 512 x 256 pass read back as 8 bits, counted on a thread of its own.
TEST(PreviewDraw, HistogramPassesCountTheGradedFrameBeforeAndAfterLevels) {
    test::Frame16 frame = Uniform(512, 256, 0.1, 0.1, 0.1);
    for (size_t i = 0; i < frame.rgb.size(); ++i) {
        if (i / 3 % 512 >= 256) frame.rgb[i] = 58982;  // 0.9
    }
    OMBREL_PROCESSOR_OR_SKIP(sp, 512, 256, 64, 32);
    sp->HistogramFBOSetup();
    sp->SetHistogramBMW(0.3, 0.5, 0.7);
    std::vector<uint32_t> buckets(3 * 512);
    uint32_t* channels[3] = {buckets.data(), buckets.data() + 512, buckets.data() + 1024};
    sp->setBucketList(channels);
    sp->setHistogramPreLevels(true);
    sp->setR3dRenderBuffer(reinterpret_cast<const uint8_t*>(frame.rgb.data()));
    DrawParams p = test::FrameParams(*sp, 512, 256);
    sp->RenderUsingR3DRenderBuffer(&p);
    sp->WaitForHistograms();
    for (const auto& counts : sp->histogramCounts()) {
        EXPECT_EQ(counts[0], 65536u) << "the dark half, clipped by the levels";
        EXPECT_EQ(counts[255], 65536u) << "the bright half, clipped by the levels";
        EXPECT_EQ(std::accumulate(counts.begin() + 1, counts.begin() + 255, uint64_t{0}), 131072u)
            << "before levels both halves sit inside";
    }
    sp->setHistogramPreLevels(false);  // after levels only: every pixel at an end
    sp->RenderUsingR3DRenderBuffer(&p);
    sp->WaitForHistograms();
    const auto after = sp->histogramCounts();
    EXPECT_EQ(after[1][0] + after[1][255], 131072u);
    EXPECT_EQ(sp->thumbnailRep().width, 512);
    EXPECT_EQ(sp->thumbnailRep().data[4 * 10 + 1], 0) << "the thumbnail is the latest pass";
}

TEST(RenderDraw, FitsPlaceTheFrameAsTheReferenceDoes) {
    const auto frame = test::CubeFrame(40);
    struct Fit {
        int outW, outH, fit;
        float aspectW, aspectH;
    };
    for (const Fit& f : {Fit{31, 23, 2, 0, 0}, Fit{90, 80, 2, 0, 0}, Fit{80, 70, 0, 40, 50}, Fit{64, 40, 1, 30, 38}}) {
        SCOPED_TRACE(testing::Message() << f.outW << "x" << f.outH << " fit " << f.fit);
        OMBREL_PROCESSOR_OR_SKIP(sp, frame.width, frame.height, f.outW, f.outH);
        sp->SetSaturation(1.4f);
        sp->SetSBlendValue(0.5);
        const auto gpu = test::DrawOnGpu(*sp, frame, f.outW, f.outH, f.fit, f.aspectW, f.aspectH);
        const auto d = test::Compare(gpu, test::DrawOnCpu(*sp, frame, f.outW, f.outH, f.fit, f.aspectW, f.aspectH));
        EXPECT_LE(d.max1023, 2.0) << d.worstIndex;
        EXPECT_LT(d.median1023, 0.5);
        const int left = static_cast<int>((f.outW - f.aspectW) / 2);  // margins keep the clear colour
        for (int y = 0; y < f.outH && f.fit < 2; ++y)
            EXPECT_EQ(gpu[static_cast<size_t>(3 * (y * f.outW + left - 1))], 0);
    }
    // Fit 0 or 1 with the box equal to the viewport is the same as filling it.
    OMBREL_PROCESSOR_OR_SKIP(sp, frame.width, frame.height, 50, 40);
    const auto fill = test::DrawOnGpu(*sp, frame, 50, 40, 2);
    EXPECT_EQ(test::DrawOnGpu(*sp, frame, 50, 40, 0, 50, 40), fill);
    EXPECT_EQ(test::DrawOnGpu(*sp, frame, 50, 40, 1, 50, 40), fill);
}

// Where no GL context can be had, the processor says why and every GL step refuses.
TEST(NoContextProbe, WithoutADriverThePipelineRefusesCleanly) {
    if (!std::getenv(test::kNoGlDriverVariable)) GTEST_SKIP() << "runs only as the child of the test below";
    ShaderProcessor sp;
    EXPECT_FALSE(sp.renderContext());
    EXPECT_NE(sp.renderContextError().find("Cannot create an OpenGL context"), std::string::npos);
    sp.setUseRenderContext(true);
    EXPECT_FALSE(sp.InitPipelineForViewportContext({{0, 0}, {8, 8}}, nullptr));
    EXPECT_FALSE(sp.FBOSetup(nullptr));
    std::vector<uint16_t> frame(8 * 8 * 3, 1000), out(8 * 8 * 4, 7);
    sp.setR3dRenderBuffer(reinterpret_cast<const uint8_t*>(frame.data()));
    DrawParams p = test::FrameParams(sp, 8, 8, out.data());
    sp.RenderUsingR3DRenderBuffer(&p);
    EXPECT_EQ(out, std::vector<uint16_t>(8 * 8 * 4, 7));
}

TEST(NoContext, AProcessorWithoutAnyDriverIsAClearErrorNotACrash) {
    EXPECT_TRUE(test::RunsWithoutGlDriver("NoContextProbe.*:LookRenderTest.WithoutAnyOpenGLTheClipFailsWithAMessage"));
}

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

TEST(GrainWalk, EachFrameJumpsAQuarterToThreeQuartersOfTheImage) {
    for (const Offset& size : {Offset{2048, 1536}, Offset{641, 481}, Offset{3, 2}}) {
        GrainWalk walk(GrainWalk::SeedForClip("clip_" + std::to_string(size[0]) + ".R3D"));
        Offset last = walk.OffsetForFrame(0, size[0], size[1]);
        Offset lo{INT32_MAX, INT32_MAX}, hi{INT32_MIN, INT32_MIN};
        for (int f = 1; f <= 20000; ++f) {
            const auto now = walk.OffsetForFrame(f, size[0], size[1]);
            for (size_t k = 0; k < 2; ++k) {
                const int32_t jump = (now[k] - last[k] + size[k]) % size[k];
                lo[k] = std::min(lo[k], jump);
                hi[k] = std::max(hi[k], jump);
            }
            last = now;
        }
        for (size_t k = 0; k < 2; ++k) {
            // The jump of the live walk: n / 4 + [0, n / 2), taken modulo n.
            const int32_t n = size[k], first = n / 4, lastJump = n / 4 + std::max(n / 2, 1) - 1;
            EXPECT_EQ(std::vector<int32_t>({lo[k], hi[k]}), std::vector<int32_t>({first % n, lastJump % n})) << n;
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

// Each setter puts its table in state A (false) or B (true).
using SetState = std::function<void(ShaderProcessor&, bool)>;
const std::vector<SetState> kStates{
    [](ShaderProcessor& sp, bool b) { sp.SetLiftGammaGain(1.0f, b ? 0.45f : 1.0f, 1.0f); },
    [](ShaderProcessor& sp, bool b) { sp.SetHistogramBMW(b ? 0.15 : 0.0, 0.5, b ? 0.8 : 1.0); },
    [](ShaderProcessor& sp, bool b) {
        sp.EditTables([b](ShaderProcessor::Tables& t) {
            FillIdentityStockTable(t.stockLut.data());
            for (float& v : t.stockLut) v = b ? 1.0f - v : v;
        });
    },
    [](ShaderProcessor& sp, bool b) { sp.SetSaturation(b ? 0.4f : 1.0f); },
};

TEST(Concurrency, SettersOnOtherThreadsNeverTearATableTheDrawUploads) {
    const auto frame = test::CubeFrame(41);
    OMBREL_PROCESSOR_OR_SKIP(sp, frame.width, frame.height, frame.width, frame.height);
    sp->SetBlendValue(1.0);
    const unsigned combos = 1u << kStates.size();
    std::vector<std::vector<uint16_t>> expected;  // the frame of each combination of states
    for (unsigned c = 0; c < combos; ++c) {
        for (size_t i = 0; i < kStates.size(); ++i) kStates[i](*sp, (c >> i) & 1u);
        expected.push_back(test::DrawOnCpu(*sp, frame, frame.width, frame.height));
    }
    for (const auto& state : kStates) state(*sp, false);
    std::atomic<bool> stop{false};
    std::vector<std::thread> setters;
    for (size_t i = 0; i < kStates.size(); ++i) {
        setters.emplace_back([&, i] {
            bool b = false;
            while (!stop) {
                b = !b;
                kStates[i](*sp, b);
                std::this_thread::sleep_for(std::chrono::microseconds(300 + 170 * i));
            }
        });
    }
    std::set<unsigned> seen;
    for (int draw = 0; draw < 60; ++draw) {
        const auto gpu = test::DrawOnGpu(*sp, frame, frame.width, frame.height);
        int match = -1;
        for (unsigned c = 0; c < combos && match < 0; ++c) {
            const auto d = test::Compare(gpu, expected[c]);
            if (d.max1023 <= 2.0 && d.median1023 < 0.5) match = static_cast<int>(c);
        }
        EXPECT_GE(match, 0) << "draw " << draw << " shows no whole state of the tables";
        if (match >= 0) seen.insert(static_cast<unsigned>(match));
    }
    stop = true;
    for (auto& t : setters) t.join();
    EXPECT_GE(seen.size(), 3u) << "the setters did not change the look between draws";
}

}  // namespace
}  // namespace ombrel
