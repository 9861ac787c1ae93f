#include "shell/BrowseTab.h"

#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QRadioButton>
#include <QSplitter>
#include <QStorageInfo>
#include <QVBoxLayout>

#include <algorithm>

#include "core/Paths.h"

namespace ombrel {

std::vector<MountEntry> QtVolumeLister::MountedVolumes() {
    std::vector<MountEntry> entries;
    for (const QStorageInfo& info : QStorageInfo::mountedVolumes()) {
        if (!info.isValid()) continue;
        MountEntry e;
        // The toolkit tells no bind mounts apart; every entry counts as a whole file system.
        e.root = "/";
        e.mountPoint = info.rootPath().toStdString();
        e.fsType = info.fileSystemType().toStdString();
        e.source = info.device().toStdString();
        entries.push_back(std::move(e));
    }
    return entries;
}

VolumePoller::VolumePoller(VolumeLister* lister, Changed changed, QObject* parent)
    : QObject(parent), lister_(lister), changed_(std::move(changed)), known_(LocalPoints()) {
    timer_.setInterval(kIntervalMs);
    connect(&timer_, &QTimer::timeout, this, [this] { Poll(); });
    timer_.start();
}

void VolumePoller::setLister(VolumeLister* lister) {
    lister_ = lister;
    known_ = LocalPoints();
}

std::vector<std::string> VolumePoller::LocalPoints() const {
    std::vector<std::string> points;
    if (!lister_) return points;
    for (const auto& entry : LocalVolumes(lister_->MountedVolumes())) points.push_back(entry.mountPoint);
    return points;
}

void VolumePoller::Poll() {
    std::vector<std::string> now = LocalPoints();
    if (now == known_) return;
    const std::vector<std::string> before = std::exchange(known_, now);
    for (const auto& point : before)
        if (std::find(now.begin(), now.end(), point) == now.end()) changed_(point, false);
    for (const auto& point : now)
        if (std::find(before.begin(), before.end(), point) == before.end()) changed_(point, true);
}

namespace {

ClipListView* ClipView(const char* name, bool icons, QWidget* parent) {
    auto* v = new ClipListView(parent);
    v->setObjectName(name);
    v->setSelectionMode(QAbstractItemView::ExtendedSelection);
    v->setUniformItemSizes(true);
    if (icons) {
        v->setViewMode(QListView::IconMode);
        v->setIconSize(QSize(160, 90));
        v->setGridSize(QSize(184, 128));
        v->setResizeMode(QListView::Adjust);
        v->setMovement(QListView::Static);
        v->setWordWrap(true);
    } else {
        v->setIconSize(QSize(48, 27));
    }
    return v;
}

// Page indexes of driveTreeTab: its page "1" holds the folders of a volume, "2" the volumes.
constexpr int kFolderPage = 0;
constexpr int kVolumePage = 1;

}  // namespace

BrowseTab::BrowseTab(GuiController& controller, QWidget* parent) : QWidget(parent), controller_(controller) {
    setObjectName("browseTab");
    drives_.setVolumeLister(&qtLister_);
    drives_.setGuiController(this);
    driveModel_ = new DriveTreeModel(&drives_, this);
    folderModel_ = new FolderTreeModel(&folders_, this);
    foundModel_ = new ClipListModel(
        {[this] {
             std::vector<std::string> paths;
             for (const auto& item : shots_.ShotsFound()) paths.push_back(item->fullPath());
             return paths;
         },
         [this](const std::vector<size_t>& rows) { return shots_.DraggedPaths(rows); },
         [this](const std::vector<std::string>& paths) { shots_.AcceptDrop(paths); }},
        this);
    ShotListDataSource& list = controller_.shotList();
    shotListModel_ = new ClipListModel(
        {[&list] {
             std::vector<std::string> paths;
             for (const auto& item : list.List()) paths.push_back(item->fullPath());
             return paths;
         },
         nullptr,
         [&list](const std::vector<std::string>& paths) {
             for (const auto& path : paths) list.LoadForPath(path);
         }},
        this);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* split = new QSplitter(Qt::Horizontal, this);
    split->addWidget(BuildTrees());
    split->addWidget(BuildClipList("Clips Found", "shotsFoundRadio", "shotsTabView", "shotsFoundTable",
                                   "shotsFoundTableIcon", foundModel_, &shotsFoundRadio_, &shotsTabView_, found_));
    split->addWidget(BuildClipList("Shot List", "shotListRadio", "shotListTabView", "shotListTable",
                                   "shotListTableIcon", shotListModel_, &shotListRadio_, &shotListTabView_, shotList_));
    split->setStretchFactor(0, 2);
    split->setStretchFactor(1, 3);
    split->setStretchFactor(2, 3);
    layout->addWidget(split);

    const auto port = [](QAbstractItemView* view, std::function<void()> reload) {
        return std::make_unique<ItemViewPort>(view, std::move(reload));
    };
    driveTreePort_ = port(driveTree_, [this] { RedisplayDriveTree(); });
    fileTreePort_ = port(fileTree_, [this] { folderModel_->Reset(); });
    foundPort_ = port(found_[0], [this] { foundModel_->Reload(); });
    foundIconPort_ = port(found_[1], [this] { foundModel_->Reload(); });
    shotListPort_ = port(shotList_[0], [this] { shotListModel_->Reload(); });
    shotListIconPort_ = port(shotList_[1], [this] { shotListModel_->Reload(); });
    for (ClipListView* v : found_) {
        foundModel_->AddView(v);
        v->setDragEnabled(true);
        v->setAcceptDrops(true);
        v->setDragDropMode(QAbstractItemView::DragDrop);
        v->setDefaultDropAction(Qt::CopyAction);
    }
    connect(found_[0], &QListView::doubleClicked, this, [this] { shots_.DoubleClick(foundPort_.get()); });
    connect(found_[1], &QListView::doubleClicked, this, [this] { shots_.DoubleClick(foundIconPort_.get()); });
    ItemViewPort* shotPorts[2] = {shotListPort_.get(), shotListIconPort_.get()};
    for (int i = 0; i < 2; ++i) {
        ClipListView* v = shotList_[i];
        shotListModel_->AddView(v);
        v->setAcceptDrops(true);
        v->setDragDropMode(QAbstractItemView::DropOnly);
        v->setDefaultDropAction(Qt::CopyAction);
        ItemViewPort* p = shotPorts[i];
        v->setDeleteHandler([this, p] { controller_.shotList().Delete(p); });
    }

    // Volumes: the toolkit is asked on the main thread; news is handled as a mount notification.
    poller_ = new VolumePoller(&qtLister_, [this](const std::string& path, bool mounted) {
        mounted ? didMount(path) : didUnmount(path);
    }, this);
}

BrowseTab::~BrowseTab() {
    shots_.CancelScan();
    drives_.setGuiController(nullptr);
}

QWidget* BrowseTab::BuildTrees() {
    auto* box = new QWidget(this);
    auto* l = new QVBoxLayout(box);
    l->setContentsMargins(0, 0, 0, 0);
    auto* head = new QHBoxLayout;
    currentDriveIcon_ = new QLabel(box);
    currentDriveIcon_->setObjectName("currentDriveIcon");
    currentDriveIcon_->setFixedSize(20, 20);
    currentDriveLabel_ = new QLabel(box);
    currentDriveLabel_->setObjectName("currentDriveLabel");
    auto* volumes = new QPushButton("Volumes", box);
    volumes->setObjectName("volumesButton");
    volumes->setFocusPolicy(Qt::NoFocus);
    connect(volumes, &QPushButton::clicked, this, [this] { driveTreeTab_->setCurrentIndex(kVolumePage); });
    head->addWidget(currentDriveIcon_);
    head->addWidget(currentDriveLabel_, 1);
    head->addWidget(volumes);
    l->addLayout(head);

    driveTreeTab_ = new QStackedWidget(box);
    driveTreeTab_->setObjectName("driveTreeTab");
    fileTree_ = new QTreeView(driveTreeTab_);
    fileTree_->setObjectName("fileTree");
    fileTree_->setModel(folderModel_);
    fileTree_->setHeaderHidden(true);
    fileTree_->setDragEnabled(true);
    fileTree_->setDragDropMode(QAbstractItemView::DragOnly);
    folderModel_->setExpandedTest([this](const QModelIndex& index) { return fileTree_->isExpanded(index); });
    connect(fileTree_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex& current) { folders_.SelectionDidChange(folderModel_->itemAt(current)); });
    driveTree_ = new QTreeView(driveTreeTab_);
    driveTree_->setObjectName("driveTree");
    driveTree_->setModel(driveModel_);
    driveTree_->setHeaderHidden(true);
    const auto choose = [this](const QModelIndex& index) {
        const int volume = driveModel_->volumeAt(index);
        if (volume >= 0) drives_.SelectVolume(static_cast<size_t>(volume));
    };
    connect(driveTree_, &QTreeView::clicked, this, choose);
    connect(driveTree_, &QTreeView::activated, this, choose);
    driveTreeTab_->insertWidget(kFolderPage, fileTree_);
    driveTreeTab_->insertWidget(kVolumePage, driveTree_);
    l->addWidget(driveTreeTab_, 1);

