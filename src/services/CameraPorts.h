#pragma once

#include <string>
#include <vector>

namespace ombrel::services {

// A popup button of the camera panels.
class Popup {
public:
    virtual ~Popup() = default;
    virtual void removeAllItems() = 0;
    virtual void addItemWithTitle(const std::string& title) = 0;
    // False, with the selection unchanged, when no item has the title.
    virtual bool selectItemWithTitle(const std::string& title) = 0;
    // -1 when nothing is selected.
    virtual int indexOfSelectedItem() const = 0;
    virtual std::string titleOfSelectedItem() const = 0;
    virtual std::vector<std::string> itemTitles() const = 0;
};

// A popup held in memory: the command line's, and the model a sheet's widget may mirror.
class MemoryPopup : public Popup {
public:
    void removeAllItems() override;
    void addItemWithTitle(const std::string& title) override;
    bool selectItemWithTitle(const std::string& title) override;
    int indexOfSelectedItem() const override { return selected_; }
    std::string titleOfSelectedItem() const override;
    std::vector<std::string> itemTitles() const override { return items_; }

private:
    std::vector<std::string> items_;
    int selected_ = -1;
};

// The three camera panels: the chooser, the download sheet and the "complete" panel.
enum class CameraSheet { kChooser, kDownload, kComplete };

// What the camera panels show, implemented by the window's sheets (and by the command line).
class CameraPanelPort {
public:
    virtual ~CameraPanelPort() = default;
    virtual Popup& makePopup() = 0;
    virtual Popup& modelPopup() = 0;
    virtual Popup& pictureStylePopup() = 0;
    // The download sites, ending with "Website".
    virtual Popup& downloadServerPopup() = 0;
    // Row 0 of the selection matrix: apply to the selected clips.
    virtual int selectionMatrixSelectedRow() const = 0;
    virtual bool defaultCameraCheckState() const = 0;
    virtual void setDownloadText(const std::string& text) = 0;
    virtual void setProgress(double percent) = 0;
    virtual void runSheet(CameraSheet sheet) = 0;
    virtual void endSheet(CameraSheet sheet) = 0;
    // Pages of the camera area: 0 nothing, 1 the button, 2 the download's progress.
    virtual void selectCameraTab(int index) = 0;
    virtual int cameraTab() const = 0;
    // The settings panel dims under a sheet.
    virtual void setSettingsAlpha(double alpha) = 0;
    virtual void openURL(const std::string& url) = 0;
};

}  // namespace ombrel::services
