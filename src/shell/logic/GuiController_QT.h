#pragma once

#include <atomic>
#include <string>

#include "shell/logic/GuiModel.h"
#include "shell/logic/GuiProtocols.h"
#include "sources/R3DView.h"

namespace ombrel {

// The film settings tab for a movie: every change goes to the viewer's own pipeline, which
// draws the frame again; there is no decode of ours and no thread of its own.
class GuiController_QT : public ClipControllerBase {
public:
    void CloseCurrentFile() override;
    void OpenFileWithSettings(const std::string& path, const ClipSettingsPtr& settings) override;
    void LevelsChanged() override;
    void SetLutWithStock(const std::string& stock) override;
    void ZoomChanged() override;
    void PreLevelsChanged() override { SetCurrentFrame(); }
    void GrainSizeChanged() override;
    void FrameSliderChanged() override { SetCurrentFrame(); }
    void StockChanged() override;
    void SetBlurRadius() override;
    void ResetMetadataClicked() override;
    void Tab2Opened() override { SetCurrentFrame(); }
    void DisableFilmStockChecked() override { SetCurrentFrame(); }
    void UseMetadataChecked() override;
    void ControlTextChanged() override { SetCurrentFrame(); }
    void SaturationChanged() override;
    void LiftGammaGainChanged() override;
    void BallInfoChanged() override;
    void WaitForPreviewLoop() override {}
    void LoadPresetEnd() override;
    void CreatePresetThumbnailForPreset(RenderPreset& preset) override;
    void ExposureChanged() override;
    void GrainAmountChanged() override;
    void ColorAmountChanged() override;
    void SCurveAmountChanged() override;

    // Shows the model's frame; UpdateRenderer, UpdateFrame and the redraws all come to this.
    void SetCurrentFrame();

private:
    std::atomic<bool> needsRedraw_{true};
};

}  // namespace ombrel