    auto* add = new QPushButton("Add Folder...", box);
    add->setObjectName("addFolderButton");
    connect(add, &QPushButton::clicked, this, [this] {
        const QString dir = QFileDialog::getExistingDirectory(this, "Choose a folder of clips");
        if (dir.isEmpty()) return;
        controller_.shotList().LoadForPath(dir.toStdString());
        controller_.ShotListUpdated();
    });
    l->addWidget(add);
    return box;
}

QWidget* BrowseTab::BuildClipList(const char* title, const char* radioName, const char* tabName, const char* tableName,
                                  const char* iconName, ClipListModel* model, QButtonGroup** radio,
                                  QStackedWidget** tabs, ClipListView* views[2]) {
    auto* box = new QWidget(this);
    auto* l = new QVBoxLayout(box);
    l->setContentsMargins(0, 0, 0, 0);
    auto* head = new QHBoxLayout;
    head->addWidget(new QLabel(title, box), 1);
    auto* radioBox = new QWidget(box);
    radioBox->setObjectName(radioName);
    auto* radioLayout = new QHBoxLayout(radioBox);
    radioLayout->setContentsMargins(0, 0, 0, 0);
    *radio = new QButtonGroup(radioBox);
    const char* cells[2] = {"List", "Icons"};
    for (int tag = 0; tag < 2; ++tag) {
        auto* cell = new QRadioButton(cells[tag], radioBox);
        cell->setObjectName(QString(radioName) + cells[tag]);
        cell->setChecked(tag == 0);
        (*radio)->addButton(cell, tag);
        radioLayout->addWidget(cell);
    }
    QButtonGroup* group = *radio;
    connect(group, &QButtonGroup::idClicked, this, [this, group] { BrowseTabChanged(group); });
    head->addWidget(radioBox);
    l->addLayout(head);

    auto* stack = new QWidget(box);
    auto* grid = new QGridLayout(stack);
    grid->setContentsMargins(0, 0, 0, 0);
    *tabs = new QStackedWidget(stack);
    (*tabs)->setObjectName(tabName);
    views[0] = ClipView(tableName, false, *tabs);
    views[1] = ClipView(iconName, true, *tabs);
    for (ClipListView* v : {views[0], views[1]}) {
        v->setModel(model);
        (*tabs)->addWidget(v);
    }
    grid->addWidget(*tabs, 0, 0);
    if (model == foundModel_) {
        // The overlay of a long scan lies over the found clips.
        overlayBox_ = new QWidget(stack);
        overlayBox_->setObjectName("overlayBox");
        overlayBox_->setAutoFillBackground(true);
        auto* o = new QVBoxLayout(overlayBox_);
        auto* text = new QLabel("Searching for clips...", overlayBox_);
        overlaySpinner_ = new QProgressBar(overlayBox_);
        overlaySpinner_->setObjectName("overlaySpinner");
        overlaySpinner_->setTextVisible(false);
        overlaySpinner_->setRange(0, 1);
        overlayCancelButton_ = new QPushButton("Cancel", overlayBox_);
        overlayCancelButton_->setObjectName("overlayCancelButton");
        overlayCancelButton_->setEnabled(false);
        connect(overlayCancelButton_, &QPushButton::clicked, this, [this] { shots_.CancelScan(); });
        o->addWidget(text);
        o->addWidget(overlaySpinner_);
        o->addWidget(overlayCancelButton_);
        overlayBox_->hide();
        grid->addWidget(overlayBox_, 0, 0, Qt::AlignCenter);
    }
    l->addWidget(stack, 1);
    if (model == foundModel_) {
        auto* add = new QPushButton("Add to Shot List", box);
        add->setObjectName("addToShotListButton");
        connect(add, &QPushButton::clicked, this, [this] { AddSelectedToShotList(); });
        l->addWidget(add);
    }
    return box;
}

