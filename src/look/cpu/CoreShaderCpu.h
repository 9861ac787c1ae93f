#pragma once

// The core shader and the passes around it, in plain C++ float: the oracle that the GPU
// path is tested against, and the pipeline that runs where no GL context can be had.
//
// It follows the GPU step for step: the same tables, looked up with the same linear
// filtering at the same coordinates, the same matrices and mixes, and (when the GPU stores
// them so) the same rounding of tables and frames to 16-bit floats.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ombrel::cpu {

inline constexpr int kTableEntries = 4096;
inline constexpr int kGrainCurveEntries = 256;
inline constexpr int kStockEdge = 64;

// Everything the core shader reads in one draw.
struct CoreShaderInputs {
    std::vector<float> stockLut;    // 64 x 64 x 64 RGB, red fastest
    std::vector<float> spline;      // levels, 4096, entry i at level i / 4096
    std::vector<float> exposure;    // 4096 RGB, entry i at code value i / 4095
    std::vector<float> lift;        // lift/gamma/gain, 4096, entry i at level i / 4096
    std::vector<float> balls;       // 4096 RGB, entry i at level i / 4095
    std::vector<float> grainCurve;  // 256 RGB, entry i at level i / 255
    std::vector<float> grainImage;  // grainWidth x grainHeight RGB
    int grainWidth = 0;
    int grainHeight = 0;

    float stockLUTAmount = 0.0f;
    float sBlendAmount = 0.0f;
    float histogramAmount = 1.0f;
    float grainAmount = 0.0f;
    float grainColorfulness = 0.6f;
    std::array<float, 2> grainOffset{0.0f, 0.0f};
    // Both matrices in the memory order in which they are sent with the transpose flag.
    std::array<float, 16> saturation{};
    std::array<float, 16> blackandwhite{};
    // Tables that give back each level unchanged are skipped, here and on the GPU: three
    // reads less a pixel each, and no rounding by a table that should do nothing.
    bool exposureIsIdentity = false;
    bool ballsIsIdentity = false;
    bool liftIsIdentity = false;
    bool splineIsIdentity = false;
    // The grain image's own mean per channel: grain is added around it, so that it leaves
    // the average level of the picture where it was.
    std::array<float, 3> grainNeutral{0.5f, 0.5f, 0.5f};
};

// True when entry i of every channel holds i / divisor, to within a quarter of a 10-bit
// step: the table maps each level to itself
// (4095 for tables read at Coord4095, 4096 for those read at Coord4096). `stride` is the
// number of floats per entry.
bool IsIdentityTable(const float* table, int entries, int stride, float divisor);
// Sets the four flags above from the tables as they are (before any rounding to half).
void MarkIdentityTables(CoreShaderInputs& inputs);

// The nearest 16-bit float, round to nearest even, back as a float: how tables and frames
// are stored when they are uploaded.
float RoundToHalf(float value);
// The 16-bit float toward zero: how some drivers (Mesa's llvmpipe among them) store what a
// pass renders into a 16-bit float target.
float TruncateToHalf(float value);
enum class HalfRounding { Nearest, TowardZero };
// Rounds every table and the grain image as a 16-bit float texture stores them.
void RoundTablesToHalf(CoreShaderInputs& inputs);

// The film S-curve that "sBlendAmount" blends in.
float SCurve(float x);

// The steps before the saturation matrix, which act on each channel alone (the exposure,
// colour-ball and lift tables): channel 0, 1 or 2 of an input level.
float PerChannelSteps(const CoreShaderInputs& inputs, int channel, float level);

// One fragment: `in` as Start() reads it, at window position (fragX, fragY), the pixel centre.
std::array<float, 4> CoreShader(const CoreShaderInputs& inputs, const std::array<float, 4>& in, float fragX,
                                float fragY);

// A texture as the passes read it: RGBA floats, row 0 is texture row 0.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<float> rgba;
    const float* at(int x, int y) const {
        return rgba.data() + 4 * ((static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)));
    }
    float* at(int x, int y) {
        return rgba.data() + 4 * ((static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)));
    }
};

// A packed 16-bit RGB frame (host order, row 0 first) as a texture of that size; `half`
// stores it the way a 16-bit float texture does.
Image ImageFromRgb16(const uint16_t* pixels, int width, int height, bool half);

// What GL's linear filter gives at texel coordinates (s, t) of a rectangle texture with
// clamp to edge.
std::array<float, 4> SampleLinear(const Image& image, float s, float t);

// One blur (a horizontal and a vertical pass) with the pipeline's five weights and
// offsets, each pass into a 16-bit float texture of the image's size.
Image BlurOnce(const Image& input, const std::array<float, 5>& weight, const std::array<float, 5>& offset,
               HalfRounding rounding = HalfRounding::Nearest);

// A quad drawn through the core shader: window rectangle [x0, x1) x [y0, y1) in pixels of
// the viewport (y up), texture coordinates running from (s0, tBottom) to (s1, tTop).
struct Quad {
    float x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    float s0 = 0, s1 = 0, tBottom = 0, tTop = 0;
};

// Draws `quad` over `target` (viewport-sized RGBA floats, row 0 at the bottom, already
// cleared by the caller).
void DrawCoreQuad(const CoreShaderInputs& inputs, const Image& frame, const Quad& quad, Image& target);

// The quad of the render pass for a frame of baseWidth x baseHeight in a viewport, with the
// fit of the output settings.
Quad RenderPassQuad(int viewportWidth, int viewportHeight, float baseWidth, float baseHeight, int fitMethod,
                    float aspectWidth, float aspectHeight, bool needsFlip);

// A float target as the 16-bit render buffer stores it and glReadPixels returns it: rows
// bottom-up, 3 or 4 samples a pixel.
void ToUnsigned16(const Image& target, bool rgba, uint16_t* out);

}  // namespace ombrel::cpu
