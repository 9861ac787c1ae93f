#include "model/SettingsManager.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "core/AtomicFile.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "datafile/Resource.h"
#include "library/FileParser.h"

namespace ombrel {
namespace fs = std::filesystem;

namespace {

struct SizeEntry {
    int tag;
    OutputSize size;
};
constexpr std::array<SizeEntry, 8> kSizes = {{{0, {0, 0}},
                                              {1, {640, 480}},
                                              {2, {1024, 768}},
                                              {3, {1280, 720}},
                                              {4, {1920, 1080}},
                                              {5, {2048, 1152}},
                                              {6, {2048, 1536}},
                                              {7, {4096, 2034}}}};
constexpr int kCustomSizeTag = 101;
constexpr const char* kPresetTemplateResource = "Resources/PresetTemplate.plist";

bool FileExists(const std::string& path) {
    std::error_code ec;
    return fs::exists(path, ec);
}

void RemoveQuietly(const std::string& path) {
    std::error_code ec;
    fs::remove(path, ec);
}

// Moves a file, copying across file systems; errors are the caller's to ignore.
bool MoveFile(const std::string& from, const std::string& to) {
    std::error_code ec;
    fs::create_directories(fs::path(to).parent_path(), ec);
    fs::rename(from, to, ec);
    if (!ec) return true;
    ec.clear();
    fs::copy_file(from, to, fs::copy_options::overwrite_existing, ec);
    if (ec) return false;
    RemoveQuietly(from);
    return true;
}

PlistValue ReadListFile(const std::string& path) {
    if (!FileExists(path)) return {};
    PlistValue list;
    return PlistValue::ReadFromFile(path, &list).ok() && list.isDict() ? list : PlistValue{};
}

// A stored grain scale that is not above 0 would stop the program at the next copy;
// a file can hold one (negative, NaN), so it is mended as a stored 0 is.
void MendGrainScale(ClipSettings& settings) {
    if (settings.grainScale() > 0.0f) return;
    LogWarn("Warning: grain scale of {} found in project file.", settings.grainScale());
    settings.setGrainScale(1.0f);
}

// Presets ordered as sortOrder wants them: rising presetNumber.
void SortPresets(std::vector<RenderPresetPtr>& presets) {
    std::stable_sort(presets.begin(), presets.end(),
                     [](const RenderPresetPtr& a, const RenderPresetPtr& b) { return b->sortOrder(*a); });
}

}  // namespace

// --- Stacks ----------------------------------------------------------------------------

std::vector<ClipSettingsPtr>& SettingsManager::StackLocked(const std::string& path) {
    auto& stack = settingsDictionary_[path];
    while (stack.size() >= kMaxStackDepth) stack.erase(stack.begin());
    return stack;
}

ClipSettingsPtr SettingsManager::TopLocked(const std::string& path) const {
    auto it = settingsDictionary_.find(path);
    if (it == settingsDictionary_.end() || it->second.empty()) return nullptr;
    return it->second.back();
}

ClipSettingsPtr SettingsManager::SettingsForClip(const std::string& path) const {
    std::lock_guard lock(lock_);
    return TopLocked(path);
}

std::vector<ClipSettingsPtr> SettingsManager::GetStackForClip(const std::string& path) {
    std::lock_guard lock(lock_);
    return StackLocked(path);
}

void SettingsManager::PushCopyLocked(const ClipSettings& settings, const std::string& path, bool compare) {
    auto& stack = StackLocked(path);
    if (compare && !stack.empty() && settings.IsTheSameAs(*stack.back())) return;
    auto copy = ClipSettings::Make();
    copy->CopySettingsFrom(settings);
    stack.push_back(std::move(copy));
}

void SettingsManager::PushSettingsForClip(const ClipSettings& settings, const std::string& path) {
    if (path.empty()) return;
    std::lock_guard lock(lock_);
    PushCopyLocked(settings, path, true);
}

void SettingsManager::PushSettingsFromPresetLocked(const ClipSettings& settings, const std::string& path) {
    if (path.empty()) return;
    auto copy = ClipSettings::Make();
    copy->CopySettingsFrom(settings);
    // The preset changes the look; what the clip is and where the viewer stood stay.
    if (auto top = TopLocked(path)) {
        copy->setLastFrameShown(top->lastFrameShown());
        copy->setDisplayMake(top->displayMake());
        copy->setDisplayModel(top->displayModel());
        copy->setDisplayPictureStyle(top->displayPictureStyle());
        copy->setSourceCameraChosen(top->sourceCameraChosen());
    } else {
        copy->setLastFrameShown(0);
    }
    StackLocked(path).push_back(std::move(copy));
}

void SettingsManager::PushSettingsFromPresetForClip(const ClipSettings& settings, const std::string& path) {
    std::lock_guard lock(lock_);
    PushSettingsFromPresetLocked(settings, path);
}

void SettingsManager::PushPresetLocked(const RenderPreset& preset, const std::string& path) {
    ClipSettings& s = *preset.Settings();
    s.setIsDefault(false);
    s.setPresetID(preset.presetID());
    s.setPresetName(preset.presetName());
    s.setPresetNumber(static_cast<int>(preset.presetNumber()));
    PushSettingsFromPresetLocked(s, path);
}

void SettingsManager::PushPresetForClip(const RenderPreset& preset, const std::string& path) {
    std::lock_guard lock(lock_);
    PushPresetLocked(preset, path);
}

void SettingsManager::PushCameraSourceForClip(const ClipSettings& settings, const std::string& path) {
    if (path.empty() || FileParser::IsR3DFile(path)) return;
    SettingsManager& sm = Instance();
    std::lock_guard lock(sm.lock_);
    if (!sm.TopLocked(path)) sm.PushCopyLocked(ClipSettings(), path, true);
    ClipSettingsPtr top = sm.TopLocked(path);
    top->setSourceCameraChosen(settings.sourceCameraChosen());
    top->setDisplayMake(settings.displayMake());
    top->setDisplayModel(settings.displayModel());
    top->setDisplayPictureStyle(settings.displayPictureStyle());
}

ClipSettingsPtr SettingsManager::PopSettingsForClip(const std::string& path) {
    std::lock_guard lock(lock_);
    auto it = settingsDictionary_.find(path);
    if (it == settingsDictionary_.end() || it->second.empty()) return nullptr;
    auto top = it->second.back();
    it->second.pop_back();
    return top;
}

bool SettingsManager::HasUndoForClip(const std::string& path) const {
    std::lock_guard lock(lock_);
    return TopLocked(path) != nullptr;
}

void SettingsManager::MapPresetLocked(const RenderPreset& preset, const std::string& path) {
    if (auto top = TopLocked(path)) {
        top->setPresetNumber(static_cast<int>(preset.presetNumber()));
        top->setPresetID(preset.presetID());
        top->setPresetName(preset.presetName());
    } else {
        PushPresetLocked(preset, path);
    }
}

void SettingsManager::MapPresetToPath(const RenderPreset& preset, const std::string& path) {
    std::lock_guard lock(lock_);
    MapPresetLocked(preset, path);
}

// --- Presets ---------------------------------------------------------------------------

RenderPresetPtr SettingsManager::AddPresetWithSettings(const ClipSettings& settings) {
    SettingsManager& sm = Instance();
    std::lock_guard lock(sm.lock_);
    return sm.AddPresetWithSettingsLocked(settings);
}

RenderPresetPtr SettingsManager::AddPresetWithSettingsLocked(const ClipSettings& settings) {
    auto preset = RenderPreset::Make();
    preset->Settings()->CopySettingsFrom(settings);
    preset->setPresetNumber(presetCounter_++);
    factoryPresetLookup_[preset->presetID()] = preset;
    factoryPresetList_.AddPreset(preset);

    if (currentPresetLibrary_.empty()) currentPresetLibrary_ = kDefaultPresetLibrary;
    const std::string listPath = PresetLibraryPlistPathForName(currentPresetLibrary_);
    PlistValue list = ReadListFile(listPath);
    if (!list.isDict()) return nullptr;
    PlistValue presets = list["Presets"];
    presets.set(preset->presetID(), preset->PropertyList());
    list.set("Presets", std::move(presets));
    SaveDictionarytoPlist(list, listPath);
    return preset;
}

RenderPresetPtr SettingsManager::GetPresetWithGuid(const std::string& guid) const {
    std::lock_guard lock(lock_);
    auto it = presetLookup_.find(guid);
    return it == presetLookup_.end() ? nullptr : it->second;
}

RenderPresetPtr SettingsManager::GetFactoryPresetWithGuid(const std::string& guid) const {
    std::lock_guard lock(lock_);
    auto it = factoryPresetLookup_.find(guid);
    return it == factoryPresetLookup_.end() ? nullptr : it->second;
}

void SettingsManager::LoadPresetWithGuid(const std::string& guid) {
    RenderPresetPtr preset = GetPresetWithGuid(guid);
    PresetLoadTarget* gui = nullptr;
    {
        std::lock_guard lock(lock_);
        gui = gui_;
    }
    // Outside the lock: the window answers by pushing settings through this manager.
    if (preset && gui) gui->LoadPreset(preset);
}

void SettingsManager::LoadFactoryPresetWithGuid(const std::string& guid) {
    RenderPresetPtr preset = GetFactoryPresetWithGuid(guid);
    PresetLoadTarget* gui = nullptr;
    {
        std::lock_guard lock(lock_);
        gui = gui_;
    }
    if (preset && gui) gui->LoadPreset(preset);
}

void SettingsManager::PresetRenamed(const RenderPreset& preset) {
    std::lock_guard lock(lock_);
    for (const auto& path : registeredPaths_) {
        auto top = TopLocked(path);
        if (top && top->presetID() == preset.presetID()) PushPresetLocked(preset, path);
    }
}

void SettingsManager::ReformPresetLookup() {
    std::lock_guard lock(lock_);
    std::vector<RenderPresetPtr> deleted;
    for (const auto& [guid, preset] : factoryPresetLookup_) {
        const auto& shown = factoryPresetList_.presetList();
        if (std::find(shown.begin(), shown.end(), preset) == shown.end()) deleted.push_back(preset);
    }
    if (currentPresetLibrary_.empty()) currentPresetLibrary_ = kDefaultPresetLibrary;
    const std::string listPath = PresetLibraryPlistPathForName(currentPresetLibrary_);
    PlistValue list = ReadListFile(listPath);
    if (!list.isDict()) return;
    PlistValue presets = list["Presets"];
    for (const auto& preset : deleted) {
        const std::string& id = preset->presetID();
        factoryPresetLookup_.erase(id);
        presets.erase(id);
        RemoveQuietly(preset->IconPathLegacy());
        RemoveQuietly(preset->IconPathLibrary(currentPresetLibrary_));
        for (const auto& path : registeredPaths_) {
            auto top = TopLocked(path);
            if (!top || top->presetID() != id) continue;
            top->setPresetNumber(0);
            top->setPresetID("");
            top->setPresetName("");
        }
    }
    presetCounter_ = 1;
    for (const auto& [guid, preset] : factoryPresetLookup_)
        presetCounter_ = std::max(presetCounter_, preset->presetNumber() + 1);
    list.set("Presets", std::move(presets));
    SaveDictionarytoPlist(list, listPath);
}

void SettingsManager::LoadFactoryPresets() {
    std::lock_guard lock(lock_);
    factoryPresetLookup_.clear();
    factoryPresetList_.DeleteAll();
    if (currentPresetLibrary_.empty()) currentPresetLibrary_ = kDefaultPresetLibrary;
    const std::string listPath = PresetLibraryPlistPathForName(currentPresetLibrary_);
    if (!FileExists(listPath)) return;
    presetCounter_ = 1;
    PlistValue list = ReadListFile(listPath);
    std::vector<RenderPresetPtr> loaded;
    for (const auto& [guid, entry] : list["Presets"].asDict()) {
        auto preset = RenderPreset::Make();
        preset->LoadFactoryPresetFromDictionaryLibraryName(entry, currentPresetLibrary_);
        MendGrainScale(*preset->Settings());
        if (preset->presetID().empty()) preset->setPresetID(guid);
        presetCounter_ = std::max(presetCounter_, preset->presetNumber() + 1);
        factoryPresetLookup_[preset->presetID()] = preset;
        loaded.push_back(std::move(preset));
    }
    SortPresets(loaded);
    for (auto& preset : loaded) factoryPresetList_.AddPreset(std::move(preset));
    factoryPresetList_.Rearrange();
}

bool SettingsManager::CreateLibraryShell(const std::string& name) {
    const std::string folder = PresetLibraryPathForName(name);
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec) LogWarn("Cannot make the preset library {}: {}", folder, ec.message());
    const std::string listPath = PresetLibraryPlistPathForName(name);
    if (FileExists(listPath)) return true;
    std::string templatePath;
    const Status found = FindResource(kPresetTemplateResource, &templatePath);
    PlistValue list;
    if (!found.ok() || !PlistValue::ReadFromFile(templatePath, &list).ok() || !list.isDict()) {
        // A library is still usable without the shipped template: it only holds "Presets".
        LogWarn("{}", found.ok() ? "Cannot read " + templatePath : found.message());
        list = PlistValue::MakeDict();
    }
    if (!list["Presets"].isDict()) list.set("Presets", PlistValue::MakeDict());
    return SaveDictionarytoPlist(list, listPath);
}