void BrowseTab::Wire() {
    folders_.SetBrowseShotsDataSourceForTableAndTable(&shots_, foundPort_.get(), foundIconPort_.get());
    // The found list's own tables reload as clips are found; the shot list redraws itself.
    shots_.SetShotListDataSourceForTableAndTable(&controller_.shotList(), foundPort_.get(), foundIconPort_.get());
    shots_.setTrees(fileTreePort_.get(), driveTreePort_.get());
    shots_.setOverlayChanged([this](const ScanOverlay& o) { ShowOverlay(o); });
    drives_.Reload();
    RedisplayDriveTree();
    const std::string home = HomeFolder();
    const auto& volumes = drives_.volumes();
    for (size_t i = 0; i < volumes.size(); ++i) {
        if (volumes[i].path != home) continue;
        driveTree_->setCurrentIndex(driveModel_->indexOfVolume(i));
        drives_.SelectVolume(i);
        break;
    }
    shotListModel_->Reload();
}

void BrowseTab::BrowseTabChanged(QButtonGroup* radio) {
    QStackedWidget* tabs = radio == shotsFoundRadio_ ? shotsTabView_ : shotListTabView_;
    if (radio->checkedId() >= 0 && radio->checkedId() < tabs->count()) tabs->setCurrentIndex(radio->checkedId());
}

