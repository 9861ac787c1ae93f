#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "core/Singleton.h"
#include "model/ClipSettings.h"
#include "model/OutputSettings.h"

namespace ombrel {

// The store of the clip model: a stack of at most five ClipSettings per clip path.
// The record on top is the clip's current look; SettingsForClip is the one way to it,
// from the main thread and from the render worker alike.
class SettingsManager : public Singleton<SettingsManager> {
public:
    static constexpr const char* kClassName = "SettingsManager";
    static constexpr size_t kMaxStackDepth = 5;

    ClipSettingsPtr SettingsForClip(const std::string& path) const;
    // The clip's stack, oldest first, trimmed so that a push keeps at most five records.
    std::vector<ClipSettingsPtr> GetStackForClip(const std::string& path);
    // Pushes a copy of `settings` unless it is the same as the top of the stack.
    void PushSettingsForClip(const ClipSettings& settings, const std::string& path);
    ClipSettingsPtr PopSettingsForClip(const std::string& path);
    // Forgets every clip (a new project).
    void ClearAll();

    OutputSize customOutputSize() const;
    void setCustomOutputSize(OutputSize size);

    // Size menu tags and their sizes.
    static OutputSize SizeForTag(int tag);
    static int TagForSize(OutputSize size);

    // Preset libraries under "~/Documents/Ombrel/Data/.presets/".
    static std::string PresetLibraryRootPath();
    static std::string PresetLibraryPathForName(const std::string& name);

private:
    friend class Singleton<SettingsManager>;
    SettingsManager() = default;

    std::vector<ClipSettingsPtr>& StackLocked(const std::string& path);

    mutable std::mutex lock_;
    std::map<std::string, std::vector<ClipSettingsPtr>> settingsDictionary_;
    OutputSize customOutputSize_;
};

}  // namespace ombrel
