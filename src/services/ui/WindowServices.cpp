#include "services/ui/WindowServices.h"

#include <QMenuBar>

#include "platform/prefs/Preferences.h"
#include "services/Server.h"

namespace ombrel::services {

WindowServices::WindowServices(QMainWindow& window, GuiController& controller, QWidget* settingsPanelView,
                               QPushButton* changeCameraButton)
    : controller_(controller),
      usageSheet_(&window, "usageStatsWindow",
                  {{"usageStatsCheckbox", "Send usage statistics"},
                   {"sendBugsCheckbox", "Send bug reports"},
                   {"versionCheckCheckbox", "Tell me about new versions"}},
                  {{"usageContinueButton", "Continue"}}),
      messageSheet_(&window, "userMessageWindow", {{"dontShowCheckbox", "Don't show this version again"}},
                    {{"versionDownloadButton", "Download"}, {"versionDoneButton", "Done"}}),
      errorSheet_(&window, "userErrorWindow", {}, {{"errorCancelButton", "Cancel"}, {"errorContinueButton", "Continue"}}),
      r3dSheet_(&window, "downloadWindow", {}, {{"r3dDownloadButton", "Download Page"}, {"r3dDoneButton", "Done"}}),
      cameraSheets_(&window, settingsPanelView, changeCameraButton),
      camera_(std::make_unique<SheetCameraController>(&cameraSheets_)) {
    WireUsageEvents();
    change_ = std::make_unique<CameraChange>(camera_.get(), &downloads_, this);
    cameraSheets_.Wire(camera_.get(), change_.get());
    camera_->setMainGuiController([this] { change_->DownloadFinished(); });
    camera_->awakeFromNib();

    usageSheet_.setHeading("What Ombrel may send");
    usageSheet_.setMessage(
        "Ombrel can tell its maker how it is used and which errors it meets, and offer new versions "
        "in the replies. Nothing is sent unless you tick it here; the log of an edit list conform goes "
        "whenever a server is set. Privacy > Work Offline stops all traffic.");
    // Updates come on with the answer, whatever this box shows.
    usageSheet_.setCheckboxState(2, true);
    usageSheet_.checkbox(2)->setEnabled(false);
    usageSheet_.onButton(0, [this] { usage_.ContinueClicked(); }, true);
    messageSheet_.onButton(0, [this] { message_.DownloadClicked(); });
    messageSheet_.onButton(1, [this] { message_.DoneClicked(); }, true);
    errorSheet_.setBlocking(true);
    errorSheet_.onButton(0, [this] { error_.CancelClicked(); }, true);
    errorSheet_.onButton(1, [this] { error_.ContinueClicked(); });
    r3dSheet_.setHeading("R3D DATA PACK");
    r3dSheet_.setMessage(
        "The colour science of the RC3RG3 and RC3RLF extract types needs a data pack that is not "
        "installed, so the clip opens with the standard extract. The pack is on the maker's download page.");
    r3dSheet_.onButton(0, [this] { r3d_.DownloadClicked(); });
    r3dSheet_.onButton(1, [this] { r3d_.DoneClicked(); }, true);

    BuildPrivacyMenu(window);
    VersionChecker::Instance().setMessageController(&message_);
    usage_.awakeFromNib();
}

WindowServices::~WindowServices() {
    VersionChecker::Instance().setMessageController(nullptr);
    downloads_.setClient(nullptr);
}

void WindowServices::BuildPrivacyMenu(QMainWindow& window) {
    QMenu* menu = window.menuBar()->addMenu("Privacy");
    const char* names[3] = {"menuItemUsage", "menuItemBugs", "menuItemUpdates"};
    const char* titles[3] = {"Send Usage Statistics", "Send Bug Reports", "Check for New Versions"};
    std::array<QAction*, 3> items{};
    for (int i = 0; i < 3; ++i) {
        items[static_cast<size_t>(i)] = menu->addAction(titles[i]);
        items[static_cast<size_t>(i)]->setObjectName(names[i]);
        items[static_cast<size_t>(i)]->setCheckable(true);
        // The controller flips the mark itself.
        QObject::connect(items[static_cast<size_t>(i)], &QAction::triggered, menu, [this, i] {
            usage_.UsageStatsOptionsChanged(i);
        });
    }
    usageSheet_.setMenuItems(items);
    menu->addSeparator();
    offlineMenuItem_ = menu->addAction("Work Offline");
    offlineMenuItem_->setObjectName("offlineMenuItem");
    offlineMenuItem_->setCheckable(true);
    offlineMenuItem_->setChecked(Offline());
    QObject::connect(offlineMenuItem_, &QAction::triggered, menu, [this](bool on) {
        auto prefs = platform::Preferences::Shared();
        prefs.setBool("Offline", on);
        prefs.Synchronize();
        // The environment's switch wins over the menu.
        offlineMenuItem_->setChecked(Offline());
    });
}

void WindowServices::setUrlOpener(const UrlOpener& opener) {
    for (MessageSheet* s : {&usageSheet_, &messageSheet_, &errorSheet_, &r3dSheet_}) s->setUrlOpener(opener);
    cameraSheets_.setUrlOpener(opener);
}

void WindowServices::WindowBecameKey() {
    VersionChecker::Instance().SendEventNamedWithData("LAUNCH", "");
    usage_.Show();
}

void WindowServices::ClipOpened(const ClipSettings& settings, bool r3d) { change_->ClipLoaded(settings, !r3d); }

bool WindowServices::OpenR3DDownloadWindow() {
    r3d_.OpenWindow();
    return true;
}

ClipSettingsPtr WindowServices::clipSettings() {
    return controller_.guiModel()->filename() ? controller_.guiModel()->clipSettings() : nullptr;
}

void WindowServices::ApplyCameraChoiceToAll(const ClipSettings& settings, bool toAll) {
    controller_.ApplyCameraChoiceToAll(settings, toAll);
}

void WindowServices::StockChanged() { controller_.guiCtrl()->StockChanged(); }

}  // namespace ombrel::services
