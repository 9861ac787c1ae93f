#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "model/ClipSettings.h"
#include "model/ColorBallInfo.h"
#include "model/RenderPreset.h"

namespace ombrel {

class GuiModel;
class R3DView;

// The model's calls back into the window controller: each moves one control.
class GuiControllerProtocol {
public:
    virtual ~GuiControllerProtocol() = default;
    virtual void setExposure(double value) = 0;
    virtual void setKelvin(double value) = 0;
    virtual void setColorAmount(double value) = 0;
    virtual void setSCurveAmount(double value) = 0;
    virtual void setGrainAmount(double value) = 0;
    virtual void setGrainScale(double value) = 0;
    virtual void setHistogramBlack(double value) = 0;
    virtual void setHistogramMid(double value) = 0;
    virtual void setHistogramWhite(double value) = 0;
    virtual void setHistogramStale() = 0;
    virtual void setFilename(const std::optional<std::string>& value) = 0;
    virtual void setReel(const std::optional<std::string>& value) = 0;
    virtual void setClip(const std::optional<std::string>& value) = 0;
    virtual void setFrameText(const std::string& value) = 0;
    virtual void setFrameTextEdgecode(const std::string& value) = 0;
    virtual void setGrainName(const std::string& value) = 0;
    virtual void setStockName(const std::string& value) = 0;
    virtual void setUseMetadata(bool value) = 0;
    virtual void setShowOriginal(bool value) = 0;
    virtual void setPreLevels(bool value) = 0;
    virtual void setZoom(bool value) = 0;
    virtual void setCurrentFrame(int32_t value) = 0;
    virtual void setUserFrameIn(int32_t value) = 0;
    virtual void setUserFrameOut(int32_t value) = 0;
    virtual void setFramesInCurrentClip(int32_t value) = 0;
    virtual void setExposureKelvin(double exposure, double kelvin) = 0;
    virtual void setSaturation(double value) = 0;
    virtual void setLiftGammaGain(float lift, float gamma, float gain) = 0;
    virtual void setBallInfo(const ColorBallInfo& value) = 0;
};

// What a change means for the open clip; one implementation per kind of clip.
class GuiControllerEventProtocol {
public:
    virtual ~GuiControllerEventProtocol() = default;
    virtual void CloseCurrentFile() = 0;
    virtual void OpenFileWithSettings(const std::string& path, const ClipSettingsPtr& settings) = 0;
    virtual void LevelsChanged() = 0;
    virtual void SetLutWithStock(const std::string& stock) = 0;
    virtual void ZoomChanged() = 0;
    virtual void PreLevelsChanged() = 0;
    virtual void GrainSizeChanged() = 0;
    virtual void FrameSliderChanged() = 0;
    virtual void StockChanged() = 0;
    virtual void SetBlurRadius() = 0;
    virtual void ResetMetadataClicked() = 0;
    virtual void Tab2Opened() = 0;
    virtual void DisableFilmStockChecked() = 0;
    virtual void UseMetadataChecked() = 0;
    virtual void ControlTextChanged() = 0;
    virtual void SaturationChanged() = 0;
    virtual void LiftGammaGainChanged() = 0;
    virtual void BallInfoChanged() = 0;
    virtual void WaitForPreviewLoop() = 0;
    virtual void LoadPresetBegin() = 0;
    virtual void LoadPresetEnd() = 0;
    virtual void CreatePresetThumbnailForPreset(RenderPreset& preset) = 0;
    virtual void ExposureChanged() = 0;
    virtual void KelvinChanged() = 0;
    virtual void GrainAmountChanged() = 0;
    virtual void ColorAmountChanged() = 0;
    virtual void SCurveAmountChanged() = 0;
    virtual GuiModel* guiModel() const = 0;
    virtual void setGuiModel(GuiModel* model) = 0;
    virtual R3DView* r3dViewGL() const = 0;
    virtual void setR3dViewGL(R3DView* view) = 0;
    virtual void Setup() = 0;
    virtual void setHoldFrameUpdates(bool hold) = 0;
};

// What both clip controllers keep alike: the model and viewer they are given, and the hold on
// frame updates while a preset loads.
class ClipControllerBase : public GuiControllerEventProtocol {
public:
    void LoadPresetBegin() override { holdFrameUpdates_ = true; }
    void KelvinChanged() override { ExposureChanged(); }
    GuiModel* guiModel() const override { return guiModel_; }
    void setGuiModel(GuiModel* model) override { guiModel_ = model; }
    R3DView* r3dViewGL() const override { return r3dViewGL_; }
    void setR3dViewGL(R3DView* view) override { r3dViewGL_ = view; }
    void Setup() override {}
    void setHoldFrameUpdates(bool hold) override { holdFrameUpdates_ = hold; }
    bool holdFrameUpdates() const { return holdFrameUpdates_.load(); }

protected:
    GuiModel* guiModel_ = nullptr;
    R3DView* r3dViewGL_ = nullptr;
    std::atomic<bool> holdFrameUpdates_{false};
};

}  // namespace ombrel
