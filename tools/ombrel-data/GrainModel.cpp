#include "ombrel-data/GrainModel.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <random>

#include "ombrel-data/FilmModel.h"
#include "ombrel-data/ParamFile.h"

namespace ombrel::filmdata {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kRangeSamplePixels = 250;  // 1,000 bytes of RGBA

// Draws from the same engine the same way on every platform (the standard distributions
// are free to differ between libraries).
class Random {
public:
    explicit Random(uint64_t seed) : engine_(seed) {}
    double Uniform() { return static_cast<double>(engine_() >> 11) * 0x1.0p-53; }
    double Normal() {
        if (hasSpare_) {
            hasSpare_ = false;
            return spare_;
        }
        double u = Uniform();
        while (u <= 0.0) u = Uniform();
        const double v = Uniform();
        const double r = std::sqrt(-2.0 * std::log(u));
        spare_ = r * std::sin(2.0 * kPi * v);
        hasSpare_ = true;
        return r * std::cos(2.0 * kPi * v);
    }

private:
    std::mt19937_64 engine_;
    double spare_ = 0.0;
    bool hasSpare_ = false;
};

int Wrap(int v, int n) {
    const int m = v % n;
    return m < 0 ? m + n : m;
}

// One dye layer's coverage field, blurred, mean removed; width x height floats.
std::vector<float> LayerField(const GrainParams& p, int layer, Random& random) {
    const int s = p.supersample;
    const int ws = p.width * s, hs = p.height * s;
    std::vector<uint8_t> hit(static_cast<size_t>(ws) * static_cast<size_t>(hs), 0);

    const double mean = p.radius[static_cast<size_t>(layer)];
    const double spread = p.spread[static_cast<size_t>(layer)];
    const double variance = std::log1p(spread * spread);
    const double mu = std::log(mean) - 0.5 * variance;
    const double sigma = std::sqrt(variance);
    const double meanSquare = mean * mean * (1.0 + spread * spread);
    const double lambda = -std::log1p(-p.coverage[static_cast<size_t>(layer)]) / (kPi * meanSquare);
    const double expected = lambda * p.width * p.height;
    const auto count =
        static_cast<long long>(std::max(0.0, std::round(expected + std::sqrt(expected) * random.Normal())));

    for (long long g = 0; g < count; ++g) {
        const double cx = random.Uniform() * ws;
        const double cy = random.Uniform() * hs;
        const double r = std::min(std::exp(mu + sigma * random.Normal()), 6.0 * mean) * s;
        const int y0 = static_cast<int>(std::ceil(cy - r - 0.5));
        const int y1 = static_cast<int>(std::floor(cy + r - 0.5));
        for (int yy = y0; yy <= y1; ++yy) {
            const double dy = yy + 0.5 - cy;
            const double h2 = r * r - dy * dy;
            if (h2 < 0.0) continue;
            const double half = std::sqrt(h2);
            const int x0 = static_cast<int>(std::ceil(cx - half - 0.5));
            const int x1 = static_cast<int>(std::floor(cx + half - 0.5));
            if (x1 < x0) continue;
            uint8_t* row = hit.data() + static_cast<size_t>(Wrap(yy, hs)) * static_cast<size_t>(ws);
            if (x1 - x0 + 1 >= ws) {
                std::memset(row, 1, static_cast<size_t>(ws));
                continue;
            }
            const int a = Wrap(x0, ws);
            const int n = x1 - x0 + 1;
            if (a + n <= ws) {
                std::memset(row + a, 1, static_cast<size_t>(n));
            } else {
                std::memset(row + a, 1, static_cast<size_t>(ws - a));
                std::memset(row, 1, static_cast<size_t>(n - (ws - a)));
            }
        }
    }

    // Local coverage per pixel.
    const size_t pixels = static_cast<size_t>(p.width) * static_cast<size_t>(p.height);
    std::vector<float> field(pixels, 0.0f);
    const float scale = 1.0f / static_cast<float>(s * s);
    for (int y = 0; y < p.height; ++y) {
        float* out = field.data() + static_cast<size_t>(y) * static_cast<size_t>(p.width);
        for (int sy = 0; sy < s; ++sy) {
            const uint8_t* row = hit.data() + static_cast<size_t>(y * s + sy) * static_cast<size_t>(ws);
            for (int x = 0; x < p.width; ++x) {
                int sum = 0;
                for (int sx = 0; sx < s; ++sx) sum += row[x * s + sx];
                out[x] += static_cast<float>(sum);
            }
        }
        for (int x = 0; x < p.width; ++x) out[x] *= scale;
    }

    // The scanner's blur, around the torus.
    if (p.blur > 0.0) {
        const int radius = static_cast<int>(std::ceil(3.0 * p.blur));
        std::vector<float> kernel(static_cast<size_t>(2 * radius + 1));
        double total = 0.0;
        for (int i = -radius; i <= radius; ++i) {
            kernel[static_cast<size_t>(i + radius)] = static_cast<float>(std::exp(-0.5 * i * i / (p.blur * p.blur)));
            total += kernel[static_cast<size_t>(i + radius)];
        }
        for (float& k : kernel) k = static_cast<float>(k / total);
        std::vector<float> tmp(pixels);
        for (int y = 0; y < p.height; ++y) {
            const float* in = field.data() + static_cast<size_t>(y) * static_cast<size_t>(p.width);
            float* out = tmp.data() + static_cast<size_t>(y) * static_cast<size_t>(p.width);
            for (int x = 0; x < p.width; ++x) {
                float acc = 0.0f;
                for (int i = -radius; i <= radius; ++i)
                    acc += kernel[static_cast<size_t>(i + radius)] * in[Wrap(x + i, p.width)];
                out[x] = acc;
            }
        }
        for (int y = 0; y < p.height; ++y) {
            float* out = field.data() + static_cast<size_t>(y) * static_cast<size_t>(p.width);
            for (int x = 0; x < p.width; ++x) out[x] = 0.0f;
            for (int i = -radius; i <= radius; ++i) {
                const float k = kernel[static_cast<size_t>(i + radius)];
                const float* in =
                    tmp.data() + static_cast<size_t>(Wrap(y + i, p.height)) * static_cast<size_t>(p.width);
                for (int x = 0; x < p.width; ++x) out[x] += k * in[x];
            }
        }
    }

    double sum = 0.0;
    for (float v : field) sum += v;
    const float average = static_cast<float>(sum / static_cast<double>(pixels));
    for (float& v : field) v -= average;
    return field;
}

// Sliding minimum (or maximum) over windows of `window` along a cyclic row: result[x] is
// the extreme of values x .. x + window - 1 (wrapping).
std::vector<int> CyclicWindow(const std::vector<int>& values, int window, bool maximum) {
    const int n = static_cast<int>(values.size());
    std::vector<int> result(static_cast<size_t>(n));
    std::deque<int> keep;
    auto better = [&](int a, int b) { return maximum ? a >= b : a <= b; };
    for (int i = 0; i < n + window - 1; ++i) {
        const int v = values[static_cast<size_t>(i % n)];
        while (!keep.empty() && better(v, values[static_cast<size_t>(keep.back() % n)])) keep.pop_back();
        keep.push_back(i);
        const int start = i - window + 1;
        if (start < 0) continue;
        while (keep.front() < start) keep.pop_front();
        if (start < n) result[static_cast<size_t>(start)] = values[static_cast<size_t>(keep.front() % n)];
    }
    return result;
}

// Widths at which maps are commonly made from a scan, as fractions of its width. The
// reader takes its range from the first 250 pixels of the resized map, so the roll is
// chosen for these too.
constexpr double kResizeScales[] = {0.9375, 0.703125, 0.625, 0.46875, 0.3125};

// Rows of the scan that may become row 0: enough candidates, at a fraction of the cost.
constexpr int kCandidateRows = 384;

// A Lanczos-3 low pass as a resampler to `scale` applies it, around the torus, without
// decimation: each pixel of the first `rows` rows gets the value a resized pixel centred
// there would have.
std::vector<float> LanczosPass(const std::vector<float>& in, int w, int h, int rows, double scale) {
    const int radius = static_cast<int>(std::floor(3.0 / scale));
    std::vector<float> kernel(static_cast<size_t>(2 * radius + 1));
    double total = 0.0;
    for (int i = -radius; i <= radius; ++i) {
        const double t = i * scale;
        double v = 1.0;
        if (i != 0) v = std::sin(kPi * t) / (kPi * t) * std::sin(kPi * t / 3.0) / (kPi * t / 3.0);
        kernel[static_cast<size_t>(i + radius)] = static_cast<float>(v);
        total += v;
    }
    for (float& k : kernel) k = static_cast<float>(k / total);
    std::vector<float> tmp(in.size()), out(in.size());
    for (int yy = -radius; yy < rows + radius; ++yy) {
        const int y = Wrap(yy, h);
        const float* row = in.data() + static_cast<size_t>(y) * static_cast<size_t>(w);
        float* dst = tmp.data() + static_cast<size_t>(y) * static_cast<size_t>(w);
        for (int x = 0; x < w; ++x) {
            float acc = 0.0f;
            for (int i = -radius; i <= radius; ++i)
                acc += kernel[static_cast<size_t>(i + radius)] * row[Wrap(x + i, w)];
            dst[x] = acc;
        }
    }
    for (int y = 0; y < rows; ++y) {
        float* dst = out.data() + static_cast<size_t>(y) * static_cast<size_t>(w);
        for (int i = -radius; i <= radius; ++i) {
            const float k = kernel[static_cast<size_t>(i + radius)];
            const float* row = tmp.data() + static_cast<size_t>(Wrap(y + i, h)) * static_cast<size_t>(w);
            for (int x = 0; x < w; ++x) dst[x] += k * row[x];
        }
    }
    return out;
}

}  // namespace

