#pragma once

// Decoded bitmaps and a planar 8-bit scaler, for code that works on samples rather than on
// pictures (grain scans).

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/Pages.h"
#include "core/Status.h"

namespace ombrel {

// 8 bits per sample, samples of one pixel side by side (meshed), rows top to bottom with
// bytesPerRow bytes each. The decoder always gives RGBA.
struct BitmapRep {
    int width = 0;
    int height = 0;
    int bytesPerRow = 0;
    int samplesPerPixel = 0;
    int bitsPerSample = 0;
    int bitsPerPixel = 0;
    std::vector<uint8_t, PageAllocator<uint8_t>> data;  // bytesPerRow * height

    // An RGBA bitmap of the size, every sample 0; a size below 1 gives an empty bitmap of
    // that size with no data.
    static BitmapRep Rgba8(int width, int height);
    // The same for code that must go on when the bitmap cannot be had: null for a size
    // below 1, a row longer than an int can count, or no memory.
    static std::shared_ptr<BitmapRep> TryRgba8(int width, int height);
    bool empty() const { return width <= 0 || height <= 0 || data.empty(); }
    uint8_t* row(int y) { return data.data() + static_cast<size_t>(y) * static_cast<size_t>(bytesPerRow); }
    const uint8_t* row(int y) const { return data.data() + static_cast<size_t>(y) * static_cast<size_t>(bytesPerRow); }
};

using BitmapRepPtr = std::shared_ptr<const BitmapRep>;

// Decodes an image file (any TIFF libtiff reads) into an RGBA bitmap; *out is null on failure.
Status DecodeBitmapFile(const std::string& path, BitmapRepPtr* out);

// Scales one 8-bit plane with a Lanczos filter; samples beyond the edges repeat the edge.
// 0 on success, a negative code on failure (bad sizes, no scaler for them, out of memory).
int ScalePlanar8(const uint8_t* src, int srcWidth, int srcHeight, int srcStride, uint8_t* dst, int dstWidth,
                 int dstHeight, int dstStride);

}  // namespace ombrel
