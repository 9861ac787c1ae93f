#include <algorithm>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <optional>

#include "ProjectCommand.h"
#include "RenderCommand.h"
#include "library/browse/FileSystemItem.h"
#include "library/browse/ShotListDataSource.h"
#include "model/SettingsManager.h"

namespace ombrel::cli {
namespace {
namespace fs = std::filesystem;

// The viewer of a project on the command line: the clip it names as open. When that clip
// leaves the list, the clip that takes its place opens, or the first, or none.
class ProjectViewer : public BrowseController {
public:
    ProjectViewer(const ShotListDataSource& list, std::optional<std::string> open)
        : list_(list), open_(std::move(open)) {}

    // Taken before the list changes: where the open clip stood.
    void NoteIndex() { index_ = GetCurrentFileIndex(); }
    const std::optional<std::string>& open() const { return open_; }

    void ResetToCurrentFile() override {
        if (!open_ || list_.GetIndexForPath(*open_) >= 0 || index_ < 0) return;
        const size_t at = static_cast<size_t>(index_) < list_.Count() ? static_cast<size_t>(index_) : 0;
        open_ = list_.GetPathAtIndex(at);
    }
    int GetCurrentFileIndex() override { return open_ ? list_.GetIndexForPath(*open_) : -1; }
    void SourceDriveChanged(const VolumeDescription&) override {}
    void RedisplayDriveTree() override {}
    void ShotListUpdated() override {}

private:
    const ShotListDataSource& list_;
    std::optional<std::string> open_;
    int index_ = -1;
};

std::string Absolute(const std::string& path) {
    std::error_code ec;
    std::string out = fs::absolute(path, ec).lexically_normal().string();
    if (out.size() > 1 && out.back() == '/') out.pop_back();
    return ec ? path : out;
}

// Adds one argument as a drop would; says why when nothing came of it.
bool AddArgument(ShotListDataSource& list, const std::string& arg) {
    const std::string path = Absolute(arg);
    std::error_code ec;
    if (!fs::exists(path, ec)) {
        std::fprintf(stderr, "ombrel project add: %s: no such file or folder\n", arg.c_str());
        return false;
    }
    if (fs::is_directory(path, ec)) {
        size_t clips = 0;
        WalkForClips(path, 0, INT_MAX, {}, [&](const std::string&) { ++clips; });
        if (list.LoadForPath(path) == 0)
            std::printf("%s: %s\n", arg.c_str(),
                        clips ? "every clip under it is in the shot list already" : "no clips under it");
        return true;
    }
    if (!IsBrowsableClip(path)) {
        std::fprintf(stderr,
                     "ombrel project add: %s is no clip (the first file of an R3D clip, or a movie of over "
                     "1000000 bytes) and no folder\n",
                     arg.c_str());
        return false;
    }
    if (!list.AddPath(path)) std::printf("%s: in the shot list already\n", arg.c_str());
    return true;
}

// The rows an argument names: a clip of the list by its path, or the clips under a folder.
std::vector<size_t> RowsNamed(const ShotListDataSource& list, const std::string& arg) {
    std::vector<size_t> rows;
    for (const std::string& path : {arg, Absolute(arg)}) {
        if (const int row = list.GetIndexForPath(path); row >= 0) return {static_cast<size_t>(row)};
    }
    std::string folder = Absolute(arg);
    if (folder != "/") folder += "/";
    for (size_t i = 0; i < list.Count(); ++i) {
        if (list.GetPathAtIndex(i)->rfind(folder, 0) == 0) rows.push_back(i);
    }
    return rows;
}

}  // namespace

int RunProjectEdit(const ProjectOptions& options) {
    const bool adding = options.action == ProjectOptions::Action::kAdd;
    const char* command = adding ? "ombrel project add" : "ombrel project remove";
    auto& settings = SettingsManager::Instance();
    std::error_code ec;
    PlistValue dict;
    ProjectState state;
    if (fs::exists(options.file, ec)) {
        Status read = ProjectFile::ReadPropertyList(options.file, &dict);
        if (read.ok()) read = ProjectFile::LoadProjectAtPath(options.file, &state, SettingsManager::Migration::kReadOnly);
        if (!read.ok()) {
            std::fprintf(stderr, "%s: cannot read the project %s; it is left as it is\n", command,
                         read.message().c_str());
            return kExitFailed;
        }
    } else if (!adding) {
        std::fprintf(stderr, "%s: %s: no such project\n", command, options.file.c_str());
        return kExitFailed;
    } else {
        settings.ClearSettingsManager();
        state.appVersion = OMBREL_VERSION;
        dict = ProjectFile::ProjectDictionary(state);
    }

    ShotListDataSource list;
    ProjectViewer viewer(list, state.currentOpenFile);
    for (const auto& path : state.paths) list.AddPath(path);
    list.LoadKVCFileSnippetsDictionary(state.snippetList);
    list.setGuiController(&viewer);
    const std::vector<std::string> before = settings.registeredPaths();

    bool failed = false;
    for (const auto& arg : options.paths) {
        if (adding) {
            failed = !AddArgument(list, arg) || failed;
            continue;
        }
        const std::vector<size_t> rows = RowsNamed(list, arg);
        if (rows.empty()) {
            std::fprintf(stderr, "%s: %s is not in the shot list of %s (ombrel project show lists it)\n", command,
                         arg.c_str(), options.file.c_str());
            failed = true;
            continue;
        }
        viewer.NoteIndex();
        list.RemovePathAtIndexesFromShotList(rows);
    }

    const std::vector<std::string> after = settings.registeredPaths();
    for (const auto& path : after)
        if (std::find(before.begin(), before.end(), path) == before.end()) std::printf("added: %s\n", path.c_str());
    PlistValue clips = dict["clips"].isDict() ? dict["clips"] : PlistValue::MakeDict();
    for (const auto& path : before) {
        if (std::find(after.begin(), after.end(), path) != after.end()) continue;
        std::printf("removed: %s\n", path.c_str());
        clips.erase(path);
    }
    if (before == after) {
        std::printf("%s: %s\n", options.file.c_str(), fs::exists(options.file, ec) ? "unchanged" : "not made");
        return failed ? kExitFailed : kExitOk;
    }

    PlistValue paths = PlistValue::MakeArray();
    for (const auto& path : after) paths.append(path);
    dict.set("Paths", std::move(paths));
    dict.set("clips", std::move(clips));
    dict.set("SnippetList", list.KVCFileSnippetsDictionary());
    if (viewer.open())
        dict.set("CurrentOpenFile", *viewer.open());
    else
        dict.erase("CurrentOpenFile");
    if (Status written = ProjectFile::WritePropertyList(dict, options.file); !written.ok()) {
        std::fprintf(stderr, "%s: %s\n", command, written.message().c_str());
        return kExitFailed;
    }
    std::printf("%s: %zu clip%s in the shot list\n", options.file.c_str(), list.Count(), list.Count() == 1 ? "" : "s");
    return failed ? kExitFailed : kExitOk;
}

}  // namespace ombrel::cli
