#include "shell/logic/PresetBar.h"

#include "core/Log.h"
#include "shell/logic/GuiController.h"

namespace ombrel {

namespace {

PopupPort& NullPopup() {
    static PopupPort popup;
    return popup;
}

ListView& NullList() {
    static ListView list;
    return list;
}

void NotePreset(ClipSettings& s, const RenderPreset& preset) {
    s.setPresetNumber(static_cast<int>(preset.presetNumber()));
    s.setPresetID(preset.presetID());
    s.setPresetName(preset.presetName());
}

}  // namespace

PresetBar::PresetBar(GuiController& gui)
    : gui_(gui), popup_(&NullPopup()), view_(&NullList()), shotListTable_(&NullList()) {
    SettingsManager::Instance().setGui(this);
}

PresetBar::~PresetBar() { SettingsManager::Instance().setGui(nullptr); }

void PresetBar::setControls(PopupPort* presetGroupPopup, ListView* factoryView, ListView* shotListTable) {
    popup_ = presetGroupPopup ? presetGroupPopup : &NullPopup();
    view_ = factoryView ? factoryView : &NullList();
    shotListTable_ = shotListTable ? shotListTable : &NullList();
}

void PresetBar::RefreshPresetGroups() {
    SettingsManager& settings = SettingsManager::Instance();
    const std::vector<std::string> names = SettingsManager::PresetLibraryNames();
    popup_->removeAllItems();
    for (size_t i = 0; i < names.size(); ++i) popup_->addItem(names[i], static_cast<int>(i), true);
    std::string current = settings.currentPresetLibrary();
    if (current.empty() && !names.empty()) {
        const auto stored = gui_.preferences().stringForKey(kGroupPreference);
        current = names.front();
        for (const auto& name : names)
            if (stored && name == *stored) current = name;
        settings.setCurrentPresetLibrary(current);
    }
    for (size_t i = 0; i < names.size(); ++i)
        if (names[i] == current) popup_->selectItemWithTag(static_cast<int>(i));
}

void PresetBar::PresetTabChanged() {
    const std::string title = popup_->selectedTitle();
    if (title.empty()) return;
    gui_.preferences().setObject(kGroupPreference, PlistValue(title));
    SettingsManager& settings = SettingsManager::Instance();
    settings.setCurrentPresetLibrary(title);
    settings.LoadFactoryPresets();
    view_->ReloadData();
}

void PresetBar::CopyGuiToClipSettings(ClipSettings& s) const {
    const GuiModel& m = *gui_.guiModel();
    s.setGrainMultiplier(static_cast<float>(m.grainAmount()));
    s.setColorChangePercent(m.colorAmount());
    s.setScurveChangePercent(m.sCurveAmount());
    s.setKelvin(static_cast<float>(m.kelvin()));
    s.setSaturation(m.saturation());
    s.setBallInfo(m.ballInfo());
    s.setLift(m.lift());
    s.setGamma(m.gamma());
    s.setGain(m.gain());
    s.setExposure(static_cast<float>(m.exposure()));
    s.setBlack(static_cast<float>(m.histogramBlack()));
    s.setMid(static_cast<float>(m.histogramMid()));
    s.setWhite(static_cast<float>(m.histogramWhite()));
    s.setGrainScale(static_cast<float>(m.grainScale()));
    s.setUseMetadata(m.useMetadata());
    s.setGrainName(m.grainName() && !m.grainName()->empty() ? *m.grainName() : std::string("CP35"));
    s.setStockName(m.stockName());
    s.setPopulated(true);
    s.setLastFrameShown(m.currentFrame());
    const ClipSettings& clip = *m.clipSettings();
    s.setSourceCameraChosen(clip.sourceCameraChosen());
    s.setDisplayMake(clip.displayMake());
    s.setDisplayModel(clip.displayModel());
    s.setDisplayPictureStyle(clip.displayPictureStyle());
}

RenderPresetPtr PresetBar::SavePreset() {
    GuiModel& m = *gui_.guiModel();
    if (!m.hasOpenFile() || !m.filename() || m.filename()->empty()) return nullptr;
    SettingsManager& settings = SettingsManager::Instance();
    if (settings.currentPresetLibrary().empty()) settings.setCurrentPresetLibrary(SettingsManager::kDefaultPresetLibrary);
    const std::string library = settings.currentPresetLibrary();
    // The first preset of a fresh installation makes its library.
    if (!settings.CreateLibraryShell(library)) {
        LogError("Cannot save a preset: the library {} cannot be written", library);
        return nullptr;
    }
    ClipSettings look;
    CopyGuiToClipSettings(look);
    RenderPresetPtr preset = SettingsManager::AddPresetWithSettings(look);
    if (!preset) {
        LogError("Cannot save a preset: the list of {} cannot be read", library);
        return nullptr;
    }
    preset->setPresetName("Preset " + std::to_string(preset->presetNumber()));
    settings.MapPresetToPath(*preset, *m.filename());
    // The working copy too, or leaving the clip would push it without the preset.
    NotePreset(*m.clipSettings(), *preset);
    gui_.RedrawFilmStrip();
    gui_.guiCtrl()->CreatePresetThumbnailForPreset(*preset);
    if (thumbnailer_)
        if (ImagePtr icon = thumbnailer_()) preset->setIcon(std::move(icon));
    // Written again with its name; the icon moves into the library's folder.
    settings.AddPresetsToLibrary({preset}, library);
    view_->ReloadData();
    return preset;
}

void PresetBar::LoadPreset(const RenderPresetPtr& preset) {
    GuiModel& m = *gui_.guiModel();
    if (!preset || !m.filename() || m.filename()->empty()) return;
    SettingsManager& settings = SettingsManager::Instance();
    const std::string& path = *m.filename();
    const ClipSettings& current = *m.clipSettings();
    // 1. The clip's present look is kept on its stack, so the load can be undone.
    preset->Settings()->setLastFrameShown(current.lastFrameShown());
    settings.PushSettingsForClip(current, path);
    // 2. A preset changes the look, never the camera.
    ClipSettings next;
    next.CopySettingsFrom(*preset->Settings());
    next.setSourceCameraChosen(current.sourceCameraChosen());
    next.setDisplayMake(current.displayMake());
    next.setDisplayModel(current.displayModel());
    next.setDisplayPictureStyle(current.displayPictureStyle());
    NotePreset(next, *preset);
    // 3. Onto the screen and the stack.
    GuiControllerEventProtocol& ctrl = *gui_.guiCtrl();
    ctrl.LoadPresetBegin();
    m.PushClipSettings(next);
    settings.PushSettingsForClip(next, path);
    ctrl.LoadPresetEnd();
    ctrl.LevelsChanged();
    // 4. Stock and grain; the stock's own change must not undo the preset just loaded.
    ctrl.SetLutWithStock(m.stockName());
    ctrl.GrainSizeChanged();
    gui_.setGrainScale(next.grainScale());
    FilmPanel& panel = gui_.filmPanel();
    panel.setHoldPresetNumber(true);
    panel.setStockName(m.stockName());
    panel.StockChanged();
    panel.setHoldPresetNumber(false);
    // 5.
    gui_.RedrawFilmStrip();
    panel.UpdateSCurveSliderSize();
}

void PresetBar::PresetRenamed(const RenderPreset& preset) {
    const ClipSettingsPtr& clip = gui_.guiModel()->clipSettings();
    if (clip && !preset.presetID().empty() && clip->presetID() == preset.presetID())
        clip->setPresetName(preset.presetName());
    gui_.RedrawFilmStrip();
    shotListTable_->Display();
    view_->ReloadData();
}

void PresetBar::DeletePresets(const std::vector<size_t>& rows) {
    SettingsManager& settings = SettingsManager::Instance();
    settings.factoryPresetList().Delete(rows);
    // The clip on screen forgets a preset that is gone, as the stored records did.
    ClipSettings& clip = *gui_.guiModel()->clipSettings();
    if (!clip.presetID().empty() && !settings.GetFactoryPresetWithGuid(clip.presetID())) {
        clip.setPresetNumber(0);
        clip.setPresetID("");
        clip.setPresetName("");
    }
    gui_.RedrawFilmStrip();
    view_->ReloadData();
}

}  // namespace ombrel
