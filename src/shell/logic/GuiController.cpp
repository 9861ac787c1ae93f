#include "shell/logic/GuiController.h"

#include <cstdlib>
#include <filesystem>

#include "core/Log.h"
#include "core/Paths.h"
#include "library/FileParser.h"
#include "look/AppState.h"
#include "look/LutManager.h"
#include "model/ProjectFile.h"
#include "model/SettingsManager.h"
#include "render/RenderManager.h"
#include "shell/logic/RenderPanel.h"

namespace ombrel {

namespace fs = std::filesystem;

namespace {

// Stand-ins for the ports a window leaves out.
struct NullPorts {
    TabViewPort tab;
    ControlPort control;
    CheckboxPort checkbox;
    PopupPort popup;
    SliderPort slider;
    TextFieldPort text;
    MenuItemPort menu;
    StripPort strip;
    ListView list;
};

NullPorts& Nulls() {
    static NullPorts n;
    return n;
}

struct ImmediateTimer : TimerPort {
    // Without a loop to run it later, a timer's work is dropped: it only ever repairs.
    void OneShot(double /*seconds*/, std::function<void()> /*fn*/) override {}
};

struct NoModal : ModalPort {
    void RunMessage(const std::string& heading, const std::string& text) override {
        Log()->info("modal: {}: {}", heading, text);
    }
    std::optional<std::string> ChooseSavePath(const std::string&) override { return std::nullopt; }
    std::optional<std::string> ChooseFile(const std::string&) override { return std::nullopt; }
};

struct NoWindow : WindowPort {
    void setTitle(const std::string&) override {}
};

template <typename T>
T* Or(T* port, T* fallback) {
    return port ? port : fallback;
}

}  // namespace

GuiController::GuiController(platform::Preferences preferences) : prefs_(std::move(preferences)) {
    guiModel_ = std::make_unique<GuiModel>();
    guiModel_->setGui(this);
    panel_ = std::make_unique<FilmPanel>(*this);
    guiCtrlRed_ = std::make_unique<GuiController_RED>();
    guiCtrlQt_ = std::make_unique<GuiController_QT>();
    guiCtrlRed_->setGuiModel(guiModel_.get());
    guiCtrlQt_->setGuiModel(guiModel_.get());
    guiCtrlRed_->setDebayerReader([this] { return prefs_.integerForKey("debayerSetting"); });
    guiCtrl_ = guiCtrlRed_.get();
    AppState::Instance().setState(0);
    currentTabTag_ = 1;
    renderButtonTitles_ = {"Render Clips", "Cancel", "Cancelling..."};
    r3dExtractSetting_ = 0;
    autosavePath_ = [] { return ProjectFile::AutosavePath(); };
    shotList_.setGuiController(this);
    renderPanel_ = std::make_unique<RenderPanel>(*this);
    setControls({});
}

GuiController::~GuiController() {
    renderPanel_.reset();
    guiCtrlRed_->CloseCurrentFile();
    shotList_.setGuiController(nullptr);
}

void GuiController::setControls(const GuiControls& controls) {
    static ImmediateTimer timer;
    static NoModal modal;
    static NoWindow window;
    static ServicesPort services;
    NullPorts& n = Nulls();
    c_ = controls;
    c_.mainTabView = Or(c_.mainTabView, &n.tab);
    c_.TimecodeTab = Or(c_.TimecodeTab, &n.tab);
    c_.cameraDownloadTabView = Or(c_.cameraDownloadTabView, &n.tab);
    c_.changeCameraButton = Or(c_.changeCameraButton, &n.control);
    c_.useMetadataCheckboxView = Or(c_.useMetadataCheckboxView, &n.control);
    c_.useMetadataCheckbox = Or(c_.useMetadataCheckbox, &n.checkbox);
    c_.zoomCheckbox = Or(c_.zoomCheckbox, &n.checkbox);
    c_.playCheckbox = Or(c_.playCheckbox, &n.checkbox);
    c_.disableFilmCheckbox = Or(c_.disableFilmCheckbox, &n.checkbox);
    c_.colorSpacePopup = Or(c_.colorSpacePopup, &n.popup);
    c_.scrubSlider = Or(c_.scrubSlider, &n.slider);
    for (TextFieldPort** t : {&c_.filenameText, &c_.reelText, &c_.clipText, &c_.textTimeOfDay, &c_.textEdgecode,
                              &c_.textEdgecodeQT, &c_.frameText})
        *t = Or(*t, &n.text);
    for (MenuItemPort** m : {&c_.enableRocketMenuItem, &c_.debayerQuarterMenuItem, &c_.debayerHalfMenuItem,
                             &c_.debayerFullMenuItem, &c_.r3dSettingsMenuItemRC2RG, &c_.r3dSettingsMenuItemRC3RG3,
                             &c_.r3dSettingsMenuItemRC3RLF, &c_.r3dSettingsMenuItemHeading})
        *m = Or(*m, &n.menu);
    c_.filmStrip = Or(c_.filmStrip, &n.strip);
    c_.shotListTable = Or(c_.shotListTable, &n.list);
    c_.shotListTableIcon = Or(c_.shotListTableIcon, &n.list);
    c_.shotsFoundTableIcon = Or(c_.shotsFoundTableIcon, &n.list);
    c_.timer = Or<TimerPort>(c_.timer, &timer);
    c_.modal = Or<ModalPort>(c_.modal, &modal);
    c_.window = Or<WindowPort>(c_.window, &window);
    c_.services = Or<ServicesPort>(c_.services, &services);
    shotList_.setTables(c_.shotListTable, c_.shotListTableIcon);
}

double GuiController::CurrentAppVersion() const { return std::strtod(appVersion_.c_str(), nullptr); }

std::string GuiController::autosavePath() const { return autosavePath_ ? autosavePath_() : std::string(); }

PlistValue& GuiController::defaults() {
    if (!defaultsDictionary_) defaultsDictionary_ = NewDefaultsDictionary();
    return *defaultsDictionary_;
}

PlistValue GuiController::NewDefaultsDictionary() const {
    PlistValue d = PlistValue::MakeDict();
    // Every new dictionary carries the version, or the next start would drop it again.
    d.set("version", CurrentAppVersion());
    return d;
}

// ---------------------------------------------------------------- start-up

void GuiController::ReadDefaultsDictionary() {
    const auto stored = prefs_.objectForKey("GuiSettings");
    if (stored && stored->isDict() && stored->contains("version") &&
        (*stored)["version"].asReal() == CurrentAppVersion())
        defaultsDictionary_ = *stored;
    else
        defaultsDictionary_ = NewDefaultsDictionary();
}

void GuiController::MarkDebayerItems() {
    c_.debayerQuarterMenuItem->setState(debayerSetting_ == 4);
    c_.debayerHalfMenuItem->setState(debayerSetting_ == 2);
    c_.debayerFullMenuItem->setState(debayerSetting_ == 1);
}

void GuiController::MarkExtractItems() {
    c_.r3dSettingsMenuItemRC2RG->setState(r3dExtractSetting_ == 0);
    c_.r3dSettingsMenuItemRC3RG3->setState(r3dExtractSetting_ == 1);
    c_.r3dSettingsMenuItemRC3RLF->setState(r3dExtractSetting_ == 2);
}

void GuiController::awakeFromNib() {
    // 1. The stocks; the camera area starts empty.
    panel_->ResetFilmStockList();
    c_.changeCameraButton->setEnabled(false);
    c_.changeCameraButton->setHidden(true);
    c_.cameraDownloadTabView->selectTabViewItemAtIndex(0);
    // 2. Decode settings and their marks.
    useRocket_ = prefs_.boolForKey("useRocket").value_or(true);
    debayerSetting_ = static_cast<int>(prefs_.integerForKey("debayerSetting").value_or(4));
    r3dExtractSetting_ = static_cast<int>(prefs_.integerForKey("r3dExtractSetting").value_or(0));
    c_.enableRocketMenuItem->setState(useRocket_);
    MarkDebayerItems();
    MarkExtractItems();
    c_.r3dSettingsMenuItemRC2RG->setEnabled(true);
    c_.r3dSettingsMenuItemRC3RG3->setEnabled(true);
    c_.r3dSettingsMenuItemRC3RLF->setEnabled(true);
    c_.r3dSettingsMenuItemHeading->setEnabled(false);
    guiCtrlRed_->SetR3DExtractSettings(r3dExtractSetting_);
    // 4. Tables and the viewer's checkboxes.
    c_.zoomCheckbox->setState(false);
    c_.playCheckbox->setState(false);
    // 5. The stored settings of the window, dropped when another version wrote them.
    ReadDefaultsDictionary();
    if (defaultsDictionary_->contains("outputSettings"))
        outputSettings_.LoadFromDictionary((*defaultsDictionary_)["outputSettings"]);
    // 6. Destination folders.
    destList_.clear();
    destList_.reserve(20);
    for (const auto& d : (*defaultsDictionary_)["destList"].asArray())
        if (!d.asString().empty()) destList_.push_back(d.asString());
    if (destList_.empty()) {
        destPath_ = ExpandTilde(kRenderFolder);
        destList_.push_back(destPath_);
        PlistValue list = PlistValue::MakeArray();
        list.append(destPath_);
        defaultsDictionary_->set("destList", list);
        defaultsDictionary_->set("destPath", destPath_);
    } else {
        destPath_ = (*defaultsDictionary_)["destPath"].asString(destList_.front());
    }
    // 7. The model takes the levels radio's state.
    panel_->PreLevelsChanged();
    // 11. Both event controllers meet the viewer.
    guiCtrlRed_->Setup();
    guiCtrlQt_->Setup();
    guiCtrlRed_->setR3dViewGL(r3dViewGL_);
    guiCtrlQt_->setR3dViewGL(r3dViewGL_);
    c_.textEdgecode->setStringValue("");
    c_.textEdgecodeQT->setStringValue("");
    // 13. Keys reach the viewer; the histogram is taken before the levels.
    if (r3dViewGL_) r3dViewGL_->setHistogramPreLevels(true);
    renderPanel_->RefreshCustomCodecs();
    renderPanel_->UpdateGUIFromOutputSettings();
}

void GuiController::SetWindowTitle(const std::string& title) {
    windowTitle_ = title;
    c_.window->setTitle(title);
}

void GuiController::applicationDidFinishLaunching() { SetWindowTitle("Ombrel\u2122 " + appVersion_); }

void GuiController::windowDidBecomeKey() {
    if (firstBecameKey_) return;
    firstBecameKey_ = true;
    c_.services->WindowBecameKey();
    if (startProject_)
        LoadProjectAtPath(*startProject_);
    else
        Autoload();
    std::error_code ec;
    fs::create_directories(LutManager::PictureStyleBasePath(), ec);
}

bool GuiController::applicationShouldTerminate() {
    RenderManager& manager = RenderManager::Instance();
    manager.CancelRender("Ombrel Closing");
    manager.WaitUntilExit();
    Autosave();
    return true;
}

// ---------------------------------------------------------------- tabs

void GuiController::SelectStripIndex(int index) {
    c_.filmStrip->SelectRowIndexes({static_cast<size_t>(index)});
    c_.filmStrip->Display();
}

void GuiController::TabChanged(int tag) {
    if (tag < 1 || tag > 3) return;
    guiCtrl_->WaitForPreviewLoop();
    AppState::Instance().setTabId(tag);
    c_.mainTabView->selectTabViewItemAtIndex(tag - 1);
    c_.mainTabView->display();
    if (tag == 2) {
        const int index = guiModel_->filename() ? shotList_.GetIndexForPath(*guiModel_->filename()) : -1;
        if (index >= 0) {
            currentFileIndex_ = index;
            SelectStripIndex(index);
        } else if (shotList_.Count() == 0) {
            currentFileIndex_ = 0;
            guiModel_->setFilename(std::nullopt);
            if (r3dViewGL_) {
                r3dViewGL_->OpenMovieAtPath(std::nullopt);
                r3dViewGL_->setHasOpenClip(false);
                r3dViewGL_->DrawPlaceholder();
            }
        } else {
            currentFileIndex_ = 0;
            OpenFile(*shotList_.GetPathAtIndex(0));
            SelectStripIndex(0);
        }
        guiModel_->setCurrentFrame(guiModel_->clipSettings()->lastFrameShown());
        guiCtrl_->Tab2Opened();
        QueueForcedUpdates();
    } else if (tag == 1) {
        c_.shotsFoundTableIcon->Display();
        c_.shotListTableIcon->Display();
    } else if (tag == 3) {
        renderPanel_->UpdateGUIFromOutputSettings();
    }
    currentTabTag_ = tag;
    Autosave();
}

// ---------------------------------------------------------------- opening a clip

void GuiController::UpdateSourceCameraPanel() {
    const bool red = AppState::Instance().State() == 0;
    c_.useMetadataCheckboxView->setEnabled(red);
    c_.useMetadataCheckboxView->setHidden(!red);
}

void GuiController::OpenFile(const std::string& path) {
    std::unique_lock lock(openFileLock_, std::try_to_lock);
    if (!lock.owns_lock()) return;
    if ((r3dViewGL_ && r3dViewGL_->isGettingFrame()) || (guiModel_->filename() && *guiModel_->filename() == path))
        return;
    if (r3dViewGL_) r3dViewGL_->setPlayback(false);
    pauseFrameUpdates_ = true;
    guiCtrlQt_->setHoldFrameUpdates(true);
    guiCtrlRed_->setHoldFrameUpdates(true);
    guiCtrl_->CloseCurrentFile();

    guiModel_->setFilename(path);
    const ClipSettingsPtr found = SettingsManager::Instance().SettingsForClip(path);
    if (found)
        guiModel_->PushClipSettings(*found);
    else
        LoadGUIFromUserDefaults();

    const bool red = FileParser::IsR3DFile(path);
    AppState::Instance().setState(red ? 0 : 1);
    guiCtrl_ = red ? static_cast<GuiControllerEventProtocol*>(guiCtrlRed_.get()) : guiCtrlQt_.get();
    c_.TimecodeTab->selectTabViewItemAtIndex(red ? 0 : 1);
    if (!red) {
        guiModel_->setUseMetadata(false);
        c_.useMetadataCheckbox->setState(false);
    }
    c_.changeCameraButton->setEnabled(!red);
    c_.changeCameraButton->setHidden(red);
    c_.cameraDownloadTabView->selectTabViewItemAtIndex(red ? 0 : 1);
    UpdateSourceCameraPanel();
    pauseFrameUpdates_ = false;
    const ClipSettingsPtr settings = found ? found : guiModel_->clipSettings();
    c_.services->ClipOpened(*guiModel_->clipSettings(), red);

    if (red && !LutManager::LutAvailable("EpicX_RC3RG3")) {
        guiCtrlRed_->SetR3DExtractSettings(0);
        if (!c_.services->OpenR3DDownloadWindow())
            c_.modal->RunMessage("Data pack", "The colour science of this extract type needs a data pack that is not installed; the clip opens with the standard extract.");
    }
    guiCtrl_->OpenFileWithSettings(path, settings);

    guiModel_->setHistogramStale(true);
    c_.filmStrip->Display();
    if (r3dViewGL_) {
        r3dViewGL_->setPlayback(false);
        r3dViewGL_->setHasOpenClip(true);
    }
    c_.playCheckbox->setState(false);
    c_.playCheckbox->setEnabled(!red);
    c_.playCheckbox->setHidden(red);
    ShowColorSpacePopup(LutManager::StatusMAvailableForStockAndSource(
        guiModel_->stockName(), guiModel_->clipSettings()->sourceCameraChosen().value_or("")));
    lock.unlock();

    ClipSettings& clip = *guiModel_->clipSettings();
    if (clip.userFrameOut() < 1) guiModel_->setUserFrameOut(static_cast<int32_t>(clip.totalFrames()) - 1);
    if (r3dViewGL_) {
        r3dViewGL_->setPlayFrameIn(clip.userFrameIn());
        r3dViewGL_->setPlayFrameOut(clip.userFrameOut());
    }
    c_.scrubSlider->setMarks(clip.userFrameIn(), clip.userFrameOut());
    SetSnippetsForSettingsAndPath(clip, path);
    c_.scrubSlider->display();
    panel_->UpdateSCurveSliderSize();
    QueueForcedUpdates();
    // Catches up with a clip asked for while this one was opening.
    c_.timer->OneShot(0.2, [this] { ResetToCurrentFile(); });
}

void GuiController::ShowColorSpacePopup(bool statusM) {
    if (!statusM) {
        c_.colorSpacePopup->selectItemWithTag(0);
        LutManager::SetColorFormat(0);
    }
    c_.colorSpacePopup->setEnabled(statusM);
    c_.colorSpacePopup->setHidden(!statusM);
}

void GuiController::SetSnippetsForSettingsAndPath(ClipSettings& settings, const std::string& path) {
    for (const auto& [key, file] : shotList_.fileSnippets()) {
        if (!file || file->sourcePath() != path) continue;
        const PlistValue list = file->KVCSnippetList();
        if (list.isNull()) break;
        PlistValue partial = PlistValue::MakeDict();
        partial.set("Handle", 0);
        partial.set("PullType", 1);
        partial.set("SnippetList", list);
        settings.setPartialClipDictionary(partial);
        settings.SetSnippetsFromArray(list);
        return;
    }
    settings.SetSnippetsFromArray(PlistValue());
}

// ---------------------------------------------------------------- walking

void GuiController::NextFile() {
    const int n = static_cast<int>(shotList_.Count());
    if (n == 0) return;
    currentFileIndex_ = currentFileIndex_ + 1 >= n ? 0 : currentFileIndex_ + 1;
    Autosave();
    OpenFile(*shotList_.GetPathAtIndex(static_cast<size_t>(currentFileIndex_)));
    SelectStripIndex(currentFileIndex_);
}

void GuiController::PrevFile() {
    const int n = static_cast<int>(shotList_.Count());
    if (n == 0) return;
    currentFileIndex_ = currentFileIndex_ <= 0 ? n - 1 : currentFileIndex_ - 1;
    Autosave();
    OpenFile(*shotList_.GetPathAtIndex(static_cast<size_t>(currentFileIndex_)));
    SelectStripIndex(currentFileIndex_);
}

void GuiController::FileSelected(const std::string& path) {
    if (c_.filmStrip->SelectedRowIndexes().size() >= 2) return;
    Autosave();
    currentFileIndex_ = std::max(0, shotList_.GetIndexForPath(path));
    OpenFile(path);
}

void GuiController::SelectFile(int index) {
    if (shotList_.Count() == 0 || index < 0 || static_cast<size_t>(index) >= shotList_.Count()) return;
    Log()->info("Select file {}", index);
    Autosave();
    currentFileIndex_ = index;
    const std::string path = *shotList_.GetPathAtIndex(static_cast<size_t>(index));
    OpenFile(path);
    SelectStripIndex(index);
}

void GuiController::ResetToCurrentFile() {
    if (c_.filmStrip->SelectedRowIndexes().size() >= 2) return;
    const int n = static_cast<int>(shotList_.Count());
    if (n > 0) {
        if (currentFileIndex_ >= n) currentFileIndex_ = 0;
        Autosave();
        OpenFile(*shotList_.GetPathAtIndex(static_cast<size_t>(currentFileIndex_)));
        SelectStripIndex(currentFileIndex_);
        return;
    }
    guiCtrl_->CloseCurrentFile();
    if (r3dViewGL_) {
        r3dViewGL_->setHasOpenClip(false);
        r3dViewGL_->DrawPlaceholder();
    }
    guiModel_->setFilename(std::nullopt);
    guiModel_->setHasOpenFile(false);
    UseDefaults();
}

void GuiController::ShotListUpdated() {
    c_.shotListTable->ReloadData();
    c_.filmStrip->ReloadData();
}

// ---------------------------------------------------------------- projects

void GuiController::SaveProjectToPath(const std::string& path) {
    if (path.empty()) return;
    // During a render the model has no clip: nothing to push then.
    if (guiModel_->filename() && !guiModel_->filename()->empty())
        SettingsManager::Instance().PushSettingsForClip(*guiModel_->clipSettings(), *guiModel_->filename());
    ProjectState state;
    state.outputSettings.LoadFromDictionary(outputSettings_.propertyList());
    if (guiModel_->filename() && !guiModel_->filename()->empty()) state.currentOpenFile = *guiModel_->filename();
    state.snippetList = shotList_.KVCFileSnippetsDictionary();
    state.appVersion = appVersion_;
    if (const Status s = ProjectFile::SaveProjectToPath(path, state); !s.ok())
        LogError("The project could not be saved: {}", s.message());
}

void GuiController::SetProjectFilename(const std::string& path) {
    projectFilename_ = path;
    SetWindowTitle("Ombrel " + appVersion_ + " - " + fs::path(path).filename().string());
    if (!defaultsDictionary_) defaultsDictionary_ = NewDefaultsDictionary();
    defaultsDictionary_->set("LastProjectFile", path);
}

void GuiController::SaveProject() {
    if (projectFilename_.empty()) {
        const auto chosen = c_.modal->ChooseSavePath("Please choose a save path for your project file.");
        if (!chosen || chosen->empty()) return;
        SetProjectFilename(ProjectFile::PathWithProjectExtension(*chosen));
    }
    SaveProjectToPath(projectFilename_);
}

void GuiController::SaveProjectAs() {
    const auto chosen = c_.modal->ChooseSavePath("Please choose a save path for your project file.");
    if (!chosen || chosen->empty()) return;
    SetProjectFilename(ProjectFile::PathWithProjectExtension(*chosen));
    SaveProject();
}

void GuiController::LoadProject() {
    const auto chosen = c_.modal->ChooseFile("Choose Project File");
    if (!chosen || chosen->empty()) return;
    LoadProjectAtPath(*chosen);
}

void GuiController::LoadProjectAtPath(const std::string& path) {
    SetProjectFilename(path);
    ProjectState state;
    if (const Status s = ProjectFile::LoadProjectAtPath(path, &state); !s.ok()) {
        // The path is taken over all the same; every key reads as absent.
        LogError("The project could not be read: {}", s.message());
        c_.modal->RunMessage("The project could not be read", s.message());
        return;
    }
    if (state.hasPaths) {
        shotList_.RemoveAllItems();
        for (const auto& clip : state.paths) shotList_.AddPath(clip);
        c_.shotListTable->ReloadData();
        c_.shotListTableIcon->ReloadData();
        c_.filmStrip->ReloadData();
    }
    shotList_.LoadKVCFileSnippetsDictionary(state.snippetList);
    outputSettings_.LoadFromDictionary(state.outputSettings.propertyList());
    if (state.currentOpenFile && !state.currentOpenFile->empty()) {
        std::error_code ec;
        if (fs::exists(*state.currentOpenFile, ec)) {
            if (const ClipSettingsPtr s = SettingsManager::Instance().SettingsForClip(*state.currentOpenFile))
                guiModel_->clipSettings()->CopySettingsFrom(*s);
            const int index = shotList_.GetIndexForPath(*state.currentOpenFile);
            if (index >= 0) currentFileIndex_ = index;
            OpenFile(*state.currentOpenFile);
        }
    }
}

void GuiController::Autosave() {
    const std::string path = autosavePath();
    if (!path.empty()) SaveProjectToPath(path);
}

void GuiController::Autoload() {
    const std::string path = autosavePath();
    if (!path.empty()) LoadProjectAtPath(path);
}

void GuiController::ApplyCameraChoiceToAll(const ClipSettings& settings, bool toAll) {
    std::vector<size_t> rows;
    if (toAll)
        for (size_t i = 0; i < shotList_.Count(); ++i) rows.push_back(i);
    else
        rows = c_.filmStrip->SelectedRowIndexes();
    for (size_t row : rows)
        if (const auto path = shotList_.GetPathAtIndex(row))
            SettingsManager::PushCameraSourceForClip(settings, *path);
}

// ---------------------------------------------------------------- the settings menu

void GuiController::EnableRocketClicked() {
    useRocket_ = !c_.enableRocketMenuItem->state();
    c_.enableRocketMenuItem->setState(useRocket_);
    prefs_.setBool("useRocket", useRocket_);
}

void GuiController::DebayerChanged(int setting) {
    if (setting != 1 && setting != 2 && setting != 4) return;
    debayerSetting_ = setting;
    prefs_.setInteger("debayerSetting", setting);
    MarkDebayerItems();
    ZoomChanged();
}

void GuiController::R3DExtractSettingsChanged(int type) {
    guiCtrlRed_->SetR3DExtractSettings(r3dExtractSetting_);
    if (type != 0 && !LutManager::LutAvailable("EpicX_RC3RG3")) {
        guiCtrlRed_->SetR3DExtractSettings(0);
        if (!c_.services->OpenR3DDownloadWindow())
            c_.modal->RunMessage("Data pack", "This extract type needs a data pack that is not installed.");
        return;
    }
    if (type < 0 || type > 2) return;
    r3dExtractSetting_ = type;
    prefs_.setInteger("r3dExtractSetting", type);
    MarkExtractItems();
    guiCtrlRed_->SetR3DExtractSettings(type);
    guiCtrl_->StockChanged();
}

// ---------------------------------------------------------------- the viewer's controls

void GuiController::FrameSliderChanged() {
    const auto frame = static_cast<int32_t>(c_.scrubSlider->doubleValue());
    if (frame == guiModel_->currentFrame()) return;
    if (r3dViewGL_ && r3dViewGL_->playback()) {
        r3dViewGL_->MovePlaybackToFrame(frame);
        return;
    }
    guiModel_->setCurrentFrame(frame);
    guiCtrl_->FrameSliderChanged();
    guiModel_->setHistogramStale(true);
}

void GuiController::PlayChanged() {
    if (AppState::Instance().State() != 1 || !r3dViewGL_) return;
    if (r3dViewGL_->playback()) {
        c_.playCheckbox->setState(false);
        r3dViewGL_->StopPlayback();
        FrameSliderChanged();
    } else {
        c_.playCheckbox->setState(true);
        r3dViewGL_->StartPlayback();
    }
}

void GuiController::ZoomChanged() {
    guiModel_->setZoom(c_.zoomCheckbox->state());
    guiCtrl_->ZoomChanged();
    if (r3dViewGL_) r3dViewGL_->Redraw();
}

void GuiController::ToggleZoom() {
    c_.zoomCheckbox->setState(!c_.zoomCheckbox->state());
    ZoomChanged();
}

void GuiController::DisableFilmStockChecked() {
    guiModel_->setShowOriginal(c_.disableFilmCheckbox->state());
    guiCtrl_->DisableFilmStockChecked();
    QueueForcedUpdates();
}

void GuiController::ToggleBypass() {
    c_.disableFilmCheckbox->setState(!c_.disableFilmCheckbox->state());
    DisableFilmStockChecked();
}

void GuiController::InPointSet() { guiModel_->setUserFrameIn(guiModel_->currentFrame()); }
void GuiController::OutPointSet() { guiModel_->setUserFrameOut(guiModel_->currentFrame()); }

void GuiController::QueueForcedUpdates() {
    forceUpdateCounter_ = 3;
    if (forceUpdateActive_) return;
    forceUpdateActive_ = true;
    c_.timer->OneShot(0.2, [this] { ForceUpdate(); });
}

void GuiController::ForceUpdate() {
    forceUpdateActive_ = true;
    panel_->ForceUpdateRound();
    if (AppState::Instance().State() == 1) guiModel_->setUseMetadata(false);
    if (--forceUpdateCounter_ >= 1)
        c_.timer->OneShot(0.2, [this] { ForceUpdate(); });
    else
        forceUpdateActive_ = false;
}

void GuiController::LoadGUIFromUserDefaults() {
    const auto stored = prefs_.objectForKey("GuiSettings");
    if (stored && stored->isDict() && stored->contains("version") &&
        (*stored)["version"].asReal() == CurrentAppVersion())
        defaultsDictionary_ = *stored;
    else
        defaultsDictionary_ = NewDefaultsDictionary();
    const bool useMetadata = AppState::Instance().State() == 0;
    ClipSettings fresh;
    fresh.setUseMetadata(useMetadata);
    fresh.setLastFrameShown(guiModel_->currentFrame());
    guiModel_->PushClipSettings(fresh);
    defaultsDictionary_->set("clipSettings", guiModel_->clipSettings()->propertyList());
    c_.colorSpacePopup->selectItemWithTag(0);
    LutManager::SetColorFormat(0);
    guiModel_->setUseMetadata(useMetadata);
    c_.useMetadataCheckbox->setState(useMetadata);
    guiModel_->clipSettings()->setUserFrameIn(0);
    guiModel_->clipSettings()->setUserFrameOut(0);
    guiCtrl_->SetLutWithStock(guiModel_->clipSettings()->stockName());
    panel_->UpdateSCurveSliderSize();
    QueueForcedUpdates();
}

void GuiController::SaveUserDefaults() {
    if (!defaultsDictionary_) return;
    defaultsDictionary_->set("outputSettings", outputSettings_.propertyList());
    prefs_.setObject("GuiSettings", *defaultsDictionary_);
    prefs_.Synchronize();
}

// ---------------------------------------------------------------- the model's calls back

// Each change moves its controls where they differ and goes on round the ring to the clip
// controller, which tells the viewer; the histogram is then stale.
void GuiController::setExposure(double v) {
    panel_->ShowRow(FilmRow::Exposure, v);
    guiCtrl_->ExposureChanged();
    guiModel_->setHistogramStale(true);
}
void GuiController::setKelvin(double v) {
    panel_->ShowRow(FilmRow::Kelvin, v);
    guiCtrl_->KelvinChanged();
    guiModel_->setHistogramStale(true);
}
void GuiController::setExposureKelvin(double exposure, double kelvin) {
    panel_->ShowRow(FilmRow::Exposure, exposure);
    panel_->ShowRow(FilmRow::Kelvin, kelvin);
    guiCtrl_->ExposureChanged();
    guiModel_->setHistogramStale(true);
}
void GuiController::setColorAmount(double v) {
    panel_->ShowRow(FilmRow::ColorAmount, v);
    guiCtrl_->ColorAmountChanged();
    guiModel_->setHistogramStale(true);
}
void GuiController::setSCurveAmount(double v) {
    panel_->ShowRow(FilmRow::SCurveAmount, v);
    guiCtrl_->SCurveAmountChanged();
    guiModel_->setHistogramStale(true);
}
void GuiController::setGrainAmount(double v) {
    panel_->ShowRow(FilmRow::Grain, v);
    guiCtrl_->GrainAmountChanged();
    guiModel_->setHistogramStale(true);
}
void GuiController::setSaturation(double v) {
    panel_->ShowRow(FilmRow::Saturation, v);
    guiCtrl_->SaturationChanged();
    guiModel_->setHistogramStale(true);
}
void GuiController::setLiftGammaGain(float lift, float gamma, float gain) {
    panel_->setLiftGammaGain(lift, gamma, gain);
    guiCtrl_->LiftGammaGainChanged();
    guiModel_->setHistogramStale(true);
}
void GuiController::setBallInfo(const ColorBallInfo& info) {
    panel_->setBallInfo(info);
    guiCtrl_->BallInfoChanged();
    guiModel_->setHistogramStale(true);
}
void GuiController::setGrainScale(double v) { panel_->setGrainScale(v); }
// A pushed record's levels reach the viewer too.
void GuiController::setHistogramBlack(double v) {
    panel_->setHistogramLevel(PanelText::Black, v);
    guiCtrl_->LevelsChanged();
}
void GuiController::setHistogramMid(double v) {
    panel_->setHistogramLevel(PanelText::Mid, v);
    guiCtrl_->LevelsChanged();
}
void GuiController::setHistogramWhite(double v) {
    panel_->setHistogramLevel(PanelText::White, v);
    guiCtrl_->LevelsChanged();
}
void GuiController::setHistogramStale() { panel_->setHistogramStale(); }
void GuiController::setGrainName(const std::string&) {}
void GuiController::setZoom(bool) {}
void GuiController::setStockName(const std::string& name) { panel_->setStockName(name); }
void GuiController::setPreLevels(bool value) {
    if (r3dViewGL_) r3dViewGL_->setHistogramPreLevels(value);
    guiModel_->setHistogramStale(true);
}

void GuiController::setUseMetadata(bool value) {
    panel_->setUseMetadata(value);
    c_.useMetadataCheckbox->setState(value);
    guiCtrl_->UseMetadataChecked();
}

void GuiController::setShowOriginal(bool value) {
    c_.disableFilmCheckbox->setState(value);
    if (r3dViewGL_) r3dViewGL_->setShowOriginal(value);
}

void GuiController::setFilename(const std::optional<std::string>& value) {
    if (!value) return;
    c_.filenameText->setStringValue(FileParser::DisplayNameForPath(fs::path(*value).filename().string()));
}

void GuiController::setReel(const std::optional<std::string>& value) {
    if (value) c_.reelText->setStringValue(*value);
}

void GuiController::setClip(const std::optional<std::string>& value) {
    if (value) c_.clipText->setStringValue(*value);
}

void GuiController::setFrameText(const std::string& value) { c_.textTimeOfDay->setStringValue(value); }

void GuiController::setFrameTextEdgecode(const std::string& value) {
    c_.textEdgecode->setStringValue(value);
    c_.textEdgecodeQT->setStringValue(value);
}

void GuiController::setCurrentFrame(int32_t value) {
    c_.scrubSlider->setDoubleValue(value);
    c_.frameText->setStringValue(std::to_string(value));
    if (guiModel_->clipSettings()->lastFrameShown() != value) guiModel_->clipSettings()->setLastFrameShown(value);
}

void GuiController::setFramesInCurrentClip(int32_t value) {
    c_.scrubSlider->setMinMax(0, std::max(0, value - 1));
    c_.scrubSlider->setDoubleValue(0);
    guiModel_->clipSettings()->setTotalFrames(static_cast<float>(value));
}

void GuiController::setUserFrameIn(int32_t value) {
    if (r3dViewGL_) r3dViewGL_->setPlayFrameIn(value);
    c_.scrubSlider->setMarks(value, guiModel_->userFrameOut());
    c_.scrubSlider->display();
}

void GuiController::setUserFrameOut(int32_t value) {
    if (r3dViewGL_) r3dViewGL_->setPlayFrameOut(value);
    c_.scrubSlider->setMarks(guiModel_->userFrameIn(), value);
    c_.scrubSlider->display();
}

}  // namespace ombrel
