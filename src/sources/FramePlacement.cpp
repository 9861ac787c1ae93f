#include "sources/FramePlacement.h"

#include <cmath>
#include <cstddef>
#include <vector>

namespace ombrel {

namespace {

// Source index of each output column (or row); -1 in the margins.
std::vector<int64_t> SampleMap(uint32_t outSize, uint32_t box, uint32_t sourceSize, bool fill) {
    std::vector<int64_t> map(outSize, -1);
    const double boxSize = fill ? outSize : box;
    const double origin = fill ? 0.0 : (static_cast<double>(outSize) - boxSize) * 0.5;
    for (uint32_t o = 0; o < outSize; ++o) {
        const double u = (static_cast<double>(o) + 0.5 - origin) / boxSize;
        if (u < 0.0 || u >= 1.0) continue;
        auto s = static_cast<int64_t>(std::floor(u * sourceSize));
        if (s >= static_cast<int64_t>(sourceSize)) s = sourceSize - 1;
        map[o] = s;
    }
    return map;
}

}  // namespace

bool PlaceFrame(const uint16_t* rgb, const FramePlacement& p, uint16_t* out, bool outputRGBA) {
    if (!rgb || !out || p.sourceWidth == 0 || p.sourceHeight == 0 || p.outputWidth == 0 || p.outputHeight == 0)
        return false;
    const bool fill = p.fitMethod >= 2 || p.aspectWidth == 0 || p.aspectHeight == 0;
    const auto xs = SampleMap(p.outputWidth, p.aspectWidth, p.sourceWidth, fill);
    const auto ys = SampleMap(p.outputHeight, p.aspectHeight, p.sourceHeight, fill);
    const size_t spp = outputRGBA ? 4 : 3;
    uint16_t* o = out;
    for (uint32_t y = 0; y < p.outputHeight; ++y) {
        const int64_t sy = ys[y];
        for (uint32_t x = 0; x < p.outputWidth; ++x, o += spp) {
            const int64_t sx = xs[x];
            if (sy < 0 || sx < 0) {
                o[0] = o[1] = o[2] = 0;
            } else {
                const uint16_t* s = rgb + (static_cast<size_t>(sy) * p.sourceWidth + static_cast<size_t>(sx)) * 3;
                o[0] = s[0];
                o[1] = s[1];
                o[2] = s[2];
            }
            if (outputRGBA) o[3] = 0xFFFF;
        }
    }
    return true;
}

}  // namespace ombrel
