// The colour-ball model: the hue wheel, the three tonal lines and their normalised weights,
// and the table the three balls make.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "look/balls/ColorBall2DLUT.h"

namespace ombrel {
namespace {

constexpr float kPi = std::numbers::pi_v<float>;

// The angle whose wheel position (angle / pi) is t.
float AngleOf(double t) { return static_cast<float>(t * std::numbers::pi); }

void ExpectHue(const CBRGBdata& got, float r, float g, float b, float tolerance = 2e-6f) {
    EXPECT_NEAR(got.r, r, tolerance);
    EXPECT_NEAR(got.g, g, tolerance);
    EXPECT_NEAR(got.b, b, tolerance);
}

std::vector<float> Build(colorBall2DLUT& balls, float as, float rs, float am, float rm, float ah, float rh,
                         int count = 4096, float scale = 1.0f) {
    std::vector<float> t(3 * static_cast<size_t>(count), -1.0f);
    balls.getLUT(as, rs, am, rm, ah, rh, count, scale, t.data());
    return t;
}

float At(const std::vector<float>& t, int i, int channel) {
    return t[3 * static_cast<size_t>(i) + static_cast<size_t>(channel)];
}

// ---------------------------------------------------------------- hue wheel

TEST(ColorBallWheel, SectorEndsAreThePrimariesAndSecondaries) {
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(0.5)), 1, 0, 0);                       // red
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(1.0 / 6.0 + 1e-6)), 1, 0, 1, 1e-5f);   // magenta
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(-1.0 / 6.0 + 1e-6)), 0, 0, 1, 1e-5f);  // blue
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(-0.5)), 0, 1, 1);                      // cyan
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(-0.5 - 1e-6)), 0, 1, 1, 1e-5f);        // cyan from below
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(-5.0 / 6.0 + 1e-6)), 0, 1, 0, 1e-5f);  // green
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(5.0 / 6.0 - 1e-6)), 1, 1, 0, 1e-5f);   // yellow
    ExpectHue(colorBall2DLUT::colorBallQuadrant(0.0f), 0.5f, 0, 1);                            // blue-magenta
    ExpectHue(colorBall2DLUT::colorBallQuadrant(kPi), 0.5f, 1, 0, 1e-5f);
    ExpectHue(colorBall2DLUT::colorBallQuadrant(-kPi), 0.5f, 1, 0, 1e-5f);
    // Inside each sector: the stated ramp, the others 0 or 1.
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(0.3)), 1, 0, -3.0f * 0.3f + 1.5f, 1e-5f);
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(0.1)), 3.0f * 0.1f + 0.5f, 0, 1, 1e-5f);
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(-0.3)), 0, -3.0f * -0.3f - 0.5f, 1, 1e-5f);
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(-0.7)), 0, 1, 3.0f * -0.7f + 2.5f, 1e-5f);
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(-0.9)), -3.0f * -0.9f - 2.5f, 1, 0, 1e-5f);
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(0.9)), -3.0f * 0.9f + 3.5f, 1, 0, 1e-5f);
    ExpectHue(colorBall2DLUT::colorBallQuadrant(AngleOf(0.7)), 1, 3.0f * 0.7f - 1.5f, 0, 1e-5f);
}

TEST(ColorBallWheel, TheWheelIsContinuousAllRoundWithOneRampAtATime) {
    CBRGBdata previous = colorBall2DLUT::colorBallQuadrant(-kPi);
    const int steps = 20000;
    for (int i = 1; i <= steps; ++i) {
        const float angle = -kPi + 2.0f * kPi * static_cast<float>(i) / steps;
        const CBRGBdata h = colorBall2DLUT::colorBallQuadrant(angle);
        // A step of the wheel moves t by 2 / steps and a ramp by at most three times that.
        EXPECT_NEAR(h.r, previous.r, 6.5 / steps) << angle;
        EXPECT_NEAR(h.g, previous.g, 6.5 / steps) << angle;
        EXPECT_NEAR(h.b, previous.b, 6.5 / steps) << angle;
        int ramps = 0;
        for (float c : {h.r, h.g, h.b}) {
            EXPECT_GE(c, 0.0f);
            EXPECT_LE(c, 1.0f);
            if (c != 0.0f && c != 1.0f) ++ramps;
        }
        EXPECT_LE(ramps, 1) << angle;
        previous = h;
    }
}

TEST(ColorBallWheel, AnglesBeyondPiAreHeldAtTheEndNotWrapped) {
    const CBRGBdata over = colorBall2DLUT::colorBallQuadrant(4.0f);
    ExpectHue(over, -3.0f * 0.99999f + 3.5f, 1, 0);
    const CBRGBdata wrapped = colorBall2DLUT::colorBallQuadrant(4.0f - 2.0f * kPi);
    EXPECT_GT(std::abs(wrapped.b - over.b) + std::abs(wrapped.r - over.r), 0.5f) << "4 rad is not 4 - 2 pi";
    ExpectHue(colorBall2DLUT::colorBallQuadrant(-100.0f), -3.0f * -0.99999f - 2.5f, 1, 0);
    ExpectHue(colorBall2DLUT::colorBallQuadrant(std::numeric_limits<float>::quiet_NaN()), 0, 0, 0);
}

