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

// Entry i of channel c of a table of `count` entries, for the balls (angle, strength) given.
struct Table {
    colorBall2DLUT balls;
    std::vector<float> t;
    Table(float as, float rs, float am, float rm, float ah, float rh, int count = 4096, float scale = 1.0f)
        : t(3 * static_cast<size_t>(count), -1.0f) {
        balls.getLUT(as, rs, am, rm, ah, rh, count, scale, t.data());
    }
    float operator()(int i, int c) const { return t[3 * static_cast<size_t>(i) + static_cast<size_t>(c)]; }
};

TEST(ColorBallWheel, SectorEndsAreThePrimariesAndSecondariesAndInsideASectorOneChannelRamps) {
    struct Row {
        const char* name;
        float angle, r, g, b;
    };
    const Row rows[] = {
        {"red", AngleOf(0.5), 1, 0, 0},
        {"magenta", AngleOf(1.0 / 6.0 + 1e-6), 1, 0, 1},
        {"blue", AngleOf(-1.0 / 6.0 + 1e-6), 0, 0, 1},
        {"cyan", AngleOf(-0.5), 0, 1, 1},
        {"cyan from below", AngleOf(-0.5 - 1e-6), 0, 1, 1},
        {"green", AngleOf(-5.0 / 6.0 + 1e-6), 0, 1, 0},
        {"yellow", AngleOf(5.0 / 6.0 - 1e-6), 1, 1, 0},
        {"blue-magenta", 0.0f, 0.5f, 0, 1},
        {"pi", kPi, 0.5f, 1, 0},
        {"-pi", -kPi, 0.5f, 1, 0},
        {"0.3", AngleOf(0.3), 1, 0, -3.0f * 0.3f + 1.5f},
        {"0.1", AngleOf(0.1), 3.0f * 0.1f + 0.5f, 0, 1},
        {"-0.3", AngleOf(-0.3), 0, -3.0f * -0.3f - 0.5f, 1},
        {"-0.7", AngleOf(-0.7), 0, 1, 3.0f * -0.7f + 2.5f},
        {"-0.9", AngleOf(-0.9), -3.0f * -0.9f - 2.5f, 1, 0},
        {"0.9", AngleOf(0.9), -3.0f * 0.9f + 3.5f, 1, 0},
        {"0.7", AngleOf(0.7), 1, 3.0f * 0.7f - 1.5f, 0},
        {"4 rad is held at the end, not wrapped", 4.0f, -3.0f * 0.99999f + 3.5f, 1, 0},
        {"-100 rad", -100.0f, -3.0f * -0.99999f - 2.5f, 1, 0},
        {"no number", std::numeric_limits<float>::quiet_NaN(), 0, 0, 0},
    };
    for (const Row& row : rows) {
        const CBRGBdata h = colorBall2DLUT::colorBallQuadrant(row.angle);
        EXPECT_NEAR(h.r, row.r, 1e-5f) << row.name;
        EXPECT_NEAR(h.g, row.g, 1e-5f) << row.name;
        EXPECT_NEAR(h.b, row.b, 1e-5f) << row.name;
    }
}

TEST(ColorBallWheel, TheWheelIsContinuousAllRoundWithOneRampAtATime) {
    CBRGBdata previous = colorBall2DLUT::colorBallQuadrant(-kPi);
    const int steps = 20000;
    for (int i = 1; i <= steps; ++i) {
        const float angle = -kPi + 2.0f * kPi * static_cast<float>(i) / steps;
        const CBRGBdata h = colorBall2DLUT::colorBallQuadrant(angle);
        int ramps = 0;
        for (auto [c, before] : {std::pair{h.r, previous.r}, {h.g, previous.g}, {h.b, previous.b}}) {
            // A step of the wheel moves t by 2 / steps and a ramp by at most three times that.
            EXPECT_NEAR(c, before, 6.5 / steps) << angle;
            EXPECT_TRUE(c >= 0.0f && c <= 1.0f) << angle;
            if (c != 0.0f && c != 1.0f) ++ramps;
        }
        EXPECT_LE(ramps, 1) << angle;
        previous = h;
    }
}

TEST(ColorBallLines, WeightsAreNormalisedAtMidGreyAndStrengthsMoveFromCentreToRimLinearly) {
    for (const auto& [x, s, m, h] : {std::array<float, 4>{0.5f, 0.25f, 1.0f, 0.25f},
                                     {0.0f, 1.0f, 0.0f, 0.0f},
                                     {1.0f, 0.0f, 0.0f, 1.0f},
                                     {0.2f, 0.64f, 0.64f, 0.04f}}) {
        EXPECT_FLOAT_EQ(colorBall2DLUT::shadowWeight(x), s) << x;
        EXPECT_FLOAT_EQ(colorBall2DLUT::midWeight(x), m) << x;
        EXPECT_FLOAT_EQ(colorBall2DLUT::highWeight(x), h) << x;
    }
    const Table t(AngleOf(0.5), 0.5f, AngleOf(-0.5 - 1e-3), 0.5f, AngleOf(0.5), 0.5f, 8);
    // Shadow red: a = 1 - 0.25 * 0.5; mid: b = 0.25 * 0.5 on green and blue (cyan); high: c = 1 + 0.5 * 0.5.
    EXPECT_FLOAT_EQ(t.balls.shadowGain.r, 0.875f);
    EXPECT_EQ(t.balls.shadowGain.g + t.balls.shadowGain.b, 2.0f) << "a channel outside the hue keeps gain 1";
    EXPECT_NEAR(t.balls.midOffset.r, 0.0f, 1e-6f);
    EXPECT_FLOAT_EQ(t.balls.midOffset.g, 0.125f);
    EXPECT_NEAR(t.balls.midOffset.b, 0.125f, 1e-3f);
    EXPECT_FLOAT_EQ(t.balls.highGain.r, 1.25f);
    EXPECT_EQ(t.balls.highGain.g, 1.0f);
}

