#pragma once

// 8-bit RGB image files: TIFF through libtiff (the grain scans), PNG through libpng when the
// build has it (the contact sheet).

#include <cstdint>
#include <string>
#include <vector>

namespace ombrel::filmdata {

struct Image8 {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> rgb;  // interleaved, row 0 at the top
};

// Uncompressed, contiguous RGB, top row first; written under a temporary name and renamed,
// so a failed write leaves what was there.
bool WriteTiffRgb8(const std::string& path, int width, int height, const uint8_t* rgb, std::string* error);
bool ReadTiffRgb8(const std::string& path, Image8* image, std::string* error);

// PNG when libpng is built in; otherwise a TIFF converted by oiiotool.
bool WritePngRgb8(const std::string& path, int width, int height, const uint8_t* rgb, std::string* error);

}  // namespace ombrel::filmdata
