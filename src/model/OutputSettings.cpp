#include "model/OutputSettings.h"

#include <filesystem>

#include "core/Paths.h"
#include "platform/movie/CodecPreset.h"

namespace ombrel {

std::optional<std::string> OutputSettings::PresetResourceNameForTag(int tag) {
    if (tag >= 0 && tag < kFactoryCodecTags) return CodecPresetBaseName(tag);
    if (tag >= 100 && tag <= 109) return "cust_" + std::to_string(tag - 100);
    return std::nullopt;
}

std::optional<std::string> OutputSettings::PathForPresetID(int tag) {
    auto name = PresetResourceNameForTag(tag);
    if (!name) return std::nullopt;
    // Factory presets ship with the program; custom ones belong to the user.
    const std::string folder = tag >= 100 ? DataFolder() + "/Codecs" : ResourcesFolder() + "/Codecs";
    std::string path = folder + "/" + *name + ".dat";
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) return std::nullopt;
    return path;
}

void OutputSettings::SelectFormatMenuTag(int tag) {
    optionsPreset_ = tag;
    if (tag == kFormatDpx || tag == kFormatTiff) {
        format_ = tag;
        qtCodec_ = 0;
    } else {
        format_ = kFormatMovie;
        qtCodec_ = tag;
    }
}

PlistValue OutputSettings::propertyList() const {
    PlistValue d = PlistValue::MakeDict();
    d.set("frameRate", static_cast<float>(frameRate_));
    d.set("frameInterval", static_cast<float>(frameInterval_));
    d.set("resize", resize_);
    d.set("width", static_cast<int64_t>(size_.width));
    d.set("height", static_cast<int64_t>(size_.height));
    d.set("outputSizeTag", outputSizeTag_);
    d.set("format", format_);
    d.set("fitMethod", fitMethod_);
    d.set("filenames", filenames_);
    d.set("folders", folders_);
    d.set("overwrite", overwrite_);
    d.set("timecode", static_cast<float>(timecode_));
    d.set("qtCodec", qtCodec_);
    d.set("debayerQuality", debayerQuality_);
    d.set("edlOptions", edlOptions_);
    d.set("colorFormat", colorFormat_);
    if (outputDirectory_) d.set("outputDirectory", *outputDirectory_);
    d.set("threadCount", threadCount_);
    return d;
}

void OutputSettings::LoadFromDictionary(const PlistValue& d) {
    auto i = [&](const char* key) { return static_cast<int>(d[key].asInt()); };
    frameRate_ = static_cast<float>(d["frameRate"].asReal());
    frameInterval_ = static_cast<float>(d["frameInterval"].asReal());
    resize_ = d["resize"].asBool();
    size_.width = static_cast<float>(i("width"));
    size_.height = static_cast<float>(i("height"));
    outputSizeTag_ = i("outputSizeTag");
    format_ = i("format");
    fitMethod_ = i("fitMethod");
    filenames_ = i("filenames");
    folders_ = i("folders");
    overwrite_ = i("overwrite");
    timecode_ = static_cast<int>(static_cast<float>(d["timecode"].asReal()));
    qtCodec_ = i("qtCodec");
    if (qtCodec_ == 0) qtCodec_ = 5;
    debayerQuality_ = i("debayerQuality");
    edlOptions_ = i("edlOptions");
    colorFormat_ = i("colorFormat");
    if (d["outputDirectory"].isString())
        outputDirectory_ = d["outputDirectory"].asString();
    else
        outputDirectory_.reset();
    threadCount_ = i("threadCount");
}

PlistValue OutputSettings::ReadableList() const {
    PlistValue d = PlistValue::MakeDict();
    d.set("frameRate", frameRate_);
    d.set("resize", resize_ ? "YES" : "NO");
    d.set("size",
          std::to_string(static_cast<int>(size_.width)) + " x " + std::to_string(static_cast<int>(size_.height)));
    d.set("overwrite", overwrite_ == 1 ? "YES" : "NO");
    if (auto path = PathForPresetID(qtCodec_)) d.set("qtCodec", LastPathComponent(*path));
    const char* fileFormat = format_ == kFormatDpx     ? "DPX"
                             : format_ == kFormatTiff  ? "Tiff"
                             : format_ == kFormatMovie ? "QT"
                                                       : nullptr;
    if (fileFormat) d.set("file format", fileFormat);
    return d;
}

}  // namespace ombrel
