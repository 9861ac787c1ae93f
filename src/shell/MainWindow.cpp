#include "shell/MainWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QMenuBar>
#include <QVBoxLayout>

#include "core/Log.h"
#include "core/MainQueue.h"
#include "look/AppState.h"
#include "presets/PresetLibrary.h"
#include "presets/ui/PresetManagerDialog.h"
#include "shell/CalibrateDialog.h"

namespace ombrel {

namespace {

QLabel* Label(const char* name, QWidget* parent) {
    auto* l = new QLabel(parent);
    l->setObjectName(name);
    l->setMinimumWidth(90);
    return l;
}

QCheckBox* Checkbox(const char* name, const char* title, QWidget* parent) {
    auto* c = new QCheckBox(title, parent);
    c->setObjectName(name);
    c->setFocusPolicy(Qt::NoFocus);
    return c;
}

// The preset manager tells the window's preset bar when libraries or names change; it lives as
// long as the sheet that calls it.
class PresetBarListener : public QObject, public presets::PresetGroupsListener {
public:
    PresetBarListener(PresetBar& bar, QObject* parent) : QObject(parent), bar_(bar) {}
    void RefreshPresetGroups() override {
        bar_.RefreshPresetGroups();
        bar_.PresetTabChanged();
    }
    void PresetRenamed(const RenderPreset& preset) override { bar_.PresetRenamed(preset); }

private:
    PresetBar& bar_;
};

template <typename T>
T* Keep(std::vector<std::shared_ptr<void>>& keep, std::shared_ptr<T> p) {
    keep.push_back(p);
    return p.get();
}

}  // namespace

MainWindow::MainWindow(const std::string& appVersion) {
    setObjectName("window");
    controller_ = std::make_unique<GuiController>();
    controller_->setAppVersion(appVersion);
    controller_->setR3dViewGL(&view_);
    // The preset libraries' first run: the preset bar and the manager find them made.
    if (const Status made = presets::EnsurePresetLibraries(); !made.ok()) LogWarn("{}", made.message());

    auto* root = new QWidget(this);
    root->setObjectName("mainView");
    auto* layout = new QVBoxLayout(root);
    layout->setContentsMargins(8, 8, 8, 8);
    auto* tabs = new QHBoxLayout;
    const char* tabNames[3] = {"tab1button", "tab2button", "tab3button"};
    const char* tabTitles[3] = {"Browse", "Film Settings", "Render"};
    for (int i = 0; i < 3; ++i) {
        tabButtons_[i] = new QPushButton(tabTitles[i], root);
        tabButtons_[i]->setObjectName(tabNames[i]);
        tabButtons_[i]->setCheckable(true);
        tabButtons_[i]->setAutoExclusive(true);
        tabButtons_[i]->setFocusPolicy(Qt::NoFocus);
        tabButtons_[i]->setMinimumWidth(140);
        tabs->addWidget(tabButtons_[i]);
        const int tag = i + 1;
        connect(tabButtons_[i], &QPushButton::clicked, this, [this, tag] { controller_->TabChanged(tag); });
    }
    tabButtons_[0]->setChecked(true);
    tabs->addStretch(1);
    layout->addLayout(tabs);
    mainTabView_ = new QStackedWidget(root);
    mainTabView_->setObjectName("mainTabView");
    mainTabView_->addWidget(BuildBrowseTab());
    mainTabView_->addWidget(BuildFilmTab());
    mainTabView_->addWidget(BuildRenderTab());
    layout->addWidget(mainTabView_, 1);
    setCentralWidget(root);
    BuildMenus();
    services_ = std::make_unique<services::WindowServices>(*this, *controller_, mainTabView_->widget(1), changeCameraButton_);
    WirePorts();

    // The viewer needs its size before the pipeline is built.
    if (!view_.AwakeFromNib(960, 540)) LogError("The viewer has no picture: {}", view_.lastError());
    view_.setSurface(preview_);
    view_.setBucketList(histogram_->bucketList());
    view_.setPlaybackObserver([this](int32_t frame) {
        // Widgets belong to the main thread: the display link only posts.
        MainQueue::Instance().RunAsync([this, frame] {
            scrubSlider_->setDoubleValue(frame);
            frameText_->setText(QString::number(frame));
            textEdgecode_->setText(QString::fromStdString(view_.EdgecodeString(frame)));
            histogram_->update();
        });
    });
    controller_->awakeFromNib();
    view_.DrawPlaceholder();
}

MainWindow::~MainWindow() {
    view_.StopPlayback();
    view_.setSurface(nullptr);
    // The sheet's conform reaches into the controller until its worker has ended.
    delete conformDialog_;
    services_.reset();
    controller_.reset();
}

QWidget* MainWindow::BuildBrowseTab() {
    browseTab_ = new BrowseTab(*controller_);
    return browseTab_;
}

QWidget* MainWindow::BuildFilmTab() {
    auto* page = new QWidget;
    auto* grid = new QGridLayout(page);
    preview_ = new PreviewWidget(&view_, page);
    preview_->setKeyHandler([this](int key) { return HandleViewerKey(key); });
    grid->addWidget(preview_, 0, 0);

    auto* side = new QVBoxLayout;
    histogram_ = new HistogramView(page);
    side->addWidget(histogram_);
    filenameText_ = Label("filenameText", page);
    reelText_ = Label("reelText", page);
    clipText_ = Label("clipText", page);
    textTimeOfDay_ = Label("textTimeOfDay", page);
    textEdgecode_ = Label("textEdgecode", page);
    frameText_ = Label("frameText", page);
    for (QLabel* l : {filenameText_, reelText_, clipText_, textTimeOfDay_, textEdgecode_, frameText_}) side->addWidget(l);
    zoomCheckbox_ = Checkbox("zoomCheckbox", "Zoom 1:1", page);
    playCheckbox_ = Checkbox("playCheckbox", "Play", page);
    bypassCheckbox_ = Checkbox("disableFilmCheckbox", "Bypass", page);
    useMetadataCheckbox_ = Checkbox("useMetadataCheckbox", "Use clip metadata", page);
    for (QCheckBox* c : {zoomCheckbox_, playCheckbox_, bypassCheckbox_, useMetadataCheckbox_}) side->addWidget(c);
    colorSpacePopup_ = new QComboBox(page);
    colorSpacePopup_->setObjectName("colorSpacePopup");
    colorSpacePopup_->addItem("Print", 0);
    colorSpacePopup_->addItem("Status M", 1);
    side->addWidget(colorSpacePopup_);
    changeCameraButton_ = new QPushButton("Change Camera...", page);
    changeCameraButton_->setObjectName("changeCameraButton");
    side->addWidget(changeCameraButton_);
    side->addStretch(1);
    grid->addLayout(side, 0, 1);
    filmPanel_ = new FilmSettingsPanel(*controller_, page);
    grid->addWidget(filmPanel_, 0, 2);

    scrubSlider_ = new ScrubberSlider(page);
    grid->addWidget(scrubSlider_, 1, 0, 1, 3);
    filmStrip_ = new FilmStripView(&controller_->shotList(), page);
    grid->addWidget(filmStrip_, 2, 0, 1, 3);
    presetBar_ = new PresetBarView(*controller_, page);
    grid->addWidget(presetBar_, 3, 0, 1, 3);
    grid->setColumnStretch(0, 1);
    grid->setRowStretch(0, 1);

    connect(zoomCheckbox_, &QCheckBox::clicked, this, [this] { controller_->ZoomChanged(); });
    connect(bypassCheckbox_, &QCheckBox::clicked, this, [this] { controller_->DisableFilmStockChecked(); });
    connect(playCheckbox_, &QCheckBox::clicked, this, [this] {
        // The controller flips the box itself.
        playCheckbox_->setChecked(!playCheckbox_->isChecked());
        controller_->PlayChanged();
    });
    connect(useMetadataCheckbox_, &QCheckBox::clicked, this, [this] { controller_->filmPanel().UseMetadataChecked(); });
    connect(scrubSlider_, &QSlider::sliderMoved, this, [this](int) { controller_->FrameSliderChanged(); });
    connect(scrubSlider_, &QSlider::actionTriggered, this, [this](int) {
        // The slider's value moves after this signal.
        QMetaObject::invokeMethod(this, [this] { controller_->FrameSliderChanged(); }, Qt::QueuedConnection);
    });
    filmStrip_->setClickHandler([this](int index, bool extend) {
        if (extend) {
            auto rows = filmStrip_->SelectedRowIndexes();
            rows.push_back(static_cast<size_t>(index));
            filmStrip_->SelectRowIndexes(rows);
            return;
        }
        controller_->SelectFile(index);
    });
    filmStrip_->setKeyHandler([this](int key) {
        switch (key) {
            case Qt::Key_Left:
                controller_->PrevFile();
                return true;
            case Qt::Key_Right:
                controller_->NextFile();
                return true;
            case Qt::Key_Backspace:
            case Qt::Key_Delete:
                controller_->shotList().Delete(filmStrip_);
                controller_->ResetToCurrentFile();
                return true;
            default:
                return HandleViewerKey(key);
        }
    });
    return page;
}

QWidget* MainWindow::BuildRenderTab() {
    renderTab_ = new RenderTab(*controller_);
    renderTable_ = renderTab_->renderTable();
    return renderTab_;
}

void MainWindow::BuildMenus() {
    QMenu* file = menuBar()->addMenu("File");
    QAction* open = file->addAction("Open...");
    open->setShortcut(QKeySequence::Open);
    connect(open, &QAction::triggered, this, [this] { controller_->LoadProject(); });
    QAction* save = file->addAction("Save");
    save->setShortcut(QKeySequence::Save);
    connect(save, &QAction::triggered, this, [this] { controller_->SaveProject(); });
    QAction* saveAs = file->addAction("Save As...");
    connect(saveAs, &QAction::triggered, this, [this] { controller_->SaveProjectAs(); });
    QAction* loadEdl = file->addAction("Load EDL / XML...");
    loadEdl->setObjectName("loadEdlMenuItem");
    connect(loadEdl, &QAction::triggered, this, [this] {
        if (!conformDialog_) conformDialog_ = new ConformDialog(*controller_, this);
        conformDialog_->sheet().OpenEDLWindow();
    });
    QAction* findMissing = file->addAction("Find Missing Files...");
    findMissing->setObjectName("findMissingFilesMenuItem");
    connect(findMissing, &QAction::triggered, this, [this] { controller_->FindMissingFiles(); });
    file->addSeparator();
    QAction* quit = file->addAction("Quit");
    quit->setShortcut(QKeySequence::Quit);
    connect(quit, &QAction::triggered, this, [this] { close(); });

    QMenu* settings = menuBar()->addMenu("Settings");
    QAction* presetManager = settings->addAction("Preset Manager...");
    presetManager->setObjectName("presetManagerMenuItem");
    connect(presetManager, &QAction::triggered, this, [this] {
        auto* sheet = findChild<presets::PresetManagerDialog*>("presetManagerWindow");
        if (!sheet)
            sheet = new presets::PresetManagerDialog(
                this, [this](const std::string& t) { return modal_->ChooseSavePath(t); },
                [this](const std::string& t) { return modal_->ChooseFile(t); });
        if (!sheet->controller().mainGuiController())
            sheet->controller().setMainGuiController(new PresetBarListener(presetBar_->bar(), sheet));
        sheet->controller().OpenPresetWindow();
    });
    settings->addSeparator();
    enableRocket_ = settings->addAction("Enable Rocket");
    enableRocket_->setObjectName("enableRocketMenuItem");
    enableRocket_->setCheckable(true);
    // The controller flips the mark itself.
    connect(enableRocket_, &QAction::triggered, this, [this](bool on) {
        enableRocket_->setChecked(!on);
        controller_->EnableRocketClicked();
    });
    settings->addSeparator();
    const char* debayerNames[3] = {"debayerQuarterMenuItem", "debayerHalfMenuItem", "debayerFullMenuItem"};
    const char* debayerTitles[3] = {"Preview Quarter Resolution", "Preview Half Resolution", "Preview Full Resolution"};
    const int debayerValues[3] = {4, 2, 1};
    for (int i = 0; i < 3; ++i) {
        debayer_[i] = settings->addAction(debayerTitles[i]);
        debayer_[i]->setObjectName(debayerNames[i]);
        debayer_[i]->setCheckable(true);
        const int v = debayerValues[i];
        connect(debayer_[i], &QAction::triggered, this, [this, v] { controller_->DebayerChanged(v); });
    }
    settings->addSeparator();
    extractHeading_ = settings->addAction("R3D Extract");
    extractHeading_->setObjectName("r3dSettingsMenuItemHeading");
    const char* extractNames[3] = {"r3dSettingsMenuItemRC2RG", "r3dSettingsMenuItemRC3RG3", "r3dSettingsMenuItemRC3RLF"};
    const char* extractTitles[3] = {"Extract RC2RG", "Extract RC3RG3", "Extract RC3RLF"};
    for (int i = 0; i < 3; ++i) {
        extract_[i] = settings->addAction(extractTitles[i]);
        extract_[i]->setObjectName(extractNames[i]);
        extract_[i]->setCheckable(true);
        connect(extract_[i], &QAction::triggered, this, [this, i] { controller_->R3DExtractSettingsChanged(i); });
    }
    settings->addSeparator();
    QAction* calibrate = settings->addAction("Calibrate Display...");
    calibrate->setObjectName("calibrateDisplayMenuItem");
    connect(calibrate, &QAction::triggered, this, [this] { OpenCalibrateDialog(this); });
}

void MainWindow::WirePorts() {
    modal_ = std::make_unique<QtModal>(this);
    GuiControls c;
    c.mainTabView = Keep(keep_, std::make_shared<QtTabView>(mainTabView_));
    c.changeCameraButton = Keep<ControlPort>(keep_, std::make_shared<QtControl>(changeCameraButton_));
    c.useMetadataCheckboxView = Keep<ControlPort>(keep_, std::make_shared<QtControl>(useMetadataCheckbox_));
    c.useMetadataCheckbox = Keep<CheckboxPort>(keep_, std::make_shared<QtCheckbox>(useMetadataCheckbox_));
    c.zoomCheckbox = Keep<CheckboxPort>(keep_, std::make_shared<QtCheckbox>(zoomCheckbox_));
    c.playCheckbox = Keep<CheckboxPort>(keep_, std::make_shared<QtCheckbox>(playCheckbox_));
    c.disableFilmCheckbox = Keep<CheckboxPort>(keep_, std::make_shared<QtCheckbox>(bypassCheckbox_));
    c.colorSpacePopup = Keep<PopupPort>(keep_, std::make_shared<QtPopup>(colorSpacePopup_));
    c.scrubSlider = scrubSlider_;
    c.filenameText = Keep<TextFieldPort>(keep_, std::make_shared<QtLabel>(filenameText_));
    c.reelText = Keep<TextFieldPort>(keep_, std::make_shared<QtLabel>(reelText_));
    c.clipText = Keep<TextFieldPort>(keep_, std::make_shared<QtLabel>(clipText_));
    c.textTimeOfDay = Keep<TextFieldPort>(keep_, std::make_shared<QtLabel>(textTimeOfDay_));
    c.textEdgecode = Keep<TextFieldPort>(keep_, std::make_shared<QtLabel>(textEdgecode_));
    c.frameText = Keep<TextFieldPort>(keep_, std::make_shared<QtLabel>(frameText_));
    c.enableRocketMenuItem = Keep<MenuItemPort>(keep_, std::make_shared<QtMenuItem>(enableRocket_));
    c.debayerQuarterMenuItem = Keep<MenuItemPort>(keep_, std::make_shared<QtMenuItem>(debayer_[0]));
    c.debayerHalfMenuItem = Keep<MenuItemPort>(keep_, std::make_shared<QtMenuItem>(debayer_[1]));
    c.debayerFullMenuItem = Keep<MenuItemPort>(keep_, std::make_shared<QtMenuItem>(debayer_[2]));
    c.r3dSettingsMenuItemRC2RG = Keep<MenuItemPort>(keep_, std::make_shared<QtMenuItem>(extract_[0]));
    c.r3dSettingsMenuItemRC3RG3 = Keep<MenuItemPort>(keep_, std::make_shared<QtMenuItem>(extract_[1]));
    c.r3dSettingsMenuItemRC3RLF = Keep<MenuItemPort>(keep_, std::make_shared<QtMenuItem>(extract_[2]));
    c.r3dSettingsMenuItemHeading = Keep<MenuItemPort>(keep_, std::make_shared<QtMenuItem>(extractHeading_));
    c.filmStrip = filmStrip_;
    c.shotListTable = browseTab_->shotListTablePort();
    c.shotListTableIcon = browseTab_->shotListTableIconPort();
    c.shotsFoundTableIcon = browseTab_->shotsFoundTableIconPort();
    c.timer = Keep<TimerPort>(keep_, std::make_shared<QtTimer>(this));
    c.modal = modal_.get();
    c.window = Keep<WindowPort>(keep_, std::make_shared<QtWindow>(this));
    c.cameraDownloadTabView = Keep(keep_, std::make_shared<QtTabView>(services_->cameraDownloadTabView()));
    c.services = services_.get();
    controller_->setControls(c);
    browseTab_->Wire();
    filmPanel_->Wire(Keep<ControlPort>(keep_, std::make_shared<QtControl>(histogram_)));
    presetBar_->Wire(c.shotListTable, [this] { return PresetIconFromPreview(preview_->latest().get()); });
    renderTab_->Wire(*modal_, colorSpacePopup_, tabButtons_);
    // Tabs follow the controller: a tab chosen by a project or a script lights its button.
    connect(mainTabView_, &QStackedWidget::currentChanged, this,
            [this](int index) { tabButtons_[index]->setChecked(true); });
}

bool MainWindow::HandleViewerKey(int key) {
    switch (key) {
        case Qt::Key_Z:
            controller_->ToggleZoom();
            return true;
        case Qt::Key_B:
            controller_->ToggleBypass();
            return true;
        case Qt::Key_Space:
            if (AppState::Instance().State() != 1) return false;
            controller_->PlayChanged();
            return true;
        default:
            return false;
    }
}

void MainWindow::keyPressEvent(QKeyEvent* event) {
    if (mainTabView_->currentIndex() == 1 && HandleViewerKey(event->key())) return;
    QMainWindow::keyPressEvent(event);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (!terminating_) {
        terminating_ = true;
        view_.StopPlayback();
        controller_->applicationShouldTerminate();
    }
    event->accept();
}

}  // namespace ombrel