bool SettingsManager::AddPresetsToLibraryLocked(const std::vector<RenderPresetPtr>& presets, const std::string& name) {
    const std::string listPath = PresetLibraryPlistPathForName(name);
    PlistValue list = ReadListFile(listPath);
    if (!list.isDict()) return false;
    PlistValue entries = list["Presets"];
    for (const auto& preset : presets) {
        entries.set(preset->presetID(), preset->PropertyList());
        MoveThumbnailForPresetToLib(*preset, name);
    }
    list.set("Presets", std::move(entries));
    return SaveDictionarytoPlist(list, listPath);
}

bool SettingsManager::AddPresetsToLibrary(const std::vector<RenderPresetPtr>& presets, const std::string& name) {
    std::lock_guard lock(lock_);
    return AddPresetsToLibraryLocked(presets, name);
}

void SettingsManager::MoveThumbnailForPresetToLib(const RenderPreset& preset, const std::string& name) {
    const std::string legacy = preset.IconPathLegacy();
    if (!FileExists(legacy)) return;
    const std::string target = preset.IconPathLibrary(name);
    MoveFile(legacy, target);
    if (FileExists(legacy) && FileExists(target)) RemoveQuietly(legacy);
}

std::string SettingsManager::PresetLibraryRootPath() { return DataFolder() + "/.presets"; }

