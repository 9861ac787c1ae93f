#pragma once

// Grain scans and grain response curves.
//
// A scan follows the Boolean model of silver-halide grain (Newson, Delon and Galerne, "A
// Stochastic Film Grain Model for Resolution-Independent Rendering", 2017): grains are discs
// of log-normal radius centred at the points of a Poisson process; the developed density at
// a point is whether any grain covers it; the scanner sees the local coverage through a
// Gaussian blur. Each dye layer is such a field of its own grain size; each scanner channel
// sees mostly its own layer. Everything is made on a torus, so the scans tile.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace ombrel::filmdata {

class StockModel;

struct GrainParams {
    int width = 2048;
    int height = 1536;
    uint64_t seed = 1;
    int supersample = 4;
    std::array<double, 3> radius{0.4, 0.4, 0.4};  // mean grain radius per layer, in pixels
    std::array<double, 3> spread{0.3, 0.3, 0.3};  // relative standard deviation of the radius
    std::array<double, 3> coverage{0.5, 0.5, 0.5};
    double blur = 0.55;  // scanner Gaussian sigma, pixels
    std::array<double, 9> crosstalk{1, 0, 0, 0, 1, 0, 0, 0, 1};
    double amplitude = 30.0;  // 8-bit units per standard deviation
    double targetStd = 0.15;  // spread after the reader's range mapping
    bool Load(const std::string& path, std::string* error);
};

// 8-bit RGB, interleaved, row 0 first (the top row of the image file).
struct GrainScan {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> rgb;
};

GrainScan GenerateGrainScan(const GrainParams& params);

// What the map's reader does with a bitmap: the smallest and largest of R, G, B over the
// first 1,000 bytes of the RGBA bitmap (the first 250 pixels of the first row) stretched to
// 0..255, then divided by 255.
struct RangeMapping {
    double lo = 0.0;
    double k = 1.0;  // n = (b - lo) * k; texture value n / 255
};
RangeMapping ReaderRangeMapping(const GrainScan& scan);

struct ScanStats {
    std::array<double, 3> mean{};
    std::array<double, 3> stdDev{};
};
// Mean and standard deviation of each channel's texture values after the range mapping.
ScanStats MappedStats(const GrainScan& scan);

// The mean absolute difference across the wrap-around seam (last column to first, last
// row to first) and between neighbours inside the image, over all channels.
struct SeamStats {
    double seamColumns = 0, innerColumns = 0;
    double seamRows = 0, innerRows = 0;
};
SeamStats MeasureSeams(const GrainScan& scan);

struct GrainCurveParams {
    double strengthPerRms = 0.0135;
    double peakLevel = 0.42;
    double halfWidthLow = 0.28;
    double halfWidthHigh = 0.24;
    double floor = 0.18;
    bool Load(const std::string& path, std::string* error);
};

inline constexpr int kGrainCurveEntries = 256;

// A stock's ".emoGrain" payload: 256 entries of R, G, B strength by output level.
std::array<float, kGrainCurveEntries * 3> BuildGrainCurve(const StockModel& stock, const GrainCurveParams& params);

}  // namespace ombrel::filmdata
