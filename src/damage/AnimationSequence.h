#pragma once

// One film damage treatment: how strong leaks, flashes, dirt, scratches, weave and smear are,
// and how they fall away over the lead-in, the first frames of a clip that imitate the start of
// a film roll. Pure data with a few functions of the frame number.

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "core/PlistValue.h"
#include "core/Status.h"

namespace ombrel {

class DamageRandom;

// One kind of dirt.
struct _DynamicDirtDetails {
    int32_t maxCount = 0;
    double opacity = 0.0;
    double probability = 0.0;
    int32_t maxDuration = 0;
    bool shouldRotate = false;
};

// Dirt types, the indices of allDirt() and of the sprite store.
enum DirtType : int { kDirtDust = 0, kDirtDirt, kDirtPie, kDirtHair, kDirtScratch, kDirtVertical, kDirtTypeCount };

struct _DynamicDirt {
    _DynamicDirtDetails dust, dirt, pie, scratch, hair, vertical;

    // The same records by type number: hair before scratch, unlike the fields. A function
    // rather than stored pointers, so a copy of the record never points into the original.
    _DynamicDirtDetails* allDirt(int type);
    const _DynamicDirtDetails* allDirt(int type) const;
};

// One full-frame flash overlay.
struct _ScreenDetails {
    int32_t startFrame = 0;
    double amount = 0.0;
    std::string screenName;
};

class AnimationSequence {
public:
    // Border gates by borderType.
    enum BorderType : int32_t { kGate8mm = 1, kGate16mm = 2, kGatePolaroid = 3 };

    AnimationSequence() = default;

    // "~/Documents/Ombrel/Data/<name>.plist"; the folder is made when missing.
    static std::string AnimPathForName(const std::string& name);
    // Loads AnimPathForName(name). A file that is missing or does not read leaves every value
    // 0, false or empty, so no frame needs damage; the status says why.
    Status LoadAnimationNamed(const std::string& name);
    Status LoadFromFile(const std::string& path);
    void LoadFromDictionary(const PlistValue& dict);
    static void LoadDirtDetails(const PlistValue& dict, _DynamicDirtDetails* dirt);

    // The decay curves of the lead-in, by curve key ("exposure", "smear", "leakRamp",
    // "screenA", "screenB"): 0 when the treatment lacks the key in either dictionary.
    double ValueForKey(const std::string& key, int64_t frame, double base) const;
    double ExposureForFrame(int64_t frame) const;
    double SmearForFrame(int64_t frame) const;
    // Flickers with one draw of the generator; the frame plays no part beyond the seed.
    double LeakForFrame(int64_t frame, DamageRandom& random) const;
    double LeakSizeForFrame(int64_t frame) const;
    double ScreenAmountForScreen(int screen, int64_t frame) const;
    // The border image of the gate, or empty for none.
    std::string borderPath() const;
    int leakCount() const { return static_cast<int>(leakPositions_.size()); }

    const _DynamicDirt& dynamicDirt() const { return dynamicDirt_; }
    void setDynamicDirt(const _DynamicDirt& d) { dynamicDirt_ = d; }
    const _ScreenDetails& screenDetails(int screen) const { return screenDetails_[screen == 1 ? 1 : 0]; }

    const std::vector<std::pair<double, double>>& leakPositions() const { return leakPositions_; }
    const std::map<std::string, double, std::less<>>& gradients() const { return gradients_; }
    const std::map<std::string, bool, std::less<>>& linearDropoff() const { return linearDropoff_; }
    const std::map<std::string, std::string, std::less<>>& borderImagePaths() const { return borderImagePaths_; }
    const PlistValue& dirtBinPaths() const { return dirtBinPaths_; }
    const PlistValue& screenImages() const { return screenImages_; }

    int32_t borderType() const { return borderType_; }
    void setBorderType(int32_t v) { borderType_ = v; }
    int32_t leadInLength() const { return leadInLength_; }
    bool userUseBorder() const { return userUseBorder_; }
    void setUserUseBorder(bool v) { userUseBorder_ = v; }
    bool userSkipFrames() const { return userSkipFrames_; }
    void setUserSkipFrames(bool v) { userSkipFrames_ = v; }
    double leakBounce() const { return leakBounce_; }
    void setLeakBounce(double v) { leakBounce_ = v; }
    double leakSize() const { return leakSize_; }
    void setLeakSize(double v) { leakSize_ = v; }
    double userLeakAmount() const { return userLeakAmount_; }
    void setUserLeakAmount(double v) { userLeakAmount_ = v; }
    double userFlashAmount() const { return userFlashAmount_; }
    void setUserFlashAmount(double v) { userFlashAmount_ = v; }
    double userDirtAmount() const { return userDirtAmount_; }
    void setUserDirtAmount(double v) { userDirtAmount_ = v; }
    double userScratchAmount() const { return userScratchAmount_; }
    void setUserScratchAmount(double v) { userScratchAmount_ = v; }
    double userWeaveAmount() const { return userWeaveAmount_; }
    void setUserWeaveAmount(double v) { userWeaveAmount_ = v; }
    double userSmearAmount() const { return userSmearAmount_; }
    void setUserSmearAmount(double v) { userSmearAmount_ = v; }

private:
    std::vector<std::pair<double, double>> leakPositions_;
    std::map<std::string, double, std::less<>> gradients_;
    std::map<std::string, bool, std::less<>> linearDropoff_;
    PlistValue screenImages_;  // kept for the overlay images; stays null
    std::map<std::string, std::string, std::less<>> borderImagePaths_;
    PlistValue dirtBinPaths_;
    int32_t borderType_ = 0;
    int32_t leadInLength_ = 0;
    bool userUseBorder_ = false;
    bool userSkipFrames_ = false;
    double leakBounce_ = 0.0;
    double leakSize_ = 0.0;
    double userLeakAmount_ = 0.0;
    double userFlashAmount_ = 0.0;
    double userDirtAmount_ = 0.0;
    double userScratchAmount_ = 0.0;
    double userWeaveAmount_ = 0.0;
    double userSmearAmount_ = 0.0;
    std::array<_ScreenDetails, 2> screenDetails_;
    _DynamicDirt dynamicDirt_;
};

}  // namespace ombrel
