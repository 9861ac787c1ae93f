#pragma once

#include <QAction>
#include <QMainWindow>

#include <memory>

#include "services/CameraChange.h"
#include "services/Events.h"
#include "services/ui/CameraSheets.h"
#include "services/ui/MessageSheet.h"
#include "shell/logic/GuiController.h"

namespace ombrel::services {

// The camera and update services of the main window: the camera panels with their controller
// and downloads, the first-run usage sheet and the privacy menu, the new-version sheet, the
// error sheet and the R3D data pack prompt. Events leave only under the user's choices.
class WindowServices : public ServicesPort, public CameraClipPort {
public:
    // `changeCameraButton` moves into the camera area, which takes its place in the layout.
    WindowServices(QMainWindow& window, GuiController& controller, QWidget* settingsPanelView,
                   QPushButton* changeCameraButton);
    ~WindowServices() override;
    WindowServices(const WindowServices&) = delete;
    WindowServices& operator=(const WindowServices&) = delete;

    QStackedWidget* cameraDownloadTabView() const { return cameraSheets_.cameraDownloadTabView(); }
    // Every sheet opens web pages through this (a script prints them instead).
    void setUrlOpener(const UrlOpener& opener);

    // ServicesPort.
    void WindowBecameKey() override;
    void ClipOpened(const ClipSettings& settings, bool r3d) override;
    bool OpenR3DDownloadWindow() override;

    // CameraClipPort.
    ClipSettingsPtr clipSettings() override;
    void ApplyCameraChoiceToAll(const ClipSettings& settings, bool toAll) override;
    void StockChanged() override;

    CameraSheets& cameraSheets() { return cameraSheets_; }
    SourceCameraContoller& camera() { return *camera_; }
    CameraChange& cameraChange() { return *change_; }
    DownloadManager& downloads() { return downloads_; }
    UsageStatsController& usageStats() { return usage_; }
    UserMessageController& userMessage() { return message_; }
    UserErrorController& userError() { return error_; }
    DownloadR3DController& r3dDownload() { return r3d_; }
    MessageSheet& usageSheet() { return usageSheet_; }
    MessageSheet& messageSheet() { return messageSheet_; }
    MessageSheet& errorSheet() { return errorSheet_; }
    MessageSheet& r3dSheet() { return r3dSheet_; }

private:
    void BuildPrivacyMenu(QMainWindow& window);

    GuiController& controller_;
    MessageSheet usageSheet_;
    MessageSheet messageSheet_;
    MessageSheet errorSheet_;
    MessageSheet r3dSheet_;
    UsageStatsController usage_{&usageSheet_};
    UserMessageController message_{&messageSheet_};
    UserErrorController error_{&errorSheet_};
    DownloadR3DController r3d_{&r3dSheet_};
    CameraSheets cameraSheets_;
    std::unique_ptr<SheetCameraController> camera_;
    DownloadManager downloads_;
    std::unique_ptr<CameraChange> change_;
    QAction* offlineMenuItem_ = nullptr;
};

}  // namespace ombrel::services
