#include "library/browse/DataSource.h"

#include "library/FileParser.h"
#include "library/browse/BrowseShotsDataSource.h"

namespace ombrel {

void DataSource::SetBrowseShotsDataSourceForTableAndTable(BrowseShotsDataSource* shots, ListView* table,
                                                          ListView* tableIcon) {
    browseShotsDataSource_ = shots;
    browseShotsTable_ = table;
    browseShotsTableIcon_ = tableIcon;
}

FileSystemItem* DataSource::Resolve(FileSystemItem* item) const {
    if (item) return item;
    root_ = FileSystemItem::rootItem();
    return root_.get();
}

int DataSource::NumberOfChildrenOfItem(FileSystemItem* item) const { return Resolve(item)->numberOfChildren(); }

bool DataSource::IsItemExpandable(FileSystemItem* item) const { return Resolve(item)->numberOfChildren() != -1; }

FileSystemItem* DataSource::ChildOfItem(size_t index, FileSystemItem* item) const {
    return Resolve(item)->childAtIndex(index);
}

std::string DataSource::TitleForItem(const FileSystemItem* item) const { return item ? item->relativePath() : " - "; }

const char* DataSource::ImageForItem(const FileSystemItem* item, bool expanded) const {
    if (item) {
        const std::string path = item->fullPath();
        if (FileParser::IsR3DFile(path)) return "RedFile";
        if (FileParser::IsUseableQuicktimeMov(path)) return "qt";
    }
    return expanded ? "OF4" : "CF4";
}

void DataSource::SelectionDidChange(const FileSystemItem* item) {
    if (!item || !browseShotsDataSource_) return;
    browseShotsDataSource_->LoadForPath(item->fullPath());
    for (ListView* table : {browseShotsTable_, browseShotsTableIcon_}) {
        if (!table) continue;
        table->ReloadData();
        table->Display();
    }
}

std::vector<std::string> DataSource::DraggedPaths(const FileSystemItem* item) const {
    if (!item) return {};
    return {item->fullPath()};
}

}  // namespace ombrel
