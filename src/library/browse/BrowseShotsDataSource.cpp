#include "library/browse/BrowseShotsDataSource.h"

#include <condition_variable>

#include "core/MainQueue.h"
#include "library/FileParser.h"
#include "library/MetadataCache.h"
#include "library/browse/ShotListDataSource.h"

namespace ombrel {

// Runs a job on the main thread once, after a delay, unless invalidated first.
class OneShotTimer {
public:
    OneShotTimer(std::chrono::milliseconds delay, std::function<void()> fire) {
        thread_ = std::thread([this, delay, fire = std::move(fire)] {
            std::unique_lock hold(lock_);
            if (wake_.wait_for(hold, delay, [this] { return invalid_; })) return;
            MainQueue::Instance().RunAsync(fire);
        });
    }
    ~OneShotTimer() {
        Invalidate();
        thread_.join();
    }
    void Invalidate() {
        {
            std::lock_guard hold(lock_);
            invalid_ = true;
        }
        wake_.notify_all();
    }

private:
    std::mutex lock_;
    std::condition_variable wake_;
    bool invalid_ = false;
    std::thread thread_;
};

// A table that redraws when a record it showed has more to show.
class BrowseShotsDataSource::TableObserver : public MetadataObserver {
public:
    explicit TableObserver(ListView* view) : view_(view) {}
    void SetNeedsDisplay(const std::string&) override {
        if (view_) view_->Display();
    }

private:
    ListView* view_;
};

BrowseShotsDataSource::BrowseShotsDataSource() { shotsFound_.reserve(kInitialCapacity); }

BrowseShotsDataSource::~BrowseShotsDataSource() {
    StopScanThread();
    overlayDelayTimer_.reset();
}

void BrowseShotsDataSource::SetShotListDataSourceForTableAndTable(ShotListDataSource* shotList, ListView* table,
                                                                  ListView* tableIcon) {
    shotListDataSource_ = shotList;
    shotListTable_ = table;
    shotListTableIcon_ = tableIcon;
    tableObserver_ = std::make_shared<TableObserver>(table);
    iconObserver_ = std::make_shared<TableObserver>(tableIcon);
}

void BrowseShotsDataSource::setTrees(ListView* fileTree, ListView* driveTree) {
    fileTree_ = fileTree;
    driveTree_ = driveTree;
}

void BrowseShotsDataSource::OnMain(std::function<void()> fn) {
    std::weak_ptr<int> alive = alive_;
    MainQueue::Instance().RunAsync([alive, fn = std::move(fn)] {
        if (!alive.expired()) fn();
    });
}

void BrowseShotsDataSource::ReloadTables() {
    for (ListView* table : {shotListTable_, shotListTableIcon_}) {
        if (!table) continue;
        table->ReloadData();
        table->Display();
    }
}

void BrowseShotsDataSource::SetOverlay(const ScanOverlay& overlay) {
    overlay_ = overlay;
    if (overlayChanged_) overlayChanged_(overlay_);
}

void BrowseShotsDataSource::SetTreesEnabled(bool enabled) {
    for (ListView* tree : {fileTree_, driveTree_})
        if (tree) tree->SetEnabled(enabled);
}

std::chrono::system_clock::time_point BrowseShotsDataSource::selectionChangedDate() const {
    std::lock_guard hold(lock_);
    return selectionChangedDate_;
}

void BrowseShotsDataSource::LoadForPath(const std::string& path) { StartScan({path}); }

void BrowseShotsDataSource::AcceptDrop(const std::vector<std::string>& paths) {
    if (!paths.empty()) StartScan(paths);
}

void BrowseShotsDataSource::StopScanThread() {
    if (!scanThread_.joinable()) return;
    stopThread_ = true;
    scanThread_.join();
    stopThread_ = false;
}

void BrowseShotsDataSource::StartScan(std::vector<std::string> paths) {
    StopScanThread();
    isScanning_ = true;
    std::weak_ptr<int> alive = alive_;
    overlayDelayTimer_.reset();
    overlayDelayTimer_ = std::make_unique<OneShotTimer>(overlayDelay_, [this, alive] {
        if (!alive.expired()) ShowOverlay();
    });
    SetTreesEnabled(false);
    {
        std::lock_guard hold(lock_);
        selectionChangedDate_ = std::chrono::system_clock::now();
        shotsFound_.clear();
    }
    const uint64_t generation = ++generation_;
    scanThread_ = std::thread([this, paths = std::move(paths), generation] {
        shouldCancelScan_ = false;
        for (const auto& path : paths) LoadForPathAtlevel(path, 0);
        // A scan that was replaced leaves the overlay to its successor.
        OnMain([this, generation] {
            if (generation != generation_.load()) return;
            HideOverlay();
            ReloadTables();
        });
    });
}

void BrowseShotsDataSource::LoadForPathAtlevel(const std::string& path, int level) {
    WalkForClips(
        path, level, scanLevels_, [this] { return shouldCancelScan_.load() || stopThread_.load(); },
        [this](const std::string& clip) {
            {
                std::lock_guard hold(lock_);
                shotsFound_.push_back(FileSystemItem::MakeRoot(clip));
            }
            OnMain([this] { ReloadTables(); });
        });
}

void BrowseShotsDataSource::CancelScan() { shouldCancelScan_ = true; }

void BrowseShotsDataSource::ShowOverlay() {
    if (!isScanning_) return;
    SetOverlay({true, true, true});
}

void BrowseShotsDataSource::HideOverlay() {
    if (overlayDelayTimer_) overlayDelayTimer_->Invalidate();
    isScanning_ = false;
    SetOverlay({false, false, false});
    SetTreesEnabled(true);
}

size_t BrowseShotsDataSource::NumberOfRows() const {
    std::lock_guard hold(lock_);
    return shotsFound_.size();
}

std::vector<FileSystemItemPtr> BrowseShotsDataSource::ShotsFound() const {
    std::lock_guard hold(lock_);
    return shotsFound_;
}

FileSystemItemPtr BrowseShotsDataSource::ItemAtIndex(size_t index) const {
    std::lock_guard hold(lock_);
    return index < shotsFound_.size() ? shotsFound_[index] : nullptr;
}

std::optional<std::string> BrowseShotsDataSource::GetPathAtIndex(size_t index) const {
    const FileSystemItemPtr item = ItemAtIndex(index);
    if (!item) return std::nullopt;
    return item->fullPath();
}

std::string BrowseShotsDataSource::TextForCell(size_t row, int column) const {
    const auto path = GetPathAtIndex(row);
    if (!path || (column != kNameColumn && column != kOtherNameColumn)) return {};
    return FileParser::DisplayNameForPath(*path);
}

ImagePtr BrowseShotsDataSource::ImageForCell(size_t row, int column) {
    const auto path = GetPathAtIndex(row);
    if (!path || column != kThumbnailColumn) return nullptr;
    return MetadataCache::RequestThumbNotify(*path, iconObserver_);
}

void BrowseShotsDataSource::RequestMetadata(const std::string& path) {
    auto& cache = MetadataCache::Instance();
    cache.MetadataForPathWithThumbnailNotifyDiscard(path, true, tableObserver_, false);
    cache.MetadataForPathWithThumbnailNotifyDiscard(path, true, iconObserver_, false);
}

void BrowseShotsDataSource::AddPathAtIndexToShotList(size_t index) {
    const auto path = GetPathAtIndex(index);
    if (!path) return;
    RequestMetadata(*path);
    if (shotListDataSource_) shotListDataSource_->AddPath(*path);
    ReloadTables();
}

void BrowseShotsDataSource::DoubleClick(ListView* iconView) {
    if (!iconView) return;
    for (size_t row : iconView->SelectedRowIndexes()) AddPathAtIndexToShotList(row);
}

std::vector<std::string> BrowseShotsDataSource::DraggedPaths(const std::vector<size_t>& rows) {
    std::vector<std::string> paths;
    for (size_t row : rows) {
        if (auto path = GetPathAtIndex(row)) {
            RequestMetadata(*path);
            paths.push_back(*path);
        }
    }
    return paths;
}

}  // namespace ombrel
