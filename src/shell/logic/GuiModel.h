#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "model/ClipSettings.h"
#include "model/ColorBallInfo.h"
#include "shell/logic/GuiProtocols.h"

namespace ombrel {

// The settings of the clip on screen. A setter stores its value, writes it into the working
// `clipSettings` where the record has such a field, and then calls back on `gui`, which
// moves the control. Main thread, except that the preview decode thread reads the frame
// number and whether a clip is open.
class GuiModel {
public:
    GuiModel();

    GuiControllerProtocol* gui() const { return gui_; }
    void setGui(GuiControllerProtocol* gui) { gui_ = gui; }
    const ClipSettingsPtr& clipSettings() const { return clipSettings_; }

    // A clip's record onto the screen, every control moved in a fixed order.
    void PushClipSettings(const ClipSettings& settings);

    void setExposure(double v);
    void setKelvin(double v);
    void setExposureKelvin(double exposure, double kelvin);
    void setLiftGammaGain(float lift, float gamma, float gain);
    void setLift(float v) { setLiftGammaGain(v, gamma_, gain_); }
    void setGamma(float v) { setLiftGammaGain(lift_, v, gain_); }
    void setGain(float v) { setLiftGammaGain(lift_, gamma_, v); }
    void setBallInfo(const ColorBallInfo& v);
    void setSaturation(double v);
    void setColorAmount(double v);
    void setSCurveAmount(double v);
    void setGrainAmount(double v);
    void setGrainScale(double v);
    void setBlurRadius(double v);
    void setHistogramBlack(double v);
    void setHistogramMid(double v);
    void setHistogramWhite(double v);
    void setHistogramBlackMidWhite(double black, double mid, double white);
    void setHistogramStale(bool v);
    void setGrainName(const std::string& v);
    void setStockName(const std::string& v);
    void setUseMetadata(bool v);
    void setUserFrameIn(int32_t v);
    void setUserFrameOut(int32_t v);
    void setFilename(const std::optional<std::string>& v);
    void setReel(const std::optional<std::string>& v);
    void setClip(const std::optional<std::string>& v);
    void setFrameText(const std::optional<std::string>& v);
    void setFrameTextEdgecode(const std::optional<std::string>& v);
    void setShowOriginal(bool v);
    void setPreLevels(bool v);
    void setZoom(bool v);
    void setCurrentFrame(int32_t v);
    void setFramesInCurrentClip(int32_t v);
    void setHistogramBuckets(uint32_t** v) { histogramBuckets_ = v; }
    void setHasOpenFile(bool v) { hasOpenFile_ = v; }
    void setMetadataKelvin(double v) { metadataKelvin_ = v; }
    void setMetadataExposure(double v) { metadataExposure_ = v; }

    double exposure() const { return exposure_; }
    double kelvin() const { return kelvin_; }
    double colorAmount() const { return colorAmount_; }
    double sCurveAmount() const { return sCurveAmount_; }
    double grainAmount() const { return grainAmount_; }
    double grainScale() const { return grainScale_; }
    double blurRadius() const { return blurRadius_; }
    double saturation() const { return saturation_; }
    float lift() const { return lift_; }
    float gamma() const { return gamma_; }
    float gain() const { return gain_; }
    const ColorBallInfo& ballInfo() const { return ballInfo_; }
    double histogramBlack() const { return histogramBlack_; }
    double histogramMid() const { return histogramMid_; }
    double histogramWhite() const { return histogramWhite_; }
    bool histogramStale() const { return histogramStale_; }
    double metadataKelvin() const { return metadataKelvin_; }
    double metadataExposure() const { return metadataExposure_; }
    const std::optional<std::string>& filename() const { return filename_; }
    const std::optional<std::string>& reel() const { return reel_; }
    const std::optional<std::string>& clip() const { return clip_; }
    const std::optional<std::string>& frameText() const { return frameText_; }
    const std::optional<std::string>& frameTextEdgecode() const { return frameTextEdgecode_; }
    const std::optional<std::string>& grainName() const { return grainName_; }
    const std::string& stockName() const { return stockName_; }
    bool useMetadata() const { return useMetadata_; }
    bool showOriginal() const { return showOriginal_; }
    bool preLevels() const { return preLevels_; }
    bool zoom() const { return zoom_; }
    bool hasOpenFile() const { return hasOpenFile_.load(); }
    int32_t currentFrame() const { return currentFrame_.load(); }
    int32_t framesInCurrentClip() const { return framesInCurrentClip_; }
    int32_t userFrameIn() const { return userFrameIn_; }
    int32_t userFrameOut() const { return userFrameOut_; }
    uint32_t** histogramBuckets() const { return histogramBuckets_; }

private:
    GuiControllerProtocol* gui_ = nullptr;
    ClipSettingsPtr clipSettings_;
    double exposure_ = 0.0;
    double kelvin_ = 5600.0;
    double colorAmount_ = 1.0;
    double sCurveAmount_ = 1.0;
    double grainAmount_ = 1.0;
    double grainScale_ = 1.0;
    double blurRadius_ = 0.0;
    double saturation_ = 1.0;
    float lift_ = 1.0f;
    float gamma_ = 1.0f;
    float gain_ = 1.0f;
    ColorBallInfo ballInfo_;
    double histogramBlack_ = 0.0;
    double histogramMid_ = 0.5;
    double histogramWhite_ = 1.0;
    bool histogramStale_ = false;
    double metadataKelvin_ = 5600.0;
    double metadataExposure_ = 0.0;
    std::optional<std::string> filename_, reel_, clip_, frameText_, frameTextEdgecode_, grainName_;
    std::string stockName_ = "5207";
    bool useMetadata_ = false;
    bool showOriginal_ = false;
    bool preLevels_ = false;
    bool zoom_ = false;
    std::atomic<bool> hasOpenFile_{false};
    std::atomic<int32_t> currentFrame_{0};
    int32_t framesInCurrentClip_ = 0;
    int32_t userFrameIn_ = 0;
    int32_t userFrameOut_ = 0;
    uint32_t** histogramBuckets_ = nullptr;
};

}  // namespace ombrel