bool GrainParams::Load(const std::string& path, std::string* error) {
    ParamFile file;
    if (!file.Load(path, error)) return false;
    double w, h, s, seedValue;
    if (!file.Number("width", &w, error) || !file.Number("height", &h, error) ||
        !file.Number("seed", &seedValue, error))
        return false;
    s = 4;
    if (!file.Optional("supersample", &s, error)) return false;
    width = static_cast<int>(w);
    height = static_cast<int>(h);
    seed = static_cast<uint64_t>(seedValue);
    supersample = static_cast<int>(s);
    if (!file.Triple("radius", &radius, error) || !file.Triple("radius_spread", &spread, error) ||
        !file.Triple("coverage", &coverage, error) || !file.Number("blur", &blur, error) ||
        !file.Number("amplitude", &amplitude, error) || !file.Number("target_std", &targetStd, error))
        return false;
    if (file.Has("crosstalk")) {
        std::vector<double> m;
        if (!file.Numbers("crosstalk", 9, &m, error)) return false;
        std::copy(m.begin(), m.end(), crosstalk.begin());
    }
    bool ok = width >= 16 && height >= 16 && width <= 16384 && height <= 16384 && supersample >= 1 &&
              supersample <= 8 && blur >= 0.0 && amplitude > 0.0 && targetStd > 0.0;
    for (int c = 0; c < 3; ++c) {
        ok = ok && radius[static_cast<size_t>(c)] > 0.05 && spread[static_cast<size_t>(c)] >= 0.0 &&
             coverage[static_cast<size_t>(c)] > 0.01 && coverage[static_cast<size_t>(c)] < 0.99;
    }
    if (!ok) {
        if (error) *error = path + ": grain parameters out of range";
        return false;
    }
    return true;
}

