#include "look/cpu/CoreShaderCpu.h"

#include <algorithm>
#include <cmath>

namespace ombrel::cpu {

namespace {

constexpr float kLuma[3] = {0.2126f, 0.7152f, 0.0722f};

float Clamp01(float v) { return std::min(std::max(v, 0.0f), 1.0f); }
float Mix(float x, float y, float a) { return x * (1.0f - a) + y * a; }

// GL's linear filter on a 1D texture of n entries with clamp to edge, at coordinate u.
float Lerp1D(const float* table, int n, int stride, int channel, float u) {
    const float x = u * static_cast<float>(n) - 0.5f;
    const float fl = std::floor(x);
    const float f = x - fl;
    const int i0 = std::clamp(static_cast<int>(fl), 0, n - 1);
    const int i1 = std::clamp(static_cast<int>(fl) + 1, 0, n - 1);
    return table[i0 * stride + channel] * (1.0f - f) + table[i1 * stride + channel] * f;
}

// Texture coordinates of a level in the two kinds of table: entries at i / 4095 (exposure,
// balls) and at i / 4096 (lift, levels).
float Coord4095(float v) { return (Clamp01(v) * 4095.0f + 0.5f) / 4096.0f; }
float Coord4096(float v) { return (Clamp01(v) * 4096.0f + 0.5f) / 4096.0f; }

struct Axis {
    int i0, i1;
    float f;
};
Axis AxisAt(float u, int n) {
    const float x = u * static_cast<float>(n) - 0.5f;
    const float fl = std::floor(x);
    return {std::clamp(static_cast<int>(fl), 0, n - 1), std::clamp(static_cast<int>(fl) + 1, 0, n - 1), x - fl};
}

std::array<float, 3> Lut3D(const std::vector<float>& lut, const float c[3]) {
    Axis a[3];
    for (int k = 0; k < 3; ++k) a[k] = AxisAt(c[k] * (63.0f / 64.0f) + (0.5f / 64.0f), kStockEdge);
    auto at = [&](int r, int g, int b, int ch) {
        return lut[static_cast<size_t>(3 * (r + kStockEdge * g + kStockEdge * kStockEdge * b) + ch)];
    };
    std::array<float, 3> out{};
    for (int ch = 0; ch < 3; ++ch) {
        const float c00 = Mix(at(a[0].i0, a[1].i0, a[2].i0, ch), at(a[0].i1, a[1].i0, a[2].i0, ch), a[0].f);
        const float c10 = Mix(at(a[0].i0, a[1].i1, a[2].i0, ch), at(a[0].i1, a[1].i1, a[2].i0, ch), a[0].f);
        const float c01 = Mix(at(a[0].i0, a[1].i0, a[2].i1, ch), at(a[0].i1, a[1].i0, a[2].i1, ch), a[0].f);
        const float c11 = Mix(at(a[0].i0, a[1].i1, a[2].i1, ch), at(a[0].i1, a[1].i1, a[2].i1, ch), a[0].f);
        out[static_cast<size_t>(ch)] = Mix(Mix(c00, c10, a[1].f), Mix(c01, c11, a[1].f), a[2].f);
    }
    return out;
}

// A row vector times a matrix sent with the transpose flag: out_j = sum_i c_i * m[4i + j].
void TimesMatrix(float c[3], const std::array<float, 16>& m) {
    float out[3];
    for (int j = 0; j < 3; ++j) {
        out[j] = c[0] * m[static_cast<size_t>(j)] + c[1] * m[static_cast<size_t>(4 + j)] +
                 c[2] * m[static_cast<size_t>(8 + j)];
    }
    for (int j = 0; j < 3; ++j) c[j] = out[j];
}

void RoundAll(std::vector<float>& v) {
    for (float& x : v) x = RoundToHalf(x);
}

// The quantum of a 16-bit float near `a`: 11 significant bits for normal halves, a fixed
// 2^-24 below 2^-14.
int HalfQuantumExponent(float a) {
    int e = 0;
    std::frexp(a, &e);  // a = m * 2^e, m in [0.5, 1)
    return e >= -13 ? e - 11 : -24;
}

}  // namespace

float RoundToHalf(float value) {
    if (!std::isfinite(value) || value == 0.0f) return value;
    const float a = std::fabs(value);
    const int q = HalfQuantumExponent(a);
    float r = std::ldexp(std::nearbyint(std::ldexp(a, -q)), q);
    if (r >= 65520.0f) r = INFINITY;
    return std::copysign(r, value);
}

float TruncateToHalf(float value) {
    if (!std::isfinite(value) || value == 0.0f) return value;
    const float a = std::fabs(value);
    const int q = HalfQuantumExponent(a);
    return std::copysign(std::min(std::ldexp(std::trunc(std::ldexp(a, -q)), q), 65504.0f), value);
}

bool IsIdentityTable(const float* table, int entries, int stride, float divisor) {
    // A quarter of a 10-bit step: below what a 16-bit float table can hold near white, so
    // the GPU could not tell such a table from the identity either. The flat exposure
    // table, a round trip through the log domain, strays by about half that.
    constexpr float kTolerance = 1.0f / 4096.0f;
    for (int i = 0; i < entries; ++i) {
        const float level = static_cast<float>(i) / divisor;
        for (int k = 0; k < stride; ++k)
            if (std::abs(table[static_cast<size_t>(i * stride + k)] - level) > kTolerance) return false;
    }
    return true;
}

void MarkIdentityTables(CoreShaderInputs& in) {
    auto identity = [](const std::vector<float>& t, int stride, float divisor) {
        return t.size() == static_cast<size_t>(kTableEntries * stride) &&
               IsIdentityTable(t.data(), kTableEntries, stride, divisor);
    };
    in.exposureIsIdentity = identity(in.exposure, 3, 4095.0f);
    in.ballsIsIdentity = identity(in.balls, 3, 4095.0f);
    in.liftIsIdentity = identity(in.lift, 1, 4096.0f);
    in.splineIsIdentity = identity(in.spline, 1, 4096.0f);
}

void RoundTablesToHalf(CoreShaderInputs& in) {
    RoundAll(in.stockLut);
    RoundAll(in.spline);
    RoundAll(in.exposure);
    RoundAll(in.lift);
    RoundAll(in.balls);
    RoundAll(in.grainCurve);
    RoundAll(in.grainImage);
}

float SCurve(float x) { return x + 0.5f * x * (1.0f - x) * (2.0f * x - 1.0f); }

float PerChannelSteps(const CoreShaderInputs& in, int channel, float level) {
    float c = Clamp01(level);
    if (!in.exposureIsIdentity) c = Lerp1D(in.exposure.data(), kTableEntries, 3, channel, Coord4095(c));
    if (!in.ballsIsIdentity) c = Lerp1D(in.balls.data(), kTableEntries, 3, channel, Coord4095(c));
    if (!in.liftIsIdentity) c = Lerp1D(in.lift.data(), kTableEntries, 1, 0, Coord4096(c));
    return c;
}

std::array<float, 4> CoreShader(const CoreShaderInputs& in, const std::array<float, 4>& p, float fragX, float fragY) {
    float c[3];
    for (int k = 0; k < 3; ++k) c[k] = PerChannelSteps(in, k, p[static_cast<size_t>(k)]);
    TimesMatrix(c, in.saturation);
    for (float& v : c) v = Clamp01(v);
    const auto film = Lut3D(in.stockLut, c);
    for (int k = 0; k < 3; ++k) {
        c[k] = Clamp01(Mix(c[k], film[static_cast<size_t>(k)], in.stockLUTAmount));
        c[k] = Mix(c[k], SCurve(c[k]), in.sBlendAmount);
    }
    TimesMatrix(c, in.blackandwhite);
    if (!in.splineIsIdentity) {
        for (int k = 0; k < 3; ++k) {
            const float levels = Lerp1D(in.spline.data(), kTableEntries, 1, 0, Coord4096(c[k]));
            c[k] = Mix(c[k], levels, in.histogramAmount);
        }
    }
    if (in.grainWidth >= 1 && in.grainHeight >= 1) {
        const float size[2] = {static_cast<float>(in.grainWidth), static_cast<float>(in.grainHeight)};
        float pos[2] = {std::floor(fragX) + in.grainOffset[0], std::floor(fragY) + in.grainOffset[1]};
        for (int k = 0; k < 2; ++k) {
            pos[k] = pos[k] - size[k] * std::floor(pos[k] / size[k]);
            if (pos[k] >= size[k]) pos[k] -= size[k];
            if (pos[k] < 0.0f) pos[k] += size[k];
        }
        const float* texel =
            in.grainImage.data() +
            3 * (static_cast<size_t>(pos[1]) * static_cast<size_t>(in.grainWidth) + static_cast<size_t>(pos[0]));
        float g[3] = {texel[0] - in.grainNeutral[0], texel[1] - in.grainNeutral[1], texel[2] - in.grainNeutral[2]};
        const float mono = g[0] * kLuma[0] + g[1] * kLuma[1] + g[2] * kLuma[2];
        const float level = Clamp01(c[0] * kLuma[0] + c[1] * kLuma[1] + c[2] * kLuma[2]);
        const float u = (level * 255.0f + 0.5f) / 256.0f;
        for (int k = 0; k < 3; ++k) {
            const float grain = Mix(mono, g[k], in.grainColorfulness);
            const float strength = Lerp1D(in.grainCurve.data(), kGrainCurveEntries, 3, k, u);
            c[k] = c[k] + grain * strength * in.grainAmount;
        }
    }
    return {Clamp01(c[0]), Clamp01(c[1]), Clamp01(c[2]), p[3]};
}

Image ImageFromRgb16(const uint16_t* pixels, int width, int height, bool half) {
    Image image;
    image.width = width;
    image.height = height;
    image.rgba.resize(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
    const size_t n = static_cast<size_t>(width) * static_cast<size_t>(height);
    for (size_t i = 0; i < n; ++i) {
        for (size_t k = 0; k < 3; ++k) {
            const float v = static_cast<float>(pixels[3 * i + k]) / 65535.0f;
            image.rgba[4 * i + k] = half ? RoundToHalf(v) : v;
        }
        image.rgba[4 * i + 3] = 1.0f;
    }
    return image;
}

std::array<float, 4> SampleLinear(const Image& image, float s, float t) {
    const Axis ax = AxisAt(s / static_cast<float>(image.width), image.width);
    const Axis ay = AxisAt(t / static_cast<float>(image.height), image.height);
    std::array<float, 4> out{};
    const float* p00 = image.at(ax.i0, ay.i0);
    const float* p10 = image.at(ax.i1, ay.i0);
    const float* p01 = image.at(ax.i0, ay.i1);
    const float* p11 = image.at(ax.i1, ay.i1);
    for (size_t k = 0; k < 4; ++k) out[k] = Mix(Mix(p00[k], p10[k], ax.f), Mix(p01[k], p11[k], ax.f), ay.f);
    return out;
}

namespace {

// One blur pass, drawn as the pipeline draws it: the quad is flipped, so output row y reads
// input row height - 1 - y.
Image BlurPass(const Image& in, const std::array<float, 5>& weight, const std::array<float, 5>& offset, bool horizontal,
               HalfRounding rounding) {
    Image out;
    out.width = in.width;
    out.height = in.height;
    out.rgba.resize(in.rgba.size());
    for (int y = 0; y < in.height; ++y) {
        const float t = static_cast<float>(in.height) - (static_cast<float>(y) + 0.5f);
        for (int x = 0; x < in.width; ++x) {
            const float s = static_cast<float>(x) + 0.5f;
            auto centre = SampleLinear(in, s, t);
            float sum[4];
            for (size_t k = 0; k < 4; ++k) sum[k] = centre[k] * weight[0];
            for (size_t i = 1; i < 3; ++i) {
                const float ds = horizontal ? offset[i] : 0.0f;
                const float dt = horizontal ? 0.0f : offset[i];
                auto plus = SampleLinear(in, s + ds, t + dt);
                auto minus = SampleLinear(in, s - ds, t - dt);
                for (size_t k = 0; k < 4; ++k) {
                    sum[k] += plus[k] * weight[i];
                    sum[k] += minus[k] * weight[i];
                }
            }
            float* o = out.at(x, y);
            for (size_t k = 0; k < 4; ++k) {
                o[k] = rounding == HalfRounding::TowardZero ? TruncateToHalf(sum[k]) : RoundToHalf(sum[k]);
            }
        }
    }
    return out;
}

}  // namespace

Image BlurOnce(const Image& input, const std::array<float, 5>& weight, const std::array<float, 5>& offset,
               HalfRounding rounding) {
    return BlurPass(BlurPass(input, weight, offset, true, rounding), weight, offset, false, rounding);
}

void DrawCoreQuad(const CoreShaderInputs& inputs, const Image& frame, const Quad& q, Image& target) {
    const float w = q.x1 - q.x0;
    const float h = q.y1 - q.y0;
    if (w <= 0.0f || h <= 0.0f) return;
    for (int y = 0; y < target.height; ++y) {
        const float py = static_cast<float>(y) + 0.5f;
        if (py < q.y0 || py >= q.y1) continue;
        const float t = q.tBottom + (py - q.y0) / h * (q.tTop - q.tBottom);
        for (int x = 0; x < target.width; ++x) {
            const float px = static_cast<float>(x) + 0.5f;
            if (px < q.x0 || px >= q.x1) continue;
            const float s = q.s0 + (px - q.x0) / w * (q.s1 - q.s0);
            const auto out = CoreShader(inputs, SampleLinear(frame, s, t), px, py);
            std::copy(out.begin(), out.end(), target.at(x, y));
        }
    }
}

Quad RenderPassQuad(int viewportWidth, int viewportHeight, float baseWidth, float baseHeight, int fitMethod,
                    float aspectWidth, float aspectHeight, bool needsFlip) {
    Quad q;
    const float W = static_cast<float>(viewportWidth);
    const float H = static_cast<float>(viewportHeight);
    if (fitMethod > 1) {
        q.x0 = 0;
        q.x1 = W;
        q.y0 = 0;
        q.y1 = H;
    } else {
        const float x1 = (W - aspectWidth) * 0.5f / W;
        const float x2 = x1 + aspectWidth / W;
        const float y1 = 1.0f - (H - aspectHeight) * 0.5f / H;
        const float y2 = y1 - aspectHeight / H;
        q.x0 = x1 * W;
        q.x1 = x2 * W;
        q.y0 = y2 * H;
        q.y1 = y1 * H;
    }
    q.s0 = 0;
    q.s1 = baseWidth;
    q.tBottom = needsFlip ? 0.0f : baseHeight;
    q.tTop = needsFlip ? baseHeight : 0.0f;
    return q;
}

void ToUnsigned16(const Image& target, bool rgba, uint16_t* out) {
    const size_t n = static_cast<size_t>(target.width) * static_cast<size_t>(target.height);
    const size_t spp = rgba ? 4 : 3;
    for (size_t i = 0; i < n; ++i) {
        for (size_t k = 0; k < spp; ++k) {
            out[spp * i + k] = static_cast<uint16_t>(std::lround(Clamp01(target.rgba[4 * i + k]) * 65535.0f));
        }
    }
}

}  // namespace ombrel::cpu
