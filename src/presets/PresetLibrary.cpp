#include "presets/PresetLibrary.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "core/AtomicFile.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "datafile/Resource.h"
#include "model/SettingsManager.h"

namespace ombrel::presets {
namespace fs = std::filesystem;

namespace {

bool Exists(const std::string& path) {
    std::error_code ec;
    return fs::exists(path, ec);
}

void RemoveQuietly(const std::string& path) {
    std::error_code ec;
    fs::remove(path, ec);
}

// Copy, move and delete errors are not acted on: the list files stay right either way.
void CopyQuietly(const std::string& from, const std::string& to) {
    std::error_code ec;
    fs::copy_file(from, to, fs::copy_options::overwrite_existing, ec);
    if (ec) LogWarn("Cannot copy {} to {}: {}", from, to, ec.message());
}

void MoveQuietly(const std::string& from, const std::string& to) {
    std::error_code ec;
    fs::rename(from, to, ec);
    if (!ec) return;
    CopyQuietly(from, to);
    if (Exists(to)) RemoveQuietly(from);
}

// A library folder with its list file copied from a resource when the file is missing.
void MakeLibraryFrom(const std::string& name, const char* resource) {
    const std::string folder = SettingsManager::PresetLibraryPathForName(name);
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec) LogWarn("Cannot make the preset library {}: {}", folder, ec.message());
    const std::string listPath = SettingsManager::PresetLibraryPlistPathForName(name);
    if (Exists(listPath)) return;
    std::string source;
    PlistValue list;
    if (FindResource(resource, &source).ok()) list = ReadDictionary(source);
    if (!list.isDict()) {
        LogWarn("The resource {} cannot be read; {} starts empty", resource, name);
        list = PlistValue::MakeDict();
    }
    if (!list["Presets"].isDict()) list.set("Presets", PlistValue::MakeDict());
    SaveDictionaryToPlist(list, listPath);
}

}  // namespace

Status EnsurePresetLibraries() {
    const std::string root = SettingsManager::PresetLibraryRootPath();
    if (!Exists(root)) {
        std::error_code ec;
        fs::create_directories(root, ec);
        if (ec) return IoError("Cannot make the preset folder " + root + ": " + ec.message());
        MakeLibraryFrom(kExamplesLibrary, kFactoryPresetsResource);
        const std::string examples = SettingsManager::PresetLibraryPathForName(kExamplesLibrary);
        for (const char* id : kFactoryPresetIDs) CopyTiffToLibPath(id, examples);
    }
    for (const char* name : {kTrashLibrary, kMyPresetsLibrary}) {
        if (Exists(SettingsManager::PresetLibraryPathForName(name)) &&
            Exists(SettingsManager::PresetLibraryPlistPathForName(name)))
            continue;
        MakeLibraryFrom(name, kPresetTemplateResource);
    }
    return OkStatus();
}

void CopyTiffToLibPath(const std::string& presetID, const std::string& libraryPath) {
    std::string source;
    if (const Status found = FindResource(std::string(kFactoryThumbnailFolder) + "/" + presetID + ".tiff", &source);
        !found.ok()) {
        LogWarn("{}", found.message());
        return;
    }
    CopyQuietly(source, AppendingPathComponent(libraryPath, presetID + ".tiff"));
}

std::vector<std::string> ListedLibraryNames() {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(SettingsManager::PresetLibraryRootPath(), ec), end; !ec && it != end;
         it.increment(ec)) {
        const std::string name = it->path().filename().string();
        std::error_code dirError;
        if (name == kTrashLibrary || !it->is_directory(dirError)) continue;
        if (Exists(SettingsManager::PresetLibraryPlistPathForName(name))) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

PlistValue ReadDictionary(const std::string& path) {
    PlistValue list;
    if (!Exists(path) || !PlistValue::ReadFromFile(path, &list).ok() || !list.isDict()) return {};
    return list;
}

PlistValue ReadLibrary(const std::string& name) {
    return ReadDictionary(SettingsManager::PresetLibraryPlistPathForName(name));
}

bool SaveDictionaryToPlist(const PlistValue& dict, const std::string& path) {
    const std::string xml = dict.ToXml();
    const Status written = xml.empty() ? IoError("nothing to write") : WriteFileAtomically(path, xml);
    if (!written.ok()) LogWarn("Error writing to {}: {}", path, written.message());
    return written.ok();
}

PlistValue TemplateDictionary() {
    std::string path;
    PlistValue list;
    if (FindResource(kPresetTemplateResource, &path).ok()) list = ReadDictionary(path);
    if (!list.isDict()) list = PlistValue::MakeDict();
    if (!list["Presets"].isDict()) list.set("Presets", PlistValue::MakeDict());
    return list;
}

std::vector<RenderPresetPtr> PresetsOfLibrary(const PlistValue& list, const std::string& libraryName) {
    std::vector<RenderPresetPtr> presets;
    for (const auto& [id, entry] : list["Presets"].asDict()) {
        if (!entry.isDict()) continue;
        auto preset = RenderPreset::Make();
        preset->LoadFactoryPresetFromDictionaryLibraryName(entry, libraryName);
        if (preset->presetID().empty()) preset->setPresetID(id);
        presets.push_back(std::move(preset));
    }
    std::stable_sort(presets.begin(), presets.end(),
                     [](const RenderPresetPtr& a, const RenderPresetPtr& b) { return b->sortOrder(*a); });
    return presets;
}

bool IsSafeLibraryName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

bool IsSafePresetID(const std::string& id) { return IsSafeLibraryName(id) && id.front() != '.'; }

std::string ThumbnailPathForPreset(const RenderPreset& preset, const std::string& library) {
    if (Exists(preset.IconPathLegacy())) return preset.IconPathLegacy();
    const std::string own = preset.IconPathLibrary(library);
    return Exists(own) ? own : std::string();
}

std::string ThumbnailSourceForPreset(const RenderPreset& preset, const std::string& library) {
    const std::string own = preset.IconPathLibrary(library);
    if (Exists(own)) return own;
    return Exists(preset.IconPathLegacy()) ? preset.IconPathLegacy() : std::string();
}

std::vector<uint8_t> GetThumbnailForPreset(const RenderPreset& preset, const std::string& library) {
    const std::string path = ThumbnailSourceForPreset(preset, library);
    if (path.empty()) return {};
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void MoveThumbnailForPreset(const RenderPreset& preset, const std::string& fromLib, const std::string& toLib) {
    const std::string from = ThumbnailSourceForPreset(preset, fromLib);
    const std::string target = preset.IconPathLibrary(toLib);
    if (!from.empty() && from != target) MoveQuietly(from, target);
    if (!Exists(target)) return;
    // What is left behind goes; for a final delete in "Trash" that is the thumbnail itself.
    if (!from.empty() && from != target) RemoveQuietly(from);
    const std::string sourceOwn = preset.IconPathLibrary(fromLib);
    if (sourceOwn != target) RemoveQuietly(sourceOwn);
    if (fromLib != toLib) return;
    RemoveQuietly(sourceOwn);
    RemoveQuietly(preset.IconPathLegacy());
}

void CopyThumbnailForPreset(const RenderPreset& preset, const std::string& fromLib, const std::string& toLib,
                            const RenderPreset& newPreset) {
    const std::string from = ThumbnailSourceForPreset(preset, fromLib);
    if (!from.empty()) CopyQuietly(from, newPreset.IconPathLibrary(toLib));
}

}  // namespace ombrel::presets
