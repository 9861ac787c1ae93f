// The colour-ball model: the hue wheel, the three tonal lines and their normalised weights,
// and the table the three balls make.
#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <limits>
#include <numbers>
#include <sstream>
#include <vector>

#include "look/balls/ColorBall2DLUT.h"
#include "support/RefFile.h"

namespace ombrel {
namespace {

constexpr float kPi = std::numbers::pi_v<float>;

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

std::ostream& operator<<(std::ostream& out, const CBRGBdata& c) { return out << c.r << " " << c.g << " " << c.b; }

// The wheel (a quarter turn is red, minus a quarter cyan), the line weights, and the lines and
// tables of single balls at the rim and of all three together, one line a value.
TEST(ColorBallModel, WheelWeightsLinesAndTablesMatchTheReference) {
    EXPECT_NEAR(colorBall2DLUT::colorBallQuadrant(kPi / 2).r - colorBall2DLUT::colorBallQuadrant(kPi / 2).g, 1, 1e-5f);
    EXPECT_NEAR(colorBall2DLUT::colorBallQuadrant(-kPi / 2).g + colorBall2DLUT::colorBallQuadrant(-kPi / 2).b, 2,
                1e-5f);
    std::ostringstream out;
    out << std::setprecision(7);
    for (int k = -13; k <= 13; ++k)
        out << "wheel " << k << "/12 pi " << colorBall2DLUT::colorBallQuadrant(kPi * k / 12) << "\n";
    for (float angle : {4.0f, -100.0f, std::numeric_limits<float>::quiet_NaN()}) {
        out << "wheel " << angle << " rad " << colorBall2DLUT::colorBallQuadrant(angle) << "\n";
    }
    for (float x : {0.0f, 0.2f, 0.5f, 0.8f, 1.0f}) {
        out << "weights at " << x << " " << colorBall2DLUT::shadowWeight(x) << " " << colorBall2DLUT::midWeight(x)
            << " " << colorBall2DLUT::highWeight(x) << "\n";
    }
    struct Row {
        const char* name;
        float as, rs, am, rm, ah, rh;
    };
    for (const Row& r : {Row{"shadow red at the rim", kPi / 2, 1, 0, 0, 0, 0},
                         Row{"mid cyan at the rim", 0, 0, -kPi / 2 - 0.001f, 1, 0, 0},
                         Row{"highlight red at the rim", 0, 0, 0, 0, kPi / 2, 1},
                         Row{"three half-way", kPi / 2, 0.5f, -kPi / 2 - 0.001f, 0.5f, 0.9f * kPi, 0.5f},
                         Row{"three balls", 2.0f, 0.49f, -2.5f, 0.25f, 0.3f, 0.64f}}) {
        const Table t(r.as, r.rs, r.am, r.rm, r.ah, r.rh);
        out << r.name << ": shadow gain " << t.balls.shadowGain << ", mid offset " << t.balls.midOffset
            << ", high gain " << t.balls.highGain << "\n";
        for (int i : {0, 40, 164, 500, 1000, 2048, 3000, 3500, 3800, 4095}) {
            out << "  entry " << i << " " << t(i, 0) << " " << t(i, 1) << " " << t(i, 2) << "\n";
        }
    }
    EXPECT_TRUE(test::MatchesRef("look/color-balls.txt", out.str()));
}

TEST(ColorBallTable, AllBallsAtTheCentreGiveTheIdentityAndTheScaleMultipliesAfterTheLimit) {
    const Table t(1.0f, 0.0f, -2.0f, 0.0f, 0.5f, 0.0f);
    for (int i = 0; i < 4096; ++i) {
        for (int c = 0; c < 3; ++c) ASSERT_NEAR(t(i, c), i / 4095.0, 1.5e-7) << i;
    }
    EXPECT_EQ(t(4095, 2), 1.0f) << "the last entry stands at level 1.0";
    const Table high(0, 0, 0, 0, kPi / 2, 1.0f), scaled(0, 0, 0, 0, kPi / 2, 1.0f, 4096, 2.0f);
    EXPECT_EQ(high(4000, 0), 1.0f) << "limited to white before the end";
    for (size_t k = 0; k < high.t.size(); ++k) ASSERT_EQ(scaled.t[k], 2.0f * high.t[k]) << k;
}

TEST(ColorBallTable, MidBallAtRimFollowsTheNormalisedAlgorithmNotTheEdgeListValue) {
    // Five entries put one on level 0.5. Weights there are 1/6, 2/3, 1/6 after division, so a
    // hue channel reads 0.5 + 0.25 * 2/3 = 0.6667; 0.75 would need the unnormalised mid weight.
    for (const float angle : {kPi / 2, -kPi / 2 - 0.001f, 0.9f * kPi}) {
        SCOPED_TRACE(angle);
        const Table t(0, 0, angle, 1.0f, 0, 0, 5);
        const CBRGBdata hue = colorBall2DLUT::colorBallQuadrant(angle);
        const float hues[3] = {hue.r, hue.g, hue.b};
        for (int c = 0; c < 3; ++c) EXPECT_NEAR(t(2, c), 0.5f + hues[c] * 0.25f * (2.0f / 3.0f), 1e-6f) << c;
        EXPECT_NEAR(t(0, 0), 0.0f, 1e-7f) << "the mid line leaves black";
        EXPECT_NEAR(t(4, 0), 1.0f, 1e-7f) << "and white alone";
    }
}

}  // namespace
}  // namespace ombrel
