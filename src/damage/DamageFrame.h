#pragma once

// What a treatment asks of one frame, as pure functions of the treatment and the frame number:
// the program variant, the lead-in strengths and the gunk cell. The draw and the command line's
// `damage show` read the same numbers here.

#include <array>
#include <cstdint>
#include <string>

#include "damage/AnimationSequence.h"

namespace ombrel {

// Gunk tiles: 4096 x 2048 RGBA8, 4 x 2 cells of 1024 pixels, a different picture in each channel.
inline constexpr int kGunkWidth = 4096;
inline constexpr int kGunkHeight = 2048;
inline constexpr int kGunkTileCount = 4;
inline constexpr int kGunkLoopFrames = 128;

// 0 the plain look, 1 damage after the lead-in, 2 the lead-in's program with every step.
struct DamageVariant {
    bool animate = false;
    bool leadIn = false;
    int number() const { return leadIn ? 2 : animate ? 1 : 0; }
};
DamageVariant VariantForFrame(const AnimationSequence* animations, int64_t frame);

// The tile (0 to 3, resource "obTile<2 + tile>"), its cell as x1, y1, x2, y2 in tile pixels,
// and the channel of a frame. A border trims the cell's right edge by a pixel.
int GunkTileForFrame(int64_t frame);
std::array<int32_t, 4> GunkCellForFrame(int64_t frame, bool useBorder);
int GunkChannelForFrame(int64_t frame);
std::string GunkTileName(int tile);

struct DamageFrameValues {
    int64_t frame = 0;
    int variant = 0;
    double flashAmount = 0, smearAmount = 0, leakSizeForFrame = 0, overlayAmount = 0, overlayBAmount = 0;
    int gunkTile = 0;
    std::array<int32_t, 4> gunkCell{};
    int gunkChannel = 0;
};
DamageFrameValues ValuesForFrame(const AnimationSequence& animations, int64_t frame);

}  // namespace ombrel
