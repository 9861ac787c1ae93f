#include "ombrel-data/ExposureLuts.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "ombrel-data/Camera.h"

namespace ombrel::filmdata {

std::vector<float> BuildCvToLog(const CameraEncoding& camera) {
    std::vector<float> table(size_t{kExposureEntries} * 3);
    for (int n = 0; n < kExposureEntries; ++n) {
        const double light = camera.Decode(n / 65535.0);
        const double value = light > 0.0 ? std::clamp(std::log10(light), -3.0, 3.0) : -3.0;
        for (size_t c = 0; c < 3; ++c) table[3 * static_cast<size_t>(n) + c] = static_cast<float>(value);
    }
    return table;
}

std::vector<float> BuildLogToCv(const CameraEncoding& camera) {
    std::vector<float> table(size_t{kExposureEntries} * 3);
    for (int n = 0; n < kExposureEntries; ++n) {
        const double code = camera.Encode(std::pow(10.0, -3.0 + n * 6.0 / 65536.0));
        for (size_t c = 0; c < 3; ++c) table[3 * static_cast<size_t>(n) + c] = static_cast<float>(code);
    }
    return table;
}

std::vector<uint8_t> LittleEndianBytes(const std::vector<float>& values) {
    std::vector<uint8_t> bytes(values.size() * 4);
    for (size_t i = 0; i < values.size(); ++i) {
        const uint32_t word = std::bit_cast<uint32_t>(values[i]);
        for (size_t b = 0; b < 4; ++b) bytes[4 * i + b] = static_cast<uint8_t>(word >> (8 * b));
    }
    return bytes;
}

std::vector<float> FloatsFromLittleEndian(const uint8_t* bytes, size_t length) {
    std::vector<float> values(length / 4);
    for (size_t i = 0; i < values.size(); ++i) {
        uint32_t word = 0;
        for (size_t b = 0; b < 4; ++b) word |= static_cast<uint32_t>(bytes[4 * i + b]) << (8 * b);
        values[i] = std::bit_cast<float>(word);
    }
    return values;
}

}  // namespace ombrel::filmdata
