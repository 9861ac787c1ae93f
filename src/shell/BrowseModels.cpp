#include "shell/BrowseModels.h"

#include <QApplication>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QMimeData>
#include <QPointer>
#include <QStyle>
#include <QUrl>

#include <algorithm>
#include <set>

#include "library/FileParser.h"
#include "library/MetadataCache.h"

namespace ombrel {

namespace {

constexpr const char* kUriList = "text/uri-list";

QMimeData* UriListOf(const std::vector<std::string>& paths) {
    if (paths.empty()) return nullptr;
    auto* data = new QMimeData;
    QList<QUrl> urls;
    for (const auto& path : paths) urls.push_back(QUrl::fromLocalFile(QString::fromStdString(path)));
    data->setUrls(urls);
    return data;
}

// Thumbnails arrive on the main thread; the views showing them repaint.
struct RepaintViews : MetadataObserver {
    std::vector<QPointer<QAbstractItemView>> views;
    void SetNeedsDisplay(const std::string&) override {
        for (auto& view : views)
            if (view) view->viewport()->update();
    }
};

}  // namespace

QIcon IconForImageName(const std::string& name) {
    static const std::map<std::string, QStyle::StandardPixmap> kIcons = {
        {"ID4", QStyle::SP_DriveHDIcon},     {"FW4", QStyle::SP_DriveHDIcon},     {"HM4", QStyle::SP_DirHomeIcon},
        {"PC4", QStyle::SP_DriveNetIcon},    {"MS4", QStyle::SP_DriveNetIcon},    {"NW5", QStyle::SP_DriveNetIcon},
        {"CF4", QStyle::SP_DirClosedIcon},   {"OF4", QStyle::SP_DirOpenIcon},     {"FolderOpen", QStyle::SP_DirOpenIcon},
        {"FolderClosed", QStyle::SP_DirClosedIcon}, {"RedFile", QStyle::SP_FileIcon}, {"qt", QStyle::SP_MediaPlay},
        {"Home", QStyle::SP_DirHomeIcon},    {"InternalDrive", QStyle::SP_DriveHDIcon},
        {"FirewireDrive", QStyle::SP_DriveHDIcon}, {"OpenFolder", QStyle::SP_DirOpenIcon},
        {"PCServer", QStyle::SP_DriveNetIcon}, {"MacServer", QStyle::SP_DriveNetIcon},
    };
    const auto it = kIcons.find(name);
    return QApplication::style()->standardIcon(it == kIcons.end() ? QStyle::SP_DirIcon : it->second);
}

std::vector<std::string> DroppedPaths(const QMimeData* data) {
    std::vector<std::string> paths;
    if (!data || !data->hasUrls()) return paths;
    for (const QUrl& url : data->urls())
        if (url.isLocalFile()) paths.push_back(url.toLocalFile().toStdString());
    return paths;
}

// ---------------------------------------------------------------- the view port

std::vector<size_t> ItemViewPort::SelectedRowIndexes() const {
    std::set<size_t> rows;
    if (QItemSelectionModel* selection = view_->selectionModel())
        for (const QModelIndex& index : selection->selectedIndexes()) rows.insert(static_cast<size_t>(index.row()));
    return {rows.begin(), rows.end()};
}

void ItemViewPort::SelectRowIndexes(const std::vector<size_t>& rows) {
    QItemSelectionModel* selection = view_->selectionModel();
    if (!selection) return;
    QItemSelection chosen;
    for (size_t row : rows) {
        const QModelIndex index = view_->model()->index(static_cast<int>(row), 0);
        if (index.isValid()) chosen.select(index, index);
    }
    selection->select(chosen, QItemSelectionModel::ClearAndSelect);
}

// ---------------------------------------------------------------- clip lists

ClipListModel::ClipListModel(Source source, QObject* parent)
    : QAbstractListModel(parent), source_(std::move(source)), observer_(std::make_shared<RepaintViews>()) {
    paths_ = source_.paths();
}

void ClipListModel::Reload() {
    std::vector<std::string> now = source_.paths();
    const bool grown = now.size() > paths_.size() && std::equal(paths_.begin(), paths_.end(), now.begin());
    if (grown) {
        beginInsertRows({}, static_cast<int>(paths_.size()), static_cast<int>(now.size()) - 1);
        paths_ = std::move(now);
        endInsertRows();
    } else if (now != paths_) {
        beginResetModel();
        paths_ = std::move(now);
        endResetModel();
    }
    auto& repaint = static_cast<RepaintViews&>(*observer_);
    if (repaint.views.size() != views_.size()) repaint.views.assign(views_.begin(), views_.end());
    for (QAbstractItemView* view : views_) view->viewport()->update();
}

int ClipListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(paths_.size());
}

