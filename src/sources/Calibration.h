#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/Status.h"

namespace ombrel {

// The display calibration's test cube: 64 x 64 x 64 colours shown as 64 frames of 1024 x 1024
// pixels, one colour per 16 x 16 cell: red by cell row, green by cell column, blue by frame.
namespace calibration {

inline constexpr int kSide = 1024;
inline constexpr int kCell = 16;
inline constexpr int kLevels = 64;
inline constexpr int kFrames = 64;
inline constexpr float kFramesPerSecond = 25.0f;
inline constexpr size_t kPatternFloats = size_t(kSide) * kSide * 3;  // 0xc00000 bytes
inline constexpr size_t kLUTFloats = size_t(3) * kLevels * kLevels * kLevels;
// Each view of the dialog shows the pattern squashed to this size.
inline constexpr int kViewWidth = 1024;
inline constexpr int kViewHeight = 256;

// A pattern value as an unsigned 16-bit sample: value x 65535, cut to the range.
inline uint16_t Sample16(float v) {
    const float s = v * 65535.0f;
    return static_cast<uint16_t>(s <= 0.0f ? 0.0f : s >= 65535.0f ? 65535.0f : s);
}

// Sample `channel` of the pattern at frame, row and column.
float PatternValue(int frame, int row, int column, int channel);
// CreateTestBufferForFrame: one frame as interleaved RGB floats, kPatternFloats long.
void FillPattern(int frame, float* out);

// A captured picture: 8-bit samples, `stride` bytes a row, red, green and blue at
// `redOffset` + 0, 1, 2 of each `pixelBytes`-byte pixel.
struct Capture {
    const uint8_t* data = nullptr;
    int width = 0;
    int height = 0;
    size_t stride = 0;
    int pixelBytes = 4;
    int redOffset = 0;
};

// Where the sample points lie in the dialog's client area: the pipeline's view at
// (kGlRow + 4y, kColumn + 16x), the movie view's at (kQtRow + 4y, same column).
inline constexpr int kGlRow = 91;
inline constexpr int kQtRow = 348;
inline constexpr int kColumn = 44;
inline constexpr int kRowStep = 4;
inline constexpr int kColumnStep = 16;

// One frame's slice of the measured table: for cell (y, x) of frame z, entry y + 64 x + 4096 z
// gets (y, x, z) / 63 minus the pipeline's view over the movie view in 1/255. False, with
// nothing written, when the capture is too small to hold every sample point.
bool CompareFrame(const Capture& capture, int frame, float* lut);
// The largest |entry - identity| over the table, in 1/255.
double LargestDeviation(const float* lut);

// "~/Documents/Ombrel/Data/Calibrate.mov" and ".../ViewingLUT.f32", expanded.
std::string MoviePath();
std::string LUTPath();

// RenderToQT: the 64 frames as they are, 1024 x 1024 at 25 frames a second, in the codec of
// `codecTag`, written whole to `path` (an existing movie stays until the new one is done).
Status RenderMovie(int codecTag, const std::string& path);
// The table as raw little-endian float32, entry r + 64 g + 4096 b, written whole.
Status WriteLUT(const float* lut, const std::string& path);

}  // namespace calibration
}  // namespace ombrel
