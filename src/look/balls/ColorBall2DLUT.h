#pragma once

// The three colour balls (shadows, midtones, highlights) as one RGB table over levels 0 to 1.
//
// Each ball picks a hue on a six-sector wheel by its angle and a strength by its distance
// from the centre. The hue says which of R, G, B take part; each tonal zone is a straight
// line per channel: the shadow line pivots on white (it lifts black), the midtone line adds
// an offset, the highlight line pivots on black (it raises the slope). Three weights over
// the level, normalised to sum 1, blend the lines.

#include <cstddef>

namespace ombrel {

struct CBRGBdata {
    float r = 0.0f;
    float g = 0.0f;
    float b = 0.0f;
};

class colorBall2DLUT {
public:
    colorBall2DLUT();

    // `count` interleaved RGB triples, entry i at level i / (count - 1), each value limited to
    // 0 .. 1 and then multiplied by `scale`. Angles in radians; strengths 0 at the centre, 1
    // at the rim (the pipeline passes the radius squared).
    void getLUT(float shadowAngle, float shadowStrength, float midAngle, float midStrength, float highAngle,
                float highStrength, int count, float scale, float* output);
    // The hue of an angle: each channel 0 or 1 except one ramp. Angles beyond -pi .. pi are
    // held just inside the end of the wheel, not wrapped.
    static CBRGBdata colorBallQuadrant(float angle);
    // The table from the hues and line strengths; keeps the lines in shadowGain, midOffset
    // and highGain.
    void LUTbuilder(CBRGBdata shadowHue, float shadowLine, CBRGBdata midHue, float midLine, CBRGBdata highHue,
                    float highLine, int count, float scale, float* output);

    static float shadowWeight(float x);
    static float midWeight(float x);
    static float highWeight(float x);

    // Line strengths with the ball at the centre and at the rim.
    float shadowAtCentre;
    float shadowAtRim;
    float midAtCentre;
    float midAtRim;
    float highAtCentre;
    float highAtRim;
    // Per channel, from the last build: the shadow line's factor, the midtone line's offset,
    // the highlight line's factor.
    CBRGBdata shadowGain;
    CBRGBdata midOffset;
    CBRGBdata highGain;
};

}  // namespace ombrel