std::string SettingsManager::PresetLibraryPathForName(const std::string& name) {
    return AppendingPathComponent(PresetLibraryRootPath(), name);
}

std::string SettingsManager::PresetLibraryPlistPathForName(const std::string& name) {
    return AppendingPathComponent(PresetLibraryPathForName(name), name + ".plist");
}

std::vector<std::string> SettingsManager::PresetLibraryNames() {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(PresetLibraryRootPath(), ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (name == kTrashLibrary || name == kDefaultPresetLibrary || !it->is_directory(ec)) continue;
        if (!FileExists(PresetLibraryPlistPathForName(name))) continue;
        names.push_back(name);
    }
    // Directory order differs between file systems; by name the menu stays put.
    std::sort(names.begin(), names.end());
    // The default library is always on offer, so the user can go back to it whatever the disk holds.
    names.insert(names.begin(), kDefaultPresetLibrary);
    return names;
}

bool SettingsManager::SaveDictionarytoPlist(const PlistValue& dict, const std::string& path) {
    const std::string xml = dict.ToXml();
    const Status written = xml.empty() ? Status() : WriteFileAtomically(path, xml);
    if (!xml.empty() && written.ok()) return true;
    LogWarn("Error writing to {}", path);
    if (!written.message().empty()) LogWarn("{}", written.message());
    return false;
}

