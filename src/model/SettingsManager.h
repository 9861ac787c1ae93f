#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "core/PlistValue.h"
#include "core/Singleton.h"
#include "model/ClipSettings.h"
#include "model/CustomCodec.h"
#include "model/OutputSettings.h"
#include "model/PresetDataSource.h"
#include "model/RenderPreset.h"
#include "platform/movie/CodecPreset.h"

namespace ombrel {

// Who is handed a preset when one is loaded by its GUID (the main window).
class PresetLoadTarget {
public:
    virtual ~PresetLoadTarget() = default;
    virtual void LoadPreset(const RenderPresetPtr& preset) = 0;
};

// The store of the clip and project model: a stack of at most five ClipSettings per
// clip path, the registered clip paths, presets in memory and their libraries on disk,
// the custom codec list and the custom output size.
//
// The main thread owns it; the render worker reads a clip's record through
// SettingsForClip while a run goes on. One recursive lock guards every field, so the
// worker's reads never see a stack half changed, and ReformPresetLookup can run whole.
class SettingsManager : public Singleton<SettingsManager> {
public:
    static constexpr const char* kClassName = "SettingsManager";
    static constexpr size_t kMaxStackDepth = 5;
    static constexpr const char* kDefaultPresetLibrary = "My Presets";
    static constexpr const char* kTrashLibrary = "Trash";

    // How LoadProjectFileNamedAtPath treats a project of the older kind. The window
    // migrates it; a headless reader only looks and leaves files and libraries alone.
    enum class Migration { kMigrate, kReadOnly };

    // --- Stacks -------------------------------------------------------------------
    // Top of the clip's stack, or null. Safe from any thread.
    ClipSettingsPtr SettingsForClip(const std::string& path) const;
    // The clip's stack, oldest first, made when missing and trimmed so that a push keeps
    // at most five records.
    std::vector<ClipSettingsPtr> GetStackForClip(const std::string& path);
    // Pushes a copy of `settings` unless it is the same as the top of the stack.
    void PushSettingsForClip(const ClipSettings& settings, const std::string& path);
    // Pushes a copy that keeps the clip's frame and camera fields from the current top.
    void PushSettingsFromPresetForClip(const ClipSettings& settings, const std::string& path);
    // Marks the preset's own settings with its identity and pushes them.
    void PushPresetForClip(const RenderPreset& preset, const std::string& path);
    // Sets the chosen camera on a movie clip's top record in place (R3D clips: nothing).
    static void PushCameraSourceForClip(const ClipSettings& settings, const std::string& path);
    ClipSettingsPtr PopSettingsForClip(const std::string& path);
    bool HasUndoForClip(const std::string& path) const;
    // Notes the preset in the clip's top record, or pushes it when the clip has none.
    void MapPresetToPath(const RenderPreset& preset, const std::string& path);

    // --- Presets ------------------------------------------------------------------
    // A new preset in the current library, written to its list file; null when the list
    // file cannot be read.
    static RenderPresetPtr AddPresetWithSettings(const ClipSettings& settings);
    RenderPresetPtr GetPresetWithGuid(const std::string& guid) const;
    RenderPresetPtr GetFactoryPresetWithGuid(const std::string& guid) const;
    void LoadPresetWithGuid(const std::string& guid);
    void LoadFactoryPresetWithGuid(const std::string& guid);
    // Pushes the preset again on every registered clip that uses it.
    void PresetRenamed(const RenderPreset& preset);
    // Drops from the lookup and the library the presets no longer in factoryPresetList.
    void ReformPresetLookup();
    // Loads the current library into factoryPresetLookup and factoryPresetList.
    void LoadFactoryPresets();
    // Makes the library's folder and, when missing, its list file from "PresetTemplate".
    bool CreateLibraryShell(const std::string& name);
    bool AddPresetsToLibrary(const std::vector<RenderPresetPtr>& presets, const std::string& name);
    // Moves the preset's thumbnail from the legacy path into the library's folder.
    void MoveThumbnailForPresetToLib(const RenderPreset& preset, const std::string& name);
    // "~/Documents/Ombrel/Data/.presets", expanded.
    static std::string PresetLibraryRootPath();
    static std::string PresetLibraryPathForName(const std::string& name);
    static std::string PresetLibraryPlistPathForName(const std::string& name);
    // The libraries of the main window's menu: "My Presets" first, also while its list file
    // is missing, then every other folder of the root that holds its own list file, by
    // name; never "Trash".
    static std::vector<std::string> PresetLibraryNames();
    // Writes XML form atomically; on failure logs "Error writing to <path>".
    bool SaveDictionarytoPlist(const PlistValue& dict, const std::string& path);

