#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "core/PlistValue.h"
#include "model/OutputSettings.h"
#include "shell/logic/RenderPanelPorts.h"
#include "shell/logic/SizeGuiController.h"

namespace ombrel {

class GuiController;
struct RenderNotifyTarget;

// The render tab of GuiController: the output options bound to the controller's OutputSettings,
// the destination folders, and the shot list turned into a render queue. Main thread only;
// the render queue hands its progress and its end over to the main thread.
class RenderPanel {
public:
    explicit RenderPanel(GuiController& owner);
    ~RenderPanel();
    RenderPanel(const RenderPanel&) = delete;
    RenderPanel& operator=(const RenderPanel&) = delete;

    // Missing ports stay no-ops.
    void setControls(const RenderPanelControls& controls);
    const RenderPanelControls& controls() const { return c_; }

    void LoadOutputSettingsFromGUI();
    void UpdateGUIFromOutputSettings();
    // `sender` is the popup or checkbox that changed.
    void OutputSettingChanged(const ControlPort* sender);
    void UpdateOutputDefaultsFromGUI();
    void UpdateCodecBox(bool movie);
    void RefreshCustomCodecs();
    void BrowseDestClicked();
    void DestSelectionChanged();

    // Starts a run, or cancels the one going on.
    void RenderSequence();
    void RenderCompleted();
    void SetOutputGuiEnabled(bool enabled);
    void UpdateProgress();

    SizeGuiController& customSizeController() { return customSizeController_; }
    int lastSizeTag() const { return lastSizeTag_; }
    bool renderingSequence() const { return renderingSequence_; }
    bool cancellingSequence() const { return cancellingSequence_; }
    uint32_t codec() const { return codec_; }
    double frameRate() const { return frameRate_; }

    static constexpr const char* kSizeLimitHeading = "Quicktime Size Limit";
    static std::string SizeLimitMessage(int width, int height);

private:
    void ReloadDestinationPopup();
    void ReplaceCustomSizeItem(OutputSize size);
    void LoadCodecPreset(int tag);
    void SelectTitle(MenuPopupPort* popup, const std::string& title);
    OutputSettings& record();

    GuiController& owner_;
    RenderPanelControls c_;
    SizeGuiController customSizeController_;
    int lastSizeTag_ = 0;
    uint32_t codec_ = 0;
    PlistValue options_;
    double frameRate_ = 0.0;
    double frameInterval_ = 0.0;
    // The monitor of RenderSequence: it covers the test and the setting of the flags only.
    std::mutex monitor_;
    bool renderingSequence_ = false;
    bool cancellingSequence_ = false;
    const char* buttonText_[3] = {"Render Clips", "Cancel", "Cancelling..."};
    // Hops of a run still queued on the main thread when the panel goes find it gone.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace ombrel