void BrowseTab::didMount(const std::string& path) {
    drives_.DriveMount(path);
    driveTreeTab_->setCurrentIndex(kVolumePage);
}

void BrowseTab::didUnmount(const std::string& path) { drives_.DriveUnmount(path); }

void BrowseTab::setVolumeLister(VolumeLister* lister) {
    VolumeLister* chosen = lister ? lister : &qtLister_;
    drives_.setVolumeLister(chosen);
    poller_->setLister(chosen);
}

void BrowseTab::SourceDriveChanged(const VolumeDescription& volume) {
    folderModel_->Reset();
    fileTree_->update();
    driveTreeTab_->setCurrentIndex(kFolderPage);
    currentDriveLabel_->setText(QString::fromStdString(volume.name));
    const std::string icon = volume.iconName.empty() ? ImageForVolume(volume).iconName : volume.iconName;
    if (!icon.empty()) currentDriveIcon_->setPixmap(IconForImageName(icon).pixmap(16, 16));
}

void BrowseTab::RedisplayDriveTree() {
    driveModel_->Reset();
    driveTree_->expandAll();
    driveTree_->update();
}

void BrowseTab::ShowOverlay(const ScanOverlay& overlay) {
    overlayBox_->setVisible(overlay.shown);
    if (overlay.shown) overlayBox_->raise();
    // A range of 0 to 0 is the toolkit's busy bar.
    overlaySpinner_->setRange(0, overlay.spinning ? 0 : 1);
    overlayCancelButton_->setEnabled(overlay.cancelEnabled);
}

void BrowseTab::AddSelectedToShotList() {
    ItemViewPort* port = shotsTabView_->currentIndex() == 0 ? foundPort_.get() : foundIconPort_.get();
    for (size_t row : port->SelectedRowIndexes()) shots_.AddPathAtIndexToShotList(row);
}

}  // namespace ombrel
