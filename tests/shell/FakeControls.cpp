#include "FakeControls.h"

#include <filesystem>

#include "core/MainQueue.h"
#include "look/AppState.h"
#include "model/SettingsManager.h"

namespace ombrel::test {

void FakeTimer::FireAll() {
    auto now = std::move(pending);
    pending.clear();
    for (auto& fn : now) fn();
}

std::optional<std::string> FakeModal::ChooseSavePath(const std::string& prompt) {
    shown.push_back(prompt);
    if (answers.empty()) return std::nullopt;
    std::string a = answers.front();
    answers.erase(answers.begin());
    return a;
}

std::optional<std::string> FakeModal::ChooseFile(const std::string& title) { return ChooseSavePath(title); }

GuiControls FakeControls::Ports() {
    GuiControls c;
    c.mainTabView = &mainTabView;
    c.TimecodeTab = &timecodeTab;
    c.cameraDownloadTabView = &cameraDownloadTabView;
    c.changeCameraButton = &changeCameraButton;
    c.useMetadataCheckboxView = &useMetadataView;
    c.useMetadataCheckbox = &useMetadata;
    c.zoomCheckbox = &zoom;
    c.playCheckbox = &play;
    c.disableFilmCheckbox = &bypass;
    c.scrubSlider = &scrub;
    c.filenameText = &fileName;
    c.reelText = &reel;
    c.clipText = &clip;
    c.textTimeOfDay = &timeOfDay;
    c.textEdgecode = &edgecode;
    c.frameText = &frame;
    c.enableRocketMenuItem = &rocket;
    c.debayerQuarterMenuItem = &quarter;
    c.debayerHalfMenuItem = &half;
    c.debayerFullMenuItem = &full;
    c.r3dSettingsMenuItemRC2RG = &rc2;
    c.r3dSettingsMenuItemRC3RG3 = &rc3;
    c.r3dSettingsMenuItemRC3RLF = &rlf;
    c.r3dSettingsMenuItemHeading = &heading;
    c.colorSpacePopup = &colorSpace;
    c.filmStrip = &strip;
    c.timer = &timer;
    c.modal = &modal;
    c.window = &window;
    return c;
}

FilmPanelControls FakePanel::Ports() {
    FilmPanelControls c;
    for (size_t i = 0; i < kFilmRows; ++i) c.sliders[i] = &sliders[i];
    for (size_t i = 0; i < kPanelTexts; ++i) c.texts[i] = &texts[i];
    c.levelSlider = &levels;
    c.filmStockPopup = &stock;
    c.filmStockLabel = &stockLabel;
    c.grainSizePopup = &gauge;
    return c;
}

ControllerRig::ControllerRig(std::shared_ptr<platform::PreferencesStore> s, R3DView* view)
    : store(s ? std::move(s) : std::make_shared<platform::MemoryPreferencesStore>()),
      controller(platform::Preferences(store)) {
    MainQueue::Instance().AdoptCurrentThread();
    MainQueue::Instance().Reopen();
    SettingsManager::Instance().ClearAll();
    controller.setControls(controls.Ports());
    controller.setR3dViewGL(view);
    controller.setAppVersion("0.1.0");
}

ControllerRig::~ControllerRig() { SettingsManager::Instance().ClearAll(); }

std::string DemoClipCopy(const std::string& dir, const std::string& name) {
    std::filesystem::create_directories(dir);
    const std::string path = dir + "/" + name;
    std::filesystem::copy_file(OMBREL_DEMO_CLIP, path, std::filesystem::copy_options::overwrite_existing);
    return path;
}

}  // namespace ombrel::test
