#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/PlistValue.h"
#include "library/browse/BrowseViews.h"
#include "library/browse/ShotListDataSource.h"
#include "model/OutputSettings.h"
#include "platform/prefs/Preferences.h"
#include "shell/logic/GuiController_QT.h"
#include "shell/logic/GuiController_RED.h"
#include "shell/logic/FilmPanel.h"
#include "shell/logic/GuiModel.h"
#include "shell/logic/GuiPorts.h"

namespace ombrel {

class RenderPanel;

// The window's controller, without a toolkit: the spine of start-up, the three tabs, the
// road of a clip into the viewer, projects and the autosave, the decode settings, and the
// viewer's controls. Main thread only. The controls are ports (GuiControls) that the shell
// implements and tests fake.
class GuiController : public GuiControllerProtocol, public BrowseController {
public:
    static constexpr const char* kRenderFolder = "~/Documents/Ombrel/Render/";

    // `init`: the model, both clip controllers, state 0, tab 1.
    explicit GuiController(platform::Preferences preferences = platform::Preferences::Shared());
    ~GuiController() override;

    // The version text of the program ("0.1.0"); CurrentAppVersion is it read as a number.
    void setAppVersion(std::string version) { appVersion_ = std::move(version); }
    const std::string& appVersion() const { return appVersion_; }
    double CurrentAppVersion() const;
    // Where the autosave lives; ProjectFile::AutosavePath by default.
    void setAutosavePathProvider(std::function<std::string()> provider) { autosavePath_ = std::move(provider); }
    std::string autosavePath() const;

    void setControls(const GuiControls& controls);
    // A project that the first key opens instead of the autosave, as File > Open would.
    void setStartProject(std::string path) { startProject_ = std::move(path); }
    void setR3dViewGL(R3DView* view) { r3dViewGL_ = view; }
    R3DView* r3dViewGL() const { return r3dViewGL_; }

    // Start-up, first key and quitting.
    void awakeFromNib();
    void applicationDidFinishLaunching();
    void windowDidBecomeKey();
    // Cancels a running render, waits for its worker, autosaves. Always answers true.
    bool applicationShouldTerminate();

    // Tabs and clips.
    void TabChanged(int tag);
    void OpenFile(const std::string& path);
    void NextFile();
    void PrevFile();
    void FileSelected(const std::string& path);
    void SelectFile(int index);
    void ResetToCurrentFile() override;
    int GetCurrentFileIndex() override { return currentFileIndex_; }
    void SourceDriveChanged(const VolumeDescription& /*volume*/) override {}
    void RedisplayDriveTree() override {}
    void ShotListUpdated() override;
    void SetSnippetsForSettingsAndPath(ClipSettings& settings, const std::string& path);
    // The film strip takes a camera: every movie clip of it, or of its selection.
    void ApplyCameraChoiceToAll(const ClipSettings& settings, bool toAll);

    // Projects.
    void SaveProjectToPath(const std::string& path);
    void SaveProject();
    void SaveProjectAs();
    void LoadProject();
    void LoadProjectAtPath(const std::string& path);
    void SetProjectFilename(const std::string& path);
    void Autosave();
    void Autoload();
    // Looks for the shot list's clips that have gone under a folder the user picks.
    void FindMissingFiles();

    // The settings menu.
    void EnableRocketClicked();
    void DebayerChanged(int setting);
    void R3DExtractSettingsChanged(int type);

    // The viewer's controls.
    void FrameSliderChanged();
    void PlayChanged();
    void ToggleZoom();
    void ToggleBypass();
    void ZoomChanged();
    void DisableFilmStockChecked();
    void InPointSet();
    void OutPointSet();
    void QueueForcedUpdates();
    void LoadGUIFromUserDefaults();
    void SaveUserDefaults();
    void UseDefaults() { LoadGUIFromUserDefaults(); }

    // GuiControllerProtocol: the model's calls back.
    void setExposure(double value) override;
    void setKelvin(double value) override;
    void setColorAmount(double value) override;
    void setSCurveAmount(double value) override;
    void setGrainAmount(double value) override;
    void setGrainScale(double value) override;
    void setHistogramBlack(double value) override;
    void setHistogramMid(double value) override;
    void setHistogramWhite(double value) override;
    void setHistogramStale() override;
    void setFilename(const std::optional<std::string>& value) override;
    void setReel(const std::optional<std::string>& value) override;
    void setClip(const std::optional<std::string>& value) override;
    void setFrameText(const std::string& value) override;
    void setFrameTextEdgecode(const std::string& value) override;
    void setGrainName(const std::string& value) override;
    void setStockName(const std::string& value) override;
    void setUseMetadata(bool value) override;
    void setShowOriginal(bool value) override;
    void setPreLevels(bool value) override;
    void setZoom(bool value) override;
    void setCurrentFrame(int32_t value) override;
    void setUserFrameIn(int32_t value) override;
    void setUserFrameOut(int32_t value) override;
    void setFramesInCurrentClip(int32_t value) override;
    void setExposureKelvin(double exposure, double kelvin) override;
    void setSaturation(double value) override;
    void setLiftGammaGain(float lift, float gamma, float gain) override;
    void setBallInfo(const ColorBallInfo& value) override;

