#include "shell/logic/GuiModel.h"

#include <cassert>

namespace ombrel {

GuiModel::GuiModel() : clipSettings_(ClipSettings::Make()) {
    clipSettings_->setPopulated(true);
    clipSettings_->setIsDefault(true);
    ColorBallData::ResetColorBallInfo(&ballInfo_);
}

void GuiModel::PushClipSettings(const ClipSettings& settings) {
    clipSettings_->CopySettingsFrom(settings);
    const ClipSettings& s = *clipSettings_;
    // Copies first: each setter writes back into the record it reads from.
    const double grain = s.grainMultiplier(), color = s.colorChangePercent(), scurve = s.scurveChangePercent();
    const double kelvin = s.kelvin(), saturation = s.saturation(), exposure = s.exposure();
    const float lift = s.lift(), gamma = s.gamma(), gain = s.gain();
    const double black = s.black(), mid = s.mid(), white = s.white(), scale = s.grainScale();
    const bool useMetadata = s.useMetadata();
    const std::string grainName = s.grainName(), stockName = s.stockName();
    const double blur = s.blurRadius();
    const int32_t frame = s.lastFrameShown(), in = s.userFrameIn(), out = s.userFrameOut();
    const auto chosen = s.sourceCameraChosen(), make = s.displayMake(), model = s.displayModel(),
               style = s.displayPictureStyle();
    const ColorBallInfo balls = s.ballInfo();

    setGrainAmount(grain);
    setColorAmount(color);
    setSCurveAmount(scurve);
    setKelvin(kelvin);
    setSaturation(saturation);
    setLiftGammaGain(lift, gamma, gain);
    setExposure(exposure);
    setHistogramBlack(black);
    setHistogramMid(mid);
    setHistogramWhite(white);
    setGrainScale(scale);
    setUseMetadata(useMetadata);
    setGrainName(grainName);
    setStockName(stockName);
    setBlurRadius(blur);
    setCurrentFrame(frame);
    setUserFrameIn(in);
    setUserFrameOut(out);
    clipSettings_->setSourceCameraChosen(chosen);
    clipSettings_->setDisplayMake(make);
    clipSettings_->setDisplayModel(model);
    clipSettings_->setDisplayPictureStyle(style);
    setBallInfo(balls);
}

void GuiModel::setExposure(double v) {
    exposure_ = v;
    clipSettings_->setExposure(static_cast<float>(v));
    if (gui_) gui_->setExposure(v);
}

void GuiModel::setKelvin(double v) {
    kelvin_ = v;
    clipSettings_->setKelvin(static_cast<float>(v));
    if (gui_) gui_->setKelvin(v);
}

void GuiModel::setExposureKelvin(double exposure, double kelvin) {
    exposure_ = exposure;
    kelvin_ = kelvin;
    clipSettings_->setExposure(static_cast<float>(exposure));
    clipSettings_->setKelvin(static_cast<float>(kelvin));
    if (gui_) gui_->setExposureKelvin(exposure, kelvin);
}

void GuiModel::setLiftGammaGain(float lift, float gamma, float gain) {
    lift_ = lift;
    gamma_ = gamma;
    gain_ = gain;
    clipSettings_->setLift(lift);
    clipSettings_->setGamma(gamma);
    clipSettings_->setGain(gain);
    if (gui_) gui_->setLiftGammaGain(lift, gamma, gain);
}

void GuiModel::setBallInfo(const ColorBallInfo& v) {
    ballInfo_ = v;
    clipSettings_->setBallInfo(v);
    if (gui_) gui_->setBallInfo(v);
}

void GuiModel::setSaturation(double v) {
    saturation_ = v;
    clipSettings_->setSaturation(v);
    if (gui_) gui_->setSaturation(v);
}

void GuiModel::setColorAmount(double v) {
    colorAmount_ = v;
    clipSettings_->setColorChangePercent(v);
    if (gui_) gui_->setColorAmount(v);
}

void GuiModel::setSCurveAmount(double v) {
    sCurveAmount_ = v;
    clipSettings_->setScurveChangePercent(v);
    if (gui_) gui_->setSCurveAmount(v);
}

void GuiModel::setGrainAmount(double v) {
    grainAmount_ = v;
    clipSettings_->setGrainMultiplier(static_cast<float>(v));
    if (gui_) gui_->setGrainAmount(v);
}

void GuiModel::setGrainScale(double v) {
    grainScale_ = v;
    clipSettings_->setGrainScale(static_cast<float>(v));
    if (gui_) gui_->setGrainScale(v);
}

void GuiModel::setBlurRadius(double v) {
    blurRadius_ = v;
    clipSettings_->setBlurRadius(static_cast<float>(v));
}

void GuiModel::setHistogramBlack(double v) {
    histogramBlack_ = v;
    clipSettings_->setBlack(static_cast<float>(v));
    if (gui_) gui_->setHistogramBlack(v);
}

void GuiModel::setHistogramMid(double v) {
    histogramMid_ = v;
    clipSettings_->setMid(static_cast<float>(v));
    if (gui_) gui_->setHistogramMid(v);
}

void GuiModel::setHistogramWhite(double v) {
    histogramWhite_ = v;
    clipSettings_->setWhite(static_cast<float>(v));
    if (gui_) gui_->setHistogramWhite(v);
}

void GuiModel::setHistogramBlackMidWhite(double black, double mid, double white) {
    // The fields hold what the record holds: 32-bit floats.
    histogramBlack_ = static_cast<float>(black);
    histogramMid_ = static_cast<float>(mid);
    histogramWhite_ = static_cast<float>(white);
    clipSettings_->setBlack(static_cast<float>(black));
    clipSettings_->setMid(static_cast<float>(mid));
    clipSettings_->setWhite(static_cast<float>(white));
    setHistogramStale(true);
}

void GuiModel::setHistogramStale(bool v) {
    histogramStale_ = v;
    if (v && gui_) gui_->setHistogramStale();
}

void GuiModel::setGrainName(const std::string& v) {
    assert(v.rfind("CP", 0) == 0 && "grain names come from the grain manager");
    grainName_ = v;
    clipSettings_->setGrainName(v);
    if (gui_) gui_->setGrainName(v);
}

void GuiModel::setStockName(const std::string& v) {
    stockName_ = v;
    clipSettings_->setStockName(v);
    if (gui_) gui_->setStockName(v);
}

void GuiModel::setUseMetadata(bool v) {
    useMetadata_ = v;
    clipSettings_->setUseMetadata(v);
    if (gui_) gui_->setUseMetadata(v);
}

void GuiModel::setUserFrameIn(int32_t v) {
    userFrameIn_ = v;
    clipSettings_->setUserFrameIn(v);
    if (gui_) gui_->setUserFrameIn(v);
}

void GuiModel::setUserFrameOut(int32_t v) {
    userFrameOut_ = v;
    clipSettings_->setUserFrameOut(v);
    if (gui_) gui_->setUserFrameOut(v);
}

void GuiModel::setFilename(const std::optional<std::string>& v) {
    filename_ = v;
    if (gui_) gui_->setFilename(v);
}

void GuiModel::setReel(const std::optional<std::string>& v) {
    reel_ = v;
    if (gui_) gui_->setReel(v);
}

void GuiModel::setClip(const std::optional<std::string>& v) {
    clip_ = v;
    if (gui_) gui_->setClip(v);
}

void GuiModel::setFrameText(const std::optional<std::string>& v) {
    if (!v) return;
    frameText_ = v;
    if (gui_) gui_->setFrameText(*v);
}

void GuiModel::setFrameTextEdgecode(const std::optional<std::string>& v) {
    if (!v) return;
    frameTextEdgecode_ = v;
    if (gui_) gui_->setFrameTextEdgecode(*v);
}

void GuiModel::setShowOriginal(bool v) {
    showOriginal_ = v;
    if (gui_) gui_->setShowOriginal(v);
}

void GuiModel::setPreLevels(bool v) {
    preLevels_ = v;
    if (gui_) gui_->setPreLevels(v);
}

void GuiModel::setZoom(bool v) {
    zoom_ = v;
    if (gui_) gui_->setZoom(v);
}

void GuiModel::setCurrentFrame(int32_t v) {
    currentFrame_ = v;
    if (gui_) gui_->setCurrentFrame(v);
}

void GuiModel::setFramesInCurrentClip(int32_t v) {
    framesInCurrentClip_ = v;
    if (gui_) gui_->setFramesInCurrentClip(v);
}

}  // namespace ombrel
