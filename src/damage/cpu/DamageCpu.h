#pragma once

// The damage steps in plain C++ float, step for step as the damage programs do them: the oracle
// of the GPU path and the damage of a --cpu render.

#include <array>
#include <cstdint>
#include <vector>

#include "damage/DamagePlanner.h"
#include "look/cpu/CoreShaderCpu.h"

namespace ombrel::cpu {

// A texture of the damage pass: `channels` 8-bit samples a pixel, row 0 is texture row 0 (the
// picture's top row, as the file holds it).
struct Texture8 {
    int width = 0, height = 0, channels = 0;
    std::vector<uint8_t> data;
    bool empty() const { return width <= 0 || height <= 0 || data.empty(); }
};
// GL's linear filter with clamp to edge at texel coordinates (s, t), channel c, in 0 to 1.
float SampleLinear8(const Texture8& texture, float s, float t, int channel);

// Everything one frame's damage reads.
struct DamageInputs {
    bool animate = false, leadIn = false;
    float flashAmount = 0, leakAmount = 0, smearAmount = 0, leakSize = 0;
    float borderAmount = 0, overlayAmount = 0, overlayBAmount = 0, gunkAmount = 0;
    int gunkChannel = 0;
    std::vector<std::array<float, 2>> leakPositions;
    float weaveX = 0, weaveY = 0;                  // texels the frame's coordinates move by
    std::array<float, 4> gunkCell{};               // x1, y1, x2, y2 in tile pixels
    const Texture8* border = nullptr;              // one channel
    const Texture8* overlayA = nullptr;            // RGB
    const Texture8* overlayB = nullptr;
    const Texture8* gunk = nullptr;                // RGBA tile
};

// The steps around the core shader. `uv` is the normalized coordinate over the frame's quad,
// (0, 0) at the picture's top left.
std::array<float, 4> FlashWrapper(const DamageInputs& d, std::array<float, 4> p);
std::array<float, 4> RGBSpotLeak(std::array<float, 4> p, std::array<float, 2> uv, std::array<float, 2> centre,
                                 float size, float amount);
std::array<float, 4> OverlayWrapper(const DamageInputs& d, std::array<float, 4> p, std::array<float, 2> uv);
std::array<float, 4> GunkWrapper(const DamageInputs& d, std::array<float, 4> p, std::array<float, 2> uv);
std::array<float, 4> BorderWrapper(const DamageInputs& d, std::array<float, 4> p, std::array<float, 2> uv);

// The core pass with the damage steps of the variant, over `target` (rows bottom-up).
void DrawDamageQuad(const CoreShaderInputs& inputs, const DamageInputs& d, const Image& frame, const Quad& quad,
                    Image& target);

// The second pass: the plan's sprites multiplied into the target, then the border when
// `border` is given. The target is first put onto 16-bit steps and every blend rounds to
// them, as the render buffer stores it.
void DrawDirtPass(const std::vector<DirtSprite>& sprites, const Texture8& atlas, const Texture8* border,
                  Image& target);

}  // namespace ombrel::cpu
