#include <filesystem>
#include <vector>

#include "core/Log.h"
#include "editorial/Coverage.h"
#include "library/FileParser.h"
#include "model/SettingsManager.h"
#include "shell/logic/GuiController.h"

namespace ombrel {

void GuiController::FindMissingFiles() {
    std::vector<MissingFile> missing;
    for (const FileSystemItemPtr& item : shotList_.List()) {
        const std::string path = item->FullPath();
        std::error_code ec;
        if (path.empty() || std::filesystem::exists(path, ec)) continue;
        MissingFile m;
        m.path = path;
        m.fsItem = item;
        missing.push_back(std::move(m));
    }
    const std::string folder = FileParser::BrowseFromPathNeedDirectoryNeedFileTitle(
        "", true, false, "Choose a directory to search for missing files");
    if (!folder.empty()) CheckForMissingFileList(folder, missing);
    int found = 0;
    for (const MissingFile& m : missing) {
        // Two gone clips may find one file; the list holds a path once, so the second stays missing.
        if (m.foundPath.empty() || shotList_.GetIndexForPath(m.foundPath) >= 0) continue;
        Log()->info("Found {} at {}", m.path, m.foundPath);
        SettingsManager::Instance().ReplacePathWithPath(m.path, m.foundPath);
        static_cast<FileSystemItem*>(m.fsItem.get())->ChangeFilePath(m.foundPath);
        for (auto& [key, file] : shotList_.fileSnippets())
            if (file && file->sourcePath() == m.path) file->setSourcePath(m.foundPath);
        ++found;
    }
    if (found > 0) {
        shotList_.NotifyChanges();
        ShotListUpdated();
        c_.shotListTableIcon->ReloadData();
    }
    Autosave();
}

}  // namespace ombrel
