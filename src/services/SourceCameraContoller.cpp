#include "services/SourceCameraContoller.h"

#include <algorithm>
#include <filesystem>

#include "core/Log.h"
#include "core/Paths.h"
#include "platform/prefs/Preferences.h"

namespace ombrel::services {

namespace fs = std::filesystem;

void MemoryPopup::removeAllItems() {
    items_.clear();
    selected_ = -1;
}

void MemoryPopup::addItemWithTitle(const std::string& title) {
    // A title already there moves to the end, as a popup button keeps titles unique.
    items_.erase(std::remove(items_.begin(), items_.end(), title), items_.end());
    items_.push_back(title);
    if (selected_ < 0 || selected_ >= static_cast<int>(items_.size())) selected_ = 0;
}

bool MemoryPopup::selectItemWithTitle(const std::string& title) {
    const auto it = std::find(items_.begin(), items_.end(), title);
    if (it == items_.end()) return false;
    selected_ = static_cast<int>(it - items_.begin());
    return true;
}

std::string MemoryPopup::titleOfSelectedItem() const {
    return selected_ >= 0 && selected_ < static_cast<int>(items_.size()) ? items_[selected_] : std::string();
}

SourceCameraContoller::SourceCameraContoller(CameraPanelPort* panel) : panel_(panel) {}

std::string SourceCameraContoller::CSourcePlistPath() {
    const std::string updates = ResourcesFolder() + "/CSource_SA/";
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(updates, ec), end; !ec && it != end; it.increment(ec))
        names.push_back(it->path().filename().string());
    if (!ec && !names.empty()) {
        // A plain string sort, greatest first: csource_2 comes before csource_10.
        std::sort(names.begin(), names.end(), std::greater<>());
        for (const auto& name : names)
            if (name.rfind("csource", 0) == 0 && name.size() >= 6 && name.compare(name.size() - 6, 6, ".plist") == 0)
                return updates + name;
    }
    return ResourcesFolder() + "/csource.plist";
}

bool SourceCameraContoller::LoadList() {
    std::string path = CSourcePlistPath();
    PlistValue list;
    Status s = PlistValue::ReadFromFile(path, &list);
    const std::string bundled = ResourcesFolder() + "/csource.plist";
    if ((!s.ok() || !list.isDict()) && path != bundled) {
        LogWarn("The camera list {} cannot be read ({}); using {}", path, s.message(), bundled);
        path = bundled;
        s = PlistValue::ReadFromFile(path, &list);
    }
    if (!s.ok() || !list.isDict()) {
        lastError_ = "The camera list " + path + " cannot be read" + (s.ok() ? "" : ": " + s.message());
        LogError("{}", lastError_);
        return false;
    }
    listDict_ = std::move(list);
    listPath_ = path;
    panel_->makePopup().removeAllItems();
    panel_->modelPopup().removeAllItems();
    panel_->pictureStylePopup().removeAllItems();
    applySelected_ = panel_->selectionMatrixSelectedRow() == 0;
    for (const auto& make : listDict_["Manufacturer"].asArray())
        panel_->makePopup().addItemWithTitle(make["name"].asString());
    CameraOptionsChanged(&panel_->makePopup());
    CameraOptionsChanged(&panel_->modelPopup());
    listFirstLoad_ = true;
    return true;
}

void SourceCameraContoller::awakeFromNib() {
    if (listFirstLoad_) return;
    if (!LoadList()) return;
    StoreSettings();
    LoadDefaults();
    DefaultTicked();
}

void SourceCameraContoller::LoadDefaults() {
    const auto prefs = platform::Preferences::Shared();
    const auto make = prefs.stringForKey("DefaultCamera_DisplayMake");
    const auto model = prefs.stringForKey("DefaultCamera_DisplayModel");
    const auto style = prefs.stringForKey("DefaultCamera_DisplayPictureStyle");
    if (make && model && style) SetSelectionMakeModelPS(*make, *model, *style);
}

