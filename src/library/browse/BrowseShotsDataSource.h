#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "library/ClipMetadata.h"
#include "library/browse/BrowseViews.h"
#include "library/browse/FileSystemItem.h"
#include "platform/imageio/Image.h"

namespace ombrel {

class ShotListDataSource;
class OneShotTimer;

// What the overlay of a long scan shows: the box, its spinner and its cancel button.
struct ScanOverlay {
    bool shown = false;
    bool spinning = false;
    bool cancelEnabled = false;
    bool operator==(const ScanOverlay&) const = default;
};

// The clips found under the chosen folder. A scan runs on a thread of its own and delivers
// clips as it finds them; the overlay appears when it takes longer than half a second, and
// the trees are disabled while it runs. The table calls and every callback run on the main
// thread; the list of clips found is shared with the scan thread under a lock.
class BrowseShotsDataSource {
public:
    static constexpr size_t kInitialCapacity = 1000;
    // The chosen folder and three levels of folders below it.
    static constexpr int kScanLevels = 4;
    static constexpr std::chrono::milliseconds kOverlayDelay{500};
    // Column identifiers of the found list.
    enum Column { kNameColumn = 0, kThumbnailColumn = 2, kOtherNameColumn = 3 };

    BrowseShotsDataSource();
    // Cancels a scan and waits for its thread.
    ~BrowseShotsDataSource();
    BrowseShotsDataSource(const BrowseShotsDataSource&) = delete;
    BrowseShotsDataSource& operator=(const BrowseShotsDataSource&) = delete;

    // The shot list that found clips are added to, and the two tables to refresh during a
    // scan and to tell of thumbnails.
    void SetShotListDataSourceForTableAndTable(ShotListDataSource* shotList, ListView* table, ListView* tableIcon);
    void setTrees(ListView* fileTree, ListView* driveTree);
    // Told whenever the overlay changes.
    void setOverlayChanged(std::function<void(const ScanOverlay&)> changed) { overlayChanged_ = std::move(changed); }
    // How deep a scan looks (kScanLevels; a drop's rule, no limit, for the command line).
    void setScanLevels(int levels) { scanLevels_ = levels; }
    void setOverlayDelay(std::chrono::milliseconds delay) { overlayDelay_ = delay; }

    // Starts a scan of `path` (main thread). A scan still running is cancelled first.
    void LoadForPath(const std::string& path);
    // The scan's walk: clips at `path` or under it, from `level` up to the scan's depth.
    void LoadForPathAtlevel(const std::string& path, int level);
    // Asks the scan to stop; what it found stays.
    void CancelScan();
    bool isScanning() const { return isScanning_.load(); }
    bool shouldCancelScan() const { return shouldCancelScan_.load(); }
    std::chrono::system_clock::time_point selectionChangedDate() const;
    void ShowOverlay();
    void HideOverlay();
    const ScanOverlay& overlay() const { return overlay_; }

    // The table protocol.
    size_t NumberOfRows() const;
    std::vector<FileSystemItemPtr> ShotsFound() const;
    FileSystemItemPtr ItemAtIndex(size_t index) const;
    std::optional<std::string> GetPathAtIndex(size_t index) const;
    // Columns 0 and 3: the display name.
    std::string TextForCell(size_t row, int column) const;
    // Column 2: the thumbnail (the placeholder until it is made; the icon table is told then).
    ImagePtr ImageForCell(size_t row, int column);

    // Asks for the clip's record and thumbnail for both tables, then adds it to the shot list.
    void AddPathAtIndexToShotList(size_t index);
    // The icon view's double click: every selected clip goes to the shot list.
    void DoubleClick(ListView* iconView);
    // A drag from the list: the records are asked for, the paths offered.
    std::vector<std::string> DraggedPaths(const std::vector<size_t>& rows);
    // A drop on the list: one scan of every path dropped.
    void AcceptDrop(const std::vector<std::string>& paths);

private:
    class TableObserver;

    void StartScan(std::vector<std::string> paths);
    void StopScanThread();
    void ReloadTables();
    void SetOverlay(const ScanOverlay& overlay);
    void SetTreesEnabled(bool enabled);
    void RequestMetadata(const std::string& path);
    // Runs `fn` on the main thread unless this object has gone by then.
    void OnMain(std::function<void()> fn);

    mutable std::mutex lock_;  // shotsFound_, selectionChangedDate_
    std::vector<FileSystemItemPtr> shotsFound_;
    std::chrono::system_clock::time_point selectionChangedDate_{};
    std::atomic<bool> isScanning_{false};
    std::atomic<bool> shouldCancelScan_{false};
    std::atomic<bool> stopThread_{false};
    std::atomic<uint64_t> generation_{0};
    int scanLevels_ = kScanLevels;
    std::chrono::milliseconds overlayDelay_ = kOverlayDelay;

    ShotListDataSource* shotListDataSource_ = nullptr;
    ListView* shotListTable_ = nullptr;
    ListView* shotListTableIcon_ = nullptr;
    std::shared_ptr<TableObserver> tableObserver_;
    std::shared_ptr<TableObserver> iconObserver_;
    ListView* fileTree_ = nullptr;
    ListView* driveTree_ = nullptr;
    ScanOverlay overlay_;
    std::function<void(const ScanOverlay&)> overlayChanged_;
    std::unique_ptr<OneShotTimer> overlayDelayTimer_;
    std::shared_ptr<int> alive_ = std::make_shared<int>(0);
    std::thread scanThread_;
};

}  // namespace ombrel