// ---------------------------------------------------------------- weights and lines

TEST(ColorBallWeights, AtMidGreyTheyAreAQuarterOneAndAQuarterSoTheyAreNormalised) {
    EXPECT_EQ(colorBall2DLUT::shadowWeight(0.5f), 0.25f);
    EXPECT_EQ(colorBall2DLUT::midWeight(0.5f), 1.0f);
    EXPECT_EQ(colorBall2DLUT::highWeight(0.5f), 0.25f);
    EXPECT_EQ(colorBall2DLUT::shadowWeight(0.0f), 1.0f);
    EXPECT_EQ(colorBall2DLUT::highWeight(1.0f), 1.0f);
    EXPECT_FLOAT_EQ(colorBall2DLUT::shadowWeight(0.2f), 0.64f);
    EXPECT_FLOAT_EQ(colorBall2DLUT::midWeight(0.2f), 0.64f);
    EXPECT_FLOAT_EQ(colorBall2DLUT::highWeight(0.2f), 0.04f);
}

TEST(ColorBallLines, StrengthsMoveFromCentreToRimLinearlyInTheGivenStrength) {
    colorBall2DLUT balls;
    Build(balls, AngleOf(0.5), 0.5f, AngleOf(-0.5 - 1e-3), 0.5f, AngleOf(0.5), 0.5f, 8);
    // Shadow red: a = 1 - 0.25 * 0.5; mid: b = 0.25 * 0.5 on green and blue (cyan); high: c = 1 + 0.5 * 0.5.
    EXPECT_FLOAT_EQ(balls.shadowGain.r, 0.875f);
    EXPECT_EQ(balls.shadowGain.g, 1.0f) << "a channel outside the hue keeps gain 1";
    EXPECT_EQ(balls.shadowGain.b, 1.0f);
    EXPECT_NEAR(balls.midOffset.r, 0.0f, 1e-6f);
    EXPECT_FLOAT_EQ(balls.midOffset.g, 0.125f);
    EXPECT_NEAR(balls.midOffset.b, 0.125f, 1e-3f);
    EXPECT_FLOAT_EQ(balls.highGain.r, 1.25f);
    EXPECT_EQ(balls.highGain.g, 1.0f);
}

// ---------------------------------------------------------------- the table

TEST(ColorBallTable, AllBallsAtTheCentreGiveTheIdentityOnTheGridOfCountMinusOne) {
    colorBall2DLUT balls;
    const auto t = Build(balls, 1.0f, 0.0f, -2.0f, 0.0f, 0.5f, 0.0f);
    for (int i = 0; i < 4096; ++i) {
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(At(t, i, c), i / 4095.0, 1.5e-7) << i;
    }
    EXPECT_EQ(At(t, 0, 0), 0.0f);
    EXPECT_EQ(At(t, 4095, 2), 1.0f) << "the last entry stands at level 1.0";
}

TEST(ColorBallTable, ShadowBallAtTheRimOnRedLiftsRedBlackByAQuarter) {
    colorBall2DLUT balls;
    const auto t = Build(balls, kPi / 2, 1.0f, 0, 0, 0, 0);
    EXPECT_FLOAT_EQ(balls.shadowGain.r, 0.75f);
    EXPECT_EQ(balls.shadowGain.g, 1.0f);
    EXPECT_EQ(balls.shadowGain.b, 1.0f);
    EXPECT_FLOAT_EQ(At(t, 0, 0), 0.25f);
    EXPECT_EQ(At(t, 0, 1), 0.0f);
    EXPECT_EQ(At(t, 0, 2), 0.0f);
    EXPECT_FLOAT_EQ(At(t, 4095, 0), 1.0f) << "the shadow line pivots on white";
}

TEST(ColorBallTable, MidBallAtRimFollowsTheNormalisedAlgorithmNotTheEdgeListValue) {
    // Five entries put one on level 0.5. Weights there are 1/6, 2/3, 1/6 after division, so a
    // hue channel reads 0.5 + 0.25 * 2/3 = 0.6667; 0.75 would need the unnormalised mid weight.
    for (const float angle : {kPi / 2, -kPi / 2 - 0.001f, 0.9f * kPi}) {
        SCOPED_TRACE(angle);
        colorBall2DLUT balls;
        const auto t = Build(balls, 0, 0, angle, 1.0f, 0, 0, 5);
        const CBRGBdata hue = colorBall2DLUT::colorBallQuadrant(angle);
        const float hues[3] = {hue.r, hue.g, hue.b};
        for (int c = 0; c < 3; ++c) {
            EXPECT_NEAR(At(t, 2, c), 0.5f + hues[c] * 0.25f * (2.0f / 3.0f), 1e-6f) << c;
            if (hues[c] == 1.0f) { EXPECT_GT(std::abs(At(t, 2, c) - 0.75f), 0.08f); }
        }
        EXPECT_NEAR(At(t, 0, 0), 0.0f, 1e-7f) << "the mid line leaves black";
        EXPECT_NEAR(At(t, 4, 0), 1.0f, 1e-7f) << "and white alone";
    }
}

