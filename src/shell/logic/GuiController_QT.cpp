#include "shell/logic/GuiController_QT.h"

#include "core/Log.h"
#include "library/FileParser.h"
#include "model/SettingsManager.h"

namespace ombrel {

void GuiController_QT::SetCurrentFrame() {
    if (holdFrameUpdates_ || !guiModel_->hasOpenFile()) return;
    needsRedraw_ = true;
    if (!guiModel_->filename() || guiModel_->filename()->empty()) return;
    if (r3dViewGL_ && !r3dViewGL_->playback()) r3dViewGL_->ShowFrame(guiModel_->currentFrame());
    // A movie has no timecode of its own.
    guiModel_->setFrameText(std::string("00:00:00:00"));
    if (r3dViewGL_) guiModel_->setFrameTextEdgecode(r3dViewGL_->EdgecodeString(guiModel_->currentFrame()));
}

void GuiController_QT::ExposureChanged() {
    if (r3dViewGL_)
        r3dViewGL_->SetExposureKelvin(static_cast<float>(guiModel_->exposure()), static_cast<float>(guiModel_->kelvin()));
    SetCurrentFrame();
}

void GuiController_QT::SaturationChanged() {
    if (r3dViewGL_) r3dViewGL_->SetSaturation(static_cast<float>(guiModel_->saturation()));
    SetCurrentFrame();
}

void GuiController_QT::LiftGammaGainChanged() {
    if (r3dViewGL_) r3dViewGL_->SetLiftGammaGain(guiModel_->lift(), guiModel_->gamma(), guiModel_->gain());
    SetCurrentFrame();
}

void GuiController_QT::BallInfoChanged() {
    if (r3dViewGL_) r3dViewGL_->SetBallInfo(guiModel_->ballInfo());
    SetCurrentFrame();
}

void GuiController_QT::GrainAmountChanged() {
    if (r3dViewGL_) r3dViewGL_->SetGrainValue(guiModel_->grainAmount());
    SetCurrentFrame();
}

void GuiController_QT::ColorAmountChanged() {
    if (r3dViewGL_) r3dViewGL_->SetBlendValue(guiModel_->colorAmount());
    SetCurrentFrame();
}

void GuiController_QT::SCurveAmountChanged() {
    if (r3dViewGL_) r3dViewGL_->SetSBlendValue(guiModel_->sCurveAmount());
    SetCurrentFrame();
}

void GuiController_QT::LevelsChanged() {
    if (r3dViewGL_)
        r3dViewGL_->SetHistogramBMW(guiModel_->histogramBlack(), guiModel_->histogramMid(),
                                    guiModel_->histogramWhite());
    SetCurrentFrame();
}

void GuiController_QT::GrainSizeChanged() {
    if (r3dViewGL_) r3dViewGL_->ChangeGrainMapToStockScale(guiModel_->stockName(), guiModel_->grainScale());
    SetCurrentFrame();
}

void GuiController_QT::SetBlurRadius() {
    if (r3dViewGL_) r3dViewGL_->setBlurRadius(guiModel_->blurRadius());
}

void GuiController_QT::SetLutWithStock(const std::string& stock) {
    if (r3dViewGL_)
        r3dViewGL_->SetCurrentLUTSourceTypeChosenR3DMode(stock, "5D", guiModel_->clipSettings()->sourceCameraChosen(),
                                                         false);
}

void GuiController_QT::StockChanged() {
    SetLutWithStock(guiModel_->stockName());
    SetCurrentFrame();
}

void GuiController_QT::UseMetadataChecked() {
    if (r3dViewGL_) {
        const bool meta = guiModel_->useMetadata();
        r3dViewGL_->SetExposureKelvin(static_cast<float>(meta ? guiModel_->metadataExposure() : guiModel_->exposure()),
                                      static_cast<float>(meta ? guiModel_->metadataKelvin() : guiModel_->kelvin()));
    }
    SetCurrentFrame();
}

void GuiController_QT::ResetMetadataClicked() {
    if (!guiModel_->hasOpenFile()) return;
    guiModel_->setKelvin(guiModel_->metadataKelvin());
    guiModel_->setExposure(0.0);
    SetCurrentFrame();
}

void GuiController_QT::ZoomChanged() {
    if (r3dViewGL_) r3dViewGL_->setZoom(guiModel_->zoom());
    SetCurrentFrame();
}

void GuiController_QT::LoadPresetEnd() {
    holdFrameUpdates_ = false;
    SetCurrentFrame();
}

void GuiController_QT::CreatePresetThumbnailForPreset(RenderPreset& preset) {
    (void)preset;  // preset icons come with the preset library
}

void GuiController_QT::OpenFileWithSettings(const std::string& path, const ClipSettingsPtr& settings) {
    if (path.empty()) return;
    const bool opened = r3dViewGL_ && r3dViewGL_->OpenMovieAtPath(path);
    guiModel_->setFramesInCurrentClip(opened ? r3dViewGL_->FramesInClip() : 0);
    double scale = settings ? settings->grainScale() : 1.0;
    if (scale == 0.0) {
        scale = 1.0;
        Log()->info("Warning: clip had grain scale of 0");
    }
    guiModel_->setGrainScale(scale);
    if (settings && !settings->stockName().empty()) guiModel_->setStockName(settings->stockName());
    SetLutWithStock(guiModel_->stockName());
    SetBlurRadius();
    if (r3dViewGL_) r3dViewGL_->ChangeGrainMapToStockScale(guiModel_->stockName(), guiModel_->grainScale());
    if (!settings || settings->isDefault()) {
        guiModel_->setKelvin(5600.0);
        guiModel_->setCurrentFrame(0);
    } else {
        guiModel_->setCurrentFrame(settings->lastFrameShown());
        if (r3dViewGL_)
            r3dViewGL_->SetHistogramBMW(guiModel_->histogramBlack(), guiModel_->histogramMid(),
                                        guiModel_->histogramWhite());
    }
    guiModel_->setMetadataKelvin(5600.0);
    guiModel_->setMetadataExposure(0.0);
    if (r3dViewGL_) {
        r3dViewGL_->SetExposureKelvin(static_cast<float>(guiModel_->exposure()), static_cast<float>(guiModel_->kelvin()));
        r3dViewGL_->WaitForFrameGrabToComplete();
    }
    holdFrameUpdates_ = false;
    guiModel_->setHasOpenFile(opened);
    guiModel_->setFilename(path);
    SetCurrentFrame();
    if (r3dViewGL_) r3dViewGL_->WaitForFrameGrabToComplete();
    guiModel_->setReel(FileParser::DisplayReelNameForPath(path));
    guiModel_->setClip(FileParser::DisplayClipNameForPath(path));
}

void GuiController_QT::CloseCurrentFile() {
    if (guiModel_->filename() && !guiModel_->filename()->empty())
        SettingsManager::Instance().PushSettingsForClip(*guiModel_->clipSettings(), *guiModel_->filename());
    if (r3dViewGL_) {
        r3dViewGL_->StopPlayback();
        r3dViewGL_->Redraw();
    }
}

}  // namespace ombrel
