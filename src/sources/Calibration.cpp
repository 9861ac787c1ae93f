#include "sources/Calibration.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <filesystem>
#include <system_error>

#include "core/AtomicFile.h"
#include "core/Paths.h"
#include "platform/movie/CodecPreset.h"
#include "platform/movie/MovieWriter.h"

namespace ombrel::calibration {

namespace fs = std::filesystem;

float PatternValue(int frame, int row, int column, int channel) {
    const int level = channel == 0 ? row / kCell : channel == 1 ? column / kCell : frame;
    return static_cast<float>(level) / static_cast<float>(kLevels - 1);
}

void FillPattern(int frame, float* out) {
    const float blue = PatternValue(frame, 0, 0, 2);
    for (int row = 0; row < kSide; ++row) {
        const float red = PatternValue(frame, row, 0, 0);
        float* p = out + size_t(row) * kSide * 3;
        for (int column = 0; column < kSide; ++column, p += 3) {
            p[0] = red;
            p[1] = PatternValue(frame, row, column, 1);
            p[2] = blue;
        }
    }
}

bool CompareFrame(const Capture& c, int frame, float* lut) {
    const int lastRow = std::max(kGlRow, kQtRow) + kRowStep * (kLevels - 1);
    const int lastColumn = kColumn + kColumnStep * (kLevels - 1);
    if (!c.data || frame < 0 || frame >= kFrames || c.height <= lastRow || c.width <= lastColumn ||
        c.pixelBytes < 3 || c.redOffset < 0 || c.redOffset + 3 > c.pixelBytes)
        return false;
    const auto pixel = [&c](int row, int column) {
        return c.data + size_t(row) * c.stride + size_t(column) * size_t(c.pixelBytes) + size_t(c.redOffset);
    };
    const float z = static_cast<float>(frame) / 63.0f;
    for (int y = 0; y < kLevels; ++y) {
        for (int x = 0; x < kLevels; ++x) {
            const uint8_t* g = pixel(kGlRow + kRowStep * y, kColumn + kColumnStep * x);
            const uint8_t* m = pixel(kQtRow + kRowStep * y, kColumn + kColumnStep * x);
            float* e = lut + 3 * (size_t(y) + 64 * size_t(x) + 4096 * size_t(frame));
            e[0] = static_cast<float>(y) / 63.0f - static_cast<float>(int(g[0]) - int(m[0])) / 255.0f;
            e[1] = static_cast<float>(x) / 63.0f - static_cast<float>(int(g[1]) - int(m[1])) / 255.0f;
            e[2] = z - static_cast<float>(int(g[2]) - int(m[2])) / 255.0f;
        }
    }
    return true;
}

double LargestDeviation(const float* lut) {
    double worst = 0.0;
    for (size_t i = 0; i < kLUTFloats; ++i) {
        const size_t entry = i / 3;
        const size_t level = i % 3 == 0 ? entry % 64 : i % 3 == 1 ? (entry / 64) % 64 : entry / 4096;
        worst = std::max(worst, std::fabs(double(lut[i] - static_cast<float>(level) / 63.0f)));
    }
    return worst * 255.0;
}

std::string MoviePath() { return DataFolder() + "/Calibrate.mov"; }
std::string LUTPath() { return DataFolder() + "/ViewingLUT.f32"; }

Status RenderMovie(int codecTag, const std::string& path) {
    MovieWriterSettings settings;
    if (Status s = LoadCodecPreset(codecTag, &settings.preset); !s.ok()) return s;
    settings.width = kSide;
    settings.height = kSide;
    settings.rateNum = 25;
    settings.rateDen = 1;
    settings.timeScale = 2500;
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path(), ec);
    MovieWriter writer;
    if (!writer.Open(path, settings)) return writer.lastError();
    std::vector<float> pattern(kPatternFloats);
    std::vector<uint16_t> samples(kPatternFloats);
    for (int frame = 0; frame < kFrames; ++frame) {
        FillPattern(frame, pattern.data());
        std::transform(pattern.begin(), pattern.end(), samples.begin(), Sample16);
        if (!writer.WriteFrame(samples.data(), size_t(kSide) * 6)) return writer.lastError();
    }
    if (!writer.Close()) return writer.lastError();
    fs::rename(writer.temporaryPath(), path, ec);
    if (ec) {
        fs::remove(writer.temporaryPath(), ec);
        return IoError("The calibration movie could not be put at " + path);
    }
    return OkStatus();
}

Status WriteLUT(const float* lut, const std::string& path) {
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path(), ec);
    std::string bytes(kLUTFloats * sizeof(float), '\0');
    for (size_t i = 0; i < kLUTFloats; ++i) {
        uint32_t word = std::bit_cast<uint32_t>(lut[i]);
        for (int b = 0; b < 4; ++b) bytes[i * 4 + size_t(b)] = static_cast<char>((word >> (8 * b)) & 0xff);
    }
    return WriteFileAtomically(path, bytes);
}

}  // namespace ombrel::calibration
