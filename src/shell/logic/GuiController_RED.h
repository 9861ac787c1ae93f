#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "render/RenderBase.h"
#include "shell/logic/GuiModel.h"
#include "shell/logic/GuiProtocols.h"
#include "sources/R3DSource.h"
#include "sources/R3DView.h"

namespace ombrel {

// The film settings tab for an R3D clip: exposure and colour temperature go to the decoder,
// so a change of them decodes again; every other change only draws again. Frames are
// decoded on a thread of its own, one run at a time, which takes the newest frame number
// each turn, so quick changes cost few decodes.
class GuiController_RED : public ClipControllerBase {
public:
    GuiController_RED();
    ~GuiController_RED() override;

    void CloseCurrentFile() override;
    void OpenFileWithSettings(const std::string& path, const ClipSettingsPtr& settings) override;
    void LevelsChanged() override;
    void SetLutWithStock(const std::string& stock) override;
    void ZoomChanged() override;
    void PreLevelsChanged() override { RedrawRenderedFrame(); }
    void GrainSizeChanged() override;
    void FrameSliderChanged() override { SetCurrentFrameFullRes(guiModel_->currentFrame(), false); }
    void StockChanged() override;
    void SetBlurRadius() override;
    void ResetMetadataClicked() override;
    void Tab2Opened() override { SetCurrentFrameFullRes(guiModel_->currentFrame(), true); }
    void DisableFilmStockChecked() override { RedrawRenderedFrame(); }
    void UseMetadataChecked() override;
    void ControlTextChanged() override;
    void SaturationChanged() override;
    void LiftGammaGainChanged() override;
    void BallInfoChanged() override;
    void WaitForPreviewLoop() override;
    void LoadPresetEnd() override;
    void CreatePresetThumbnailForPreset(RenderPreset& preset) override;
    void ExposureChanged() override;
    void GrainAmountChanged() override;
    void ColorAmountChanged() override;
    void SCurveAmountChanged() override;

    void SetR3DExtractSettings(int type);
    const std::shared_ptr<R3DSource>& renderSource() const { return renderSource_; }
    RenderBase* previewRenderer() const { return previewRenderer_.get(); }
    bool rendering() const { return rendering_.load(); }

    // The decode resolution for a clip of this width: 4 quarter, 2 half, 1 full.
    static int32_t DebayerFor(float originalWidth, bool zoomed, std::optional<int64_t> debayerSetting);
    void ChooseDebayerForPath(const std::string& path);

    void UpdatePreviewRendererExposure();
    void UpdateRenderer();
    void ResetRendererFrames();
    void SetCurrentFrameFullRes(int32_t frame, bool fullRes);
    void RedrawRenderedFrame();
    void UpdateFrame();

    // How the preference "debayerSetting" is read; the shell's store by default.
    void setDebayerReader(std::function<std::optional<int64_t>()> reader) { debayerReader_ = std::move(reader); }
    // Counts decodes, for the tests of the decode thread.
    uint64_t decodes() const { return decodes_.load(); }

private:
    void Render();
    void WaitForRender();
    void JoinRenderThread();
    bool OpenSource(const std::string& path);

    std::shared_ptr<R3DSource> renderSource_;
    std::unique_ptr<RenderBase> previewRenderer_;
    std::atomic<bool> forceFullRes_{false};
    std::atomic<bool> needsRedraw_{true};
    std::atomic<bool> rendering_{false};
    std::thread renderThread_;
    std::function<std::optional<int64_t>()> debayerReader_;
    std::atomic<uint64_t> decodes_{0};
};

}  // namespace ombrel