GrainScan GenerateGrainScan(const GrainParams& p) {
    Random random(p.seed);
    std::array<std::vector<float>, 3> layers;
    for (int l = 0; l < 3; ++l) layers[static_cast<size_t>(l)] = LayerField(p, l, random);

    const size_t pixels = static_cast<size_t>(p.width) * static_cast<size_t>(p.height);
    std::array<std::vector<float>, 3> channels;
    double spreadSum = 0.0;
    for (size_t c = 0; c < 3; ++c) {
        channels[c].resize(pixels);
        double squares = 0.0;
        for (size_t i = 0; i < pixels; ++i) {
            const float v =
                static_cast<float>(p.crosstalk[3 * c] * layers[0][i] + p.crosstalk[3 * c + 1] * layers[1][i] +
                                   p.crosstalk[3 * c + 2] * layers[2][i]);
            channels[c][i] = v;
            squares += static_cast<double>(v) * v;
        }
        spreadSum += std::sqrt(squares / static_cast<double>(pixels));
    }
    const double reference = std::max(spreadSum / 3.0, 1e-9);

    // More coverage is more density, a darker scan.
    std::vector<uint8_t> quantised(pixels * 3);
    for (size_t i = 0; i < pixels; ++i) {
        for (size_t c = 0; c < 3; ++c) {
            const double v = 127.5 - p.amplitude * channels[c][i] / reference;
            quantised[3 * i + c] = static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L));
        }
    }

    // The reader stretches the range of the first 250 pixels to 0..1. Roll the torus so that
    // the pixels standing there give a mean of 0.5 and the intended spread.
    std::array<double, 3> mean{}, spread{};
    for (size_t c = 0; c < 3; ++c) {
        double sum = 0.0, squares = 0.0;
        for (size_t i = 0; i < pixels; ++i) {
            const double v = quantised[3 * i + c];
            sum += v;
            squares += v * v;
        }
        mean[c] = sum / static_cast<double>(pixels);
        spread[c] = std::sqrt(std::max(0.0, squares / static_cast<double>(pixels) - mean[c] * mean[c]));
    }
    // For each possible origin: the worst error of the mapped mean over the scan itself and
    // its common resizes, and the mapped spread at full size.
    const int rows = std::min(kCandidateRows, p.height);
    const size_t judged = static_cast<size_t>(rows) * static_cast<size_t>(p.width);
    std::vector<float> worst(pixels, 1.0f), mappedSpread(pixels, 0.0f);
    std::fill(worst.begin(), worst.begin() + static_cast<std::ptrdiff_t>(judged), 0.0f);
    auto judge = [&](const std::vector<float>& lowsAll, const std::vector<float>& highsAll, int window, bool full) {
        std::vector<int> lows(static_cast<size_t>(p.width)), highs(static_cast<size_t>(p.width));
        for (int y = 0; y < rows; ++y) {
            const size_t row = static_cast<size_t>(y) * static_cast<size_t>(p.width);
            // Quarter steps keep the sliding extremes exact for integers and fine for floats.
            for (int x = 0; x < p.width; ++x) {
                lows[static_cast<size_t>(x)] =
                    static_cast<int>(std::floor(lowsAll[row + static_cast<size_t>(x)] * 4.0f));
                highs[static_cast<size_t>(x)] =
                    static_cast<int>(std::ceil(highsAll[row + static_cast<size_t>(x)] * 4.0f));
            }
            const auto lo = CyclicWindow(lows, window, false);
            const auto hi = CyclicWindow(highs, window, true);
            for (int x = 0; x < p.width; ++x) {
                const double l = lo[static_cast<size_t>(x)] / 4.0;
                const double range = (hi[static_cast<size_t>(x)] - lo[static_cast<size_t>(x)]) / 4.0;
                const size_t i = row + static_cast<size_t>(x);
                if (range <= 0.0) {
                    worst[i] = 1.0f;
                    continue;
                }
                double error = 0.0, spreadSum = 0.0;
                for (size_t c = 0; c < 3; ++c) {
                    error = std::max(error, std::abs((mean[c] - l) / range - 0.5));
                    spreadSum += spread[c] / range / 3.0;
                }
                worst[i] = std::max(worst[i], static_cast<float>(error));
                if (full) mappedSpread[i] = static_cast<float>(spreadSum);
            }
        }
    };
    {
        std::vector<float> lows(pixels), highs(pixels);
        for (size_t i = 0; i < pixels; ++i) {
            const uint8_t* px = quantised.data() + 3 * i;
            lows[i] = std::min({px[0], px[1], px[2]});
            highs[i] = std::max({px[0], px[1], px[2]});
        }
        judge(lows, highs, std::min(kRangeSamplePixels, p.width), true);
    }
    for (double scale : kResizeScales) {
        std::vector<float> lows(pixels, 1e9f), highs(pixels, -1e9f);
        for (size_t c = 0; c < 3; ++c) {
            std::vector<float> plane(pixels);
            for (size_t i = 0; i < pixels; ++i) plane[i] = quantised[3 * i + c];
            const auto filtered = LanczosPass(plane, p.width, p.height, rows, scale);
            for (size_t i = 0; i < judged; ++i) {
                lows[i] = std::min(lows[i], filtered[i]);
                highs[i] = std::max(highs[i], filtered[i]);
            }
        }
        const int window = std::min(p.width, static_cast<int>(std::lround(kRangeSamplePixels / scale)));
        judge(lows, highs, window, false);
    }

    // The origin whose mean holds best at every size; among those, the intended spread.
    const float bestWorst = *std::min_element(worst.begin(), worst.end());
    const float allowed = std::max(bestWorst * 1.5f, 0.004f);
    double bestScore = 1e300;
    size_t best = 0;
    for (size_t i = 0; i < judged; ++i) {
        if (worst[i] > allowed) continue;
        const double score = std::abs(mappedSpread[i] - p.targetStd);
        if (score < bestScore) {
            bestScore = score;
            best = i;
        }
    }
    const int bestX = static_cast<int>(best % static_cast<size_t>(p.width));
    const int bestY = static_cast<int>(best / static_cast<size_t>(p.width));

    GrainScan scan;
    scan.width = p.width;
    scan.height = p.height;
    scan.rgb.resize(pixels * 3);
    for (int y = 0; y < p.height; ++y) {
        const size_t from = static_cast<size_t>((y + bestY) % p.height) * static_cast<size_t>(p.width);
        uint8_t* out = scan.rgb.data() + static_cast<size_t>(y) * static_cast<size_t>(p.width) * 3;
        for (int x = 0; x < p.width; ++x) {
            const uint8_t* in = quantised.data() + 3 * (from + static_cast<size_t>((x + bestX) % p.width));
            out[3 * x] = in[0];
            out[3 * x + 1] = in[1];
            out[3 * x + 2] = in[2];
        }
    }
    return scan;
}

