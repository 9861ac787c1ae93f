#include "GrainTestSupport.h"

#include <cmath>
#include <cstdlib>
#include <memory>

namespace ombrel::test {

BitmapRepPtr MakeBitmap(int width, int height, const std::function<std::array<uint8_t, 3>(int x, int y)>& rgb) {
    auto rep = std::make_shared<BitmapRep>(BitmapRep::Rgba8(width, height));
    for (int y = 0; y < height; ++y) {
        uint8_t* row = rep->row(y);
        for (int x = 0; x < width; ++x) {
            const auto v = rgb(x, y);
            row[x * 4 + 0] = v[0];
            row[x * 4 + 1] = v[1];
            row[x * 4 + 2] = v[2];
            row[x * 4 + 3] = 255;
        }
    }
    return rep;
}

Seams MeasureSeams(const BitmapRep& rep) {
    const int w = rep.width, h = rep.height;
    auto at = [&](int x, int y, int c) { return static_cast<double>(rep.row(y)[x * 4 + c]); };
    double seamC = 0, innerC = 0, seamR = 0, innerR = 0, twoC = 0, twoR = 0;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            for (int c = 0; c < 3; ++c) {
                const double v = at(x, y, c);
                const double right = std::abs(v - at((x + 1) % w, y, c));
                const double below = std::abs(v - at(x, (y + 1) % h, c));
                (x == w - 1 ? seamC : innerC) += right;
                (y == h - 1 ? seamR : innerR) += below;
                if (x + 2 < w) twoC += std::abs(v - at(x + 2, y, c));
                if (y + 2 < h) twoR += std::abs(v - at(x, y + 2, c));
            }
        }
    }
    Seams s;
    s.seamColumns = seamC / (3.0 * h);
    s.innerColumns = innerC / (3.0 * h * (w - 1));
    s.seamRows = seamR / (3.0 * w);
    s.innerRows = innerR / (3.0 * w * (h - 1));
    s.twoColumns = twoC / (3.0 * h * (w - 2));
    s.twoRows = twoR / (3.0 * w * (h - 2));
    return s;
}

}  // namespace ombrel::test