TEST(ColorBallTable, AllBallsAtTheCentreGiveTheIdentityOnTheGridOfCountMinusOne) {
    const Table t(1.0f, 0.0f, -2.0f, 0.0f, 0.5f, 0.0f);
    for (int i = 0; i < 4096; ++i) {
        for (int c = 0; c < 3; ++c) ASSERT_NEAR(t(i, c), i / 4095.0, 1.5e-7) << i;
    }
    EXPECT_EQ(t(0, 0), 0.0f);
    EXPECT_EQ(t(4095, 2), 1.0f) << "the last entry stands at level 1.0";
}

// The lifted black fades faster than the ramp climbs, so just above black the hue's channel
// sags (to about 0.2454 near level 0.04) before it rises to white.
TEST(ColorBallTable, AShadowBallAtTheRimOnRedLiftsBlackByAQuarterAndSagsALittleBeforeItRises) {
    const Table t(kPi / 2, 1.0f, 0, 0, 0, 0);
    EXPECT_FLOAT_EQ(t.balls.shadowGain.r, 0.75f);
    EXPECT_EQ(t.balls.shadowGain.g + t.balls.shadowGain.b, 2.0f);
    EXPECT_FLOAT_EQ(t(0, 0), 0.25f);
    EXPECT_EQ(t(0, 1) + t(0, 2), 0.0f);
    EXPECT_FLOAT_EQ(t(4095, 0), 1.0f) << "the shadow line pivots on white";
    int lowestAt = 0;
    for (int i = 0; i < 4096; ++i) lowestAt = t(i, 0) < t(lowestAt, 0) ? i : lowestAt;
    EXPECT_NEAR(t(lowestAt, 0), 0.2454f, 5e-4f);
    EXPECT_TRUE(lowestAt > 100 && lowestAt < 220) << lowestAt;
    for (int i = lowestAt + 1; i < 4096; ++i) ASSERT_GE(t(i, 0), t(i - 1, 0)) << i;
}

TEST(ColorBallTable, MidBallAtRimFollowsTheNormalisedAlgorithmNotTheEdgeListValue) {
    // Five entries put one on level 0.5. Weights there are 1/6, 2/3, 1/6 after division, so a
    // hue channel reads 0.5 + 0.25 * 2/3 = 0.6667; 0.75 would need the unnormalised mid weight.
    for (const float angle : {kPi / 2, -kPi / 2 - 0.001f, 0.9f * kPi}) {
        SCOPED_TRACE(angle);
        const Table t(0, 0, angle, 1.0f, 0, 0, 5);
        const CBRGBdata hue = colorBall2DLUT::colorBallQuadrant(angle);
        const float hues[3] = {hue.r, hue.g, hue.b};
        for (int c = 0; c < 3; ++c) {
            EXPECT_NEAR(t(2, c), 0.5f + hues[c] * 0.25f * (2.0f / 3.0f), 1e-6f) << c;
            if (hues[c] == 1.0f) { EXPECT_GT(std::abs(t(2, c) - 0.75f), 0.08f); }
        }
        EXPECT_NEAR(t(0, 0), 0.0f, 1e-7f) << "the mid line leaves black";
        EXPECT_NEAR(t(4, 0), 1.0f, 1e-7f) << "and white alone";
    }
}

TEST(ColorBallTable, HighlightBallAtTheRimOnRedReachesTheLimitBeforeWhiteAndTheScaleMultipliesAfterIt) {
    const Table t(0, 0, 0, 0, kPi / 2, 1.0f), scaled(0, 0, 0, 0, kPi / 2, 1.0f, 4096, 2.0f);
    EXPECT_FLOAT_EQ(t.balls.highGain.r, 1.5f);
    EXPECT_EQ(t.balls.highGain.g + t.balls.highGain.b, 2.0f);
    const int firstAtOne = static_cast<int>(std::find(t.t.begin(), t.t.end(), 1.0f) - t.t.begin()) / 3;
    EXPECT_LT(firstAtOne, 4095);
    for (int i = firstAtOne; i < 4096; ++i) ASSERT_EQ(t(i, 0), 1.0f) << "limited, not above, at " << i;
    EXPECT_EQ(t(0, 0), 0.0f) << "the highlight line pivots on black";
    EXPECT_NEAR(t(2000, 1), 2000 / 4095.0, 1e-6) << "green is not in the hue";
    for (size_t k = 0; k < t.t.size(); ++k) ASSERT_EQ(scaled.t[k], 2.0f * t.t[k]) << k;
}

TEST(ColorBallTable, MidAndHighlightBallsAloneGiveRisingCurvesThatStayInRange) {
    for (int ball = 1; ball < 3; ++ball) {
        for (int k = 0; k < 12; ++k) {
            const float angle = -kPi + 2.0f * kPi * static_cast<float>(k) / 12.0f;
            const Table t(angle, 0, angle, ball == 1 ? 1.0f : 0, angle, ball == 2 ? 1.0f : 0);
            for (int c = 0; c < 3; ++c) {
                for (int i = 1; i < 4096; ++i) {
                    ASSERT_TRUE(t(i, c) >= t(i - 1, c) - 1e-6f && t(i, c) >= 0.0f && t(i, c) <= 1.0f)
                        << "ball " << ball << " angle " << angle << " entry " << i;
                }
            }
        }
    }
}

}  // namespace
}  // namespace ombrel
