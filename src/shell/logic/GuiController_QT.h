#pragma once

#include <atomic>
#include <string>

#include "shell/logic/GuiModel.h"
#include "shell/logic/GuiProtocols.h"
#include "sources/R3DView.h"

namespace ombrel {

// The film settings tab for a movie: every change goes to the viewer's own pipeline, which
// draws the frame again; there is no decode of ours and no thread of its own.
class GuiController_QT : public GuiControllerEventProtocol {
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
    void LoadPresetBegin() override { holdFrameUpdates_ = true; }
    void LoadPresetEnd() override;
    void CreatePresetThumbnailForPreset(RenderPreset& preset) override;
    void ExposureChanged() override;
    void KelvinChanged() override { ExposureChanged(); }
    void GrainAmountChanged() override;
    void ColorAmountChanged() override;
    void SCurveAmountChanged() override;
    GuiModel* guiModel() const override { return guiModel_; }
    void setGuiModel(GuiModel* model) override { guiModel_ = model; }
    R3DView* r3dViewGL() const override { return r3dViewGL_; }
    void setR3dViewGL(R3DView* view) override { r3dViewGL_ = view; }
    void Setup() override {}
    void setHoldFrameUpdates(bool hold) override { holdFrameUpdates_ = hold; }
    bool holdFrameUpdates() const { return holdFrameUpdates_.load(); }

    // Shows the model's frame; UpdateRenderer, UpdateFrame and the redraws all come to this.
    void SetCurrentFrame();

private:
    GuiModel* guiModel_ = nullptr;
    R3DView* r3dViewGL_ = nullptr;
    std::atomic<bool> holdFrameUpdates_{false};
    std::atomic<bool> needsRedraw_{true};
};

}  // namespace ombrel
