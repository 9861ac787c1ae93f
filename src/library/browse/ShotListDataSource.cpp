#include "library/browse/ShotListDataSource.h"

#include <algorithm>
#include <climits>

#include "core/Paths.h"
#include "model/SettingsManager.h"
#include "render/RenderManager.h"

namespace ombrel {

ShotListDataSource::ShotListDataSource() { shotList_.reserve(kInitialCapacity); }

void ShotListDataSource::setTables(ListView* renderTable, ListView* renderTableIcon) {
    renderTable_ = renderTable;
    renderTableIcon_ = renderTableIcon;
}

void ShotListDataSource::Redraw() {
    for (ListView* table : {renderTable_, renderTableIcon_}) {
        if (!table) continue;
        table->ReloadData();
        table->Display();
    }
}

bool ShotListDataSource::AddPath(const std::string& path) {
    if (path.empty() || GetIndexForPath(path) >= 0) return false;
    SettingsManager::Instance().RegisterPath(path);
    shotList_.push_back(FileSystemItem::MakeRoot(path));
    Redraw();
    NotifyChanges();
    return true;
}

size_t ShotListDataSource::LoadForPath(const std::string& path) {
    size_t added = 0;
    WalkForClips(path, 0, INT_MAX, {}, [&](const std::string& clip) { added += AddPath(clip) ? 1 : 0; });
    return added;
}

std::optional<std::string> ShotListDataSource::GetPathAtIndex(size_t index) const {
    if (index >= shotList_.size()) return std::nullopt;
    return shotList_[index]->fullPath();
}

int ShotListDataSource::GetIndexForPath(const std::string& path) const {
    for (size_t i = 0; i < shotList_.size(); ++i) {
        if (shotList_[i]->fullPath() == path) return static_cast<int>(i);
    }
    return -1;
}

void ShotListDataSource::RemoveIndexes(std::vector<size_t> indexes) {
    std::sort(indexes.begin(), indexes.end());
    indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
    for (auto it = indexes.rbegin(); it != indexes.rend(); ++it) {
        if (*it < shotList_.size()) shotList_.erase(shotList_.begin() + static_cast<ptrdiff_t>(*it));
    }
}

void ShotListDataSource::Delete(ListView* view) {
    if (!view) return;
    if (view == renderTable_ || view == renderTableIcon_) {
        RemoveIndexes(view->SelectedRowIndexes());
        UnregisterItemsRemoved();
        view->ReloadData();
        return;
    }
    RemovePathAtIndexesFromShotList(view->SelectedRowIndexes());
    UnregisterItemsRemoved();
}

void ShotListDataSource::RemovePathAtIndexesFromShotList(const std::vector<size_t>& indexes) {
    RemoveIndexes(indexes);
    UnregisterItemsRemoved();
    NotifyChanges();
}

void ShotListDataSource::RemoveAllItems() { shotList_.clear(); }

void ShotListDataSource::UnregisterItemsRemoved() {
    auto& settings = SettingsManager::Instance();
    std::vector<std::string> gone;
    for (const auto& path : settings.registeredPaths()) {
        if (GetIndexForPath(path) < 0) gone.push_back(path);
    }
    for (const auto& path : gone) {
        for (auto it = fileSnippets_.begin(); it != fileSnippets_.end();) {
            it = it->second && it->second->sourcePath() == path ? fileSnippets_.erase(it) : std::next(it);
        }
        settings.UnRegisterPath(path);
    }
    if (guiController_) guiController_->ResetToCurrentFile();
}

void ShotListDataSource::NotifyChanges() {
    if (guiController_) guiController_->ShotListUpdated();
}

void ShotListDataSource::SelectAll(ListView* view) {
    if (!view) return;
    std::vector<size_t> rows(shotList_.size());
    for (size_t i = 0; i < rows.size(); ++i) rows[i] = i;
    view->SelectRowIndexes(rows);
}

void ShotListDataSource::SelectRight(ListView* view) {
    if (!view) return;
    const auto selected = view->SelectedRowIndexes();
    size_t first = shotList_.size();
    if (!selected.empty()) {
        first = *std::min_element(selected.begin(), selected.end());
    } else if (guiController_) {
        const int current = guiController_->GetCurrentFileIndex();
        if (current >= 0 && static_cast<size_t>(current) < shotList_.size()) first = static_cast<size_t>(current);
    }
    std::vector<size_t> rows;
    for (size_t i = first; i < shotList_.size(); ++i) rows.push_back(i);
    if (!rows.empty()) view->SelectRowIndexes(rows);
}

PlistValue ShotListDataSource::KVCFileSnippetsDictionary() const {
    PlistValue dict = PlistValue::MakeDict();
    for (const auto& [key, file] : fileSnippets_) {
        if (file) dict.set(key, file->KVCDictionary());
    }
    return dict;
}

void ShotListDataSource::LoadKVCFileSnippetsDictionary(const PlistValue& dict) {
    std::map<std::string, FCPFilePtr> loaded;
    for (const auto& [key, entry] : dict.asDict()) {
        auto file = std::make_shared<FCPFile>();
        file->LoadFromKVCDictionary(entry);
        loaded[key] = std::move(file);
    }
    fileSnippets_ = std::move(loaded);
}

RenderRowLook ShotListDataSource::RenderTableRow(size_t row) const {
    if (row >= shotList_.size()) return {};
    const FileSystemItemPtr& item = shotList_[row];
    const std::string path = item->fullPath();
    ProgressCell cell;
    cell.title = LastPathComponent(path);
    ClipSettingsPtr settings = SettingsManager::Instance().SettingsForClip(path);
    if (settings) {
        if (settings->totalFrames() <= 0.0f) settings->setTotalFrames(static_cast<float>(item->FrameCount()));
        cell.snippets = settings->snippets();
        cell.totalFrames = settings->totalFrames();
        cell.flaggedFrameCount = settings->flaggedFrameCount();
        cell.acquired = settings->acquired();
        cell.framesRendered = settings->framesRendered();
        cell.userFrameIn = settings->userFrameIn();
        cell.userFrameOut = settings->userFrameOut();
        cell.errorState = settings->errorState();
    } else {
        cell.totalFrames = static_cast<float>(item->FrameCount());
    }
    for (const auto& queued : RenderManager::Instance().renderQueue()) {
        if (queued && queued->filePath() == path) cell.renderErrorMsg = queued->errorMessage();
    }
    return RenderRowForCell(cell);
}

std::string ShotListDataSource::DestPathForRow(size_t row) const {
    const auto path = GetPathAtIndex(row);
    return path ? RenderManager::Instance().DestPathForPath(*path) : std::string();
}

}  // namespace ombrel
