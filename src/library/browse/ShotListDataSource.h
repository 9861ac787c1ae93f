#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/PlistValue.h"
#include "library/FCPFile.h"
#include "library/browse/BrowseViews.h"
#include "library/browse/FileSystemItem.h"
#include "library/browse/RenderRow.h"

namespace ombrel {

using FCPFilePtr = std::shared_ptr<FCPFile>;

// The shot list: the project's clips in order, what the film settings tab steps through and
// what a render processes, with the edit's frame ranges per source file. Every clip in it is
// registered with the settings manager. Main thread only.
class ShotListDataSource {
public:
    static constexpr size_t kInitialCapacity = 1000;

    ShotListDataSource();

    void setGuiController(BrowseController* controller) { guiController_ = controller; }
    // The list view and the icon view of the shot list, told to redraw on every change.
    void setTables(ListView* renderTable, ListView* renderTableIcon);

    // Appends a clip unless it is in the list already. Answers whether it was added.
    bool AddPath(const std::string& path);
    // A drop: a folder adds every clip under it at any depth (names beginning with "." are
    // skipped), a clip adds itself; anything else is ignored. Answers how many were added.
    size_t LoadForPath(const std::string& path);
    // Null past the end.
    std::optional<std::string> GetPathAtIndex(size_t index) const;
    int GetIndexForPath(const std::string& path) const;
    const std::vector<FileSystemItemPtr>& List() const { return shotList_; }
    size_t Count() const { return shotList_.size(); }

    // Removes the selection of `view`: of one of the two tables, which then reloads, or of
    // the film strip.
    void Delete(ListView* view);
    void RemovePathAtIndexesFromShotList(const std::vector<size_t>& indexes);
    // Empties the list and touches nothing else (a project is being loaded).
    void RemoveAllItems();
    // Forgets the clips no longer in the list: their settings, and the edit's ranges of them.
    void UnregisterItemsRemoved();
    void NotifyChanges();

    void SelectAll(ListView* view);
    // From the first selected row to the end; with nothing selected, from the clip in the viewer.
    void SelectRight(ListView* view);

    // The ranges per source file as the project file keeps them, and back.
    PlistValue KVCFileSnippetsDictionary() const;
    void LoadKVCFileSnippetsDictionary(const PlistValue& dict);
    const std::map<std::string, FCPFilePtr>& fileSnippets() const { return fileSnippets_; }
    void setFileSnippets(std::map<std::string, FCPFilePtr> snippets) { fileSnippets_ = std::move(snippets); }

    // The render table: one row per clip, from the top of its settings stack. A length not
    // known yet is taken from the footage first. The render's output of the clip, for the
    // third column, is destPath.
    size_t NumberOfRows() const { return shotList_.size(); }
    RenderRowLook RenderTableRow(size_t row) const;
    std::string DestPathForRow(size_t row) const;

private:
    void Redraw();
    void RemoveIndexes(std::vector<size_t> indexes);

    std::vector<FileSystemItemPtr> shotList_;
    BrowseController* guiController_ = nullptr;
    ListView* renderTable_ = nullptr;
    ListView* renderTableIcon_ = nullptr;
    std::map<std::string, FCPFilePtr> fileSnippets_;
};

}  // namespace ombrel
