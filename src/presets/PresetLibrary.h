#pragma once

// Preset libraries on disk: a folder per library under SettingsManager's root, holding
// "<name>.plist" (a dictionary with "Presets": preset id to the preset's property list) and a
// "<id>.tiff" thumbnail per preset.

#include <array>
#include <string>
#include <vector>

#include "core/PlistValue.h"
#include "core/Status.h"
#include "model/RenderPreset.h"

namespace ombrel::presets {

inline constexpr const char* kExamplesLibrary = "Examples";
inline constexpr const char* kTrashLibrary = "Trash";
inline constexpr const char* kMyPresetsLibrary = "My Presets";
// Resources of the data root.
inline constexpr const char* kFactoryPresetsResource = "Resources/FactoryPresets.plist";
inline constexpr const char* kPresetTemplateResource = "Resources/PresetTemplate.plist";
inline constexpr const char* kFactoryThumbnailFolder = "Resources/FactoryPresets";

// The ids of the seven looks of "Examples", in presetNumber order.
inline constexpr std::array<const char*, 7> kFactoryPresetIDs = {
    "9ADBBE10-46BC-4F98-87C6-8005385BDDBC", "9D7DDC7C-E682-497B-9DBE-8B235862CFA8",
    "9EBD8443-B412-4C8E-975C-3321FBC86421", "9F54C556-2459-41C1-BCE5-6FD467B71763",
    "94E9BC6C-623A-4D78-8215-7EE8E8FF626D", "914367A7-0D14-498F-B590-9E3400D5D0EE",
    "7328380B-3977-4743-B4FD-AD6856EDFBD1"};

// The first run: the root with "Examples" when the root is missing, then "Trash" and
// "My Presets" wherever the folder or its list file is missing. Safe to run at every start.
Status EnsurePresetLibraries();

// Copies a factory thumbnail resource into the library folder as "<id>.tiff".
void CopyTiffToLibPath(const std::string& presetID, const std::string& libraryPath);

// Library names in listing order (sorted by name, so two machines list alike): every folder
// of the root other than "Trash" that holds a list file of its own name.
std::vector<std::string> ListedLibraryNames();

// The library's list file, or null when it cannot be read as a dictionary.
PlistValue ReadLibrary(const std::string& name);
// The list file read from a path; null when unreadable.
PlistValue ReadDictionary(const std::string& path);
// Writes whole (a temporary beside it, then a rename); false with the reason logged.
bool SaveDictionaryToPlist(const PlistValue& dict, const std::string& path);
// The template of an empty library; a dictionary with an empty "Presets" when it is missing.
PlistValue TemplateDictionary();

// The presets of a list file, sorted by presetNumber.
std::vector<RenderPresetPtr> PresetsOfLibrary(const PlistValue& list, const std::string& libraryName);

// A name that may become a folder under the root: not empty, no "/", not "." or "..".
bool IsSafeLibraryName(const std::string& name);
// A preset id that may become a file name beside the list file.
bool IsSafePresetID(const std::string& id);

// --- Thumbnails -------------------------------------------------------------------------
// The file a preset's thumbnail is read from: the legacy path when it exists, else the
// library's own. Empty when neither exists.
std::string ThumbnailPathForPreset(const RenderPreset& preset, const std::string& library);
// The file a move, copy or export takes: the library's own file first. Loading a library
// writes every thumbnail to the shared legacy path, so two libraries holding the same ids
// (one file imported twice) would otherwise hand each other's thumbnails on.
std::string ThumbnailSourceForPreset(const RenderPreset& preset, const std::string& library);
// The thumbnail's bytes; empty when there is none.
std::vector<uint8_t> GetThumbnailForPreset(const RenderPreset& preset, const std::string& library);
void MoveThumbnailForPreset(const RenderPreset& preset, const std::string& fromLib, const std::string& toLib);
void CopyThumbnailForPreset(const RenderPreset& preset, const std::string& fromLib, const std::string& toLib,
                            const RenderPreset& newPreset);

}  // namespace ombrel::presets
