#pragma once

// The core shader of a render pass drawn one to one over a whole frame, built for speed: the
// tables of the CPU reference baked into forms that SIMD lanes read (the three per-channel
// tables folded into one table per channel indexed by the 16-bit code, the stock table in
// planes, the grain image premixed with its colourfulness and amount), rows spread over the
// process's thread pool, 16-bit samples in and out. The reference stays the oracle: the stock
// table is read by tetrahedral instead of trilinear interpolation, within a 10-bit step of it.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/Status.h"
#include "look/cpu/CoreShaderCpu.h"

namespace ombrel::fast {

// What one row pass reads; pointers into a LookKernel.
struct KernelTables {
    const float* perChannel[3] = {};  // 65536 entries each, by 16-bit code
    std::array<float, 9> saturation{};  // out_j = sum_i c_i * m[3i + j]
    const float* stock[3] = {};         // 64^3 each, red fastest
    float stockAmount = 0.0f;
    float sBlend = 0.0f;
    std::array<float, 9> blackAndWhite{};
    const float* spline = nullptr;  // 4096 entries, null when the levels do nothing
    float histogramAmount = 1.0f;
    const float* grain[3] = {};  // grainWidth x grainHeight each, null without grain
    int grainWidth = 0;
    int grainHeight = 0;
    const float* grainCurve[3] = {};  // 256 each
    // Or the map's own 8-bit RGBA texels, read where they lie: channel k's grain is
    // sum_j grainMix[3k + j] * grainLevels[byte j] + grainBias[k].
    const uint8_t* grainTexels = nullptr;
    int grainRowBytes = 0;
    const float* grainLevels = nullptr;  // 256
    std::array<float, 9> grainMix{};
    std::array<float, 3> grainBias{};
};

// The most float lanes of any SIMD target: the padding of row buffers.
inline constexpr size_t kMaxLanes = 64;

// What a pass writes for each pixel: 16-bit samples in host order (3 or 4, alpha full), or the
// pixel bytes of a file straight away: a 10-bit DPX word (red in the top ten bits, then green and
// blue, two bits of padding; little-endian), or three big-endian 16-bit TIFF samples.
enum class KernelOutput { kRgb16, kRgba16, kDpx10, kRgb16BigEndian };

inline size_t BytesPerPixel(KernelOutput o) {
    switch (o) {
        case KernelOutput::kRgba16: return 8;
        case KernelOutput::kDpx10: return 4;
        case KernelOutput::kRgb16:
        case KernelOutput::kRgb16BigEndian: return 6;
    }
    return 6;
}

// Rows [y0, y1) of a frame `width` wide: `rgb` and `out` point at row 0; `columns` holds the
// grain column of each x (in texels, or in bytes with grainTexels), padded to a whole number
// of vectors; `grainRow0` is the grain row of frame row 0.
void RenderRows(const KernelTables& tables, const uint16_t* rgb, int width, int y0, int y1, void* out,
                KernelOutput layout, const int32_t* columns, int grainRow0);

// A grain map as its 8-bit bitmap: the texture value of texel (x, y), channel c, is
// levels[rgba[y * bytesPerRow + x * samplesPerPixel + min(c, samplesPerPixel - 1)]].
struct GrainTexels {
    const uint8_t* bytes = nullptr;
    size_t bytesPerRow = 0;
    int samplesPerPixel = 4;
    const float* levels = nullptr;  // 256 entries
};

class LookKernel {
public:
    // Bakes the inputs; cheap when nothing but the grain offset changed since the last call.
    // When inputs.grainImage is empty the grain comes from `texels` or else `grainImage`
    // (the caller's map, grainWidth x grainHeight RGB floats); either must stay alive until
    // the next Prepare.
    // Answers whether the baked tables changed (the grain's place aside).
    bool Prepare(const cpu::CoreShaderInputs& inputs, const float* grainImage = nullptr,
                 const GrainTexels* texels = nullptr);

    // The baked tables against the reference over a 17^3 lattice of colours, grain aside:
    // an error when any sample is more than two 10-bit steps off. Debug builds run it after
    // every change of the tables, so a fold that drifts from the reference shows at once.
    Status CrossCheck(const cpu::CoreShaderInputs& inputs) const;

    // One frame of width x height 16-bit RGB pixels, row 0 first, drawn as a render pass of
    // the same size draws it: `out` receives what the reference's read-back holds, in `layout`.
    // maxThreads 0 uses the whole pool.
    void Render(const uint16_t* rgb, int width, int height, void* out, KernelOutput layout,
                unsigned maxThreads = 0) const;

private:
    KernelTables tables_;
    std::array<float, 2> grainOffset_{0.0f, 0.0f};

    std::vector<float> perChannel_;  // 3 x 65536
    std::vector<float> stock_;       // 3 x 64^3
    std::vector<float> spline_;
    std::vector<float> grain_;  // 3 planes
    std::vector<float> grainCurve_;

    // What the baked tables were made from.
    std::vector<float> keyExposure_, keyBalls_, keyLift_, keyStock_;
    std::array<bool, 3> keyIdentity_{};
    const void* keyGrainImage_ = nullptr;
    std::array<float, 6> keyGrain_{};  // size, amount, colourfulness, neutral red and green
    float keyGrainBlue_ = 0.0f;
    bool prepared_ = false;
};

}  // namespace ombrel::fast
