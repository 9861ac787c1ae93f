#pragma once

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QGraphicsOpacityEffect>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>

#include "services/CameraChange.h"
#include "services/ui/MessageSheet.h"

namespace ombrel::services {

// A popup of the camera panels over a combo box; each item's data is its index.
class ComboPopup : public Popup {
public:
    explicit ComboPopup(QComboBox* w) : w_(w) {}
    void removeAllItems() override { w_->clear(); }
    void addItemWithTitle(const std::string& title) override;
    bool selectItemWithTitle(const std::string& title) override;
    int indexOfSelectedItem() const override { return w_->currentIndex(); }
    std::string titleOfSelectedItem() const override { return w_->currentText().toStdString(); }
    std::vector<std::string> itemTitles() const override;
    QComboBox* widget() const { return w_; }

private:
    QComboBox* w_;
};

// The camera panels in the window: the chooser, the download sheet, the "complete" panel and
// the camera area of the settings panel (page 0 nothing, 1 the change button, 2 the download's
// progress with its cancel button). The settings panel dims under a camera sheet.
class CameraSheets : public CameraPanelPort {
public:
    CameraSheets(QWidget* window, QWidget* settingsPanelView, QPushButton* changeCameraButton);
    ~CameraSheets() override;
    CameraSheets(const CameraSheets&) = delete;
    CameraSheets& operator=(const CameraSheets&) = delete;

    // The controls call the controller's steps from here on.
    void Wire(SourceCameraContoller* controller, CameraChange* change);
    void setUrlOpener(UrlOpener opener) { opener_ = std::move(opener); }
    QStackedWidget* cameraDownloadTabView() const { return cameraDownloadTabView_; }
    QDialog* window(CameraSheet sheet) const;
    QProgressBar* progressBar() const { return progressBar_; }
    double settingsAlpha() const { return dim_->opacity(); }
    // A download ended without its pack: the camera area shows why, under the button.
    void ShowDownloadError(const std::string& text);

    Popup& makePopup() override { return make_; }
    Popup& modelPopup() override { return model_; }
    Popup& pictureStylePopup() override { return style_; }
    Popup& downloadServerPopup() override { return site_; }
    int selectionMatrixSelectedRow() const override;
    bool defaultCameraCheckState() const override { return defaultCameraCheck_->isChecked(); }
    void setDownloadText(const std::string& text) override;
    void setProgress(double percent) override;
    void runSheet(CameraSheet sheet) override;
    void endSheet(CameraSheet sheet) override;
    void selectCameraTab(int index) override;
    int cameraTab() const override { return cameraDownloadTabView_->currentIndex(); }
    void setSettingsAlpha(double alpha) override;
    void openURL(const std::string& url) override { opener_(url); }

private:
    void BuildChooser(QWidget* window);
    void BuildDownload(QWidget* window);
    void BuildComplete(QWidget* window);
    void BuildArea(QPushButton* changeCameraButton);

    SourceCameraContoller* controller_ = nullptr;
    QDialog* changeCameraWindow_ = nullptr;
    QDialog* downloadCameraWindow_ = nullptr;
    QDialog* downloadCompleteWindow_ = nullptr;
    ComboPopup make_{nullptr}, model_{nullptr}, style_{nullptr}, site_{nullptr};
    QButtonGroup* selectionMatrix_ = nullptr;
    QCheckBox* defaultCameraCheck_ = nullptr;
    QPushButton* applyButton_ = nullptr;
    QPushButton* cancelChangeCameraButton_ = nullptr;
    QLabel* downloadText_ = nullptr;
    QPushButton* downloadButton_ = nullptr;
    QPushButton* cancelDownloadCameraButton_ = nullptr;
    QPushButton* continueButton_ = nullptr;
    QStackedWidget* cameraDownloadTabView_ = nullptr;
    QPushButton* changeCameraButton_ = nullptr;
    QLabel* cameraText_ = nullptr;
    QProgressBar* progressBar_ = nullptr;
    QPushButton* cancelButton_ = nullptr;
    QGraphicsOpacityEffect* dim_ = nullptr;
    UrlOpener opener_ = DesktopUrlOpener();
    std::string downloadError_;
};

// The chooser as the download's client in the window: an error also reaches the camera area.
class SheetCameraController : public SourceCameraContoller {
public:
    explicit SheetCameraController(CameraSheets* sheets) : SourceCameraContoller(sheets), sheets_(sheets) {}
    void setError(const std::string& text) override {
        SourceCameraContoller::setError(text);
        sheets_->ShowDownloadError(text);
    }

private:
    CameraSheets* sheets_;
};

}  // namespace ombrel::services
