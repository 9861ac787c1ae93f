#include "damage/cpu/DamageCpu.h"

#include <algorithm>
#include <cmath>

namespace ombrel::cpu {

namespace {

using Px = std::array<float, 4>;

float Screen(float a, float b) { return 1.0f - (1.0f - a) * (1.0f - b); }

// The value as a 16-bit unorm buffer holds it.
float Unorm16(float v) { return static_cast<float>(std::lround(std::clamp(v, 0.0f, 1.0f) * 65535.0f)) / 65535.0f; }

// A short streak along the film's run: the frame above the pixel mixed in, as when the film slips
// in the gate while the shutter is open.
Px SmearWrapper(const DamageInputs& d, const Image& frame, float s, float t, Px p) {
    if (d.smearAmount <= 0.0f) return p;
    const float step = d.smearAmount * 0.004f * static_cast<float>(frame.height);
    Px sum{0, 0, 0, 0};
    for (int k = 1; k <= 4; ++k) {
        const auto q = SampleLinear(frame, s, t - step * static_cast<float>(k));
        for (int c = 0; c < 3; ++c) sum[c] += q[c] * 0.25f;
    }
    const float mix = std::min(d.smearAmount, 1.0f) * 0.5f;
    for (int c = 0; c < 3; ++c) p[c] += (sum[c] - p[c]) * mix;
    return p;
}

}  // namespace

float SampleLinear8(const Texture8& tex, float s, float t, int channel) {
    if (tex.empty()) return 0.0f;
    const float x = s - 0.5f, y = t - 0.5f;
    const float fx = std::floor(x), fy = std::floor(y);
    const float ax = x - fx, ay = y - fy;
    auto at = [&](int i, int j) {
        i = std::clamp(i, 0, tex.width - 1);
        j = std::clamp(j, 0, tex.height - 1);
        return static_cast<float>(tex.data[(static_cast<size_t>(j) * tex.width + i) * tex.channels + channel]) / 255.0f;
    };
    const int i = static_cast<int>(fx), j = static_cast<int>(fy);
    const float top = at(i, j) + (at(i + 1, j) - at(i, j)) * ax;
    const float bottom = at(i, j + 1) + (at(i + 1, j + 1) - at(i, j + 1)) * ax;
    return top + (bottom - top) * ay;
}

// An exposure lift toward a warm white: red comes up first, blue last.
Px FlashWrapper(const DamageInputs& d, Px p) {
    static const float kWarm[3] = {1.0f, 0.8f, 0.55f};
    for (int c = 0; c < 3; ++c) p[c] = 1.0f - (1.0f - p[c]) * std::exp(-d.flashAmount * kWarm[c]);
    return p;
}

// A soft orange glow screened over the picture around `centre`.
Px RGBSpotLeak(Px p, std::array<float, 2> uv, std::array<float, 2> centre, float size, float amount) {
    if (size <= 0.0f || amount <= 0.0f) return p;
    const float dx = (uv[0] - centre[0]) / size, dy = (uv[1] - centre[1]) / size;
    const float glow = amount * std::exp(-3.0f * (dx * dx + dy * dy));
    static const float kTint[3] = {1.0f, 0.5f, 0.15f};
    for (int c = 0; c < 3; ++c) p[c] = Screen(p[c], glow * kTint[c]);
    return p;
}

Px OverlayWrapper(const DamageInputs& d, Px p, std::array<float, 2> uv) {
    const std::pair<const Texture8*, float> layers[] = {{d.overlayA, d.overlayAmount}, {d.overlayB, d.overlayBAmount}};
    for (const auto& [tex, amount] : layers) {
        if (!tex || tex->empty() || amount <= 0.0f) continue;
        const float s = uv[0] * tex->width, t = uv[1] * tex->height;
        for (int c = 0; c < 3; ++c) p[c] = Screen(p[c], SampleLinear8(*tex, s, t, std::min(c, tex->channels - 1)) * amount);
    }
    return p;
}

Px GunkWrapper(const DamageInputs& d, Px p, std::array<float, 2> uv) {
    if (!d.gunk || d.gunkAmount <= 0.0f) return p;
    const float s = d.gunkCell[0] + uv[0] * (d.gunkCell[2] - d.gunkCell[0]);
    const float t = d.gunkCell[1] + uv[1] * (d.gunkCell[3] - d.gunkCell[1]);
    const float g = SampleLinear8(*d.gunk, s, t, d.gunkChannel);
    for (int c = 0; c < 3; ++c) p[c] *= 1.0f - d.gunkAmount * g;
    return p;
}

Px BorderWrapper(const DamageInputs& d, Px p, std::array<float, 2> uv) {
    if (!d.border || d.borderAmount <= 0.0f) return p;
    const float b = SampleLinear8(*d.border, uv[0] * d.border->width, uv[1] * d.border->height, 0);
    for (int c = 0; c < 3; ++c) p[c] *= 1.0f + (b - 1.0f) * d.borderAmount;
    return p;
}

void DrawDamageQuad(const CoreShaderInputs& inputs, const DamageInputs& d, const Image& frame, const Quad& q,
                    Image& target) {
    const float w = q.x1 - q.x0, h = q.y1 - q.y0;
    if (w <= 0.0f || h <= 0.0f) return;
    // The picture's top is where the frame's texture row 0 lands.
    const bool topAtBottomRow = q.tBottom < q.tTop;
    for (int y = 0; y < target.height; ++y) {
        const float py = static_cast<float>(y) + 0.5f;
        if (py < q.y0 || py >= q.y1) continue;
        const float v = (py - q.y0) / h;
        const float t = q.tBottom + v * (q.tTop - q.tBottom) + d.weaveY;
        for (int x = 0; x < target.width; ++x) {
            const float px = static_cast<float>(x) + 0.5f;
            if (px < q.x0 || px >= q.x1) continue;
            const float u = (px - q.x0) / w;
            const std::array<float, 2> uv{u, topAtBottomRow ? v : 1.0f - v};
            const float s = q.s0 + u * (q.s1 - q.s0) + d.weaveX;
            Px p = SampleLinear(frame, s, t);
            if (d.leadIn) p = FlashWrapper(d, p);
            if (d.animate)
                for (const auto& c : d.leakPositions) p = RGBSpotLeak(p, uv, c, d.leakSize, d.leakAmount);
            if (d.leadIn) p = SmearWrapper(d, frame, s, t, p);
            p = CoreShader(inputs, p, px, py);
            if (d.leadIn) p = OverlayWrapper(d, p, uv);
            if (d.animate) p = BorderWrapper(d, GunkWrapper(d, p, uv), uv);
            std::copy(p.begin(), p.end(), target.at(x, y));
        }
    }
}

void DrawDirtPass(const std::vector<DirtSprite>& sprites, const Texture8& atlas, const Texture8* border,
                  Image& target) {
    for (float& v : target.rgba) v = Unorm16(v);
    const float W = static_cast<float>(target.width), H = static_cast<float>(target.height);
    auto multiply = [&](int x, int y, float f) {
        float* px = target.at(x, y);
        for (int c = 0; c < 3; ++c) px[c] = Unorm16(px[c] * f);
    };
    for (const DirtSprite& sp : sprites) {
        const DirtQuad& q = sp.quad;
        const float X0 = (q[0] + 1) / 2 * W, X1 = (q[2] + 1) / 2 * W;
        const float Y0 = (q[1] + 1) / 2 * H, Y1 = (q[3] + 1) / 2 * H;
        const float cu = (q[4] + q[6]) / 2, cv = (q[5] + q[7]) / 2;
        const float rad = sp.rotation * 3.14159265f / 180.0f, cs = std::cos(rad), sn = std::sin(rad);
        const int x0 = std::max(0, static_cast<int>(std::ceil(X0 - 0.5f)));
        const int x1 = std::min(target.width, static_cast<int>(std::ceil(X1 - 0.5f)));
        const int y0 = std::max(0, static_cast<int>(std::ceil(Y0 - 0.5f)));
        const int y1 = std::min(target.height, static_cast<int>(std::ceil(Y1 - 0.5f)));
        for (int y = y0; y < y1; ++y) {
            const float t = q[5] + ((y + 0.5f) - Y0) / (Y1 - Y0) * (q[7] - q[5]);
            for (int x = x0; x < x1; ++x) {
                const float s = q[4] + ((x + 0.5f) - X0) / (X1 - X0) * (q[6] - q[4]);
                // Turned about the sprite's centre; what falls outside its rectangle is clear.
                const float rs = cu + (s - cu) * cs - (t - cv) * sn, rt = cv + (s - cu) * sn + (t - cv) * cs;
                if (rs < q[4] || rs > q[6] || rt < q[5] || rt > q[7]) continue;
                const float a = SampleLinear8(atlas, rs, rt, 3) * sp.alpha;
                if (a > 0.0f) multiply(x, y, 1.0f - std::min(a, 1.0f));
            }
        }
    }
    if (!border || border->empty()) return;
    for (int y = 0; y < target.height; ++y)
        for (int x = 0; x < target.width; ++x)
            multiply(x, y, SampleLinear8(*border, (x + 0.5f) / W * border->width, (y + 0.5f) / H * border->height, 0));
}

}  // namespace ombrel::cpu
