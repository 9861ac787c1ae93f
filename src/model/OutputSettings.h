#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/PlistValue.h"

namespace ombrel {

// Output format codes.
enum OutputFormat : int { kFormatMovie = 0, kFormatDpx = 20, kFormatTiff = 21 };

struct OutputSize {
    float width = 0.0f;
    float height = 0.0f;
    bool operator==(const OutputSize&) const = default;
};

// How a run is written: format, size, fit, naming, folders, timecode, codec.
// One record is shared by every item of a run and is not changed during it.
class OutputSettings {
public:
    OutputSettings() = default;

    static std::shared_ptr<OutputSettings> Make() { return std::make_shared<OutputSettings>(); }

    PlistValue propertyList() const;
    void LoadFromDictionary(const PlistValue& dict);
    // The settings as the usage report prints them.
    PlistValue ReadableList() const;
    // The stored compression preset behind a codec menu tag, or null for a tag not in the table.
    static std::optional<std::string> PathForPresetID(int tag);
    // The resource base name of a codec tag ("1cva" for 5), or null.
    static std::optional<std::string> PresetResourceNameForTag(int tag);

    double frameRate() const { return frameRate_; }
    void setFrameRate(double v) { frameRate_ = v; }
    double frameInterval() const { return frameInterval_; }
    void setFrameInterval(double v) { frameInterval_ = v; }
    bool resize() const { return resize_; }
    void setResize(bool v) { resize_ = v; }
    OutputSize size() const { return size_; }
    void setSize(OutputSize v) { size_ = v; }
    int outputSizeTag() const { return outputSizeTag_; }
    void setOutputSizeTag(int v) { outputSizeTag_ = v; }
    int format() const { return format_; }
    void setFormat(int v) { format_ = v; }
    int fitMethod() const { return fitMethod_; }
    void setFitMethod(int v) { fitMethod_ = v; }
    int filenames() const { return filenames_; }
    void setFilenames(int v) { filenames_ = v; }
    int folders() const { return folders_; }
    void setFolders(int v) { folders_ = v; }
    // 0 replaces existing output, 1 keeps it (clips with output present are refused).
    int overwrite() const { return overwrite_; }
    void setOverwrite(int v) { overwrite_ = v; }
    int timecode() const { return timecode_; }
    void setTimecode(int v) { timecode_ = v; }
    int qtCodec() const { return qtCodec_; }
    void setQtCodec(int v) { qtCodec_ = v; }
    int debayerQuality() const { return debayerQuality_; }
    void setDebayerQuality(int v) { debayerQuality_ = v; }
    int edlOptions() const { return edlOptions_; }
    void setEdlOptions(int v) { edlOptions_ = v; }
    int colorFormat() const { return colorFormat_; }
    void setColorFormat(int v) { colorFormat_ = v; }
    const std::optional<std::string>& outputDirectory() const { return outputDirectory_; }
    void setOutputDirectory(std::optional<std::string> v) { outputDirectory_ = std::move(v); }
    int threadCount() const { return threadCount_; }
    void setThreadCount(int v) { threadCount_ = v; }
    uint32_t codec() const { return codec_; }
    void setCodec(uint32_t v) { codec_ = v; }
    const PlistValue& options() const { return options_; }
    void setOptions(PlistValue v) { options_ = std::move(v); }
    int optionsPreset() const { return optionsPreset_; }
    void setOptionsPreset(int v) { optionsPreset_ = v; }

    // A selection of the format menu: 20 and 21 pick a frame format, any other tag a movie codec.
    void SelectFormatMenuTag(int tag);

private:
    double frameRate_ = 0.0;
    double frameInterval_ = 0.0;
    bool resize_ = false;
    OutputSize size_;
    int outputSizeTag_ = 0;
    int format_ = kFormatMovie;
    int fitMethod_ = 0;
    int filenames_ = 0;
    int folders_ = 0;
    int overwrite_ = 0;
    int timecode_ = 0;
    int qtCodec_ = 5;
    int debayerQuality_ = 0;
    int edlOptions_ = 0;
    int colorFormat_ = 0;
    std::optional<std::string> outputDirectory_;
    int threadCount_ = 0;
    uint32_t codec_ = 0;
    PlistValue options_;
    int optionsPreset_ = 0;
};

using OutputSettingsPtr = std::shared_ptr<OutputSettings>;

}  // namespace ombrel