QPixmap ClipListModel::Thumbnail(const std::string& path) const {
    auto& repaint = static_cast<RepaintViews&>(*observer_);
    if (repaint.views.size() != views_.size()) repaint.views.assign(views_.begin(), views_.end());
    const ImagePtr image = MetadataCache::RequestThumbNotify(path, observer_);
    if (!image || image->empty()) return {};
    auto& cached = thumbs_[path];
    if (cached.first != image) {
        const QImage q(image->rgba.data(), image->width, image->height, image->width * 4, QImage::Format_RGBA8888);
        cached = {image, QPixmap::fromImage(q.scaled(160, 90, Qt::KeepAspectRatio, Qt::SmoothTransformation))};
    }
    return cached.second;
}

QVariant ClipListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) return {};
    const std::string& path = paths_[static_cast<size_t>(index.row())];
    switch (role) {
        case Qt::DisplayRole: return QString::fromStdString(FileParser::DisplayNameForPath(path));
        case Qt::ToolTipRole: return QString::fromStdString(path);
        case Qt::DecorationRole: {
            // An icon, so that each view draws it at its own icon size.
            const QPixmap thumb = Thumbnail(path);
            return thumb.isNull() ? QVariant() : QVariant(QIcon(thumb));
        }
        default: return {};
    }
}

Qt::ItemFlags ClipListModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags f = source_.dropped ? Qt::ItemIsDropEnabled : Qt::NoItemFlags;
    if (!index.isValid()) return f;
    f |= Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (source_.dragged) f |= Qt::ItemIsDragEnabled;
    return f;
}

QStringList ClipListModel::mimeTypes() const { return {kUriList}; }

QMimeData* ClipListModel::mimeData(const QModelIndexList& indexes) const {
    if (!source_.dragged) return nullptr;
    std::set<size_t> rows;
    for (const QModelIndex& index : indexes)
        if (index.isValid()) rows.insert(static_cast<size_t>(index.row()));
    return UriListOf(source_.dragged({rows.begin(), rows.end()}));
}

Qt::DropActions ClipListModel::supportedDropActions() const {
    return source_.dropped ? Qt::CopyAction : Qt::IgnoreAction;
}

bool ClipListModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int, int, const QModelIndex&) const {
    return source_.dropped && !DroppedPaths(data).empty();
}

bool ClipListModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int, int, const QModelIndex&) {
    if (action == Qt::IgnoreAction) return true;
    const std::vector<std::string> paths = DroppedPaths(data);
    if (!source_.dropped || paths.empty()) return false;
    source_.dropped(paths);
    return true;
}

// ---------------------------------------------------------------- the folder tree

FolderTreeModel::FolderTreeModel(DataSource* source, QObject* parent)
    : QAbstractItemModel(parent), source_(source), root_(FileSystemItem::rootItem()) {}

void FolderTreeModel::Reset() {
    beginResetModel();
    root_ = FileSystemItem::rootItem();
    endResetModel();
}

FileSystemItem* FolderTreeModel::itemAt(const QModelIndex& index) const {
    return index.isValid() ? static_cast<FileSystemItem*>(index.internalPointer()) : nullptr;
}

QModelIndex FolderTreeModel::index(int row, int column, const QModelIndex& parent) const {
    if (row < 0 || column != 0 || row >= rowCount(parent)) return {};
    FileSystemItem* child = source_->ChildOfItem(static_cast<size_t>(row), parent.isValid() ? itemAt(parent) : root_.get());
    return child ? createIndex(row, 0, child) : QModelIndex();
}

