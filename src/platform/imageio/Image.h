#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/Status.h"

namespace ombrel {

// An 8-bit RGBA picture in memory, rows top to bottom: thumbnails and icons.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> rgba;  // width * height * 4

    Image() = default;
    Image(int w, int h) : width(w), height(h), rgba(static_cast<size_t>(w) * static_cast<size_t>(h) * 4, 0) {}
    bool empty() const { return width <= 0 || height <= 0; }
    uint8_t* pixel(int x, int y) { return rgba.data() + (static_cast<size_t>(y) * width + x) * 4; }
    const uint8_t* pixel(int x, int y) const { return rgba.data() + (static_cast<size_t>(y) * width + x) * 4; }
};

using ImagePtr = std::shared_ptr<const Image>;

// TIFF through libtiff, written whole through AtomicFileWriter.
Status WriteImageAsTiff(const Image& image, const std::string& path);
// Three planes of 16-bit samples (R, G, then B, each width x height, rows top to bottom) as an
// uncompressed TIFF of planar configuration 2.
Status WriteRgb16PlanarTiff(const uint16_t* planes, int width, int height, const std::string& path);
// Any TIFF libtiff reads, converted to RGBA8; *out is null on failure.
Status ReadTiffImage(const std::string& path, ImagePtr* out);

}  // namespace ombrel
