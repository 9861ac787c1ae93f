#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QStackedWidget>

#include <memory>
#include <vector>

#include "shell/BrowseTab.h"
#include "shell/ConformDialog.h"
#include "services/ui/WindowServices.h"
#include "shell/FilmSettingsPanel.h"
#include "shell/PresetBarView.h"
#include "shell/PreviewWidget.h"
#include "shell/RenderTab.h"
#include "shell/ShellControls.h"
#include "shell/logic/GuiController.h"
#include "sources/R3DView.h"

namespace ombrel {

// The one window: three tabs, the viewer and its controls, and the menus, wired to a
// GuiController. Only user-action signals are connected (clicked, activated, triggered,
// sliderMoved/actionTriggered), so a control moved by the model fires nothing.
class MainWindow : public QMainWindow {
public:
    explicit MainWindow(const std::string& appVersion);
    ~MainWindow() override;

    GuiController& controller() { return *controller_; }
    R3DView& view() { return view_; }
    PreviewWidget* previewWidget() const { return preview_; }
    QtModal& modal() { return *modal_; }
    services::WindowServices& services() { return *services_; }
    // Keys meant for the viewer, as the main view takes them: z, b and, for movies, space.
    bool HandleViewerKey(int key);

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QWidget* BuildBrowseTab();
    QWidget* BuildFilmTab();
    QWidget* BuildRenderTab();
    void BuildMenus();
    void WirePorts();

    R3DView view_;
    std::unique_ptr<GuiController> controller_;
    QStackedWidget* mainTabView_ = nullptr;
    QPushButton* tabButtons_[3] = {};
    PreviewWidget* preview_ = nullptr;
    FilmStripView* filmStrip_ = nullptr;
    ScrubberSlider* scrubSlider_ = nullptr;
    HistogramView* histogram_ = nullptr;
    BrowseTab* browseTab_ = nullptr;
    FilmSettingsPanel* filmPanel_ = nullptr;
    PresetBarView* presetBar_ = nullptr;
    ShotListTable* renderTable_ = nullptr;
    RenderTab* renderTab_ = nullptr;
    ConformDialog* conformDialog_ = nullptr;
    QCheckBox* zoomCheckbox_ = nullptr;
    QCheckBox* playCheckbox_ = nullptr;
    QCheckBox* bypassCheckbox_ = nullptr;
    QCheckBox* useMetadataCheckbox_ = nullptr;
    QComboBox* colorSpacePopup_ = nullptr;
    QLabel* filenameText_ = nullptr;
    QLabel* reelText_ = nullptr;
    QLabel* clipText_ = nullptr;
    QLabel* textTimeOfDay_ = nullptr;
    QLabel* textEdgecode_ = nullptr;
    QLabel* frameText_ = nullptr;
    QPushButton* changeCameraButton_ = nullptr;
    QAction* enableRocket_ = nullptr;
    QAction* debayer_[3] = {};
    QAction* extract_[3] = {};
    QAction* extractHeading_ = nullptr;
    bool terminating_ = false;
    std::unique_ptr<QtModal> modal_;
    std::unique_ptr<services::WindowServices> services_;
    std::vector<std::shared_ptr<void>> keep_;
};

}  // namespace ombrel
