#include "model/RenderPreset.h"

#include <cstdio>
#include <filesystem>
#include <random>

#include "core/Log.h"
#include "core/Paths.h"
#include "model/SettingsManager.h"

namespace ombrel {

RenderPreset::RenderPreset() : theSettings_(ClipSettings::Make()), presetID_(NewUUID()) {}

std::string RenderPreset::NewUUID() {
    static thread_local std::mt19937_64 rng{std::random_device{}()};
    uint8_t b[16];
    for (int i = 0; i < 16; i += 8) {
        uint64_t r = rng();
        for (int j = 0; j < 8; ++j) b[i + j] = static_cast<uint8_t>(r >> (8 * j));
    }
    b[6] = static_cast<uint8_t>((b[6] & 0x0F) | 0x40);  // version 4, random
    b[8] = static_cast<uint8_t>((b[8] & 0x3F) | 0x80);  // the standard variant
    char text[37];
    std::snprintf(text, sizeof text, "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", b[0], b[1],
                  b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
    return text;
}

std::shared_ptr<RenderPreset> RenderPreset::copyWithNewID() const {
    auto copy = Make();
    copy->theSettings_->CopySettingsFrom(*theSettings_);
    copy->isFactory_ = isFactory_;
    copy->isTicked_ = isTicked_;
    copy->presetNumber_ = presetNumber_;
    copy->presetName_ = presetName_;
    copy->icon_ = icon_;
    return copy;
}

std::string RenderPreset::IconName() const { return presetID_ + ".tiff"; }

std::string RenderPreset::IconPathLegacy() const { return ThumbnailsFolder() + "/Preset/" + IconName(); }

std::string RenderPreset::IconPathLibrary(const std::string& libraryName) const {
    return AppendingPathComponent(SettingsManager::PresetLibraryPathForName(libraryName), IconName());
}

void RenderPreset::setIcon(ImagePtr icon) {
    icon_ = std::move(icon);
    if (!icon_) return;
    const std::string path = IconPathLegacy();
    std::error_code ec;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ec);
    if (const Status written = WriteImageAsTiff(*icon_, path); !written.ok())
        LogWarn("Cannot save the preset thumbnail: {}", written.message());
}

PlistValue RenderPreset::PropertyList() const {
    PlistValue d = PlistValue::MakeDict();
    d.set("theSettings", theSettings_->propertyList());
    d.set("presetID", presetID_);
    d.set("presetNumber", presetNumber_);
    d.set("presetName", presetName_);
    return d;
}

void RenderPreset::LoadCommon(const PlistValue& d) {
    theSettings_->LoadFromDictionary(d["theSettings"]);
    presetID_ = d["presetID"].asString();
    if (d.contains("presetName")) presetName_ = d["presetName"].asString();
}

void RenderPreset::LoadFromDictionary(const PlistValue& d) {
    LoadCommon(d);
    std::error_code ec;
    icon_ = nullptr;
    // A thumbnail that cannot be read is no thumbnail; the preset loads without one.
    if (std::filesystem::exists(IconPathLegacy(), ec)) (void)ReadTiffImage(IconPathLegacy(), &icon_);
    presetNumber_ = static_cast<uint32_t>(d["presetNumber"].asInt());
    isFactory_ = false;
}

void RenderPreset::LoadFactoryPresetFromDictionaryLibraryName(const PlistValue& d, const std::string& libraryName) {
    LoadCommon(d);
    const std::string libraryIcon = IconPathLibrary(libraryName);
    std::error_code ec;
    if (std::filesystem::exists(libraryIcon, ec)) {
        if (ImagePtr image; ReadTiffImage(libraryIcon, &image).ok()) setIcon(image);
    }
    presetNumber_ = static_cast<uint32_t>(d["presetNumber"].asInt());
    isFactory_ = true;
}

}  // namespace ombrel