RangeMapping ReaderRangeMapping(const GrainScan& scan) {
    int lo = 255, hi = 0;
    const int n = std::min(kRangeSamplePixels, scan.width * scan.height);
    for (int i = 0; i < n; ++i) {
        for (int c = 0; c < 3; ++c) {
            lo = std::min<int>(lo, scan.rgb[static_cast<size_t>(3 * i + c)]);
            hi = std::max<int>(hi, scan.rgb[static_cast<size_t>(3 * i + c)]);
        }
    }
    if (lo >= hi) return {0.0, 1.0};
    return {static_cast<double>(lo), 255.0 / (hi - lo)};
}

ScanStats MappedStats(const GrainScan& scan) {
    const RangeMapping map = ReaderRangeMapping(scan);
    const size_t pixels = static_cast<size_t>(scan.width) * static_cast<size_t>(scan.height);
    ScanStats stats;
    for (size_t c = 0; c < 3; ++c) {
        double sum = 0.0, squares = 0.0;
        for (size_t i = 0; i < pixels; ++i) {
            const double v = (scan.rgb[3 * i + c] - map.lo) * map.k / 255.0;
            sum += v;
            squares += v * v;
        }
        stats.mean[c] = sum / static_cast<double>(pixels);
        stats.stdDev[c] =
            std::sqrt(std::max(0.0, squares / static_cast<double>(pixels) - stats.mean[c] * stats.mean[c]));
    }
    return stats;
}

