#pragma once

// The exposure model's conversion tables "5D_CV2logLUT" and "5D_log2CVLUT": 65,536 entries
// of R, G, B float32 each, plain little-endian files.
//   cvToLog entry n: log10 of the scene light of code value n / 65535, limited to -3 .. 3
//   logToCv entry n: the code value of log10 scene light -3 + n * 6 / 65536, limited to 0 .. 1
// The two are inverse over the code range; light beyond the encoding's white clips to code 1.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ombrel::filmdata {

class CameraEncoding;

inline constexpr int kExposureEntries = 65536;

std::vector<float> BuildCvToLog(const CameraEncoding& camera);
std::vector<float> BuildLogToCv(const CameraEncoding& camera);

// The floats as little-endian bytes, whatever the host's order.
std::vector<uint8_t> LittleEndianBytes(const std::vector<float>& values);
// The inverse, for readers of those files.
std::vector<float> FloatsFromLittleEndian(const uint8_t* bytes, size_t length);

}  // namespace ombrel::filmdata