    PresetDataSource& presetList() { return presetList_; }
    FactoryPresetDataSource& factoryPresetList() { return factoryPresetList_; }
    void setGui(PresetLoadTarget* gui);
    uint32_t presetCounter() const;
    std::string currentPresetLibrary() const;
    void setCurrentPresetLibrary(std::string name);

    // --- Project ------------------------------------------------------------------
    // A new dictionary with "clips" (top record of each stack) and "Paths".
    PlistValue GetProjectDictionary() const;
    // Loads the clips of a project dictionary, migrates presets of the older kind into
    // the library `libraryName` and applies "presetMap". A migration removes "Presets"
    // from `dict` and writes it back to `path`, after copying the file to "<path>.backup".
    void LoadProjectFileNamedAtPath(PlistValue& dict, const std::string& libraryName, const std::string& path,
                                    Migration migration = Migration::kMigrate);
    void RemoveAllClips();
    // RemoveAllClips, and forgets the presets of an older project.
    void ClearSettingsManager();
    void ClearAll() { ClearSettingsManager(); }
    void RegisterPath(const std::string& path);
    void UnRegisterPath(const std::string& path);
    std::vector<std::string> registeredPaths() const;
    // Moves a clip's registration and settings to the path where its file was found again.
    void ReplacePathWithPath(const std::string& oldPath, const std::string& newPath);

    // --- Sizes --------------------------------------------------------------------
    OutputSize customOutputSize() const;
    void setCustomOutputSize(OutputSize size);
    static OutputSize SizeForTag(int tag);
    static int TagForSize(OutputSize size);

    // --- Custom codecs ------------------------------------------------------------
    // A new entry in the next slot (the oldest one's at eight), saved with the list.
    CustomCodec AddCustomCodec(const std::string& name);
    void LoadCustomCodecList();
    bool SaveCustomCodecList();
    std::vector<CustomCodec> customCodecs() const;
    // The preset behind a codec menu tag: a factory one, or the file at the path of the custom
    // entry that carries the tag.
    Status LoadCodecPresetForTag(int tag, CodecPreset* preset) const;
    // The list file. The application's resources are read-only here, so it lives with
    // the user's codec files.
    static std::string CustomCodecListPath();

private:
    friend class Singleton<SettingsManager>;
    SettingsManager() = default;

    std::vector<ClipSettingsPtr>& StackLocked(const std::string& path);
    ClipSettingsPtr TopLocked(const std::string& path) const;
    void PushCopyLocked(const ClipSettings& settings, const std::string& path, bool compare);
    void PushSettingsFromPresetLocked(const ClipSettings& settings, const std::string& path);
    void PushPresetLocked(const RenderPreset& preset, const std::string& path);
    void MapPresetLocked(const RenderPreset& preset, const std::string& path);
    void RegisterPathLocked(const std::string& path);
    void UnRegisterPathLocked(const std::string& path);
    RenderPresetPtr AddPresetWithSettingsLocked(const ClipSettings& settings);
    bool AddPresetsToLibraryLocked(const std::vector<RenderPresetPtr>& presets, const std::string& name);
    void SortCustomCodecsLocked();

    mutable std::recursive_mutex lock_;
    std::map<std::string, std::vector<ClipSettingsPtr>> settingsDictionary_;
    std::map<std::string, RenderPresetPtr> presetLookup_;
    std::map<std::string, RenderPresetPtr> factoryPresetLookup_;
    std::vector<std::string> registeredPaths_;
    PresetDataSource presetList_;
    FactoryPresetDataSource factoryPresetList_;
    PresetLoadTarget* gui_ = nullptr;
    uint32_t presetCounter_ = 1;
    OutputSize customOutputSize_;
    std::vector<CustomCodec> customCodecs_;
    std::string currentPresetLibrary_;
};

}  // namespace ombrel