SeamStats MeasureSeams(const GrainScan& scan) {
    SeamStats s;
    const int w = scan.width, h = scan.height;
    auto at = [&](int x, int y, int c) {
        return static_cast<double>(
            scan.rgb[3 * (static_cast<size_t>(y) * static_cast<size_t>(w) + static_cast<size_t>(x)) +
                     static_cast<size_t>(c)]);
    };
    double inner = 0.0;
    long long innerCount = 0;
    for (int y = 0; y < h; ++y) {
        for (int c = 0; c < 3; ++c) {
            s.seamColumns += std::abs(at(w - 1, y, c) - at(0, y, c));
            for (int x = 0; x + 1 < w; ++x, ++innerCount) inner += std::abs(at(x + 1, y, c) - at(x, y, c));
        }
    }
    s.seamColumns /= 3.0 * h;
    s.innerColumns = inner / static_cast<double>(innerCount);
    inner = 0.0;
    innerCount = 0;
    for (int x = 0; x < w; ++x) {
        for (int c = 0; c < 3; ++c) {
            s.seamRows += std::abs(at(x, h - 1, c) - at(x, 0, c));
            for (int y = 0; y + 1 < h; ++y, ++innerCount) inner += std::abs(at(x, y + 1, c) - at(x, y, c));
        }
    }
    s.seamRows /= 3.0 * w;
    s.innerRows = inner / static_cast<double>(innerCount);
    return s;
}

