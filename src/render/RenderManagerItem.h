#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "model/ClipSettings.h"
#include "model/OutputSettings.h"

namespace ombrel {

// One queued clip of a render run.
class RenderManagerItem {
public:
    RenderManagerItem() = default;
    RenderManagerItem(const RenderManagerItem&) = delete;
    RenderManagerItem& operator=(const RenderManagerItem&) = delete;

    static std::shared_ptr<RenderManagerItem> Make(std::string filePath, int32_t frames, ClipSettingsPtr settings,
                                                   OutputSettingsPtr outputSettings);

    // Where the clip's output goes: a movie file, or the folder of a frame sequence.
    // Empty when the folder option names no folder.
    std::string DestPath() const;
    // The clip's name without extension, without a trailing "_001" on R3D files.
    std::string BaseName() const;
    // Sends the start-of-clip usage event.
    void LogJob() const;

    int32_t frames() const { return frames_.load(); }
    void setFrames(int32_t v) { frames_.store(v); }
    int32_t framesRendered() const { return framesRendered_.load(); }
    void setFramesRendered(int32_t v) { framesRendered_.store(v); }
    const ClipSettingsPtr& settings() const { return settings_; }
    void setSettings(ClipSettingsPtr v) { settings_ = std::move(v); }
    const OutputSettingsPtr& outputSettings() const { return outputSettings_; }
    void setOutputSettings(OutputSettingsPtr v) { outputSettings_ = std::move(v); }
    const std::string& filePath() const { return filePath_; }
    void setFilePath(std::string v) { filePath_ = std::move(v); }
    bool errorState() const { return errorState_.load(); }
    void setErrorState(bool v) { errorState_.store(v); }
    int inoutFrames() const { return inoutFrames_; }
    void setInoutFrames(int v) { inoutFrames_ = v; }
    bool useInOutPoints() const { return useInOutPoints_; }
    void setUseInOutPoints(bool v) { useInOutPoints_ = v; }
    // Frames named on the command line, both inclusive. They win over the clip's in and out
    // points and, unlike those (equal points mean the whole clip), may name a single frame.
    const std::optional<std::pair<int, int>>& frameRange() const { return frameRange_; }
    void setFrameRange(std::optional<std::pair<int, int>> v) { frameRange_ = v; }
    // A frame sequence writes the clip's sound file only when its range starts at this frame,
    // so that of the ranges of one clip rendered side by side one writes it; unset, every render does.
    const std::optional<int>& audioFrame() const { return audioFrame_; }
    void setAudioFrame(std::optional<int> v) { audioFrame_ = v; }

    // Why the clip failed, for the command line and the render list; empty when it did not.
    std::string errorMessage() const;
    // Marks the item failed with a message (the first message wins).
    void Fail(const std::string& message);

private:
    std::atomic<int32_t> frames_{0};
    std::atomic<int32_t> framesRendered_{0};
    ClipSettingsPtr settings_;
    OutputSettingsPtr outputSettings_;
    std::string filePath_;
    std::atomic<bool> errorState_{false};
    int inoutFrames_ = 0;
    bool useInOutPoints_ = false;
    std::optional<std::pair<int, int>> frameRange_;
    std::optional<int> audioFrame_;
    mutable std::mutex messageLock_;
    std::string errorMessage_;
};

using RenderManagerItemPtr = std::shared_ptr<RenderManagerItem>;

}  // namespace ombrel
