#pragma once

// Image files turned into the damage pass's texture data.

#include <cstdint>
#include <string>
#include <vector>

#include "core/Status.h"
#include "damage/cpu/DamageCpu.h"

namespace ombrel {

// The gate border, one 8-bit channel, centred between black bars at the frame's aspect ratio.
class BorderMaker {
public:
    Status MakeBorderFromPathSizeForAspect(const std::string& path, float aspectWidth, float aspectHeight);
    const cpu::Texture8& border() const { return border_; }
    const std::vector<uint8_t>& borderData() const { return border_.data; }

private:
    cpu::Texture8 border_;
};

// An overlay or the sprite atlas as decoded: TIFF or PNG, kept as RGBA.
class OverlayMaker {
public:
    // A file, or a name under Resources/.
    Status MakeOverlayWithImage(const std::string& nameOrPath);
    // Only the alpha of the atlas counts: its colour becomes white.
    void MashDirtMap();
    const cpu::Texture8& overlay() const { return overlay_; }
    const std::vector<uint8_t>& data() const { return overlay_.data; }
    int channelCount() const { return overlay_.channels; }

private:
    cpu::Texture8 overlay_;
};

// Gunk tiles: exactly 4096 x 2048 RGBA8, or the tile is refused.
Status LoadGunkTile(const std::string& path, cpu::Texture8* tile);

}  // namespace ombrel