void SettingsManager::setGui(PresetLoadTarget* gui) {
    std::lock_guard lock(lock_);
    gui_ = gui;
}

uint32_t SettingsManager::presetCounter() const {
    std::lock_guard lock(lock_);
    return presetCounter_;
}

std::string SettingsManager::currentPresetLibrary() const {
    std::lock_guard lock(lock_);
    return currentPresetLibrary_;
}

void SettingsManager::setCurrentPresetLibrary(std::string name) {
    std::lock_guard lock(lock_);
    currentPresetLibrary_ = std::move(name);
}

// --- Project ---------------------------------------------------------------------------

PlistValue SettingsManager::GetProjectDictionary() const {
    std::lock_guard lock(lock_);
    PlistValue clips = PlistValue::MakeDict();
    for (const auto& [path, stack] : settingsDictionary_) {
        if (!stack.empty()) clips.set(path, stack.back()->propertyList());
    }
    PlistValue paths = PlistValue::MakeArray();
    for (const auto& path : registeredPaths_) paths.append(path);
    PlistValue project = PlistValue::MakeDict();
    project.set("clips", std::move(clips));
    project.set("Paths", std::move(paths));
    return project;
}

void SettingsManager::LoadProjectFileNamedAtPath(PlistValue& dict, const std::string& libraryName,
                                                 const std::string& path, Migration migration) {
    std::lock_guard lock(lock_);
    LoadFactoryPresets();

    for (const auto& [clipPath, entry] : dict["clips"].asDict()) {
        ClipSettings settings;
        settings.LoadFromDictionary(entry);
        MendGrainScale(settings);
        if (!clipPath.empty()) PushCopyLocked(settings, clipPath, true);
    }

    if (dict.contains("Presets")) {
        presetCounter_ = 1;
        std::vector<RenderPresetPtr> presets;
        for (const auto& [guid, entry] : dict["Presets"].asDict()) {
            auto preset = RenderPreset::Make();
            preset->LoadFromDictionary(entry);
            MendGrainScale(*preset->Settings());
            presetLookup_[guid] = preset;
            presetCounter_ = std::max(presetCounter_, preset->presetNumber() + 1);
            presets.push_back(std::move(preset));
        }
        SortPresets(presets);
        if (!presets.empty()) {
            if (libraryName == currentPresetLibrary_)
                for (const auto& preset : presets) presetList_.AddPreset(preset);
            if (migration == Migration::kMigrate) {
                CreateLibraryShell(libraryName);
                AddPresetsToLibraryLocked(presets, libraryName);
                // The file is rewritten without its presets only once a copy of the
                // original stands beside it; an older copy is never replaced.
                const std::string backup = path + ".backup";
                bool backedUp = FileExists(backup);
                if (!backedUp) {
                    std::error_code ec;
                    fs::copy_file(path, backup, ec);
                    backedUp = !ec;
                    if (ec) LogWarn("Cannot copy {} to {}: {}", path, backup, ec.message());
                }
                if (backedUp) {
                    dict.erase("Presets");
                    SaveDictionarytoPlist(dict, path);
                }
            }
        }
    }

    for (const auto& [clipPath, guid] : dict["presetMap"].asDict()) {
        const std::string id = guid.asString();
        RenderPresetPtr preset;
        if (auto it = presetLookup_.find(id); it != presetLookup_.end())
            preset = it->second;
        else if (auto f = factoryPresetLookup_.find(id); f != factoryPresetLookup_.end())
            preset = f->second;
        if (preset) MapPresetLocked(*preset, clipPath);
    }
}