QModelIndex FolderTreeModel::parent(const QModelIndex& child) const {
    FileSystemItem* item = itemAt(child);
    FileSystemItem* up = item ? item->parent() : nullptr;
    if (!up || up == root_.get() || !up->parent()) return {};
    const auto& siblings = up->parent()->children();
    const auto it = std::find_if(siblings.begin(), siblings.end(), [&](const auto& s) { return s.get() == up; });
    if (it == siblings.end()) return {};
    return createIndex(static_cast<int>(it - siblings.begin()), 0, up);
}

int FolderTreeModel::rowCount(const QModelIndex& parent) const {
    if (parent.column() > 0) return 0;
    return std::max(0, source_->NumberOfChildrenOfItem(parent.isValid() ? itemAt(parent) : root_.get()));
}

bool FolderTreeModel::hasChildren(const QModelIndex& parent) const {
    return source_->IsItemExpandable(parent.isValid() ? itemAt(parent) : root_.get());
}

QVariant FolderTreeModel::data(const QModelIndex& index, int role) const {
    const FileSystemItem* item = itemAt(index);
    switch (role) {
        case Qt::DisplayRole: return QString::fromStdString(source_->TitleForItem(item));
        case Qt::ToolTipRole: return item ? QString::fromStdString(item->fullPath()) : QVariant();
        case Qt::DecorationRole:
            return IconForImageName(source_->ImageForItem(item, expanded_ && expanded_(index)));
        default: return {};
    }
}

Qt::ItemFlags FolderTreeModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
}

QStringList FolderTreeModel::mimeTypes() const { return {kUriList}; }

QMimeData* FolderTreeModel::mimeData(const QModelIndexList& indexes) const {
    std::vector<std::string> paths;
    for (const QModelIndex& index : indexes)
        for (auto& path : source_->DraggedPaths(itemAt(index))) paths.push_back(std::move(path));
    return UriListOf(paths);
}

// ---------------------------------------------------------------- the volumes

// internalId 0 is the group row; a volume's is its index plus one.
DriveTreeModel::DriveTreeModel(DriveDataSource* source, QObject* parent) : QAbstractItemModel(parent), source_(source) {}

void DriveTreeModel::Reset() {
    beginResetModel();
    endResetModel();
}

int DriveTreeModel::volumeAt(const QModelIndex& index) const {
    return index.isValid() ? static_cast<int>(index.internalId()) - 1 : -1;
}

QModelIndex DriveTreeModel::indexOfVolume(size_t volume) const {
    return index(static_cast<int>(volume), 0, index(0, 0));
}

QModelIndex DriveTreeModel::index(int row, int column, const QModelIndex& parent) const {
    if (row < 0 || column != 0 || row >= rowCount(parent)) return {};
    return createIndex(row, 0, parent.isValid() ? quintptr(row + 1) : quintptr(0));
}

QModelIndex DriveTreeModel::parent(const QModelIndex& child) const {
    if (!child.isValid() || child.internalId() == 0) return {};
    return createIndex(0, 0, quintptr(0));
}

int DriveTreeModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid()) return 1;
    return parent.internalId() == 0 ? static_cast<int>(source_->volumes().size()) : 0;
}

QVariant DriveTreeModel::data(const QModelIndex& index, int role) const {
    const int volume = volumeAt(index);
    if (volume < 0) {
        if (role == Qt::DisplayRole) return QString(DriveDataSource::kGroupTitle);
        if (role == Qt::DecorationRole) return IconForImageName(ImageForGroup(DriveDataSource::kGroupTitle));
        return {};
    }
    if (static_cast<size_t>(volume) >= source_->volumes().size()) return {};
    const VolumeDescription& v = source_->volumes()[static_cast<size_t>(volume)];
    switch (role) {
        case Qt::DisplayRole: return QString::fromStdString(v.name);
        case Qt::ToolTipRole: return QString::fromStdString(v.path);
        case Qt::DecorationRole: return IconForImageName(source_->ImageForRow(static_cast<size_t>(volume)));
        default: return {};
    }
}

Qt::ItemFlags DriveTreeModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) return Qt::NoItemFlags;
    return index.internalId() == 0 ? Qt::ItemIsEnabled : Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

// ---------------------------------------------------------------- keys

void ClipListView::keyPressEvent(QKeyEvent* event) {
    if (onDelete_ && (event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace)) {
        onDelete_();
        return;
    }
    QListView::keyPressEvent(event);
}

}  // namespace ombrel
