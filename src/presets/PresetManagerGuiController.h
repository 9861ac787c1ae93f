#pragma once

// The preset manager sheet without a toolkit: the libraries' popups, the presets of the shown
// library, moves and copies between libraries, the trash, renaming, new libraries, export and
// import. The sheet (or the command line) implements PresetManagerPort and mirrors the popups
// and the list after each call; everything runs on the main thread.

#include <optional>
#include <string>
#include <vector>

#include "core/Status.h"
#include "model/PresetDataSource.h"
#include "model/RenderPreset.h"

namespace ombrel::presets {

struct PopupItem {
    std::string title;
    bool separator = false;
};

// A popup's items and selection as the controller keeps them.
class PopupModel {
public:
    const std::vector<PopupItem>& items() const { return items_; }
    int count() const { return static_cast<int>(items_.size()); }
    int indexOfSelectedItem() const { return selected_; }
    std::string titleOfSelectedItem() const;
    int indexOfItemWithTitle(const std::string& title) const;
    // Titles in order, separators left out.
    std::vector<std::string> titles() const;

    void removeAllItems();
    void addItemWithTitle(std::string title);
    void addSeparator();
    void insertItemWithTitleAtIndex(std::string title, int index);
    void selectItemAtIndex(int index);
    bool selectItemWithTitle(const std::string& title);
    void setTitleOfItemAtIndex(int index, std::string title);

private:
    std::vector<PopupItem> items_;
    int selected_ = -1;
};

// What the sheet does for the controller. Every call has a do-nothing default, so the command
// line implements only what it needs.
class PresetManagerPort {
public:
    virtual ~PresetManagerPort() = default;
    virtual void ReloadTable() {}
    virtual void PopupsChanged() {}
    virtual void ShowLibraryNameWindow(const std::string& /*buttonTitle*/, const std::string& /*name*/) {}
    virtual void CloseLibraryNameWindow() {}
    virtual void RunSheet() {}
    virtual void CloseSheet() {}
    // A file to write; nothing when the user cancels.
    virtual std::optional<std::string> ChooseSavePath(const std::string& /*title*/) { return std::nullopt; }
    // A file to read; nothing when the user cancels.
    virtual std::optional<std::string> BrowseForFile(const std::string& /*title*/) { return std::nullopt; }
};

// The main window's side, told when libraries or preset names change.
class PresetGroupsListener {
public:
    virtual ~PresetGroupsListener() = default;
    virtual void RefreshPresetGroups() = 0;
    virtual void PresetRenamed(const RenderPreset& preset) = 0;
};

// The presets of the shown library.
class PresetManagerDataSource : public PresetDataSource {
public:
    // Replaces the list; every preset starts unticked.
    void LoadFromArray(std::vector<RenderPresetPtr> presets);
    void Remove(const RenderPresetPtr& preset);
    RenderPresetPtr PresetAt(size_t row) const { return row < presetList_.size() ? presetList_[row] : nullptr; }
};

class PresetManagerGuiController {
public:
    static constexpr const char* kExportTitle = "Select a path for your Exported Preset file";
    static constexpr const char* kImportTitle = "Select a Preset file to Import";
    static constexpr const char* kExportExtension = "OBPreset";
    static constexpr size_t kMaxNameLength = 15;

    explicit PresetManagerGuiController(PresetManagerPort* port = nullptr);

    void setPort(PresetManagerPort* port) { port_ = port; }
    void setMainGuiController(PresetGroupsListener* main) { mainGuiController_ = main; }
    PresetGroupsListener* mainGuiController() const { return mainGuiController_; }

    // The first run; also fills the popups.
    Status AwakeFromNib();

    // --- Actions ----------------------------------------------------------------------
    void OpenPresetWindow();
    void DonePressed();
    void ExportPresets();
    void ImportPresets();
    void NewTargetLibrary();
    void TargetLibrarySelected(int index);
    // Closes the name prompt and creates or renames with the prompt's text.
    void CreateLibrary();
    void RenameLibrary();
    void CancelCreateLibrary();
    void LibrarySelected();
    void MoveClicked() { MovePresets(nullptr); }
    void SelectAllChecked(bool on);
    // Column 4's button: the preset of that row goes to "Trash" (for good when shown there).
    void TrashClicked(size_t row);
    // Column 2 and column 3 edits.
    void SetTicked(size_t row, bool on);
    void SetPresetName(size_t row, const std::string& name);

    // --- Name prompt --------------------------------------------------------------------
    void ControlTextDidBeginEditing(const std::string& text);
    // The text the field keeps: the typed one when it is a good name, else the last good one.
    std::string ControlTextDidChange(const std::string& text);
    void ControlTextDidEndEditing(const std::string& text);
    // A name of at most 15 letters, digits and blanks.
    static bool IsValidLibraryName(const std::string& text);

    // --- Operations ---------------------------------------------------------------------
    void RefreshDropDownLists();
    // Makes the library (folder and list file) and puts it in the popups.
    bool CreateLibraryShell(const std::string& name);
    // Writes the selected library as one exchange file; the path written in *written.
    Status WrapLibrary(const std::string& path, std::string* written = nullptr);
    // Makes a new library of an exchange file; its name in *made.
    Status UnWrapLibrary(const std::string& path, std::string* made = nullptr);
    // With a preset: to "Trash", or for good when the shown library is "Trash". Without: the
    // ticked presets to the target library, moved or copied as targetActionPopup says.
    void MovePresets(const RenderPresetPtr& preset);
    // Writes the preset's name into the shown library's list file.
    bool SaveCurrentList(const RenderPreset& preset);

    // --- State --------------------------------------------------------------------------
    PopupModel& libraryPopup() { return libraryPopup_; }
    PopupModel& targetLibraryPopup() { return targetLibraryPopup_; }
    PopupModel& targetActionPopup() { return targetActionPopup_; }
    PopupModel& groupNamesPopup() { return groupNamesPopup_; }
    PresetManagerDataSource& dataSource() { return dataSource_; }
    const std::vector<RenderPresetPtr>& presetList() const { return dataSource_.presetList(); }
    const std::string& libNameTemp() const { return libNameTemp_; }
    const std::string& newLibraryName() const { return newLibraryName_; }
    void setNewLibraryName(std::string name) { newLibraryName_ = std::move(name); }
    bool renamingGroup() const { return renamingGroup_; }
    int lastTargetLibSelected() const { return lastTargetLibSelected_; }
    bool selectAllCheckbox() const { return selectAllCheckbox_; }
    const Status& lastError() const { return lastError_; }

private:
    void ReloadTable();
    void RearrangeControllers();
    void RenameLibraryTo(const std::string& name);
    std::string FreeLibraryName(const std::string& title) const;

    PresetManagerPort* port_ = nullptr;
    PresetGroupsListener* mainGuiController_ = nullptr;
    PresetManagerDataSource dataSource_;
    PopupModel libraryPopup_;
    PopupModel targetLibraryPopup_;
    PopupModel targetActionPopup_;
    PopupModel groupNamesPopup_;
    std::string libNameTemp_;
    std::string newLibraryName_;
    int lastTargetLibSelected_ = 0;
    bool renamingGroup_ = false;
    std::string oldGroupName_;
    bool selectAllCheckbox_ = false;
    Status lastError_;
};

}  // namespace ombrel::presets
