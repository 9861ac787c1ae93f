#pragma once

namespace ombrel {

// Positions of the three colour balls: for highlights, midtones and shadows, the
// strength (0 to 1 of the wheel's radius) and the angle in radians.
struct ColorBallInfo {
    float h[2] = {0.0f, 0.0f};
    float m[2] = {0.0f, 0.0f};
    float s[2] = {0.0f, 0.0f};
};

// Operations on ColorBallInfo.
class ColorBallData {
public:
    static void ResetColorBallInfo(ColorBallInfo* info);
    static void CopyColorBallInfoDest(const ColorBallInfo& source, ColorBallInfo* dest);
    // True when all six floats compare equal; a NaN compares unequal.
    static bool IsSameDest(const ColorBallInfo& a, const ColorBallInfo& b);
};

}  // namespace ombrel
