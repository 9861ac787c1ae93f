#pragma once

#include <functional>
#include <string>

#include "model/SettingsManager.h"
#include "platform/imageio/Image.h"
#include "platform/prefs/Preferences.h"
#include "shell/logic/GuiPorts.h"

namespace ombrel {

class GuiController;

// The preset bar of the film settings tab: the library popup, the strip of the current
// library's presets, saving the open clip's look as a preset and loading one onto it.
// Main thread only. It is also who SettingsManager hands a preset to load.
class PresetBar : public PresetLoadTarget {
public:
    static constexpr const char* kGroupPreference = "presetGroupPopup";
    static constexpr int kThumbWidth = 80;
    static constexpr int kThumbHeight = 44;

    explicit PresetBar(GuiController& gui);
    ~PresetBar() override;
    // `factoryView` shows SettingsManager's factoryPresetList; the shot list shows preset names.
    void setControls(PopupPort* presetGroupPopup, ListView* factoryView, ListView* shotListTable = nullptr);
    // The picture a new preset's icon is made from, kThumbWidth x kThumbHeight; null for none.
    void setThumbnailer(std::function<ImagePtr()> thumbnailer) { thumbnailer_ = std::move(thumbnailer); }

    void RefreshPresetGroups();
    void PresetTabChanged();
    // The open clip's look as a new preset of the current library, tied to the clip. Null
    // without an open clip, or when the library cannot be written.
    RenderPresetPtr SavePreset();
    void LoadPreset(const RenderPresetPtr& preset) override;
    void PresetRenamed(const RenderPreset& preset);
    // Removes the presets at these rows of the strip from the library.
    void DeletePresets(const std::vector<size_t>& rows);
    // Fills a record from the model, as a preset keeps it.
    void CopyGuiToClipSettings(ClipSettings& settings) const;

private:
    GuiController& gui_;
    PopupPort* popup_;
    ListView* view_;
    ListView* shotListTable_;
    std::function<ImagePtr()> thumbnailer_;
};

}  // namespace ombrel
