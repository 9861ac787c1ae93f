// The colour-ball table in the pipeline: what SetBallInfo hands the model and the bypass
// (drawn frames: the GPU sweep).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "look/ShaderProcessor.h"
#include "look/balls/ColorBall2DLUT.h"
#include "model/ColorBallInfo.h"

namespace ombrel {
namespace {

using Backend = ShaderProcessor::Backend;
using Table3 = std::array<float, kTableLength * 3>;
constexpr float kPi = std::numbers::pi_v<float>;

ColorBallInfo Balls(float hr, float ha, float mr, float ma, float sr, float sa) {
    ColorBallInfo b;
    b.h[0] = hr;
    b.h[1] = ha;
    b.m[0] = mr;
    b.m[1] = ma;
    b.s[0] = sr;
    b.s[1] = sa;
    return b;
}

Table3 ModelTable(float as, float ss, float am, float sm, float ah, float sh) {
    colorBall2DLUT model;
    Table3 t{};
    model.getLUT(as, ss, am, sm, ah, sh, kTableLength, 1.0f, t.data());
    return t;
}

Table3 Identity() {
    Table3 t{};
    colorBall2DLUT().getLUT(0, 0, 0, 0, 0, 0, kTableLength, 1.0f, t.data());
    return t;
}

TEST(BallSetter, EachBallGivesItsAngleAndItsRadiusSquaredInShadowMidHighOrder) {
    ShaderProcessor sp(Backend::Cpu);
    EXPECT_EQ(sp.ballTable(), Identity()) << "balls at the centre from the start";
    const ColorBallInfo info = Balls(0.8f, 2.5f, 0.5f, -1.0f, 0.3f, 0.4f);
    sp.SetBallInfo(info);
    EXPECT_TRUE(sp.reloadBalls());
    const Table3 got = sp.ballTable();
    EXPECT_EQ(got, ModelTable(0.4f, 0.3f * 0.3f, -1.0f, 0.5f * 0.5f, 2.5f, 0.8f * 0.8f));
    EXPECT_NE(got, ModelTable(0.4f, 0.3f, -1.0f, 0.5f, 2.5f, 0.8f)) << "the radius is squared";
    EXPECT_NE(got, ModelTable(2.5f, 0.64f, -1.0f, 0.25f, 0.4f, 0.09f)) << "shadows first, highlights last";
}

TEST(BallSetter, ShadowBallAtTheRimOnRedReadsAQuarterOfRedAtBlack) {
    ShaderProcessor sp(Backend::Cpu);
    sp.SetBallInfo(Balls(0, 0, 0, 0, 1.0f, kPi / 2));
    const Table3 t = sp.ballTable();
    EXPECT_FLOAT_EQ(t[0], 0.25f);
    EXPECT_EQ(t[1], 0.0f);
    EXPECT_EQ(t[2], 0.0f);
}

TEST(BallSetter, TheBypassBuildsCentredBallsAndKeepsTheCallersUntilItEnds) {
    ShaderProcessor sp(Backend::Cpu);
    const ColorBallInfo first = Balls(0.6f, 1.0f, 0.4f, -2.0f, 0.9f, 3.0f);
    const ColorBallInfo during = Balls(1.0f, -0.3f, 0.0f, 0.0f, 0.2f, 1.7f);
    sp.SetBallInfo(first);
    const Table3 firstTable = sp.ballTable();
    sp.setShowOriginal(true);
    EXPECT_EQ(sp.ballTable(), Identity());
    EXPECT_TRUE(ColorBallData::IsSameDest(sp.ballInfoLocal(), first));
    sp.SetBallInfo(during);
    EXPECT_EQ(sp.ballTable(), Identity()) << "a change during the bypass stays out of the table";
    EXPECT_TRUE(ColorBallData::IsSameDest(sp.ballInfoLocal(), during));
    sp.setShowOriginal(false);
    EXPECT_EQ(sp.ballTable(), ModelTable(1.7f, 0.2f * 0.2f, 0.0f, 0.0f, -0.3f, 1.0f));
    sp.SetBallInfo(first);
    EXPECT_EQ(sp.ballTable(), firstTable);
}

}  // namespace
}  // namespace ombrel
