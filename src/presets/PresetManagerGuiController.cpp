#include "presets/PresetManagerGuiController.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include <fmt/format.h>

#include "core/AtomicFile.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "model/SettingsManager.h"
#include "presets/PresetLibrary.h"

namespace ombrel::presets {
namespace fs = std::filesystem;

// --- PopupModel ---------------------------------------------------------------------------

std::string PopupModel::titleOfSelectedItem() const {
    return selected_ >= 0 && selected_ < count() ? items_[static_cast<size_t>(selected_)].title : std::string();
}

int PopupModel::indexOfItemWithTitle(const std::string& title) const {
    for (size_t i = 0; i < items_.size(); ++i)
        if (!items_[i].separator && items_[i].title == title) return static_cast<int>(i);
    return -1;
}

std::vector<std::string> PopupModel::titles() const {
    std::vector<std::string> out;
    for (const auto& item : items_)
        if (!item.separator) out.push_back(item.title);
    return out;
}

void PopupModel::removeAllItems() {
    items_.clear();
    selected_ = -1;
}

void PopupModel::addItemWithTitle(std::string title) {
    items_.push_back({std::move(title), false});
    if (selected_ < 0) selected_ = 0;
}

void PopupModel::addSeparator() { items_.push_back({"", true}); }

void PopupModel::insertItemWithTitleAtIndex(std::string title, int index) {
    index = std::clamp(index, 0, count());
    items_.insert(items_.begin() + index, {std::move(title), false});
    if (selected_ >= index) ++selected_;
    if (selected_ < 0) selected_ = index;
}

void PopupModel::selectItemAtIndex(int index) {
    if (index >= 0 && index < count() && !items_[static_cast<size_t>(index)].separator) selected_ = index;
}

bool PopupModel::selectItemWithTitle(const std::string& title) {
    const int index = indexOfItemWithTitle(title);
    if (index >= 0) selected_ = index;
    return index >= 0;
}

void PopupModel::setTitleOfItemAtIndex(int index, std::string title) {
    if (index >= 0 && index < count()) items_[static_cast<size_t>(index)].title = std::move(title);
}

// --- PresetManagerDataSource ----------------------------------------------------------------

void PresetManagerDataSource::LoadFromArray(std::vector<RenderPresetPtr> presets) {
    for (const auto& preset : presets) preset->setIsTicked(false);
    presetList_ = std::move(presets);
}

void PresetManagerDataSource::Remove(const RenderPresetPtr& preset) {
    presetList_.erase(std::remove(presetList_.begin(), presetList_.end(), preset), presetList_.end());
}

// --- PresetManagerGuiController --------------------------------------------------------------

namespace {

bool Exists(const std::string& path) {
    std::error_code ec;
    return fs::exists(path, ec);
}

bool IsNameCharacter(unsigned char c) { return std::isalnum(c) || c == ' '; }

}  // namespace

PresetManagerGuiController::PresetManagerGuiController(PresetManagerPort* port) : port_(port) {
    targetActionPopup_.addItemWithTitle("Move");
    targetActionPopup_.addItemWithTitle("Copy");
}

Status PresetManagerGuiController::AwakeFromNib() {
    lastError_ = EnsurePresetLibraries();
    RefreshDropDownLists();
    return lastError_;
}

void PresetManagerGuiController::ReloadTable() {
    if (port_) port_->ReloadTable();
}

void PresetManagerGuiController::RearrangeControllers() {
    auto& sm = SettingsManager::Instance();
    sm.presetList().Rearrange();
    sm.factoryPresetList().Rearrange();
}

void PresetManagerGuiController::RefreshDropDownLists() {
    libraryPopup_.removeAllItems();
    targetLibraryPopup_.removeAllItems();
    const std::vector<std::string> names = ListedLibraryNames();
    for (const auto& name : names) {
        libraryPopup_.addItemWithTitle(name);
        targetLibraryPopup_.addItemWithTitle(name);
    }
    for (PopupModel* popup : {&libraryPopup_, &targetLibraryPopup_}) {
        popup->addSeparator();
        popup->addItemWithTitle(kTrashLibrary);
    }
    // Create and rename keep it in step from here on.
    if (groupNamesPopup_.count() == 0)
        for (const auto& name : names) groupNamesPopup_.addItemWithTitle(name);
    if (port_) port_->PopupsChanged();
    if (mainGuiController_) mainGuiController_->RefreshPresetGroups();
}

void PresetManagerGuiController::OpenPresetWindow() {
    ReloadTable();
    RefreshDropDownLists();
    if (!libraryPopup_.selectItemWithTitle(SettingsManager::Instance().currentPresetLibrary()))
        libraryPopup_.selectItemAtIndex(0);
    targetLibraryPopup_.selectItemAtIndex(0);
    lastTargetLibSelected_ = 0;
    LibrarySelected();
    if (port_) port_->RunSheet();
}

void PresetManagerGuiController::DonePressed() {
    if (port_) port_->CloseSheet();
    RearrangeControllers();
    SettingsManager::Instance().ReformPresetLookup();
    // Moves and trashing may have emptied or filled the library the window's bar shows.
    if (mainGuiController_) mainGuiController_->RefreshPresetGroups();
}

void PresetManagerGuiController::LibrarySelected() {
    const std::string name = libraryPopup_.titleOfSelectedItem();
    const PlistValue list = ReadLibrary(name);
    if (!list.isDict()) return;
    dataSource_.LoadFromArray(PresetsOfLibrary(list, name));
    selectAllCheckbox_ = false;
    if (port_) port_->PopupsChanged();
    ReloadTable();
}

void PresetManagerGuiController::TargetLibrarySelected(int index) {
    targetLibraryPopup_.selectItemAtIndex(index);
    lastTargetLibSelected_ = targetLibraryPopup_.indexOfSelectedItem();
}

void PresetManagerGuiController::MovePresets(const RenderPresetPtr& preset) {
    const std::string source = libraryPopup_.titleOfSelectedItem();
    std::string target;
    bool finalDelete = false;
    if (preset) {
        target = kTrashLibrary;
        finalDelete = source == kTrashLibrary;
    } else {
        target = targetLibraryPopup_.titleOfSelectedItem();
        if (target == source) return;
    }
    PlistValue targetList = ReadLibrary(target);
    if (!targetList.isDict()) {
        lastError_ = NotFoundError("The library \"" + target + "\" cannot be read");
        return;
    }
    PlistValue sourceList = finalDelete ? targetList : ReadLibrary(source);
    const bool copy = targetActionPopup_.titleOfSelectedItem().rfind("Copy", 0) == 0;

    bool save = false;
    std::vector<RenderPresetPtr> removed;
    if (sourceList.isDict()) {
        PlistValue targetPresets = targetList["Presets"].isDict() ? targetList["Presets"] : PlistValue::MakeDict();
        PlistValue sourcePresets = sourceList["Presets"];
        if (!preset) {
            for (const auto& p : dataSource_.presetList()) {
                if (!p->isTicked()) continue;
                save = true;
                if (copy) {
                    auto made = p->copyWithNewID();
                    made->setIsTicked(false);
                    targetPresets.set(made->presetID(), made->PropertyList());
                    CopyThumbnailForPreset(*p, source, target, *made);
                } else {
                    targetPresets.set(p->presetID(), p->PropertyList());
                    sourcePresets.erase(p->presetID());
                    removed.push_back(p);
                    MoveThumbnailForPreset(*p, source, target);
                }
            }
        } else {
            const auto& shown = dataSource_.presetList();
            const auto found = std::find_if(shown.begin(), shown.end(),
                                            [&](const RenderPresetPtr& p) { return p->presetID() == preset->presetID(); });
            if (found != shown.end()) {
                save = true;
                if (!finalDelete) targetPresets.set(preset->presetID(), (*found)->PropertyList());
                sourcePresets.erase(preset->presetID());
                removed.push_back(*found);
                MoveThumbnailForPreset(**found, source, target);
            }
        }
        if (save) {
            if (!finalDelete) {
                targetList.set("Presets", std::move(targetPresets));
                SaveDictionaryToPlist(targetList, SettingsManager::PresetLibraryPlistPathForName(target));
            }
            sourceList.set("Presets", std::move(sourcePresets));
            SaveDictionaryToPlist(sourceList, SettingsManager::PresetLibraryPlistPathForName(source));
        }
        for (const auto& p : removed) dataSource_.Remove(p);
        ReloadTable();
        RearrangeControllers();
    }
    SettingsManager::Instance().LoadFactoryPresets();
    if (target != kTrashLibrary && libraryPopup_.selectItemWithTitle(target)) LibrarySelected();
}

bool PresetManagerGuiController::SaveCurrentList(const RenderPreset& preset) {
    const std::string name = libraryPopup_.titleOfSelectedItem();
    PlistValue list = ReadLibrary(name);
    if (!list.isDict()) return false;
    PlistValue presets = list["Presets"];
    if (!presets[preset.presetID()].isDict()) return false;
    PlistValue entry = presets[preset.presetID()];
    entry.set("presetName", preset.presetName());
    presets.set(preset.presetID(), std::move(entry));
    list.set("Presets", std::move(presets));
    return SaveDictionaryToPlist(list, SettingsManager::PresetLibraryPlistPathForName(name));
}

void PresetManagerGuiController::SetPresetName(size_t row, const std::string& name) {
    const RenderPresetPtr preset = dataSource_.PresetAt(row);
    if (!preset) return;
    preset->setPresetName(name);
    auto& sm = SettingsManager::Instance();
    sm.PresetRenamed(*preset);
    SaveCurrentList(*preset);
    ReloadTable();
    RearrangeControllers();
    sm.LoadFactoryPresets();
    if (mainGuiController_) mainGuiController_->PresetRenamed(*preset);
}

void PresetManagerGuiController::SetTicked(size_t row, bool on) {
    if (const RenderPresetPtr preset = dataSource_.PresetAt(row)) preset->setIsTicked(on);
}

void PresetManagerGuiController::TrashClicked(size_t row) {
    if (const RenderPresetPtr preset = dataSource_.PresetAt(row)) MovePresets(preset);
}

void PresetManagerGuiController::SelectAllChecked(bool on) {
    selectAllCheckbox_ = on;
    for (const auto& preset : dataSource_.presetList()) preset->setIsTicked(on);
    ReloadTable();
}

// --- Names ------------------------------------------------------------------------------------

bool PresetManagerGuiController::IsValidLibraryName(const std::string& text) {
    return text.size() <= kMaxNameLength &&
           std::all_of(text.begin(), text.end(), [](char c) { return IsNameCharacter(static_cast<unsigned char>(c)); });
}

void PresetManagerGuiController::ControlTextDidBeginEditing(const std::string& text) {
    libNameTemp_ = text;
    newLibraryName_ = text;
}

std::string PresetManagerGuiController::ControlTextDidChange(const std::string& text) {
    if (IsValidLibraryName(text)) libNameTemp_ = text;
    newLibraryName_ = libNameTemp_;
    return libNameTemp_;
}

void PresetManagerGuiController::ControlTextDidEndEditing(const std::string& text) {
    libNameTemp_ = text;
    newLibraryName_ = text;
}

void PresetManagerGuiController::NewTargetLibrary() {
    renamingGroup_ = false;
    newLibraryName_.clear();
    libNameTemp_.clear();
    if (port_) port_->ShowLibraryNameWindow("CREATE", "");
}

void PresetManagerGuiController::RenameLibrary() {
    renamingGroup_ = true;
    oldGroupName_ = libraryPopup_.titleOfSelectedItem();
    newLibraryName_ = oldGroupName_;
    libNameTemp_ = oldGroupName_;
    if (port_) port_->ShowLibraryNameWindow("RENAME", oldGroupName_);
}

void PresetManagerGuiController::CancelCreateLibrary() {
    targetLibraryPopup_.selectItemAtIndex(lastTargetLibSelected_);
    renamingGroup_ = false;
    if (port_) {
        port_->PopupsChanged();
        port_->CloseLibraryNameWindow();
    }
}

void PresetManagerGuiController::CreateLibrary() {
    if (port_) port_->CloseLibraryNameWindow();
    const std::string name = newLibraryName_;
    const bool renaming = renamingGroup_;
    renamingGroup_ = false;
    if (name.empty()) return;
    if (!IsValidLibraryName(name)) {
        lastError_ = InvalidError("\"" + name + "\" is not a library name: at most 15 letters, digits and blanks");
        return;
    }
    if (renaming) {
        if (name != oldGroupName_) RenameLibraryTo(name);
    } else if (targetLibraryPopup_.indexOfItemWithTitle(name) < 0) {
        if (CreateLibraryShell(name)) groupNamesPopup_.addItemWithTitle(name);
    }
    if (port_) port_->PopupsChanged();
}

void PresetManagerGuiController::RenameLibraryTo(const std::string& name) {
    const std::string& old = oldGroupName_;
    if (old == kTrashLibrary || name == kTrashLibrary || targetLibraryPopup_.indexOfItemWithTitle(name) >= 0 ||
        Exists(SettingsManager::PresetLibraryPathForName(name))) {
        lastError_ = InvalidError("The library \"" + old + "\" cannot be renamed \"" + name + "\"");
        return;
    }
    for (PopupModel* popup : {&targetLibraryPopup_, &groupNamesPopup_, &libraryPopup_})
        popup->setTitleOfItemAtIndex(popup->indexOfItemWithTitle(old), name);
    // The whole folder moves, thumbnails with it, and then its list file takes the new name.
    std::error_code ec;
    fs::rename(SettingsManager::PresetLibraryPathForName(old), SettingsManager::PresetLibraryPathForName(name), ec);
    if (!ec)
        fs::rename(AppendingPathComponent(SettingsManager::PresetLibraryPathForName(name), old + ".plist"),
                   SettingsManager::PresetLibraryPlistPathForName(name), ec);
    if (ec) {
        lastError_ = IoError("The library \"" + old + "\" was not renamed: " + ec.message());
        LogWarn("{}", lastError_.message());
        return;
    }
    LogInfo("Renamed preset group - success");
    auto& sm = SettingsManager::Instance();
    if (sm.currentPresetLibrary() == old) sm.setCurrentPresetLibrary(name);
    if (mainGuiController_) mainGuiController_->RefreshPresetGroups();
}

bool PresetManagerGuiController::CreateLibraryShell(const std::string& name) {
    if (!IsSafeLibraryName(name)) {
        lastError_ = InvalidError("\"" + name + "\" cannot name a library");
        return false;
    }
    if (!SettingsManager::Instance().CreateLibraryShell(name)) {
        lastError_ = IoError("The library \"" + name + "\" cannot be made");
        LogWarn("{}", lastError_.message());
    }
    const int targetIndex = targetLibraryPopup_.count() - 3;
    const int libraryIndex = libraryPopup_.count() - 2;
    // The lists always hold a separator, "Trash" and one library; anything less is a fault.
    if (targetIndex < 0 || libraryIndex < 0) {
        lastError_ = InvalidError("The library lists are not filled; \"" + name + "\" was not listed");
        LogError("{}", lastError_.message());
        return false;
    }
    targetLibraryPopup_.insertItemWithTitleAtIndex(name, targetIndex);
    targetLibraryPopup_.selectItemAtIndex(targetIndex);
    lastTargetLibSelected_ = targetIndex;
    libraryPopup_.insertItemWithTitleAtIndex(name, libraryIndex);
    if (port_) port_->PopupsChanged();
    return true;
}

// --- Export and import -------------------------------------------------------------------------

void PresetManagerGuiController::ExportPresets() {
    if (!port_) return;
    if (const auto path = port_->ChooseSavePath(kExportTitle)) lastError_ = WrapLibrary(*path);
}

void PresetManagerGuiController::ImportPresets() {
    if (!port_) return;
    if (const auto path = port_->BrowseForFile(kImportTitle)) lastError_ = UnWrapLibrary(*path);
}

Status PresetManagerGuiController::WrapLibrary(const std::string& path, std::string* written) {
    const std::string file = DeletingPathExtension(path) + "." + kExportExtension;
    const std::string name = libraryPopup_.titleOfSelectedItem();
    const PlistValue list = ReadLibrary(name);
    if (!list.isDict()) return NotFoundError("The library \"" + name + "\" cannot be read");
    PlistValue wrapped = TemplateDictionary();
    PlistValue presets = PlistValue::MakeDict();
    PlistValue icons = PlistValue::MakeDict();
    for (const auto& preset : PresetsOfLibrary(list, name)) {
        presets.set(preset->presetID(), preset->PropertyList());
        // A preset without a thumbnail has nothing under "Icons".
        if (auto bytes = GetThumbnailForPreset(*preset, name); !bytes.empty())
            icons.set(preset->presetID(), PlistValue(std::move(bytes)));
    }
    wrapped.set("Presets", std::move(presets));
    wrapped.set("Icons", std::move(icons));
    wrapped.set("Title", name);
    if (const Status saved = WriteFileAtomically(file, wrapped.ToXml()); !saved.ok()) return saved;
    if (written) *written = file;
    return OkStatus();
}

std::string PresetManagerGuiController::FreeLibraryName(const std::string& title) const {
    const auto taken = [this](const std::string& name) {
        return targetLibraryPopup_.indexOfItemWithTitle(name) >= 0 ||
               Exists(SettingsManager::PresetLibraryPathForName(name));
    };
    if (!taken(title)) return title;
    for (int i = 1;; ++i)
        if (const std::string name = fmt::format("{}_{}", title, i); !taken(name)) return name;
}

Status PresetManagerGuiController::UnWrapLibrary(const std::string& path, std::string* made) {
    PlistValue wrapped = ReadDictionary(path);
    if (!wrapped.isDict()) return InvalidError("Cannot read " + path + " as a preset file");
    if (!wrapped["Title"].isString() || wrapped["Title"].asString().empty())
        return InvalidError(path + " is no preset file: it has no \"Title\"");
    const std::string title = wrapped["Title"].asString();
    if (!IsSafeLibraryName(title)) return InvalidError("The preset file's title \"" + title + "\" cannot name a library");
    for (const auto& [id, bytes] : wrapped["Icons"].asDict())
        if (!IsSafePresetID(id)) return InvalidError("The preset file holds a thumbnail named \"" + id + "\"");

    const std::string name = FreeLibraryName(title);
    if (!CreateLibraryShell(name)) return lastError_;
    const std::string folder = SettingsManager::PresetLibraryPathForName(name);
    for (const auto& [id, bytes] : wrapped["Icons"].asDict()) {
        const auto& data = bytes.asData();
        const Status saved = WriteFileAtomically(AppendingPathComponent(folder, id + ".tiff"),
                                                 std::string_view(reinterpret_cast<const char*>(data.data()), data.size()));
        if (!saved.ok()) LogWarn("{}", saved.message());
    }
    wrapped.erase("Icons");
    if (!wrapped["Presets"].isDict()) wrapped.set("Presets", PlistValue::MakeDict());
    const std::string listPath = SettingsManager::PresetLibraryPlistPathForName(name);
    if (!SaveDictionaryToPlist(wrapped, listPath)) return IoError("Cannot write " + listPath);
    libraryPopup_.selectItemWithTitle(name);
    LibrarySelected();
    groupNamesPopup_.addItemWithTitle(name);
    if (port_) port_->PopupsChanged();
    if (made) *made = name;
    return OkStatus();
}

}  // namespace ombrel::presets
