#pragma once

#include <cstdint>

namespace ombrel {

// Where a frame lands in the output, as the look pipeline draws it: a fit of 2 or more
// fills the output; fit 0 and 1 centre the picture in a box of the aspect size, which
// may overhang the output (it is then cropped). Margins are opaque black.
struct FramePlacement {
    uint32_t sourceWidth = 0;
    uint32_t sourceHeight = 0;
    uint32_t outputWidth = 0;
    uint32_t outputHeight = 0;
    int32_t fitMethod = 0;
    uint32_t aspectWidth = 0;
    uint32_t aspectHeight = 0;
};

// Draws packed 16-bit RGB samples (sourceWidth x sourceHeight, host order) into `out`,
// outputWidth x outputHeight pixels of 3 samples, or 4 with alpha, nearest sample, no
// grading. False when a size is 0 or a pointer is null.
bool PlaceFrame(const uint16_t* rgb, const FramePlacement& placement, uint16_t* out, bool outputRGBA);

}  // namespace ombrel
