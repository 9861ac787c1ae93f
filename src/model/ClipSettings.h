#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/PlistValue.h"
#include "model/ColorBallInfo.h"

namespace ombrel {

class AnimationSequence;

// The whole look of one clip, with its in and out points and snippets.
// Records are shared by reference (std::shared_ptr) between the settings stack,
// the render queue and the renderer; the render fields are written by the worker
// while the main thread reads them, so they are atomic words.
class ClipSettings {
public:
    ClipSettings();
    ClipSettings(const ClipSettings&) = delete;
    ClipSettings& operator=(const ClipSettings&) = delete;

    static std::shared_ptr<ClipSettings> Make() { return std::make_shared<ClipSettings>(); }

    bool IsTheSameAs(const ClipSettings& other) const;
    void CopySettingsFrom(const ClipSettings& source);
    PlistValue propertyList() const;
    void LoadFromDictionary(const PlistValue& dict);

    // Replaces the snippets with a copy of the array of numbers; a null value clears them.
    void SetSnippetsFromArray(const PlistValue& array);
    void SetSnippets(std::optional<std::vector<int>> snippets);
    // Turns snippets into per-frame flags with a handle of 5 frames at each side.
    void CreateFrameFlags();

    ColorBallInfo* ballInfoPtr() { return &ballInfo_; }

    // Look.
    float grainMultiplier() const { return grainMultiplier_; }
    void setGrainMultiplier(float v) { grainMultiplier_ = v; }
    double colorChangePercent() const { return colorChangePercent_; }
    void setColorChangePercent(double v) { colorChangePercent_ = v; }
    double scurveChangePercent() const { return scurveChangePercent_; }
    void setScurveChangePercent(double v) { scurveChangePercent_ = v; }
    float kelvin() const { return kelvin_; }
    void setKelvin(float v) { kelvin_ = v; }
    double saturation() const { return saturation_.load(); }
    void setSaturation(double v) { saturation_.store(v); }
    float lift() const { return lift_; }
    void setLift(float v) { lift_ = v; }
    float gamma() const { return gamma_; }
    void setGamma(float v) { gamma_ = v; }
    float gain() const { return gain_; }
    void setGain(float v) { gain_ = v; }
    ColorBallInfo ballInfo() const;
    void setBallInfo(const ColorBallInfo& v);
    float exposure() const { return exposure_; }
    void setExposure(float v) { exposure_ = v; }
    float black() const { return black_; }
    void setBlack(float v) { black_ = v; }
    float mid() const { return mid_; }
    void setMid(float v) { mid_ = v; }
    float white() const { return white_; }
    void setWhite(float v) { white_ = v; }
    const std::string& grainName() const { return grainName_; }
    void setGrainName(std::string v) { grainName_ = std::move(v); }
    float grainScale() const { return grainScale_; }
    // The scale must be above 0: anything else is a programming error.
    void setGrainScale(float v);
    const std::string& stockName() const { return stockName_; }
    void setStockName(std::string v) { stockName_ = std::move(v); }
    float blurRadius() const { return blurRadius_; }
    void setBlurRadius(float v) { blurRadius_ = v; }

    // Viewer and preset bookkeeping.
    int lastFrameShown() const { return lastFrameShown_; }
    void setLastFrameShown(int v) { lastFrameShown_ = v; }
    bool isDefault() const { return isDefault_; }
    void setIsDefault(bool v) { isDefault_ = v; }
    bool useMetadata() const { return useMetadata_; }
    void setUseMetadata(bool v) { useMetadata_ = v; }
    bool populated() const { return populated_; }
    void setPopulated(bool v) { populated_ = v; }
    int32_t userFrameIn() const { return userFrameIn_.load(); }
    void setUserFrameIn(int32_t v) { userFrameIn_.store(v); }
    int32_t userFrameOut() const { return userFrameOut_.load(); }
    void setUserFrameOut(int32_t v) { userFrameOut_.store(v); }
    int presetNumber() const { return presetNumber_; }
    void setPresetNumber(int v) { presetNumber_ = v; }
    const std::string& presetID() const { return presetID_; }
    void setPresetID(std::string v) { presetID_ = std::move(v); }
    const std::string& presetName() const { return presetName_; }
    void setPresetName(std::string v) { presetName_ = std::move(v); }

