// The GPU read-back against the CPU reference, over a sweep of looks: every table alone at
// full strength, exposure and colour balls through their setters, the mixes at 0 and 1,
// black-and-white stocks, the bypass, levels on and off, grain and blur. Tables that give back
// every level are skipped on the GPU (the sweep's neutral rows) and on the CPU alike.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LookTestSupport.h"

namespace ombrel {
namespace {

using test::Compare;
using test::CubeFrame;

constexpr double kMaxError1023 = 2.0;
constexpr double kMedianError1023 = 0.5;

using test::Effect;
using test::Sweep;

TEST(GpuCpuCompare, EverySettingOfTheSweepMatchesTheReference) {
    const auto frame = CubeFrame(67);  // odd width: rows are not 4-byte multiples
    std::vector<uint16_t> neutral, exposureAlone;
    for (const auto& c : Sweep()) {
        SCOPED_TRACE(c.name);
        OMBREL_PROCESSOR_OR_SKIP(sp, frame.width, frame.height, frame.width, frame.height);
        c.apply(*sp);
        const auto gpu = test::DrawOnGpu(*sp, frame, frame.width, frame.height);
        EXPECT_FALSE(sp->reloadExposure() || sp->reloadBalls()) << "the draw uploaded the new tables";
        const auto cpu =
            test::DrawOnCpu(*sp, frame, frame.width, frame.height, 2, 0, 0, test::DriverHalfTargetRounding());
        const auto d = Compare(gpu, cpu);
        EXPECT_LE(d.max1023, kMaxError1023)
            << "sample " << d.worstIndex << ": gpu " << gpu[d.worstIndex] << ", cpu " << cpu[d.worstIndex];
        EXPECT_LT(d.median1023, kMedianError1023);
        if (c.name == "neutral") neutral = gpu;
        if (c.name == "exposure table alone") exposureAlone = gpu;
        switch (c.effect) {
            case Effect::Changes:
                EXPECT_GT(Compare(gpu, neutral).max1023, 20.0) << "the look left the picture alone";
                break;
            case Effect::Neutral: EXPECT_LE(Compare(gpu, neutral).max1023, kMaxError1023); break;
            case Effect::SameAsExposureAlone: EXPECT_LE(Compare(gpu, exposureAlone).max1023, kMaxError1023); break;
        }
    }
}

}  // namespace

namespace cpu {
namespace {

std::vector<float> Ramp(int stride, float divisor) {
    std::vector<float> t(static_cast<size_t>(kTableEntries * stride));
    for (size_t i = 0; i < t.size(); ++i) t[i] = static_cast<float>(i / size_t(stride)) / divisor;
    return t;
}

TEST(IdentityTables, OnlyARampOfTheReadingsOwnStepToAQuarterOfATenBitStepIsSkipped) {
    struct Row {
        const char* name;
        int stride;
        float divisor, nudge;  // added to one channel of entry 2000
        bool identity;
    };
    for (const Row& r : {Row{"ramp over 4095", 3, 4095, 0, true}, Row{"ramp over 4096", 1, 4096, 0, true},
                         Row{"the flat exposure table's own round trip", 3, 4095, 2e-4f, true},
                         Row{"a faint colour ball", 3, 4095, 3e-4f, false}}) {
        auto t = Ramp(r.stride, r.divisor);
        t[size_t(2000 * r.stride + r.stride - 1)] += r.nudge;
        EXPECT_EQ(IsIdentityTable(t.data(), kTableEntries, r.stride, r.divisor), r.identity) << r.name;
    }
}

TEST(IdentityTables, MarkingLooksAtEachTableAndItsSizeAndASkippedTableGivesWhatTheLookupGives) {
    CoreShaderInputs in;
    in.exposure = in.balls = Ramp(3, 4095.0f);
    in.lift = in.spline = Ramp(1, 4096.0f);
    in.stockLut.assign(static_cast<size_t>(kStockEdge * kStockEdge * kStockEdge * 3), 0.0f);
    in.grainCurve.assign(static_cast<size_t>(kGrainCurveEntries * 3), 0.0f);
    in.saturation = in.blackandwhite = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    CoreShaderInputs marked = in;
    marked.balls[3 * 4095] = 0.9f;  // a clipped highlight
    marked.spline.pop_back();       // a short table is never taken for the identity
    MarkIdentityTables(marked);
    EXPECT_EQ(std::vector<bool>(
                  {marked.exposureIsIdentity, marked.ballsIsIdentity, marked.liftIsIdentity, marked.splineIsIdentity}),
              std::vector<bool>({true, false, true, false}));
    CoreShaderInputs skipped = in;
    MarkIdentityTables(skipped);
    for (float v : {0.0f, 0.18f, 0.73f, 0.999f}) {
        const auto a = CoreShader(in, {v, v * 0.5f, 1.0f - v, 1.0f}, 10.5f, 20.5f);
        const auto b = CoreShader(skipped, {v, v * 0.5f, 1.0f - v, 1.0f}, 10.5f, 20.5f);
        for (size_t k = 0; k < 3; ++k) EXPECT_NEAR(a[k], b[k], 2.0f / 4096.0f) << v;
    }
}

}  // namespace
}  // namespace cpu
}  // namespace ombrel
