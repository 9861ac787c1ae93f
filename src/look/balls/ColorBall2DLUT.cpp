#include "look/balls/ColorBall2DLUT.h"

#include <algorithm>
#include <numbers>

namespace ombrel {

colorBall2DLUT::colorBall2DLUT()
    : shadowAtCentre(1.0f),
      shadowAtRim(0.75f),
      midAtCentre(0.0f),
      midAtRim(0.25f),
      highAtCentre(1.0f),
      highAtRim(1.5f) {}

void colorBall2DLUT::getLUT(float shadowAngle, float shadowStrength, float midAngle, float midStrength, float highAngle,
                            float highStrength, int count, float scale, float* output) {
    const CBRGBdata cs = colorBallQuadrant(shadowAngle);
    const CBRGBdata cm = colorBallQuadrant(midAngle);
    const CBRGBdata ch = colorBallQuadrant(highAngle);
    const float a = (shadowAtRim - shadowAtCentre) * shadowStrength + shadowAtCentre;
    const float b = (midAtRim - midAtCentre) * midStrength + midAtCentre;
    const float c = (highAtRim - highAtCentre) * highStrength + highAtCentre;
    LUTbuilder(cs, a, cm, b, ch, c, count, scale, output);
}

CBRGBdata colorBall2DLUT::colorBallQuadrant(float angle) {
    float t = static_cast<float>(static_cast<double>(angle) / std::numbers::pi);
    if (t > 1.0f) t = 0.99999f;
    if (t < -1.0f) t = -0.99999f;
    // The sixths are compared in double precision, the halves in single: a float t never
    // equals a sixth, so no t falls between two sectors.
    const double td = t;
    constexpr double kSixth = 1.0 / 6.0;
    constexpr double kFiveSixths = 5.0 / 6.0;
    if (td >= kSixth && t < 0.5f) return {1.0f, 0.0f, -3.0f * t + 1.5f};         // magenta .. red
    if (td >= -kSixth && td < kSixth) return {3.0f * t + 0.5f, 0.0f, 1.0f};      // blue .. magenta
    if (t >= -0.5f && td < -kSixth) return {0.0f, -3.0f * t - 0.5f, 1.0f};       // cyan .. blue
    if (td >= -kFiveSixths && t < -0.5f) return {0.0f, 1.0f, 3.0f * t + 2.5f};   // green .. cyan
    if (t >= -1.0f && td < -kFiveSixths) return {-3.0f * t - 2.5f, 1.0f, 0.0f};  // (0.5, 1, 0) .. green
    if (td > kFiveSixths && t <= 1.0f) return {-3.0f * t + 3.5f, 1.0f, 0.0f};    // yellow .. (0.5, 1, 0)
    if (t >= 0.5f && td < kFiveSixths) return {1.0f, 3.0f * t - 1.5f, 0.0f};     // red .. yellow
    return {};  // not a number: no hue, the ball changes nothing
}

void colorBall2DLUT::LUTbuilder(CBRGBdata cs, float a, CBRGBdata cm, float b, CBRGBdata ch, float c, int count,
                                float scale, float* output) {
    auto line = [](float hue, float strength) { return hue * strength + (1.0f - hue); };
    shadowGain = {line(cs.r, a), line(cs.g, a), line(cs.b, a)};
    midOffset = {cm.r * b, cm.g * b, cm.b * b};
    highGain = {ch.r * (c - 1.0f) + 1.0f, ch.g * (c - 1.0f) + 1.0f, ch.b * (c - 1.0f) + 1.0f};
    if (!output || count <= 0) return;

    const float sg[3] = {shadowGain.r, shadowGain.g, shadowGain.b};
    const float mo[3] = {midOffset.r, midOffset.g, midOffset.b};
    const float hg[3] = {highGain.r, highGain.g, highGain.b};
    const float last = count > 1 ? static_cast<float>(count - 1) : 1.0f;
    for (int i = 0; i < count; ++i) {
        const float x = static_cast<float>(i) / last;  // the last entry stands at level 1.0
        float ws = shadowWeight(x);
        float wm = midWeight(x);
        float wh = highWeight(x);
        // The three do not sum to 1 (1.5 at mid grey).
        const float sum = ws + wm + wh;
        ws /= sum;
        wm /= sum;
        wh /= sum;
        for (size_t n = 0; n < 3; ++n) {
            const float value = hg[n] * x * wh + ((mo[n] + x) * wm + (sg[n] * x + (1.0f - sg[n])) * ws);
            output[3 * static_cast<size_t>(i) + n] = std::clamp(value, 0.0f, 1.0f) * scale;
        }
    }
}

float colorBall2DLUT::shadowWeight(float x) { return (x - 1.0f) * (x - 1.0f); }

float colorBall2DLUT::midWeight(float x) {
    const float d = 2.0f * x - 1.0f;
    return 1.0f - d * d;
}

float colorBall2DLUT::highWeight(float x) { return x * x; }

}  // namespace ombrel
