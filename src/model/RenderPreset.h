#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/PlistValue.h"
#include "model/ClipSettings.h"
#include "platform/imageio/Image.h"

namespace ombrel {

// A named, identified look with a thumbnail: the unit of the preset library.
class RenderPreset {
public:
    RenderPreset();
    RenderPreset(const RenderPreset&) = delete;
    RenderPreset& operator=(const RenderPreset&) = delete;

    static std::shared_ptr<RenderPreset> Make() { return std::make_shared<RenderPreset>(); }

    // A fresh GUID in its standard string form.
    static std::string NewUUID();
    // A new preset with a new ID: the look copied, the rest taken over.
    std::shared_ptr<RenderPreset> copyWithNewID() const;

    std::string IconName() const;
    std::string IconPathLegacy() const;
    std::string IconPathLibrary(const std::string& libraryName) const;
    // Keeps the image and writes it as TIFF at the legacy path, making its folder.
    void setIcon(ImagePtr icon);
    const ImagePtr& icon() const { return icon_; }

    PlistValue PropertyList() const;
    void LoadFromDictionary(const PlistValue& dict);
    void LoadFactoryPresetFromDictionaryLibraryName(const PlistValue& dict, const std::string& libraryName);
    // True when the other preset's number is less than this one's.
    bool sortOrder(const RenderPreset& other) const { return other.presetNumber_ < presetNumber_; }

    const ClipSettingsPtr& Settings() const { return theSettings_; }
    const std::string& presetID() const { return presetID_; }
    void setPresetID(std::string v) { presetID_ = std::move(v); }
    const std::string& presetName() const { return presetName_; }
    void setPresetName(std::string v) { presetName_ = std::move(v); }
    uint32_t presetNumber() const { return presetNumber_; }
    void setPresetNumber(uint32_t v) { presetNumber_ = v; }
    bool isFactory() const { return isFactory_; }
    void setIsFactory(bool v) { isFactory_ = v; }
    bool isTicked() const { return isTicked_; }
    void setIsTicked(bool v) { isTicked_ = v; }

private:
    void LoadCommon(const PlistValue& dict);

    ClipSettingsPtr theSettings_;
    ImagePtr icon_;
    std::string presetID_;
    std::string presetName_;
    uint32_t presetNumber_ = 0;
    bool isFactory_ = false;
    bool isTicked_ = false;
};

using RenderPresetPtr = std::shared_ptr<RenderPreset>;

}  // namespace ombrel
