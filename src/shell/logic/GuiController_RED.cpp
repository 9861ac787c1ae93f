#include "shell/logic/GuiController_RED.h"

#include <chrono>

#include "core/Log.h"
#include "core/MainQueue.h"
#include "library/FileParser.h"
#include "model/SettingsManager.h"
#include "platform/prefs/Preferences.h"
#include "sources/R3DFile.h"

namespace ombrel {

namespace {
constexpr auto kAbortPoll = std::chrono::milliseconds(50);
constexpr auto kLoopPoll = std::chrono::milliseconds(100);
}  // namespace

GuiController_RED::GuiController_RED()
    : renderSource_(std::make_shared<R3DSource>()), previewRenderer_(std::make_unique<RenderBase>()) {
    renderSource_->SetPlanar(false);
    renderSource_->setDebayer(4);
    debayerReader_ = [] { return platform::Preferences::Shared().integerForKey("debayerSetting"); };
}

GuiController_RED::~GuiController_RED() {
    previewRenderer_->AbortRender();
    JoinRenderThread();
}

int32_t GuiController_RED::DebayerFor(float originalWidth, bool zoomed, std::optional<int64_t> setting) {
    const bool wide = originalWidth > 2400.0f;
    const int64_t s = setting.value_or(4);
    if (s == 4) {
        if (wide) return zoomed ? 2 : 4;
        return zoomed ? 1 : 2;
    }
    if (s == 2) return wide && !zoomed ? 2 : 1;
    return 1;
}

void GuiController_RED::ChooseDebayerForPath(const std::string& path) {
    const OriginalSize size = renderSource_->GetOriginalSizeForPath(path);
    const bool zoomed = r3dViewGL_ && r3dViewGL_->zoom();
    renderSource_->setDebayer(DebayerFor(size.width, zoomed, debayerReader_ ? debayerReader_() : std::nullopt));
}

// ---------------------------------------------------------------- the decode thread

void GuiController_RED::JoinRenderThread() {
    if (renderThread_.joinable()) renderThread_.join();
}

// The decode thread draws through the viewer, which never waits on main, so a plain
// wait is safe; the queue is served all the same for whatever else waits on it.
void GuiController_RED::WaitForRender() {
    while (rendering_.load()) {
        previewRenderer_->AbortRender();
        if (MainQueue::Instance().IsMainThread())
            MainQueue::Instance().ServeFor(kAbortPoll);
        else
            std::this_thread::sleep_for(kAbortPoll);
    }
    JoinRenderThread();
}

void GuiController_RED::SetCurrentFrameFullRes(int32_t frame, bool fullRes) {
    (void)frame;
    if (holdFrameUpdates_ || !guiModel_->hasOpenFile()) return;
    needsRedraw_ = true;
    if (guiModel_->filename() && !guiModel_->filename()->empty()) {
        const int32_t f = guiModel_->currentFrame();
        guiModel_->setFrameText(renderSource_->TimecodeString(f));
        guiModel_->setFrameTextEdgecode(renderSource_->EdgecodeString(f));
    }
    if (rendering_.load()) return;  // the running pass sees needsRedraw and goes round again
    forceFullRes_ = fullRes;
    UpdatePreviewRendererExposure();
    JoinRenderThread();
    rendering_ = true;
    renderThread_ = std::thread([this] { Render(); });
}

void GuiController_RED::Render() {
    if (!guiModel_->hasOpenFile()) {
        rendering_ = false;
        return;
    }
    while (needsRedraw_.exchange(false)) {
        const int32_t frame = guiModel_->currentFrame();
        if (previewRenderer_->decodedFrame() != frame || !renderSource_->ExposureConsistent()) {
            if (previewRenderer_->Decode(frame)) ++decodes_;
        }
        if (r3dViewGL_) r3dViewGL_->ShowR3DFrame(frame);
    }
    rendering_ = false;
}

void GuiController_RED::WaitForPreviewLoop() {
    while (rendering_.load()) {
        if (MainQueue::Instance().IsMainThread())
            MainQueue::Instance().ServeFor(kLoopPoll);
        else
            std::this_thread::sleep_for(kLoopPoll);
    }
    JoinRenderThread();
}

// ---------------------------------------------------------------- support

void GuiController_RED::UpdatePreviewRendererExposure() {
    if (guiModel_->useMetadata())
        previewRenderer_->SetExposureKelvin(static_cast<float>(guiModel_->metadataExposure()),
                                            static_cast<float>(guiModel_->metadataKelvin()));
    else
        previewRenderer_->SetExposureKelvin(static_cast<float>(guiModel_->exposure()),
                                            static_cast<float>(guiModel_->kelvin()));
    // The decoder applies them: the pipeline's own stays neutral.
    if (r3dViewGL_) r3dViewGL_->SetExposureKelvin(0.0f, 5600.0f);
}

void GuiController_RED::UpdateRenderer() {
    previewRenderer_->setColorChangePercent(guiModel_->colorAmount());
    previewRenderer_->setSCurveChangePercent(guiModel_->sCurveAmount());
    previewRenderer_->setGrainMultiplier(static_cast<float>(guiModel_->grainAmount()));
    previewRenderer_->setBlack(static_cast<float>(guiModel_->histogramBlack()));
    previewRenderer_->setMid(static_cast<float>(guiModel_->histogramMid()));
    previewRenderer_->setWhite(static_cast<float>(guiModel_->histogramWhite()));
}

void GuiController_RED::ResetRendererFrames() { previewRenderer_->setDecodedFrame(-2); }

void GuiController_RED::RedrawRenderedFrame() {
    UpdatePreviewRendererExposure();
    UpdateRenderer();
    SetCurrentFrameFullRes(guiModel_->currentFrame(), true);
}

void GuiController_RED::UpdateFrame() {
    UpdatePreviewRendererExposure();
    UpdateRenderer();
    SetCurrentFrameFullRes(guiModel_->currentFrame(), false);
}

// ---------------------------------------------------------------- events

void GuiController_RED::ExposureChanged() {
    UpdatePreviewRendererExposure();
    ResetRendererFrames();
    SetCurrentFrameFullRes(guiModel_->currentFrame(), true);
}

void GuiController_RED::SaturationChanged() {
    if (r3dViewGL_) r3dViewGL_->SetSaturation(static_cast<float>(guiModel_->saturation()));
    SetCurrentFrameFullRes(guiModel_->currentFrame(), true);
}

void GuiController_RED::LiftGammaGainChanged() {
    if (r3dViewGL_) r3dViewGL_->SetLiftGammaGain(guiModel_->lift(), guiModel_->gamma(), guiModel_->gain());
    SetCurrentFrameFullRes(guiModel_->currentFrame(), true);
}

void GuiController_RED::BallInfoChanged() {
    if (r3dViewGL_) r3dViewGL_->SetBallInfo(guiModel_->ballInfo());
    SetCurrentFrameFullRes(guiModel_->currentFrame(), true);
}

void GuiController_RED::GrainAmountChanged() {
    previewRenderer_->setGrainMultiplier(static_cast<float>(guiModel_->grainAmount()));
    if (r3dViewGL_) r3dViewGL_->SetGrainValue(guiModel_->grainAmount());
    SetCurrentFrameFullRes(guiModel_->currentFrame(), true);
}

void GuiController_RED::ColorAmountChanged() {
    previewRenderer_->setColorChangePercent(guiModel_->colorAmount());
    if (r3dViewGL_) r3dViewGL_->SetBlendValue(guiModel_->colorAmount());
    SetCurrentFrameFullRes(guiModel_->currentFrame(), true);
}

void GuiController_RED::SCurveAmountChanged() {
    previewRenderer_->setSCurveChangePercent(guiModel_->sCurveAmount());
    if (r3dViewGL_) r3dViewGL_->SetSBlendValue(guiModel_->sCurveAmount());
    SetCurrentFrameFullRes(guiModel_->currentFrame(), true);
}

void GuiController_RED::LevelsChanged() {
    previewRenderer_->setBlack(static_cast<float>(guiModel_->histogramBlack()));
    previewRenderer_->setMid(static_cast<float>(guiModel_->histogramMid()));
    previewRenderer_->setWhite(static_cast<float>(guiModel_->histogramWhite()));
    if (r3dViewGL_)
        r3dViewGL_->SetHistogramBMW(guiModel_->histogramBlack(), guiModel_->histogramMid(),
                                    guiModel_->histogramWhite());
    SetCurrentFrameFullRes(guiModel_->currentFrame(), true);
}

void GuiController_RED::GrainSizeChanged() {
    if (r3dViewGL_) r3dViewGL_->ChangeGrainMapToStockScale(guiModel_->stockName(), guiModel_->grainScale());
    UpdateFrame();
}

void GuiController_RED::SetBlurRadius() {
    if (r3dViewGL_) r3dViewGL_->setBlurRadius(guiModel_->blurRadius());
}

void GuiController_RED::SetLutWithStock(const std::string& stock) {
    if (r3dViewGL_) r3dViewGL_->SetCurrentLUTSourceTypeChosenR3DMode(stock, renderSource_->SourceType(), std::nullopt, true);
}

void GuiController_RED::StockChanged() {
    SetLutWithStock(guiModel_->stockName());
    UpdateRenderer();
    RedrawRenderedFrame();
}

void GuiController_RED::UseMetadataChecked() {
    UpdatePreviewRendererExposure();
    UpdateFrame();
}

void GuiController_RED::ResetMetadataClicked() {
    if (!guiModel_->hasOpenFile()) return;
    guiModel_->setExposureKelvin(0.0, guiModel_->metadataKelvin());
    UpdatePreviewRendererExposure();
    UpdateFrame();
}

void GuiController_RED::ControlTextChanged() {
    SetCurrentFrameFullRes(guiModel_->currentFrame(), false);
    UpdatePreviewRendererExposure();
    UpdateRenderer();
    UpdateFrame();
}

void GuiController_RED::LoadPresetEnd() {
    holdFrameUpdates_ = false;
    ResetRendererFrames();
    SetCurrentFrameFullRes(guiModel_->currentFrame(), true);
}

void GuiController_RED::CreatePresetThumbnailForPreset(RenderPreset& preset) {
    (void)preset;  // preset icons come with the preset library
}

// ---------------------------------------------------------------- opening and closing

bool GuiController_RED::OpenSource(const std::string& path) {
    if (!renderSource_->OpenFileForOutputSizeWithAsyncBuffersWillBlur(path, false, 1, false)) {
        LogError("Cannot open {} for the viewer: {}", path, renderSource_->lastError());
        return false;
    }
    renderSource_->SetDecodeInterleaved(true);
    return true;
}

void GuiController_RED::OpenFileWithSettings(const std::string& path, const ClipSettingsPtr& settings) {
    if (path.empty()) return;
    guiModel_->setFilename(path);
    // The viewer must not keep drawing from the buffer of the source let go of here.
    if (r3dViewGL_) r3dViewGL_->SetBufferWidthHeight(nullptr, r3dViewGL_->imageWidth(), r3dViewGL_->imageHeight());
    renderSource_ = std::make_shared<R3DSource>();
    renderSource_->SetPlanar(false);
    previewRenderer_->ResetAbortStatus();
    ChooseDebayerForPath(path);
    const bool opened = OpenSource(path);
    if (r3dViewGL_ && opened)
        r3dViewGL_->SetBufferWidthHeight(renderSource_->ResizeBuffer(), static_cast<int32_t>(renderSource_->Width()),
                                         static_cast<int32_t>(renderSource_->Height()));
    guiModel_->setFramesInCurrentClip(opened ? static_cast<int32_t>(renderSource_->FramesInClip()) : 0);
    if (settings && !settings->stockName().empty()) guiModel_->setStockName(settings->stockName());
    SetLutWithStock(guiModel_->stockName());
    SetBlurRadius();
    guiModel_->setGrainScale(settings ? settings->grainScale() : 1.0);
    GrainSizeChanged();
    if (!settings || settings->isDefault()) {
        guiModel_->setKelvin(renderSource_->MetadataKelvin());
        guiModel_->setCurrentFrame(0);
    } else {
        guiModel_->setCurrentFrame(settings->lastFrameShown());
        if (r3dViewGL_)
            r3dViewGL_->SetHistogramBMW(guiModel_->histogramBlack(), guiModel_->histogramMid(),
                                        guiModel_->histogramWhite());
    }
    guiModel_->setMetadataKelvin(renderSource_->MetadataKelvin());
    guiModel_->setMetadataExposure(0.0);
    previewRenderer_->setRenderSource(opened ? renderSource_ : nullptr);
    previewRenderer_->setDecodedFrame(-1);
    UpdateRenderer();
    holdFrameUpdates_ = false;
    SetCurrentFrameFullRes(guiModel_->currentFrame(), false);
    guiModel_->setFilename(path);
    guiModel_->setReel(FileParser::DisplayReelNameForPath(path));
    guiModel_->setClip(FileParser::DisplayClipNameForPath(path));
    guiModel_->setHasOpenFile(opened);
}

void GuiController_RED::CloseCurrentFile() {
    holdFrameUpdates_ = true;
    WaitForRender();
    previewRenderer_->ResetAbortStatus();
    const std::string path = renderSource_->FilePath();
    if (!path.empty()) SettingsManager::Instance().PushSettingsForClip(*guiModel_->clipSettings(), path);
    if (r3dViewGL_) r3dViewGL_->Redraw();
}

void GuiController_RED::ZoomChanged() {
    if (r3dViewGL_) r3dViewGL_->setZoom(guiModel_->zoom());
    holdFrameUpdates_ = true;
    WaitForRender();
    previewRenderer_->ResetAbortStatus();
    const std::string path = guiModel_->filename().value_or("");
    if (r3dViewGL_) r3dViewGL_->SetBufferWidthHeight(nullptr, r3dViewGL_->imageWidth(), r3dViewGL_->imageHeight());
    renderSource_ = std::make_shared<R3DSource>();
    renderSource_->SetPlanar(false);
    bool opened = false;
    if (!path.empty()) {
        ChooseDebayerForPath(path);
        opened = OpenSource(path);
    }
    previewRenderer_->setRenderSource(opened ? renderSource_ : nullptr);
    previewRenderer_->setDecodedFrame(-1);
    holdFrameUpdates_ = false;
    UpdateRenderer();
    if (r3dViewGL_ && opened) {
        r3dViewGL_->setFullResWidth(static_cast<int32_t>(renderSource_->Width()));
        r3dViewGL_->setFullResHeight(static_cast<int32_t>(renderSource_->Height()));
        r3dViewGL_->SetBufferWidthHeight(renderSource_->ResizeBuffer(), static_cast<int32_t>(renderSource_->Width()),
                                         static_cast<int32_t>(renderSource_->Height()));
    }
    GrainSizeChanged();
    SetCurrentFrameFullRes(guiModel_->currentFrame(), false);
}

void GuiController_RED::SetR3DExtractSettings(int type) {
    R3DFile::SetExtractType(type);
    if (renderSource_) {
        renderSource_->DecodeSetup();
        ResetRendererFrames();
    }
}

}  // namespace ombrel
