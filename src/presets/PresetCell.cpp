#include "presets/PresetCell.h"

#include <fmt/format.h>

#include "look/LutManager.h"
#include "model/Gauge.h"

namespace ombrel::presets {

namespace {

// Percent of a fraction, cut toward zero as a C cast does, in the field's own precision: a
// float 0.35 times 100 is 35 in float and 34.99... in double.
int Percent(double value) { return static_cast<int>(value * 100.0); }
int Percent(float value) { return static_cast<int>(value * 100.0f); }

}  // namespace

std::string PresetTitle(const RenderPreset& preset) {
    if (!preset.presetName().empty()) return preset.presetName();
    return fmt::format("Preset #{}", preset.presetNumber());
}

std::vector<std::string> PresetCellLines(const ClipSettings& look) {
    return {
        LutManager::DisplayNameForStockName(look.stockName()),
        fmt::format("Color: {}%", Percent(look.colorChangePercent())),
        fmt::format("Curve: {}%", Percent(look.scurveChangePercent())),
        fmt::format("Grain: {}%", Percent(look.grainMultiplier())),
        fmt::format("Size: {}", GrainSizeForMultiplier(look.grainScale())),
        fmt::format("Lift: {} Gamma: {} Gain: {}", Percent(look.lift() - 1.0f), Percent(look.gamma() - 1.0f),
                    Percent(look.gain() - 1.0f)),
        fmt::format("Saturation: {:.2f}", look.saturation()),
        fmt::format("Black: {}%", Percent(look.black())),
        fmt::format("Mid: {}%", Percent(look.mid())),
        fmt::format("White: {}%", Percent(look.white())),
    };
}

}  // namespace ombrel::presets