    // The film settings panel's controls and events.
    FilmPanel& filmPanel() { return *panel_; }
    void RedrawFilmStrip() { c_.filmStrip->Display(); }
    bool useMetadataChecked() const { return c_.useMetadataCheckbox->state(); }
    // The status-M popup: shown only where the stock has that form; else back to tag 0.
    void ShowColorSpacePopup(bool statusM);

    GuiModel* guiModel() const { return guiModel_.get(); }
    GuiController_RED* guiCtrlRed() const { return guiCtrlRed_.get(); }
    GuiController_QT* guiCtrlQt() const { return guiCtrlQt_.get(); }
    GuiControllerEventProtocol* guiCtrl() const { return guiCtrl_; }
    ShotListDataSource& shotList() { return shotList_; }
    OutputSettings& outputSettings() { return outputSettings_; }
    // The render tab's part of the controller.
    RenderPanel& renderPanel() { return *renderPanel_; }
    // The "GuiSettings" dictionary and the destination folders, as the render tab changes them.
    PlistValue& defaults();
    std::vector<std::string>& mutableDestList() { return destList_; }
    int currentFileIndex() const { return currentFileIndex_; }
    int currentTabTag() const { return currentTabTag_; }
    bool firstBecameKey() const { return firstBecameKey_; }
    bool pauseFrameUpdates() const { return pauseFrameUpdates_; }
    const std::string& projectFilename() const { return projectFilename_; }
    const std::optional<PlistValue>& defaultsDictionary() const { return defaultsDictionary_; }
    const std::vector<std::string>& destList() const { return destList_; }
    bool useRocket() const { return useRocket_; }
    int debayerSetting() const { return debayerSetting_; }
    int r3dExtractSetting() const { return r3dExtractSetting_; }
    std::string windowTitle() const { return windowTitle_; }
    int forceUpdateCounter() const { return forceUpdateCounter_; }
    platform::Preferences& preferences() { return prefs_; }
    // Held while a clip opens; tried, never waited for.
    std::recursive_mutex& openFileLock() { return openFileLock_; }
    // A fresh "GuiSettings" dictionary; it always carries the running version, so that the
    // next start keeps it.
    PlistValue NewDefaultsDictionary() const;

private:
    void ReadDefaultsDictionary();
    void MarkDebayerItems();
    void MarkExtractItems();
    void UpdateSourceCameraPanel();
    void ForceUpdate();
    void SetWindowTitle(const std::string& title);
    void SelectStripIndex(int index);

    platform::Preferences prefs_;
    std::unique_ptr<GuiModel> guiModel_;
    std::unique_ptr<FilmPanel> panel_;
    std::unique_ptr<GuiController_RED> guiCtrlRed_;
    std::unique_ptr<GuiController_QT> guiCtrlQt_;
    GuiControllerEventProtocol* guiCtrl_ = nullptr;
    R3DView* r3dViewGL_ = nullptr;
    GuiControls c_;
    int currentFileIndex_ = 0;
    bool pauseFrameUpdates_ = false;
    int currentTabTag_ = 1;
    bool firstBecameKey_ = false;
    std::string projectFilename_;
    std::optional<std::string> startProject_;
    std::recursive_mutex openFileLock_;
    std::optional<PlistValue> defaultsDictionary_;
    OutputSettings outputSettings_;
    std::vector<std::string> destList_;
    std::string destPath_;
    bool useRocket_ = true;
    int debayerSetting_ = 4;
    int r3dExtractSetting_ = 0;
    ShotListDataSource shotList_;
    std::string appVersion_ = "0.1.0";
    std::function<std::string()> autosavePath_;
    std::string windowTitle_;
    std::vector<std::string> renderButtonTitles_;
    int forceUpdateCounter_ = 0;
    bool forceUpdateActive_ = false;
    std::unique_ptr<RenderPanel> renderPanel_;
};

}  // namespace ombrel
