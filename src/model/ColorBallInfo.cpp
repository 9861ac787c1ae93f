#include "model/ColorBallInfo.h"

namespace ombrel {

void ColorBallData::ResetColorBallInfo(ColorBallInfo* info) { *info = ColorBallInfo{}; }

void ColorBallData::CopyColorBallInfoDest(const ColorBallInfo& source, ColorBallInfo* dest) { *dest = source; }

bool ColorBallData::IsSameDest(const ColorBallInfo& a, const ColorBallInfo& b) {
    for (int i = 0; i < 2; ++i) {
        if (!(a.h[i] == b.h[i]) || !(a.m[i] == b.m[i]) || !(a.s[i] == b.s[i])) return false;
    }
    return true;
}

}  // namespace ombrel