    // Camera and display texts; null when never set.
    const std::optional<std::string>& sourceCameraChosen() const { return sourceCameraChosen_; }
    void setSourceCameraChosen(std::optional<std::string> v) { sourceCameraChosen_ = std::move(v); }
    const std::optional<std::string>& displayMake() const { return displayMake_; }
    void setDisplayMake(std::optional<std::string> v) { displayMake_ = std::move(v); }
    const std::optional<std::string>& displayModel() const { return displayModel_; }
    void setDisplayModel(std::optional<std::string> v) { displayModel_ = std::move(v); }
    const std::optional<std::string>& displayPictureStyle() const { return displayPictureStyle_; }
    void setDisplayPictureStyle(std::optional<std::string> v) { displayPictureStyle_ = std::move(v); }

    // Snippets and frame flags.
    const PlistValue& partialClipDictionary() const { return partialClipDictionary_; }
    void setPartialClipDictionary(PlistValue v) { partialClipDictionary_ = std::move(v); }
    const std::optional<std::vector<int>>& snippets() const { return snippets_; }
    bool hasSnippets() const { return snippets_.has_value() && !snippets_->empty(); }
    // One byte per frame, 1 where the frame is flagged; empty when there are no flags.
    const std::vector<uint8_t>& frameFlags() const { return frameFlags_; }
    int flaggedFrameCount() const { return flaggedFrameCount_; }
    const std::shared_ptr<AnimationSequence>& animation() const { return animation_; }
    void setAnimation(std::shared_ptr<AnimationSequence> v) { animation_ = std::move(v); }

    // Render fields, written by the render worker while the main thread reads them.
    float totalFrames() const { return totalFrames_.load(); }
    void setTotalFrames(float v) { totalFrames_.store(v); }
    float framesRendered() const { return framesRendered_.load(); }
    void setFramesRendered(float v) { framesRendered_.store(v); }
    int errorState() const { return errorState_.load(); }
    void setErrorState(int v) { errorState_.store(v); }
    bool acquired() const { return acquired_.load(); }
    void setAcquired(bool v) { acquired_.store(v); }

private:
    float grainMultiplier_ = 1.0f;
    double colorChangePercent_ = 1.0;
    double scurveChangePercent_ = 1.0;
    float kelvin_ = 5600.0f;
    std::atomic<double> saturation_{1.0};
    float lift_ = 1.0f;
    float gamma_ = 1.0f;
    float gain_ = 1.0f;
    mutable std::mutex ballLock_;
    ColorBallInfo ballInfo_;
    float exposure_ = 0.0f;
    float black_ = 0.0f;
    float mid_ = 0.5f;
    float white_ = 1.0f;
    std::string grainName_ = "CP35";
    float grainScale_ = 1.0f;
    std::string stockName_ = "5207";
    float blurRadius_ = 0.0f;
    int lastFrameShown_ = 0;
    bool isDefault_ = false;
    bool useMetadata_ = true;
    bool populated_ = false;
    std::atomic<int32_t> userFrameIn_{0};
    std::atomic<int32_t> userFrameOut_{0};
    int presetNumber_ = 0;
    std::string presetID_;
    std::string presetName_;
    std::optional<std::string> sourceCameraChosen_;
    std::optional<std::string> displayMake_;
    std::optional<std::string> displayModel_;
    std::optional<std::string> displayPictureStyle_;
    PlistValue partialClipDictionary_;
    std::optional<std::vector<int>> snippets_;
    std::vector<uint8_t> frameFlags_;
    int flaggedFrameCount_ = 0;
    std::shared_ptr<AnimationSequence> animation_;
    std::atomic<float> totalFrames_{0.0f};
    std::atomic<float> framesRendered_{0.0f};
    std::atomic<int> errorState_{0};
    std::atomic<bool> acquired_{false};
};

using ClipSettingsPtr = std::shared_ptr<ClipSettings>;

}  // namespace ombrel