void SettingsManager::RemoveAllClips() {
    std::lock_guard lock(lock_);
    registeredPaths_.clear();
    settingsDictionary_.clear();
}

void SettingsManager::ClearSettingsManager() {
    std::lock_guard lock(lock_);
    RemoveAllClips();
    presetLookup_.clear();
    presetList_.DeleteAll();
}

void SettingsManager::RegisterPathLocked(const std::string& path) {
    if (path.empty()) return;
    if (std::find(registeredPaths_.begin(), registeredPaths_.end(), path) == registeredPaths_.end())
        registeredPaths_.push_back(path);
}

void SettingsManager::RegisterPath(const std::string& path) {
    std::lock_guard lock(lock_);
    RegisterPathLocked(path);
}

void SettingsManager::UnRegisterPathLocked(const std::string& path) {
    auto it = std::find(registeredPaths_.begin(), registeredPaths_.end(), path);
    if (it == registeredPaths_.end()) return;
    registeredPaths_.erase(it);
    settingsDictionary_.erase(path);
}

void SettingsManager::UnRegisterPath(const std::string& path) {
    std::lock_guard lock(lock_);
    UnRegisterPathLocked(path);
}

std::vector<std::string> SettingsManager::registeredPaths() const {
    std::lock_guard lock(lock_);
    return registeredPaths_;
}

void SettingsManager::ReplacePathWithPath(const std::string& oldPath, const std::string& newPath) {
    if (oldPath == newPath || newPath.empty()) return;
    std::lock_guard lock(lock_);
    // A path is registered at most once, also when the new one was there already.
    if (auto it = std::find(registeredPaths_.begin(), registeredPaths_.end(), oldPath); it != registeredPaths_.end())
        registeredPaths_.erase(it);
    RegisterPathLocked(newPath);
    if (auto top = TopLocked(oldPath)) PushCopyLocked(*top, newPath, true);
    UnRegisterPathLocked(oldPath);
    settingsDictionary_.erase(oldPath);
}

