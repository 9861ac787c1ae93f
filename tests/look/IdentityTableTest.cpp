// Tables that give back every level are skipped on the GPU and the CPU alike (the GPU's
// programs with them compiled out are rows of the GPU sweep).
#include <gtest/gtest.h>

#include <vector>

#include "look/cpu/CoreShaderCpu.h"

namespace ombrel::cpu {
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
}  // namespace ombrel::cpu
