#include "damage/AnimationSequence.h"

#include <algorithm>
#include <filesystem>

#include "core/Paths.h"
#include "damage/DamageRandom.h"
#include "datafile/Resource.h"

namespace ombrel {

_DynamicDirtDetails* _DynamicDirt::allDirt(int type) {
    switch (type) {
        case kDirtDust: return &dust;
        case kDirtDirt: return &dirt;
        case kDirtPie: return &pie;
        case kDirtHair: return &hair;
        case kDirtScratch: return &scratch;
        case kDirtVertical: return &vertical;
        default: return nullptr;
    }
}

const _DynamicDirtDetails* _DynamicDirt::allDirt(int type) const {
    return const_cast<_DynamicDirt*>(this)->allDirt(type);
}

std::string AnimationSequence::AnimPathForName(const std::string& name) {
    const std::string folder = DataFolder();
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    return AppendingPathComponent(folder, name + ".plist");
}

Status AnimationSequence::LoadAnimationNamed(const std::string& name) { return LoadFromFile(AnimPathForName(name)); }

Status AnimationSequence::LoadFromFile(const std::string& path) {
    PlistValue dict;
    Status read = PlistValue::ReadFromFile(path, &dict);
    if (read.ok() && !dict.isDict()) read = InvalidError("Not a damage treatment (no dictionary at the top): " + path);
    LoadFromDictionary(read.ok() ? dict : PlistValue());
    return read;
}

void AnimationSequence::LoadDirtDetails(const PlistValue& d, _DynamicDirtDetails* dirt) {
    if (!dirt) return;
    dirt->maxCount = static_cast<int32_t>(d["maxCount"].asInt());
    dirt->opacity = d["opacity"].asReal();
    dirt->probability = d["probability"].asReal();
    dirt->maxDuration = static_cast<int32_t>(d["maxDuration"].asInt());
    dirt->shouldRotate = d["shouldRotate"].asBool();
}

void AnimationSequence::LoadFromDictionary(const PlistValue& d) {
    leadInLength_ = static_cast<int32_t>(d["leadIn"].asInt());
    userUseBorder_ = d["userUseBorder"].asBool();
    userSkipFrames_ = d["userSkipFrames"].asBool();
    userLeakAmount_ = d["userLeakAmount"].asReal();
    userFlashAmount_ = d["userFlashAmount"].asReal();
    userDirtAmount_ = d["userDirtAmount"].asReal();
    userScratchAmount_ = d["userScratchAmount"].asReal();
    userWeaveAmount_ = d["userWeaveAmount"].asReal();
    userSmearAmount_ = d["userSmearAmount"].asReal();
    leakBounce_ = d["leakBounce"].asReal();
    leakSize_ = d["leakSize"].asReal();
    borderType_ = static_cast<int32_t>(d["borderType"].asInt());

    leakPositions_.clear();
    if (d["leakPositions"].isArray())
        for (const PlistValue& p : d["leakPositions"].asArray())
            if (p.isArray()) leakPositions_.emplace_back(p.at(0).asReal(), p.at(1).asReal());

    borderImagePaths_.clear();
    for (const char* gate : {"8mmGate", "16mmGate", "polaroid"})
        if (d["borderImages"][gate].isString()) borderImagePaths_[gate] = d["borderImages"][gate].asString();
    dirtBinPaths_ = d["overlayBins"];

    gradients_.clear();
    linearDropoff_.clear();
    for (const char* key : {"exposure", "smear", "leakRamp", "screenA", "screenB"}) {
        if (d["gradients"][key].isNumber()) gradients_[key] = d["gradients"][key].asReal();
        if (d["linearDropoff"][key].isNumber()) linearDropoff_[key] = d["linearDropoff"][key].asBool();
    }

    screenImages_ = PlistValue();
    const char* screens[2] = {"A", "B"};
    for (int i = 0; i < 2; ++i) {
        const PlistValue& s = d["screenImages"][screens[i]];
        screenDetails_[i].startFrame = static_cast<int32_t>(s["startFrame"].asInt());
        screenDetails_[i].amount = s["amount"].asReal();
        screenDetails_[i].screenName = s["screenName"].asString();
    }

    dynamicDirt_ = _DynamicDirt{};
    const PlistValue& dirt = d["dynamicDirt"];
    LoadDirtDetails(dirt["dust"], &dynamicDirt_.dust);
    LoadDirtDetails(dirt["dirt"], &dynamicDirt_.dirt);
    LoadDirtDetails(dirt["pie"], &dynamicDirt_.pie);
    LoadDirtDetails(dirt["hair"], &dynamicDirt_.hair);
    LoadDirtDetails(dirt["scratch"], &dynamicDirt_.scratch);
    LoadDirtDetails(dirt["vertical"], &dynamicDirt_.vertical);
}

double AnimationSequence::ValueForKey(const std::string& key, int64_t frame, double base) const {
    const auto g = gradients_.find(key);
    const auto linear = linearDropoff_.find(key);
    if (g == gradients_.end() || linear == linearDropoff_.end()) return 0.0;
    if (linear->second) return std::max(0.0, base - static_cast<double>(frame) * (g->second * base));
    // n multiplications, not pow(): the curve is the same number on every machine.
    double v = base;
    for (int64_t n = 0; n < frame; ++n) v *= g->second;
    return v;
}

double AnimationSequence::ExposureForFrame(int64_t frame) const { return ValueForKey("exposure", frame, userFlashAmount_); }

double AnimationSequence::SmearForFrame(int64_t frame) const { return ValueForKey("smear", frame, userSmearAmount_); }

double AnimationSequence::LeakForFrame(int64_t /*frame*/, DamageRandom& random) const {
    const double r = random.Unit();
    return std::max(0.0, userLeakAmount_ - r * leakBounce_);
}

double AnimationSequence::LeakSizeForFrame(int64_t frame) const {
    if (frame >= leadInLength_) return leakSize_;
    return ValueForKey("leakRamp", frame, leakSize_) / 5.0 + leakSize_;
}

double AnimationSequence::ScreenAmountForScreen(int screen, int64_t frame) const {
    const _ScreenDetails& s = screenDetails(screen);
    if (frame < s.startFrame || frame >= leadInLength_) return 0.0;
    return ValueForKey(screen == 1 ? "screenB" : "screenA", frame - s.startFrame, s.amount);
}

std::string AnimationSequence::borderPath() const {
    if (!userUseBorder_) return {};
    const char* gate = borderType_ == kGate8mm ? "8mmGate" : borderType_ == kGate16mm ? "16mmGate"
                     : borderType_ == kGatePolaroid ? "polaroid" : "";
    const auto it = borderImagePaths_.find(gate);
    const std::string path = it == borderImagePaths_.end() ? std::string() : ExpandTilde(it->second);
    std::error_code ec;
    if (!path.empty() && std::filesystem::is_regular_file(path, ec)) return path;
    std::string found;
    // Step 4 of the search: the same name among our own resources.
    if (!path.empty() && FindResource("Resources/" + LastPathComponent(path), &found).ok()) return found;
    if (FindResource("Resources/border_8mm.tif", &found).ok()) return found;
    return {};
}

}  // namespace ombrel
