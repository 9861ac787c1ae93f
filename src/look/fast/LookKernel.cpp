#include "look/fast/LookKernel.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "look/fast/LookKernel-inl.h"
#include <hwy/foreach_target.h>  // IWYU pragma: keep

#include <hwy/highway.h>

#include "look/fast/LookKernel-inl.h"

#if HWY_ONCE

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/ThreadPool.h"

namespace ombrel::fast {

HWY_EXPORT(RenderRowsImpl);

void RenderRows(const KernelTables& tables, const uint16_t* rgb, int width, int y0, int y1, void* out,
                KernelOutput layout, const int32_t* columns, int grainRow0) {
    HWY_DYNAMIC_DISPATCH(RenderRowsImpl)(tables, rgb, width, y0, y1, out, layout, columns, grainRow0);
}

namespace {

constexpr size_t kCodes = 65536;
constexpr size_t kStockNodes = size_t(cpu::kStockEdge) * cpu::kStockEdge * cpu::kStockEdge;
constexpr float kLuma[3] = {0.2126f, 0.7152f, 0.0722f};

std::array<float, 9> ThreeByThree(const std::array<float, 16>& m) {
    std::array<float, 9> out{};
    for (size_t i = 0; i < 3; ++i)
        for (size_t j = 0; j < 3; ++j) out[3 * i + j] = m[4 * i + j];
    return out;
}

bool SameTable(std::vector<float>& key, const std::vector<float>& now) {
    if (key.size() == now.size() && std::memcmp(key.data(), now.data(), now.size() * sizeof(float)) == 0) return true;
    key = now;
    return false;
}

int PositiveModulo(float v, int n) {
    const int r = static_cast<int>(std::fmod(std::floor(v), static_cast<float>(n)));
    return r < 0 ? r + n : r;
}

}  // namespace

bool LookKernel::Prepare(const cpu::CoreShaderInputs& in, const float* grainImage, const GrainTexels* texels) {
    const bool first = !prepared_;
    // Per channel: every 16-bit code through the exposure, ball and lift tables, as the
    // reference computes it; a table lookup by code is then exact.
    const std::array<bool, 3> identity{in.exposureIsIdentity, in.ballsIsIdentity, in.liftIsIdentity};
    bool same = prepared_ && identity == keyIdentity_;
    same = SameTable(keyExposure_, in.exposure) && same;
    same = SameTable(keyBalls_, in.balls) && same;
    same = SameTable(keyLift_, in.lift) && same;
    keyIdentity_ = identity;
    if (!same) {
        perChannel_.resize(3 * kCodes);
        for (int k = 0; k < 3; ++k) {
            float* table = perChannel_.data() + size_t(k) * kCodes;
            for (size_t code = 0; code < kCodes; ++code)
                table[code] = cpu::PerChannelSteps(in, k, static_cast<float>(code) / 65535.0f);
        }
    }
    const bool sameStock = SameTable(keyStock_, in.stockLut) && prepared_;
    if (!sameStock) {
        stock_.resize(3 * kStockNodes);
        const bool whole = in.stockLut.size() >= 3 * kStockNodes;
        for (size_t i = 0; i < kStockNodes; ++i)
            for (size_t k = 0; k < 3; ++k) stock_[k * kStockNodes + i] = whole ? in.stockLut[3 * i + k] : 0.0f;
    }
    KernelTables& t = tables_;
    for (size_t k = 0; k < 3; ++k) {
        t.perChannel[k] = perChannel_.data() + k * kCodes;
        t.stock[k] = stock_.data() + k * kStockNodes;
    }
    const auto saturation = ThreeByThree(in.saturation);
    const auto blackAndWhite = ThreeByThree(in.blackandwhite);
    const bool useSpline = !in.splineIsIdentity && in.spline.size() >= size_t(cpu::kTableEntries);
    const bool sameMix = saturation == t.saturation && blackAndWhite == t.blackAndWhite &&
                         t.stockAmount == in.stockLUTAmount && t.sBlend == in.sBlendAmount &&
                         t.histogramAmount == in.histogramAmount && useSpline == (t.spline != nullptr) &&
                         (!useSpline || spline_ == in.spline);
    t.saturation = saturation;
    t.blackAndWhite = blackAndWhite;
    t.stockAmount = in.stockLUTAmount;
    t.sBlend = in.sBlendAmount;
    t.histogramAmount = in.histogramAmount;
    t.spline = nullptr;
    if (useSpline) {
        spline_ = in.spline;
        t.spline = spline_.data();
    }

    // Grain: each texel's three values around the neutral level, mixed with their mono
    // value by the colourfulness and scaled by the amount, as the shader adds them.
    const bool useTexels = in.grainImage.empty() && texels && texels->bytes && texels->levels;
    const float* image = in.grainImage.empty() ? grainImage : in.grainImage.data();
    const void* source = useTexels ? static_cast<const void*>(texels->bytes) : image;
    const bool grain = source && in.grainWidth >= 1 && in.grainHeight >= 1 && in.grainAmount != 0.0f &&
                       in.grainCurve.size() >= size_t(3 * cpu::kGrainCurveEntries);
    t.grain[0] = t.grain[1] = t.grain[2] = nullptr;
    t.grainTexels = nullptr;
    // RGBA bytes are read in place: baking them into float planes cost a third of a second of
    // first-touch page faults at 1080p and 36 MB held for the whole render.
    const bool inPlace = grain && useTexels && texels->samplesPerPixel == 4 &&
                         texels->bytesPerRow >= size_t(in.grainWidth) * 4 &&
                         texels->bytesPerRow * size_t(in.grainHeight) < (size_t(1) << 31);
    if (inPlace) {
        const float c = in.grainColorfulness;
        for (size_t k = 0; k < 3; ++k) {
            float bias = 0.0f;
            for (size_t j = 0; j < 3; ++j) {
                const float m = (kLuma[j] * (1.0f - c) + (j == k ? c : 0.0f)) * in.grainAmount;
                t.grainMix[3 * k + j] = m;
                bias -= m * in.grainNeutral[j];
            }
            t.grainBias[k] = bias;
        }
        t.grainTexels = texels->bytes;
        t.grainRowBytes = static_cast<int>(texels->bytesPerRow);
        t.grainLevels = texels->levels;
        keyGrainImage_ = nullptr;
        grain_.clear();
        grain_.shrink_to_fit();
    } else if (grain) {
        const std::array<float, 6> key{float(in.grainWidth), float(in.grainHeight), in.grainAmount,
                                       in.grainColorfulness, in.grainNeutral[0], in.grainNeutral[1]};
        if (source != keyGrainImage_ || key != keyGrain_ || in.grainNeutral[2] != keyGrainBlue_ ||
            !in.grainImage.empty()) {
            const size_t n = size_t(in.grainWidth) * size_t(in.grainHeight);
            const size_t w = size_t(in.grainWidth);
            grain_.resize(3 * n);
            grain_.shrink_to_fit();
            for (size_t i = 0; i < n; ++i) {
                float g[3];
                if (useTexels) {
                    const int spp = texels->samplesPerPixel;
                    const uint8_t* p = texels->bytes + (i / w) * texels->bytesPerRow + (i % w) * size_t(spp);
                    for (size_t k = 0; k < 3; ++k)
                        g[k] = texels->levels[p[std::min<int>(int(k), spp - 1)]] - in.grainNeutral[k];
                } else {
                    for (size_t k = 0; k < 3; ++k) g[k] = image[3 * i + k] - in.grainNeutral[k];
                }
                const float mono = g[0] * kLuma[0] + g[1] * kLuma[1] + g[2] * kLuma[2];
                for (size_t k = 0; k < 3; ++k) {
                    const float c = in.grainColorfulness;
                    grain_[k * n + i] = (mono * (1.0f - c) + g[k] * c) * in.grainAmount;
                }
            }
            keyGrainImage_ = in.grainImage.empty() ? source : nullptr;
            keyGrain_ = key;
            keyGrainBlue_ = in.grainNeutral[2];
        }
        const size_t n = size_t(in.grainWidth) * size_t(in.grainHeight);
        for (size_t k = 0; k < 3; ++k) t.grain[k] = grain_.data() + k * n;
    } else {
        keyGrainImage_ = nullptr;
        grain_.clear();
        grain_.shrink_to_fit();
    }
    if (grain) {
        grainCurve_.resize(3 * size_t(cpu::kGrainCurveEntries));
        for (size_t i = 0; i < size_t(cpu::kGrainCurveEntries); ++i)
            for (size_t k = 0; k < 3; ++k) grainCurve_[k * cpu::kGrainCurveEntries + i] = in.grainCurve[3 * i + k];
        for (size_t k = 0; k < 3; ++k) t.grainCurve[k] = grainCurve_.data() + k * cpu::kGrainCurveEntries;
        t.grainWidth = in.grainWidth;
        t.grainHeight = in.grainHeight;
    }
    grainOffset_ = in.grainOffset;
    prepared_ = true;
    return first || !same || !sameStock || !sameMix;
}

Status LookKernel::CrossCheck(const cpu::CoreShaderInputs& in) const {
    if (!prepared_) return InvalidError("the fast look was never prepared");
    constexpr int kSteps = 17;
    constexpr int n = kSteps * kSteps * kSteps;
    std::vector<uint16_t> probe(3 * size_t(n));
    for (int i = 0; i < n; ++i) {
        const int c[3] = {i % kSteps, i / kSteps % kSteps, i / (kSteps * kSteps)};
        for (size_t k = 0; k < 3; ++k) probe[3 * size_t(i) + k] = uint16_t(c[k] * 65535 / (kSteps - 1));
    }
    KernelTables t = tables_;
    t.grain[0] = t.grain[1] = t.grain[2] = nullptr;
    t.grainTexels = nullptr;
    std::vector<uint16_t> fast(3 * size_t(n));
    const std::vector<int32_t> columns(size_t(n) + kMaxLanes, 0);
    RenderRows(t, probe.data(), n, 0, 1, fast.data(), KernelOutput::kRgb16, columns.data(), 0);
    cpu::CoreShaderInputs reference = in;
    reference.grainWidth = reference.grainHeight = 0;
    for (int i = 0; i < n; ++i) {
        const std::array<float, 4> rgba{probe[3 * size_t(i)] / 65535.0f, probe[3 * size_t(i) + 1] / 65535.0f,
                                        probe[3 * size_t(i) + 2] / 65535.0f, 1.0f};
        const auto want = cpu::CoreShader(reference, rgba, float(i) + 0.5f, 0.5f);
        for (size_t k = 0; k < 3; ++k) {
            const long w = std::lround(std::clamp(want[k], 0.0f, 1.0f) * 65535.0f);
            const double steps = std::abs(double(fast[3 * size_t(i) + k]) - double(w)) / 65535.0 * 1023.0;
            if (steps > 2.0)
                return InvalidError("the fast look is " + std::to_string(steps) + " 10-bit steps off the reference at " +
                                    std::to_string(rgba[0]) + ", " + std::to_string(rgba[1]) + ", " +
                                    std::to_string(rgba[2]));
        }
    }
    return OkStatus();
}

void LookKernel::Render(const uint16_t* rgb, int width, int height, void* out, KernelOutput layout,
                        unsigned maxThreads) const {
    if (!prepared_ || width <= 0 || height <= 0) return;
    // The grain column of each x, padded by a vector of valid columns for the tail.
    std::vector<int32_t> columns(static_cast<size_t>(width) + kMaxLanes, 0);
    int row0 = 0;
    if (tables_.grain[0] || tables_.grainTexels) {
        const int start = PositiveModulo(grainOffset_[0], tables_.grainWidth);
        const int step = tables_.grainTexels ? 4 : 1;
        for (int x = 0; x < width; ++x) columns[size_t(x)] = (start + x) % tables_.grainWidth * step;
        row0 = PositiveModulo(grainOffset_[1], tables_.grainHeight);
    }
    // Tiles of rows of about 64K pixels: enough to share out, small enough to balance.
    const size_t rows = std::max<size_t>(1, 65536 / static_cast<size_t>(width));
    const KernelTables& t = tables_;
    ThreadPool::Shared().ParallelFor(
        static_cast<size_t>(height), rows,
        [&](size_t y0, size_t y1) {
            RenderRows(t, rgb, width, int(y0), int(y1), out, layout, columns.data(), row0);
        },
        maxThreads);
}

}  // namespace ombrel::fast

#endif  // HWY_ONCE