const PlistValue* SourceCameraContoller::FindNamed(const PlistValue& array, const std::string& name) const {
    for (const auto& entry : array.asArray())
        if (entry["name"].asString() == name) return &entry;
    return nullptr;
}

void SourceCameraContoller::CameraOptionsChanged(Popup* sender) {
    Popup& make = panel_->makePopup();
    Popup& model = panel_->modelPopup();
    Popup& style = panel_->pictureStylePopup();
    if (sender == &make) {
        model.removeAllItems();
        style.removeAllItems();
        if (make.indexOfSelectedItem() < 0 || make.titleOfSelectedItem().empty()) return;
        const PlistValue* entry = FindNamed(listDict_["Manufacturer"], make.titleOfSelectedItem());
        if (!entry) return;
        for (const auto& m : listDict_[(*entry)["child"].asString()].asArray()) model.addItemWithTitle(m["name"].asString());
    }
    if (sender == &make || sender == &model) {
        const PlistValue* makeEntry = FindNamed(listDict_["Manufacturer"], make.titleOfSelectedItem());
        if (!makeEntry) return;
        const PlistValue* modelEntry =
            FindNamed(listDict_[(*makeEntry)["child"].asString()], model.titleOfSelectedItem());
        if (!modelEntry) return;
        style.removeAllItems();
        for (const auto& s : listDict_[(*modelEntry)["child"].asString()].asArray()) style.addItemWithTitle(s.asString());
    }
    applySelected_ = panel_->selectionMatrixSelectedRow() == 0;
    displayMake_ = make.titleOfSelectedItem();
    displayModel_ = model.titleOfSelectedItem();
    displayPictureStyle_ = style.titleOfSelectedItem();
    selectedSource_ = displayMake_ + "_" + displayModel_ + "_" + displayPictureStyle_;
    selectedLut_ = listDict_["Lookup"][selectedSource_].asString();
    if (!selectedLut_.empty()) selectedLutURL_ = listDict_["Download"][selectedLut_].asString();
    displaySource_ = displayMake_ + " " + displayModel_;
}

void SourceCameraContoller::SetSelectionMakeModelPS(const std::string& make, const std::string& model,
                                                    const std::string& pictureStyle) {
    if (!listFirstLoad_ && !LoadList()) return;
    panel_->makePopup().selectItemWithTitle(make);
    CameraOptionsChanged(&panel_->makePopup());
    panel_->modelPopup().selectItemWithTitle(model);
    CameraOptionsChanged(&panel_->modelPopup());
    panel_->pictureStylePopup().selectItemWithTitle(pictureStyle);
    CameraOptionsChanged(&panel_->pictureStylePopup());
}

void SourceCameraContoller::StoreSettings() {
    selectedSourcePrevious_ = selectedSource_;
    selectedLutPrevious_ = selectedLut_;
    selectedLutURLPrevious_ = selectedLutURL_;
    displaySourcePrevious_ = displaySource_;
    displayMakePrevious_ = displayMake_;
    displayModelPrevious_ = displayModel_;
    displayPictureStylePrevious_ = displayPictureStyle_;
}

void SourceCameraContoller::RestoreSettings() {
    selectedSource_ = selectedSourcePrevious_;
    selectedLut_ = selectedLutPrevious_;
    displaySource_ = displaySourcePrevious_;
    displayMake_ = displayMakePrevious_;
    displayModel_ = displayModelPrevious_;
    displayPictureStyle_ = displayPictureStylePrevious_;
}

std::string SourceCameraContoller::DownloadLocationForTitle(const std::string& title) const {
    return listDict_["DownloadLocations"][title].asString();
}

void SourceCameraContoller::DefaultTicked() { defaultTicked_ = panel_->defaultCameraCheckState(); }

void SourceCameraContoller::setProgress(double percent) { panel_->setProgress(percent); }

void SourceCameraContoller::setComplete() {
    if (downloadFinished_) downloadFinished_();
}

void SourceCameraContoller::setError(const std::string& text) { lastError_ = text; }

void SourceCameraContoller::SetDownloadMessage(const std::string& text) { lastError_ = text; }

}  // namespace ombrel::services