TEST(ColorBallTable, HighlightBallAtTheRimOnRedReachesTheLimitBeforeWhite) {
    colorBall2DLUT balls;
    const auto t = Build(balls, 0, 0, 0, 0, kPi / 2, 1.0f);
    EXPECT_FLOAT_EQ(balls.highGain.r, 1.5f);
    EXPECT_EQ(balls.highGain.g, 1.0f);
    EXPECT_EQ(balls.highGain.b, 1.0f);
    int firstAtOne = -1;
    for (int i = 0; i < 4096 && firstAtOne < 0; ++i) {
        if (At(t, i, 0) == 1.0f) firstAtOne = i;
    }
    ASSERT_GE(firstAtOne, 0);
    EXPECT_LT(firstAtOne, 4095);
    for (int i = firstAtOne; i < 4096; ++i) EXPECT_EQ(At(t, i, 0), 1.0f) << "limited, not above";
    EXPECT_EQ(At(t, 0, 0), 0.0f) << "the highlight line pivots on black";
    EXPECT_NEAR(At(t, 2000, 1), 2000 / 4095.0, 1e-6) << "green is not in the hue";
}

TEST(ColorBallTable, EveryEntryFollowsTheBlendOfTheThreeLines) {
    colorBall2DLUT balls;
    const auto t = Build(balls, AngleOf(-0.4), 0.7f, AngleOf(0.75), 0.3f, AngleOf(0.05), 0.9f);
    const float sg[3] = {balls.shadowGain.r, balls.shadowGain.g, balls.shadowGain.b};
    const float mo[3] = {balls.midOffset.r, balls.midOffset.g, balls.midOffset.b};
    const float hg[3] = {balls.highGain.r, balls.highGain.g, balls.highGain.b};
    for (int i = 0; i < 4096; i += 5) {
        const double x = i / 4095.0;
        const double ws = (x - 1) * (x - 1), wm = 1 - (2 * x - 1) * (2 * x - 1), wh = x * x, sum = ws + wm + wh;
        for (int c = 0; c < 3; ++c) {
            const double value = (hg[c] * x * wh + (mo[c] + x) * wm + (sg[c] * x + 1 - sg[c]) * ws) / sum;
            EXPECT_NEAR(At(t, i, c), std::clamp(value, 0.0, 1.0), 2e-6) << i << " " << c;
        }
    }
}

TEST(ColorBallTable, MidAndHighlightBallsAloneGiveRisingCurvesThatStayInRange) {
    for (int ball = 1; ball < 3; ++ball) {
        for (int k = 0; k < 12; ++k) {
            const float angle = -kPi + 2.0f * kPi * static_cast<float>(k) / 12.0f;
            float r[3] = {0, 0, 0};
            r[ball] = 1.0f;
            colorBall2DLUT balls;
            const auto t = Build(balls, angle, r[0], angle, r[1], angle, r[2]);
            for (int c = 0; c < 3; ++c) {
                for (int i = 1; i < 4096; ++i) {
                    ASSERT_GE(At(t, i, c), At(t, i - 1, c) - 1e-6f)
                        << "ball " << ball << " angle " << angle << " entry " << i;
                    ASSERT_LE(At(t, i, c), 1.0f);
                    ASSERT_GE(At(t, i, c), 0.0f);
                }
            }
        }
    }
}

TEST(ColorBallTable, AShadowBallLiftsBlackAndSagsALittleBeforeItRises) {
    // The lifted black fades faster than the ramp climbs, so just above black the hue's
    // channel sags (to about 0.2454 near level 0.04) before it rises to white.
    colorBall2DLUT balls;
    const auto t = Build(balls, kPi / 2, 1.0f, 0, 0, 0, 0);
    float lowest = 1.0f;
    int lowestAt = 0;
    for (int i = 0; i < 4096; ++i) {
        if (At(t, i, 0) < lowest) {
            lowest = At(t, i, 0);
            lowestAt = i;
        }
    }
    EXPECT_NEAR(lowest, 0.2454f, 5e-4f);
    EXPECT_GT(lowestAt, 100);
    EXPECT_LT(lowestAt, 220);
    for (int i = lowestAt + 1; i < 4096; ++i) ASSERT_GE(At(t, i, 0), At(t, i - 1, 0)) << i;
}

TEST(ColorBallTable, TheScaleMultipliesAfterTheLimit) {
    colorBall2DLUT balls;
    const auto plain = Build(balls, 0, 0, 0, 0, kPi / 2, 1.0f);
    const auto scaled = Build(balls, 0, 0, 0, 0, kPi / 2, 1.0f, 4096, 2.0f);
    for (size_t k = 0; k < plain.size(); ++k) EXPECT_EQ(scaled[k], 2.0f * plain[k]);
    EXPECT_EQ(scaled[3 * 4095], 2.0f);
}

}  // namespace
}  // namespace ombrel
