#include "library/ClipMetadata.h"

#include "core/Log.h"
#include "core/Paths.h"
#include "core/PlistValue.h"
#include "library/FileParser.h"

#include <filesystem>
#include <numeric>

namespace ombrel {

namespace {

// The record format's version: a record of any other version is simply not found.
constexpr const char* kRecordSuffix = "_v3.plist";

// A record keeps no exact rate; frames times ticks over the length gives it back exactly for
// any clip of a constant rate (24000 / 1001 from 12 frames of 1001 ticks at 24000).
void RateFromTiming(ClipMetadata::Values& v) {
    const auto frames = static_cast<int64_t>(v.frameCount);
    const auto scale = static_cast<int64_t>(v.timeScale);
    const auto length = static_cast<int64_t>(v.duration);
    if (frames <= 0 || scale <= 0 || length <= 0 || static_cast<double>(scale) != v.timeScale ||
        static_cast<double>(length) != v.duration)
        return;
    const int64_t common = std::gcd(frames * scale, length);
    v.rateNumerator = frames * scale / common;
    v.rateDenominator = length / common;
}

}  // namespace

ClipMetadata::Values ClipMetadata::values() const {
    std::lock_guard hold(lock_);
    return values_;
}

void ClipMetadata::setValues(const Values& v) {
    std::lock_guard hold(lock_);
    values_ = v;
}

void ClipMetadata::setOriginalSize(float width, float height) {
    std::lock_guard hold(lock_);
    values_.originalWidth = width;
    values_.originalHeight = height;
}

void ClipMetadata::setRate(int64_t numerator, int64_t denominator) {
    std::lock_guard hold(lock_);
    values_.rateNumerator = numerator;
    values_.rateDenominator = denominator;
}

bool ClipMetadata::AddNotifyTarget(const std::shared_ptr<MetadataObserver>& target) {
    if (!target) return false;
    std::lock_guard hold(lock_);
    // Views that are gone make room.
    std::erase_if(notifyTargets_, [](const auto& known) { return known.expired(); });
    for (const auto& known : notifyTargets_) {
        if (known.lock() == target) return false;
    }
    if (notifyTargets_.capacity() == 0) notifyTargets_.reserve(5);
    notifyTargets_.push_back(target);
    return true;
}

std::vector<std::weak_ptr<MetadataObserver>> ClipMetadata::notifyTargets() const {
    std::lock_guard hold(lock_);
    return notifyTargets_;
}

std::string ClipMetadata::PlistPath() const {
    return ThumbnailsFolder() + "/." + FileParser::PathHashForPath(filePath_) + kRecordSuffix;
}

bool ClipMetadata::LoadFromPList() {
    PlistValue record;
    std::error_code ec;
    const std::string path = PlistPath();
    if (!std::filesystem::exists(path, ec) || !PlistValue::ReadFromFile(path, &record).ok() || !record.isDict())
        return false;
    Values v = values();
    const auto real = [&](const char* key, double& field) {
        if (record.contains(key)) field = record[key].asReal(field);
    };
    const auto whole = [&](const char* key, auto& field) {
        using T = std::remove_reference_t<decltype(field)>;
        if (record.contains(key)) field = static_cast<T>(record[key].asInt(field));
    };
    real("timeScale", v.timeScale);
    real("fps", v.fps);
    real("duration", v.duration);
    whole("frameCount", v.frameCount);
    if (record.contains("notPlayable")) v.notPlayable = record["notPlayable"].asBool();
    double width = v.originalWidth, height = v.originalHeight;
    real("originalSize.width", width);
    real("originalSize.height", height);
    v.originalWidth = static_cast<float>(width);
    v.originalHeight = static_cast<float>(height);
    whole("qtDuration.timeScale", v.qtDuration.timeScale);
    whole("timecodeStartFrame", v.timecodeStartFrame);
    if (record.contains("qtDuration.timeValue")) {
        v.qtDuration.value = static_cast<uint32_t>(record["qtDuration.timeValue"].asInt());
    }
    v.hasTimingInfo = v.duration > 0;
    RateFromTiming(v);
    const std::string thumb = record["thumbnailPath"].asString();
    if (!thumb.empty() && std::filesystem::exists(thumb, ec)) {
        ImagePtr image;
        if (ReadTiffImage(thumb, &image).ok()) {
            v.thumbnailPath = thumb;
            v.hasThumbnail = true;
            v.thumbnail = image;
            setNeedsThumbnail(true);
        }
    }
    setValues(v);
    return true;
}

bool ClipMetadata::SaveToPList() const {
    const Values v = values();
    PlistValue record = PlistValue::MakeDict();
    record.set("timeScale", v.timeScale);
    record.set("fps", v.fps);
    record.set("duration", v.duration);
    record.set("frameCount", v.frameCount);
    record.set("notPlayable", v.notPlayable);
    record.set("originalSize.width", v.originalWidth);
    record.set("originalSize.height", v.originalHeight);
    record.set("qtDuration.timeScale", v.qtDuration.timeScale);
    record.set("timecodeStartFrame", v.timecodeStartFrame);
    record.set("qtDuration.timeValue", static_cast<int64_t>(static_cast<uint32_t>(v.qtDuration.value)));
    record.set("filePath", filePath_);
    if (!v.thumbnailPath.empty()) record.set("thumbnailPath", v.thumbnailPath);
    std::error_code ec;
    std::filesystem::create_directories(ThumbnailsFolder(), ec);
    if (const Status written = record.WriteToFile(PlistPath()); !written.ok()) {
        LogWarn("Cannot write the record of {}: {}", filePath_, written.message());
        return false;
    }
    return true;
}

}  // namespace ombrel
