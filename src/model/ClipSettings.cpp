#include "model/ClipSettings.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "core/Log.h"

namespace ombrel {
namespace {

// A null text on the receiving record differs from everything, even from null.
bool SameText(const std::optional<std::string>& mine, const std::optional<std::string>& theirs) {
    return mine.has_value() && theirs.has_value() && *mine == *theirs;
}

void WriteText(PlistValue& dict, const char* key, const std::string& value) {
    if (!value.empty()) dict.set(key, value);
}

void WriteText(PlistValue& dict, const char* key, const std::optional<std::string>& value) {
    if (value && !value->empty()) dict.set(key, *value);
}

void ReadTextIfPresent(const PlistValue& dict, const char* key, std::string& field) {
    if (dict.contains(key)) field = dict[key].asString();
}

void ReadTextIfPresent(const PlistValue& dict, const char* key, std::optional<std::string>& field) {
    if (dict.contains(key)) field = dict[key].asString();
}

// A stored integer beyond 32 bits is held at the nearest end, not wrapped: a wrapped value
// could look like a plausible frame and hide the fault from the checks downstream.
int32_t Clamped32(int64_t v) {
    return static_cast<int32_t>(
        std::clamp<int64_t>(v, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

[[noreturn]] void BadGrainScale(float v) {
    std::fprintf(stderr, "grain scale must be above 0, got %g\n", static_cast<double>(v));
    std::abort();
}

}  // namespace

ClipSettings::ClipSettings() = default;

ColorBallInfo ClipSettings::ballInfo() const {
    std::lock_guard lock(ballLock_);
    return ballInfo_;
}

void ClipSettings::setBallInfo(const ColorBallInfo& v) {
    std::lock_guard lock(ballLock_);
    ballInfo_ = v;
}

void ClipSettings::setGrainScale(float v) {
    if (!(v > 0.0f)) BadGrainScale(v);
    grainScale_ = v;
}

bool ClipSettings::IsTheSameAs(const ClipSettings& o) const {
    return grainMultiplier_ == o.grainMultiplier_ && colorChangePercent_ == o.colorChangePercent_ &&
           scurveChangePercent_ == o.scurveChangePercent_ && kelvin_ == o.kelvin_ && saturation() == o.saturation() &&
           lift_ == o.lift_ && gamma_ == o.gamma_ && gain_ == o.gain_ &&
           ColorBallData::IsSameDest(ballInfo(), o.ballInfo()) && exposure_ == o.exposure_ && black_ == o.black_ &&
           mid_ == o.mid_ && white_ == o.white_ && grainScale_ == o.grainScale_ && useMetadata_ == o.useMetadata_ &&
           grainName_ == o.grainName_ && stockName_ == o.stockName_ &&
           SameText(sourceCameraChosen_, o.sourceCameraChosen_) && presetNumber_ == o.presetNumber_ &&
           presetID_ == o.presetID_ && presetName_ == o.presetName_ && lastFrameShown_ == o.lastFrameShown_ &&
           userFrameIn() == o.userFrameIn() && userFrameOut() == o.userFrameOut() &&
           SameText(displayMake_, o.displayMake_) && SameText(displayModel_, o.displayModel_) &&
           SameText(displayPictureStyle_, o.displayPictureStyle_);
}

void ClipSettings::CopySettingsFrom(const ClipSettings& source) {
    if (source.grainName_.rfind("CP", 0) != 0) {
        LogWarn("setting grain name to something invalid. Reverting to CP35");
        // The source is mended too, so the bad name does not travel further.
        const_cast<ClipSettings&>(source).grainName_ = "CP35";
    }
    if (!(source.grainScale_ > 0.0f)) BadGrainScale(source.grainScale_);
    grainMultiplier_ = source.grainMultiplier_;
    colorChangePercent_ = source.colorChangePercent_;
    scurveChangePercent_ = source.scurveChangePercent_;
    kelvin_ = source.kelvin_;
    setSaturation(source.saturation());
    lift_ = source.lift_;
    gamma_ = source.gamma_;
    gain_ = source.gain_;
    setBallInfo(source.ballInfo());
    exposure_ = source.exposure_;
    black_ = source.black_;
    mid_ = source.mid_;
    white_ = source.white_;
    grainScale_ = source.grainScale_;
    presetNumber_ = source.presetNumber_;
    presetName_ = source.presetName_;
    presetID_ = source.presetID_;
    useMetadata_ = source.useMetadata_;
    grainName_ = source.grainName_;
    stockName_ = source.stockName_;
    sourceCameraChosen_ = source.sourceCameraChosen_;
    blurRadius_ = source.blurRadius_;
    lastFrameShown_ = source.lastFrameShown_;
    populated_ = source.populated_;
    setUserFrameIn(source.userFrameIn());
    setUserFrameOut(source.userFrameOut());
    displayMake_ = source.displayMake_;
    displayModel_ = source.displayModel_;
    displayPictureStyle_ = source.displayPictureStyle_;
}

PlistValue ClipSettings::propertyList() const {
    PlistValue d = PlistValue::MakeDict();
    const ColorBallInfo balls = ballInfo();
    d.set("grainMultiplier", grainMultiplier_);
    d.set("kelvin", kelvin_);
    d.set("saturation", static_cast<float>(saturation()));
    d.set("lift", lift_);
    d.set("gamma", gamma_);
    d.set("gain", gain_);
    d.set("ballInfo.h[0]", balls.h[0]);
    d.set("ballInfo.h[1]", balls.h[1]);
    d.set("ballInfo.m[0]", balls.m[0]);
    d.set("ballInfo.m[1]", balls.m[1]);
    d.set("ballInfo.s[0]", balls.s[0]);
    d.set("ballInfo.s[1]", balls.s[1]);
    d.set("exposure", exposure_);
    d.set("black", black_);
    d.set("mid", mid_);
    d.set("white", white_);
    d.set("grainScale", grainScale_);
    d.set("blurRadius", blurRadius_);
    d.set("colorChangePercent", colorChangePercent_);
    d.set("scurveChangePercent", scurveChangePercent_);
    d.set("lastFrameShown", lastFrameShown_);
    d.set("userFrameIn", userFrameIn());
    d.set("userFrameOut", userFrameOut());
    d.set("presetNumber", presetNumber_);
    d.set("isDefault", isDefault_);
    d.set("useMetadata", useMetadata_);
    d.set("populated", populated_);
    WriteText(d, "presetID", presetID_);
    WriteText(d, "presetName", presetName_);
    WriteText(d, "grainName", grainName_);
    WriteText(d, "stockName", stockName_);
    WriteText(d, "sourceCameraChosen", sourceCameraChosen_);
    WriteText(d, "displayMake", displayMake_);
    WriteText(d, "displayModel", displayModel_);
    WriteText(d, "displayPictureStyle", displayPictureStyle_);
    if (!partialClipDictionary_.isNull()) d.set("partialClipDictionary", partialClipDictionary_);
    return d;
}

void ClipSettings::LoadFromDictionary(const PlistValue& d) {
    auto f = [&](const char* key) { return static_cast<float>(d[key].asReal()); };
    grainMultiplier_ = f("grainMultiplier");
    colorChangePercent_ = d["colorChangePercent"].asReal();
    scurveChangePercent_ = d.contains("scurveChangePercent") ? d["scurveChangePercent"].asReal() : 1.0;
    kelvin_ = f("kelvin");
    setSaturation(f("saturation"));
    lift_ = f("lift");
    gamma_ = f("gamma");
    gain_ = f("gain");
    ColorBallInfo balls;
    balls.h[0] = f("ballInfo.h[0]");
    balls.h[1] = f("ballInfo.h[1]");
    balls.m[0] = f("ballInfo.m[0]");
    balls.m[1] = f("ballInfo.m[1]");
    balls.s[0] = f("ballInfo.s[0]");
    balls.s[1] = f("ballInfo.s[1]");
    setBallInfo(balls);
    exposure_ = f("exposure");
    black_ = f("black");
    mid_ = f("mid");
    white_ = f("white");
    grainScale_ = f("grainScale");
    if (!(grainScale_ > 0.0f)) {  // 0, and also a negative or NaN scale that would abort later
        LogWarn("Warning: grain scale of 0 found in project file.");
        grainScale_ = 1.0f;
    }
    blurRadius_ = f("blurRadius");
    lastFrameShown_ = static_cast<int>(d["lastFrameShown"].asInt());
    setUserFrameIn(Clamped32(d["userFrameIn"].asInt()));
    setUserFrameOut(Clamped32(d["userFrameOut"].asInt()));
    presetNumber_ = static_cast<int>(d["presetNumber"].asInt());
    isDefault_ = d["isDefault"].asBool();
    useMetadata_ = d["useMetadata"].asBool();
    populated_ = d["populated"].asBool();

    grainName_ = d.contains("grainName") ? d["grainName"].asString() : std::string("CP35");
    ReadTextIfPresent(d, "presetName", presetName_);
    ReadTextIfPresent(d, "presetID", presetID_);
    ReadTextIfPresent(d, "stockName", stockName_);
    ReadTextIfPresent(d, "sourceCameraChosen", sourceCameraChosen_);
    ReadTextIfPresent(d, "displayMake", displayMake_);
    ReadTextIfPresent(d, "displayModel", displayModel_);
    ReadTextIfPresent(d, "displayPictureStyle", displayPictureStyle_);

    const PlistValue& partial = d["partialClipDictionary"];
    if (partial.isDict())
        SetSnippetsFromArray(partial["SnippetList"]);
    else
        SetSnippetsFromArray(PlistValue());
}

void ClipSettings::SetSnippetsFromArray(const PlistValue& array) {
    if (!array.isArray()) {
        snippets_.reset();
        return;
    }
    std::vector<int> out;
    out.reserve(array.size());
    for (const auto& v : array.asArray()) out.push_back(Clamped32(v.asInt()));
    snippets_ = std::move(out);
}

void ClipSettings::SetSnippets(std::optional<std::vector<int>> snippets) { snippets_ = std::move(snippets); }

void ClipSettings::CreateFrameFlags() {
    const float total = totalFrames();
    if (snippets_ && total > 0.0f) {
        const int count = static_cast<int>(total);
        frameFlags_.assign(static_cast<size_t>(count), 0);
        const auto& list = *snippets_;
        for (size_t i = 0; i + 1 < list.size(); i += 2) {
            // In 64 bits: a range at either end of the 32-bit scale keeps its handles defined.
            const int64_t lo = std::min(list[i], list[i + 1]);
            const int64_t hi = std::max(list[i], list[i + 1]);
            const int64_t first = std::max<int64_t>(lo - 5, 0);
            const int64_t last = std::min<int64_t>(hi + 5, count - 1);
            for (int64_t f = first; f <= last; ++f) frameFlags_[static_cast<size_t>(f)] = 1;
        }
    }
    flaggedFrameCount_ = static_cast<int>(std::count(frameFlags_.begin(), frameFlags_.end(), 1));
}

}  // namespace ombrel