// --- Sizes -----------------------------------------------------------------------------

OutputSize SettingsManager::customOutputSize() const {
    std::lock_guard lock(lock_);
    return customOutputSize_;
}

void SettingsManager::setCustomOutputSize(OutputSize size) {
    std::lock_guard lock(lock_);
    customOutputSize_ = size;
}

OutputSize SettingsManager::SizeForTag(int tag) {
    for (const auto& e : kSizes)
        if (e.tag == tag) return e.size;
    if (tag == kCustomSizeTag) {
        OutputSize custom = Instance().customOutputSize();
        if (custom.width > 0.0f) return custom;
    }
    return {};
}

int SettingsManager::TagForSize(OutputSize size) {
    OutputSize custom = Instance().customOutputSize();
    if (custom.width > 0.0f && custom == size) return kCustomSizeTag;
    for (const auto& e : kSizes)
        if (e.size == size) return e.tag;
    return kCustomSizeTag;
}

// --- Custom codecs ---------------------------------------------------------------------

std::string SettingsManager::CustomCodecListPath() { return DataFolder() + "/Codecs/CustomCodecs.plist"; }

void SettingsManager::SortCustomCodecsLocked() {
    std::stable_sort(customCodecs_.begin(), customCodecs_.end(),
                     [](const CustomCodec& a, const CustomCodec& b) { return a.sortOrder(b); });
}

CustomCodec SettingsManager::AddCustomCodec(const std::string& name) {
    std::lock_guard lock(lock_);
    CustomCodec codec;
    codec.setName(name);
    int slot = static_cast<int>(customCodecs_.size());
    if (customCodecs_.size() == CustomCodec::kSlotCount) {
        // The oldest gives up its slot. Ages count in seconds, so of equal ones the entry furthest
        // back goes: the list is newest first, and a new entry goes in front of its equals.
        auto oldest = customCodecs_.begin();
        for (auto it = customCodecs_.begin(); it != customCodecs_.end(); ++it)
            if (it->dateCreated() <= oldest->dateCreated()) oldest = it;
        slot = oldest->slot();
        customCodecs_.erase(oldest);
    }
    codec.setSlot(slot);
    customCodecs_.insert(customCodecs_.begin(), codec);
    SortCustomCodecsLocked();
    SaveCustomCodecList();
    return codec;
}

void SettingsManager::LoadCustomCodecList() {
    std::lock_guard lock(lock_);
    customCodecs_.clear();
    const std::string path = CustomCodecListPath();
    if (!FileExists(path)) return;
    PlistValue list;
    if (!PlistValue::ReadFromFile(path, &list).ok()) return;
    for (const auto& entry : list["codecList"].asArray()) {
        CustomCodec codec;
        codec.LoadFromDictionary(entry);
        customCodecs_.push_back(std::move(codec));
    }
    SortCustomCodecsLocked();
}

bool SettingsManager::SaveCustomCodecList() {
    std::lock_guard lock(lock_);
    PlistValue codecs = PlistValue::MakeArray();
    for (const auto& codec : customCodecs_) codecs.append(codec.propertyList());
    PlistValue list = PlistValue::MakeDict();
    list.set("codecList", std::move(codecs));
    const std::string path = CustomCodecListPath();
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path(), ec);
    return SaveDictionarytoPlist(list, path);
}

std::vector<CustomCodec> SettingsManager::customCodecs() const {
    std::lock_guard lock(lock_);
    return customCodecs_;
}

Status SettingsManager::LoadCodecPresetForTag(int tag, CodecPreset* preset) const {
    if (tag < CustomCodec::kFirstPopupTag) return LoadCodecPreset(tag, preset);
    std::string path;
    {
        std::lock_guard lock(lock_);
        for (const CustomCodec& c : customCodecs_)
            if (c.popupTag() == tag) path = c.path();
    }
    if (path.empty()) return NotFoundError("no custom codec has the tag " + std::to_string(tag));
    return ReadCodecPreset(path, tag, preset);
}

}  // namespace ombrel
