// Tables that give back every level are skipped on the GPU and the CPU alike (the GPU's
// programs with them compiled out are rows of the GPU sweep).
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "look/cpu/CoreShaderCpu.h"

namespace ombrel::cpu {
namespace {

std::vector<float> Ramp(int stride, float divisor) {
    std::vector<float> t(static_cast<size_t>(kTableEntries * stride));
    for (int i = 0; i < kTableEntries; ++i)
        for (int k = 0; k < stride; ++k) t[static_cast<size_t>(i * stride + k)] = static_cast<float>(i) / divisor;
    return t;
}

TEST(IdentityTables, OnlyARampOfTheReadingsOwnStepToAQuarterOfATenBitStepIsSkipped) {
    EXPECT_TRUE(IsIdentityTable(Ramp(3, 4095.0f).data(), kTableEntries, 3, 4095.0f));
    EXPECT_TRUE(IsIdentityTable(Ramp(1, 4096.0f).data(), kTableEntries, 1, 4096.0f));
    std::vector<float> gamma = Ramp(1, 4096.0f);
    for (float& v : gamma) v = std::pow(v, 1.01f);  // the gentlest gamma a user can set
    EXPECT_FALSE(IsIdentityTable(gamma.data(), kTableEntries, 1, 4096.0f));

    std::vector<float> nudged = Ramp(3, 4095.0f);
    nudged[3 * 2000 + 2] += 2e-4f;  // the flat exposure table's own round trip
    EXPECT_TRUE(IsIdentityTable(nudged.data(), kTableEntries, 3, 4095.0f));
    nudged[3 * 2000 + 2] += 1e-4f;  // one channel of one entry: a faint colour ball
    EXPECT_FALSE(IsIdentityTable(nudged.data(), kTableEntries, 3, 4095.0f));
}

TEST(IdentityTables, MarkingLooksAtEachTableAndItsSize) {
    CoreShaderInputs in;
    in.exposure = Ramp(3, 4095.0f);
    in.balls = Ramp(3, 4095.0f);
    in.balls[3 * 4095] = 0.9f;  // a clipped highlight
    in.lift = Ramp(1, 4096.0f);
    in.spline = Ramp(1, 4096.0f);
    in.spline.pop_back();  // a short table is never taken for the identity
    MarkIdentityTables(in);
    EXPECT_TRUE(in.exposureIsIdentity);
    EXPECT_FALSE(in.ballsIsIdentity);
    EXPECT_TRUE(in.liftIsIdentity);
    EXPECT_FALSE(in.splineIsIdentity);

    // A skipped table gives what the lookup gives, to the table's own rounding.
    in.balls = Ramp(3, 4095.0f);
    in.spline = Ramp(1, 4096.0f);
    in.stockLut.assign(static_cast<size_t>(kStockEdge * kStockEdge * kStockEdge * 3), 0.0f);
    in.grainCurve.assign(static_cast<size_t>(kGrainCurveEntries * 3), 0.0f);
    in.saturation = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    in.blackandwhite = in.saturation;
    CoreShaderInputs skipped = in;
    MarkIdentityTables(skipped);
    for (float v : {0.0f, 0.1f, 0.18f, 0.5f, 0.73f, 0.999f}) {
        const auto a = CoreShader(in, {v, v * 0.5f, 1.0f - v, 1.0f}, 10.5f, 20.5f);
        const auto b = CoreShader(skipped, {v, v * 0.5f, 1.0f - v, 1.0f}, 10.5f, 20.5f);
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(a[size_t(k)], b[size_t(k)], 2.0f / 4096.0f) << v;
    }
}

}  // namespace
}  // namespace ombrel::cpu
