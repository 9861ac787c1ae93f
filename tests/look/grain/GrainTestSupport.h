#pragma once

// Helpers of the grain suites: bitmaps made to order, seam measures, a scoped data root.

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "platform/imageio/Bitmap.h"
#include "support/TempDir.h"  // ScopedDataRoot

namespace ombrel::test {

// An RGBA bitmap whose pixel (x, y) is rgb(x, y), alpha 255.
BitmapRepPtr MakeBitmap(int width, int height, const std::function<std::array<uint8_t, 3>(int x, int y)>& rgb);

// Mean absolute difference, over R, G and B, across the wrap-around seam (last column to the
// first, last row to the first), between neighbours inside the image, and between pixels two
// apart inside the image.
struct Seams {
    double seamColumns = 0, innerColumns = 0, twoColumns = 0;
    double seamRows = 0, innerRows = 0, twoRows = 0;
};
Seams MeasureSeams(const BitmapRep& rep);

}  // namespace ombrel::test
