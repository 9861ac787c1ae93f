#pragma once

#include <functional>
#include <string>

#include "core/PlistValue.h"
#include "services/CameraPorts.h"
#include "services/DownloadManager.h"

namespace ombrel::services {

// The source camera chooser: a make, a model and a picture style name a data pack through the
// csource list. One instance serves the chooser, the download sheet and the "complete" panel,
// and is the client of the pack's download. Main thread.
class SourceCameraContoller : public LutDownloader {
public:
    explicit SourceCameraContoller(CameraPanelPort* panel);

    // The list: the greatest "csource*.plist" by name under Resources/CSource_SA/, else our own
    // Resources/csource.plist.
    static std::string CSourcePlistPath();
    // Loads the list unless it is loaded, then keeps the current strings and takes the defaults.
    void awakeFromNib();
    // Reads the list (an update file that cannot be read gives way to our own) and fills the makes.
    // False when no list can be read.
    bool LoadList();
    void LoadDefaults();
    // Follows a change of `sender` (makePopup, modelPopup, another popup, or none).
    void CameraOptionsChanged(Popup* sender);
    void SetSelectionMakeModelPS(const std::string& make, const std::string& model, const std::string& pictureStyle);
    void StoreSettings();
    // Six of the seven strings: selectedLutURL keeps the choice made since.
    void RestoreSettings();
    // The URL prefix of a "DownloadLocations" title; empty when there is none.
    std::string DownloadLocationForTitle(const std::string& title) const;
    // Reads the default box into defaultTicked.
    void DefaultTicked();

    // LutDownloader.
    void setProgress(double percent) override;
    void setComplete() override;
    void setError(const std::string& text) override;
    void SetDownloadMessage(const std::string& text) override;

    // Who hears of a finished download (the window's controller).
    void setMainGuiController(std::function<void()> downloadFinished) { downloadFinished_ = std::move(downloadFinished); }
    CameraPanelPort* panel() const { return panel_; }

    const PlistValue& listDict() const { return listDict_; }
    bool applySelected() const { return applySelected_; }
    const std::string& selectedSource() const { return selectedSource_; }
    const std::string& selectedLut() const { return selectedLut_; }
    const std::string& selectedLutURL() const { return selectedLutURL_; }
    const std::string& displaySource() const { return displaySource_; }
    const std::string& displayMake() const { return displayMake_; }
    const std::string& displayModel() const { return displayModel_; }
    const std::string& displayPictureStyle() const { return displayPictureStyle_; }
    const std::string& selectedSourcePrevious() const { return selectedSourcePrevious_; }
    const std::string& selectedLutPrevious() const { return selectedLutPrevious_; }
    const std::string& selectedLutURLPrevious() const { return selectedLutURLPrevious_; }
    const std::string& displaySourcePrevious() const { return displaySourcePrevious_; }
    const std::string& displayMakePrevious() const { return displayMakePrevious_; }
    const std::string& displayModelPrevious() const { return displayModelPrevious_; }
    const std::string& displayPictureStylePrevious() const { return displayPictureStylePrevious_; }
    bool listFirstLoad() const { return listFirstLoad_; }
    bool isDownloading() const { return isDownloading_; }
    void setIsDownloading(bool v) { isDownloading_ = v; }
    bool defaultTicked() const { return defaultTicked_; }
    // The path the list was read from, and the last download error (for the sheet's text).
    const std::string& listPath() const { return listPath_; }
    const std::string& lastError() const { return lastError_; }

private:
    const PlistValue* FindNamed(const PlistValue& array, const std::string& name) const;

    CameraPanelPort* panel_;
    std::function<void()> downloadFinished_;
    PlistValue listDict_;
    bool applySelected_ = false;
    std::string selectedSource_, selectedLut_, selectedLutURL_, displaySource_;
    std::string displayMake_, displayModel_, displayPictureStyle_;
    std::string selectedSourcePrevious_, selectedLutPrevious_, selectedLutURLPrevious_, displaySourcePrevious_;
    std::string displayMakePrevious_, displayModelPrevious_, displayPictureStylePrevious_;
    bool listFirstLoad_ = false;
    bool isDownloading_ = false;
    bool defaultTicked_ = false;
    std::string listPath_;
    std::string lastError_;
};

}  // namespace ombrel::services
