#pragma once

#include <QAbstractItemModel>
#include <QAbstractListModel>
#include <QIcon>
#include <QListView>
#include <QPixmap>
#include <QTreeView>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "library/ClipMetadata.h"
#include "library/browse/BrowseViews.h"
#include "library/browse/DataSource.h"
#include "library/browse/DriveDataSource.h"
#include "platform/imageio/Image.h"

namespace ombrel {

// The icon for one of the browse models' image names ("HM4", "RedFile", ...): the style's
// standard pictures stand in for the resources.
QIcon IconForImageName(const std::string& name);

// What the browse models need of a Qt view: the ListView the Qt-free sources call, over one
// item view and the model it shows. Reloading goes to the model, so views sharing it follow.
class ItemViewPort : public ListView {
public:
    ItemViewPort(QAbstractItemView* view, std::function<void()> reload) : view_(view), reload_(std::move(reload)) {}
    void ReloadData() override {
        if (reload_) reload_();
    }
    void Display() override { view_->viewport()->update(); }
    std::vector<size_t> SelectedRowIndexes() const override;
    void SelectRowIndexes(const std::vector<size_t>& rows) override;
    void SetEnabled(bool enabled) override { view_->setEnabled(enabled); }
    QAbstractItemView* view() const { return view_; }

private:
    QAbstractItemView* view_;
    std::function<void()> reload_;
};

// A list of clips by path: the clips found or the shot list, shown by a list view and an
// icon view at once. It shows a copy of the source's paths taken at each reload, so a view
// never asks past what it was told; paths only added at the end keep the selection.
class ClipListModel : public QAbstractListModel {
public:
    struct Source {
        std::function<std::vector<std::string>()> paths;
        // The paths of the dragged rows, in row order (the source may ask for their records).
        std::function<std::vector<std::string>(const std::vector<size_t>& rows)> dragged;
        // Dropped files and folders; null refuses drops.
        std::function<void(const std::vector<std::string>& paths)> dropped;
    };

    explicit ClipListModel(Source source, QObject* parent = nullptr);
    void Reload();
    // The views to redraw when a thumbnail arrives.
    void AddView(QAbstractItemView* view) { views_.push_back(view); }
    const std::vector<std::string>& paths() const { return paths_; }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDropActions() const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

private:
    QPixmap Thumbnail(const std::string& path) const;

    Source source_;
    std::vector<std::string> paths_;
    std::vector<QAbstractItemView*> views_;
    std::shared_ptr<MetadataObserver> observer_;
    mutable std::map<std::string, std::pair<ImagePtr, QPixmap>> thumbs_;
};

// The folder tree of the chosen volume over DataSource; an index's pointer is its item.
class FolderTreeModel : public QAbstractItemModel {
public:
    explicit FolderTreeModel(DataSource* source, QObject* parent = nullptr);
    // The root changed: the tree starts again from FileSystemItem::rootItem().
    void Reset();
    FileSystemItem* itemAt(const QModelIndex& index) const;
    void setExpandedTest(std::function<bool(const QModelIndex&)> expanded) { expanded_ = std::move(expanded); }

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& = {}) const override { return 1; }
    bool hasChildren(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;

private:
    DataSource* source_;
    FileSystemItemPtr root_;
    std::function<bool(const QModelIndex&)> expanded_;
};

// The volume list: one group row over the volumes of DriveDataSource.
class DriveTreeModel : public QAbstractItemModel {
public:
    explicit DriveTreeModel(DriveDataSource* source, QObject* parent = nullptr);
    void Reset();
    // The volume's row in the source, or -1 for the group.
    int volumeAt(const QModelIndex& index) const;
    QModelIndex indexOfVolume(size_t volume) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& = {}) const override { return 1; }
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

private:
    DriveDataSource* source_;
};

// A clip list view that takes the Delete and Backspace keys when it may delete.
class ClipListView : public QListView {
public:
    explicit ClipListView(QWidget* parent = nullptr) : QListView(parent) {}
    void setDeleteHandler(std::function<void()> fn) { onDelete_ = std::move(fn); }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    std::function<void()> onDelete_;
};

// Local paths of the file URLs in dragged data.
std::vector<std::string> DroppedPaths(const QMimeData* data);

}  // namespace ombrel
