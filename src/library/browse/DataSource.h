#pragma once

#include <string>
#include <vector>

#include "library/browse/BrowseViews.h"
#include "library/browse/FileSystemItem.h"

namespace ombrel {

class BrowseShotsDataSource;

// The folder tree of the chosen volume. Items are FileSystemItem; null stands for the top,
// which is FileSystemItem::rootItem(). Main thread only.
class DataSource {
public:
    // The found list that a chosen folder is scanned into, and its two tables.
    void SetBrowseShotsDataSourceForTableAndTable(BrowseShotsDataSource* shots, ListView* table, ListView* tableIcon);

    int NumberOfChildrenOfItem(FileSystemItem* item) const;
    bool IsItemExpandable(FileSystemItem* item) const;
    FileSystemItem* ChildOfItem(size_t index, FileSystemItem* item) const;
    // The row's text: the item's name, " - " for no item. Rows cannot be edited.
    std::string TitleForItem(const FileSystemItem* item) const;
    // "RedFile" for an R3D clip, "qt" for a useable movie, else "OF4" open and "CF4" closed.
    const char* ImageForItem(const FileSystemItem* item, bool expanded) const;
    // A chosen row: its folder is scanned for clips.
    void SelectionDidChange(const FileSystemItem* item);
    // What a dragged row offers: its one path.
    std::vector<std::string> DraggedPaths(const FileSystemItem* item) const;

private:
    FileSystemItem* Resolve(FileSystemItem* item) const;

    BrowseShotsDataSource* browseShotsDataSource_ = nullptr;
    ListView* browseShotsTable_ = nullptr;
    ListView* browseShotsTableIcon_ = nullptr;
    mutable FileSystemItemPtr root_;  // keeps the top alive while the outline holds its items
};

}  // namespace ombrel
