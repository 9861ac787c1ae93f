#pragma once

// A preset's look spelled out as the manager's rows show it.

#include <string>
#include <vector>

#include "model/ClipSettings.h"
#include "model/RenderPreset.h"

namespace ombrel::presets {

// Column 3's text: the name, or "Preset #N" when the name is empty.
std::string PresetTitle(const RenderPreset& preset);

// The row's lines: the stock's display name first (the bold line), then colour, curve, grain,
// size (the gauge of the grain scale), lift/gamma/gain, saturation and the three levels.
std::vector<std::string> PresetCellLines(const ClipSettings& look);

}  // namespace ombrel::presets
