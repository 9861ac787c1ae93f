#pragma once

#include <QButtonGroup>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>
#include <QTreeView>
#include <QWidget>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "library/browse/BrowseShotsDataSource.h"
#include "library/browse/DataSource.h"
#include "library/browse/DriveDataSource.h"
#include "shell/BrowseModels.h"
#include "shell/logic/GuiController.h"

namespace ombrel {

// The toolkit's list of mounted file systems.
class QtVolumeLister : public VolumeLister {
public:
    std::vector<MountEntry> MountedVolumes() override;
};

// Asks a lister every two seconds on the main thread and reports the local volumes that came
// or went since the last answer.
class VolumePoller : public QObject {
public:
    static constexpr int kIntervalMs = 2000;
    using Changed = std::function<void(const std::string& path, bool mounted)>;

    VolumePoller(VolumeLister* lister, Changed changed, QObject* parent = nullptr);
    // The volumes of the new lister are the known ones; none are reported.
    void setLister(VolumeLister* lister);
    void Poll();

private:
    std::vector<std::string> LocalPoints() const;

    VolumeLister* lister_;
    Changed changed_;
    std::vector<std::string> known_;
    QTimer timer_;
};

// The browse tab: volumes and the folder tree on the left, the clips found under the chosen
// folder, and the shot list, each as a list or as icons. It is the volume list's controller;
// the shot list's is the window's GuiController.
class BrowseTab : public QWidget, public BrowseController {
public:
    explicit BrowseTab(GuiController& controller, QWidget* parent = nullptr);
    ~BrowseTab() override;

    // The tables GuiController drives (its shotListTable, shotListTableIcon, shotsFoundTableIcon).
    ListView* shotListTablePort() { return shotListPort_.get(); }
    ListView* shotListTableIconPort() { return shotListIconPort_.get(); }
    ListView* shotsFoundTableIconPort() { return foundIconPort_.get(); }
    // Links the sources and tables and chooses the home folder; after the controller has its controls.
    void Wire();

    // Shows the page of shotsTabView or shotListTabView whose index is the tag of the radio chosen.
    void BrowseTabChanged(QButtonGroup* radio);
    void didMount(const std::string& path);
    void didUnmount(const std::string& path);
    // Volumes come from `lister` from now on (not owned; null: the toolkit's).
    void setVolumeLister(VolumeLister* lister);
    void PollVolumes() { poller_->Poll(); }

    // BrowseController.
    void ResetToCurrentFile() override { controller_.ResetToCurrentFile(); }
    int GetCurrentFileIndex() override { return controller_.GetCurrentFileIndex(); }
    void SourceDriveChanged(const VolumeDescription& volume) override;
    void RedisplayDriveTree() override;
    void ShotListUpdated() override { controller_.ShotListUpdated(); }

    DriveDataSource& drives() { return drives_; }
    BrowseShotsDataSource& shots() { return shots_; }
    ClipListModel* foundModel() const { return foundModel_; }
    ClipListModel* shotListModel() const { return shotListModel_; }
    FolderTreeModel* folderModel() const { return folderModel_; }
    DriveTreeModel* driveModel() const { return driveModel_; }

private:
    QWidget* BuildTrees();
    QWidget* BuildClipList(const char* title, const char* radioName, const char* tabName, const char* tableName,
                           const char* iconName, ClipListModel* model, QButtonGroup** radio, QStackedWidget** tabs,
                           ClipListView* views[2]);
    void ShowOverlay(const ScanOverlay& overlay);
    void AddSelectedToShotList();

    GuiController& controller_;
    DriveDataSource drives_;
    DataSource folders_;
    QtVolumeLister qtLister_;
    VolumePoller* poller_ = nullptr;

    QStackedWidget* driveTreeTab_ = nullptr;
    QTreeView* driveTree_ = nullptr;
    QTreeView* fileTree_ = nullptr;
    QLabel* currentDriveIcon_ = nullptr;
    QLabel* currentDriveLabel_ = nullptr;
    QButtonGroup* shotsFoundRadio_ = nullptr;
    QButtonGroup* shotListRadio_ = nullptr;
    QStackedWidget* shotsTabView_ = nullptr;
    QStackedWidget* shotListTabView_ = nullptr;
    ClipListView* found_[2] = {};
    ClipListView* shotList_[2] = {};
    QWidget* overlayBox_ = nullptr;
    QProgressBar* overlaySpinner_ = nullptr;
    QPushButton* overlayCancelButton_ = nullptr;

    DriveTreeModel* driveModel_ = nullptr;
    FolderTreeModel* folderModel_ = nullptr;
    ClipListModel* foundModel_ = nullptr;
    ClipListModel* shotListModel_ = nullptr;
    std::unique_ptr<ItemViewPort> driveTreePort_, fileTreePort_, foundPort_, foundIconPort_, shotListPort_,
        shotListIconPort_;
    // Declared last so it goes first: its scan thread posts to the ports above until it stops.
    BrowseShotsDataSource shots_;
};

}  // namespace ombrel
