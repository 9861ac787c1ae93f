#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/PlistValue.h"
#include "core/Status.h"
#include "model/ClipSettings.h"
#include "model/OutputSettings.h"
#include "model/SettingsManager.h"

namespace ombrel {

// What a project file holds beside the clip stacks that SettingsManager keeps.
struct ProjectState {
    OutputSettings outputSettings;               // "outputSettings"
    std::optional<std::string> currentOpenFile;  // "CurrentOpenFile": the clip in the viewer
    PlistValue snippetList;                      // "SnippetList": the shot list's files and ranges
    std::string appVersion;                      // "AppVersion": written, never read back

    // Filled by a load.
    bool hasPaths = false;           // the file had "Paths", so the clips in memory were replaced
    std::vector<std::string> paths;  // "Paths", in order
    std::vector<std::string> clips;  // the keys of "clips": clips with saved settings
    size_t olderPresets = 0;         // entries of "Presets", left by an older version
    std::string libraryName;         // the library that presets of the older kind went to
    // Clips whose saved settings a render must not take, with why (ClipDictionaryFault).
    std::map<std::string, std::string> clipFaults;
};

// Project files: XML property lists written whole or not at all, read with a message
// that names the file and the line when they cannot be parsed. The shell wraps these in
// its save and open commands; the command line uses them as they are.
class ProjectFile {
public:
    // Writes bytes to a path; WriteFileAtomically unless a caller (a test) says otherwise.
    using Writer = std::function<Status(const std::string& path, std::string_view bytes)>;

    static constexpr const char* kAutosaveName = "temp_save";
    static constexpr const char* kExtension = "xml";

    // A property list from a file into *out, or a failure whose message is "<path>, line <n>:
    // <why>" (or, when the file cannot be opened, "<path>: <why>"). The file is only read.
    static Status ReadPropertyList(const std::string& path, PlistValue* out);
    // XML form, written through `writer`. A value that cannot be turned into XML is
    // logged and nothing is written.
    static Status WritePropertyList(const PlistValue& dict, const std::string& path, const Writer& writer = {});

    // The whole project: the manager's "clips" and "Paths" with the keys of `state`.
    static PlistValue ProjectDictionary(const ProjectState& state);
    static Status SaveProjectToPath(const std::string& path, const ProjectState& state, const Writer& writer = {});
    // Reads a project into the manager and `state`. A file that cannot be parsed, or
    // whose top level is not a dictionary, changes nothing and fails.
    static Status LoadProjectAtPath(const std::string& path, ProjectState* state,
                                    SettingsManager::Migration migration = SettingsManager::Migration::kMigrate);

    // The library for a project's old presets: its file name without the extension, or
    // "My Presets" for the autosave.
    static std::string LibraryNameForProjectPath(const std::string& path);
    // A chosen path without an extension gets "xml".
    static std::string PathWithProjectExtension(const std::string& path);
    // "~/Documents/Ombrel/Autosave/temp_save.xml". Makes the folder, and the file from the
    // resource "temp_save" when it is missing.
    static std::string AutosavePath();

    // The ranges of one clip in a "SnippetList" dictionary (the flat in, out, in, out
    // array), or null when the list has no file at that path.
    static PlistValue SnippetsForPath(const PlistValue& snippetList, const std::string& path);
    // Gives a clip's record its ranges from the list, or clears them when there are none.
    static void SetSnippetsForSettingsAndPath(ClipSettings& settings, const PlistValue& snippetList,
                                              const std::string& path);
    // Points the list's entries for `oldPath` at `newPath`. Returns how many changed.
    static int ReplacePathInSnippetList(PlistValue& snippetList, const std::string& oldPath,
                                        const std::string& newPath);
};

}  // namespace ombrel
