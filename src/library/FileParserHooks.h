#pragma once

// Services that the file rules call on but that live in higher floors: the camera
// SDK's clip reader, the metadata cache, the usage report and the file panels.
// Each registers itself here at start-up; until then the rules fall back as noted.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ombrel {

// One open R3D clip as the camera SDK shows it. The clip closes when the object goes.
class R3DClipInfo {
public:
    virtual ~R3DClipInfo() = default;
    virtual std::string MetadataItemAsString(const std::string& key) const = 0;
    virtual int32_t VideoFrameCount() const = 0;
    virtual std::string AbsoluteTimecode(int32_t frame) const = 0;
    virtual std::string EdgeTimecode(int32_t frame) const = 0;
    virtual float TimecodeFramerate() const = 0;
};

// Opens the clip at a path; null when the SDK refuses it. Without an opener no R3D
// clip can be read.
using R3DClipOpener = std::function<std::unique_ptr<R3DClipInfo>(const std::string& path)>;
void SetR3DClipOpener(R3DClipOpener opener);
R3DClipOpener GetR3DClipOpener();

// Rate and length of a movie as the metadata cache knows them; nullopt when it has no
// record. Without a source the file is probed directly.
struct MovieFacts {
    float fps = 0.0f;
    int32_t frameCount = 0;
};
using MovieFactsSource = std::function<std::optional<MovieFacts>(const std::string& path)>;
void SetMovieFactsSource(MovieFactsSource source);
MovieFactsSource GetMovieFactsSource();

// Named events for the usage report. Without a sink they are dropped.
using UsageEventSink = std::function<void(const std::string& name, const std::string& data)>;
void SetUsageEventSink(UsageEventSink sink);
UsageEventSink GetUsageEventSink();

// Modal file panels of the window. Without them a browse answers as a cancel would.
struct FilePanels {
    std::function<std::string(const std::string& path, bool needDirectory, bool needFile, const std::string& title)>
        browse;
    std::function<std::string(const std::string& title)> chooseSave;
};
void SetFilePanels(FilePanels panels);
FilePanels GetFilePanels();

}  // namespace ombrel