bool GrainCurveParams::Load(const std::string& path, std::string* error) {
    ParamFile file;
    if (!file.Load(path, error)) return false;
    if (!file.Number("strength_per_rms", &strengthPerRms, error) || !file.Number("peak_level", &peakLevel, error) ||
        !file.Number("half_width_low", &halfWidthLow, error) ||
        !file.Number("half_width_high", &halfWidthHigh, error) || !file.Number("floor", &floor, error))
        return false;
    if (!(strengthPerRms > 0.0 && peakLevel > 0.05 && peakLevel < 0.95 && halfWidthLow > 0.01 && halfWidthHigh > 0.01 &&
          floor >= 0.0 && floor < 1.0)) {
        if (error) *error = path + ": curve parameters out of range";
        return false;
    }
    return true;
}

std::array<float, kGrainCurveEntries * 3> BuildGrainCurve(const StockModel& stock, const GrainCurveParams& p) {
    std::array<float, kGrainCurveEntries * 3> curve{};
    const double peak = p.strengthPerRms * stock.grainRms();
    for (int i = 0; i < kGrainCurveEntries; ++i) {
        const double level = i / 255.0;
        const double d = (level - p.peakLevel) / (level < p.peakLevel ? p.halfWidthLow : p.halfWidthHigh);
        const double shape = p.floor + (1.0 - p.floor) * std::exp(-0.5 * d * d);
        for (size_t c = 0; c < 3; ++c) {
            const double balance = stock.isBlackAndWhite() ? 1.0 : stock.grainBalance()[c];
            curve[static_cast<size_t>(3 * i) + c] = static_cast<float>(peak * balance * shape);
        }
    }
    return curve;
}

}  // namespace ombrel::filmdata
