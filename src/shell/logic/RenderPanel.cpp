#include "shell/logic/RenderPanel.h"

#include <filesystem>

#include <fmt/format.h>

#include "core/Log.h"
#include "library/FileParser.h"
#include "look/LutManager.h"
#include "model/SettingsManager.h"
#include "platform/movie/CodecPreset.h"
#include "render/RenderManager.h"
#include "shell/logic/GuiController.h"

namespace ombrel {

namespace fs = std::filesystem;

namespace {

constexpr int kCustomSizeTag = 101;
constexpr int kOpenSizeWindowTag = 99;
constexpr size_t kMaxDestinations = 10;
constexpr float kMovieMaxWidth = 2048.0f;
constexpr float kMovieMaxHeight = 1152.0f;

struct NullPorts {
    MenuPopupPort popup;
    PopupPort plainPopup;
    CheckboxPort checkbox;
    ControlPort control;
    BoxPort box;
    ButtonPort button;
    ProgressPort progress;
    TextFieldPort text;
    ListView list;
};

struct NoErrorPanel : UserErrorPort {
    void SetMessageStringWithHeading(const std::string& message, const std::string& heading) override {
        Log()->info("modal: {}: {}", heading, message);
    }
    void Show() override {}
    bool didCancel() const override { return false; }
};

template <typename T>
T* Or(T* port, T* fallback) {
    return port ? port : fallback;
}

bool IsMovieCodecTag(int tag) { return tag < 10 || (tag >= 100 && tag <= 109); }

uint32_t FourCharCode(const std::string& s) {
    uint32_t code = 0;
    for (size_t i = 0; i < 4; ++i) code = (code << 8) | static_cast<uint8_t>(i < s.size() ? s[i] : ' ');
    return code;
}

}  // namespace

RenderPanel::RenderPanel(GuiController& owner) : owner_(owner) { setControls({}); }

RenderPanel::~RenderPanel() { *alive_ = false; }

void RenderPanel::setControls(const RenderPanelControls& controls) {
    static NullPorts n;
    static NoErrorPanel noError;
    c_ = controls;
    for (MenuPopupPort** p : {&c_.outputFormatPopup, &c_.outputSizePopup, &c_.outputFitPopup, &c_.outputFilenamePopup,
                              &c_.outputEdlOptionsPopup, &c_.outputFolderPopup, &c_.outputTimecodePopup,
                              &c_.destinationPopup})
        *p = Or(*p, &n.popup);
    c_.colorSpacePopup = Or(c_.colorSpacePopup, &n.plainPopup);
    c_.outputOverwriteCheckbox = Or(c_.outputOverwriteCheckbox, &n.checkbox);
    c_.browseButton = Or(c_.browseButton, &n.control);
    for (BoxPort** b : {&c_.outputFoldersBox, &c_.outputFormatBox, &c_.outputDestinationBox}) *b = Or(*b, &n.box);
    c_.renderButton = Or(c_.renderButton, &n.button);
    c_.progress = Or(c_.progress, &n.progress);
    for (TextFieldPort** t : {&c_.renderTxtFrames, &c_.renderTxtFPS, &c_.renderTxtElapsed, &c_.renderTxtETA,
                              &c_.framesRenderedLabel, &c_.widthText, &c_.heightText})
        *t = Or(*t, &n.text);
    c_.renderTable = Or(c_.renderTable, &n.list);
    for (ControlPort*& t : c_.tabButtons) t = Or(t, &n.control);
    c_.userErrorController = Or<UserErrorPort>(c_.userErrorController, &noError);
    customSizeController_.setPorts(c_.sizePanel, c_.widthText, c_.heightText);
}

OutputSettings& RenderPanel::record() { return owner_.outputSettings(); }

std::string RenderPanel::SizeLimitMessage(int width, int height) {
    return fmt::format(
        "Ombrel has a maximum Quicktime output size of 2K\n\nYou have currently selected {} x {}.\nYour output "
        "will instead be scaled to 2048 x 1152",
        width, height);
}

// ---------------------------------------------------------------- controls and record

void RenderPanel::LoadOutputSettingsFromGUI() {
    OutputSettings& o = record();
    o.setOptions(options_);
    o.setCodec(codec_);
    const int formatTag = c_.outputFormatPopup->selectedTag();
    o.setOptionsPreset(formatTag);
    o.setResize(true);
    const int sizeTag = c_.outputSizePopup->selectedTag();
    o.setSize(SettingsManager::SizeForTag(sizeTag));
    o.setOutputSizeTag(sizeTag);
    o.setFitMethod(c_.outputFitPopup->selectedTag());
    o.setFilenames(c_.outputFilenamePopup->selectedTag());
    o.setEdlOptions(c_.outputEdlOptionsPopup->selectedTag());
    o.setFolders(c_.outputFolderPopup->selectedTag());
    o.setTimecode(c_.outputTimecodePopup->selectedTag());
    o.setFormat(formatTag == kFormatDpx || formatTag == kFormatTiff ? formatTag : kFormatMovie);
    o.setQtCodec(o.format() != kFormatMovie ? 0 : formatTag);
    o.setOverwrite(c_.outputOverwriteCheckbox->state() ? 0 : 1);
    o.setThreadCount(1);
    const int dest = c_.destinationPopup->indexOfSelectedItem();
    o.setOutputDirectory(dest >= 0 ? std::optional(c_.destinationPopup->titleAtIndex(dest)) : std::nullopt);
    o.setFrameRate(frameRate_);
    o.setFrameInterval(frameInterval_);
    o.setColorFormat(c_.colorSpacePopup->selectedTag());
}

void RenderPanel::SelectTitle(MenuPopupPort* popup, const std::string& title) {
    for (int i = 0; i < popup->numberOfItems(); ++i)
        if (popup->titleAtIndex(i) == title) {
            popup->selectItemAtIndex(i);
            return;
        }
}

void RenderPanel::ReloadDestinationPopup() {
    MenuPopupPort* p = c_.destinationPopup;
    while (p->numberOfItems() > 0) p->removeItemAtIndex(p->numberOfItems() - 1);
    for (const std::string& d : owner_.mutableDestList()) p->addItem(d, 0);
}

void RenderPanel::ReplaceCustomSizeItem(OutputSize size) {
    MenuPopupPort* p = c_.outputSizePopup;
    for (int i = p->numberOfItems() - 1; i >= 0; --i)
        if (p->tagAtIndex(i) == kCustomSizeTag) p->removeItemAtIndex(i);
    p->addItem(fmt::format("Custom: {} x {}", static_cast<int>(size.width), static_cast<int>(size.height)),
               kCustomSizeTag);
    SettingsManager::Instance().setCustomOutputSize(size);
}

void RenderPanel::UpdateGUIFromOutputSettings() {
    OutputSettings& o = record();
    // 1.
    c_.colorSpacePopup->selectItemWithTag(o.colorFormat());
    LutManager::SetColorFormat(o.colorFormat());
    c_.outputFitPopup->selectItemWithTag(o.fitMethod());
    // 2.
    RefreshCustomCodecs();
    c_.outputFormatPopup->selectItemWithTag(o.format() > 0 ? o.format() : o.qtCodec());
    // 3.
    c_.outputFilenamePopup->selectItemWithTag(o.filenames());
    c_.outputEdlOptionsPopup->selectItemWithTag(o.edlOptions());
    c_.outputFolderPopup->selectItemWithTag(o.folders());
    c_.outputTimecodePopup->selectItemWithTag(o.timecode());
    c_.outputOverwriteCheckbox->setState(o.overwrite() == 0);
    // 4.
    ReloadDestinationPopup();
    if (c_.destinationPopup->numberOfItems() > 0) c_.destinationPopup->selectItemAtIndex(0);
    if (o.outputDirectory()) SelectTitle(c_.destinationPopup, *o.outputDirectory());
    const PlistValue& defaults = owner_.defaults();
    if (defaults.contains("destPath")) SelectTitle(c_.destinationPopup, defaults["destPath"].asString());
    // 5.
    frameRate_ = o.frameRate();
    frameInterval_ = o.frameInterval();
    // 6. A size outside the table is the custom one; nothing else restores that at start.
    const OutputSize size{static_cast<float>(static_cast<int>(o.size().width)),
                          static_cast<float>(static_cast<int>(o.size().height))};
    SettingsManager& sm = SettingsManager::Instance();
    lastSizeTag_ = SettingsManager::TagForSize(size);
    if (lastSizeTag_ == kCustomSizeTag && size.width > 0 && size.height > 0) sm.setCustomOutputSize(size);
    // 7.
    const OutputSize custom = sm.customOutputSize();
    if (custom.width > 0 && custom.height > 0) ReplaceCustomSizeItem(custom);
    // 8.
    c_.outputSizePopup->selectItemWithTag(lastSizeTag_);
    // 9.
    UpdateCodecBox(o.format() >= 0 && o.format() <= 8);
}

void RenderPanel::LoadCodecPreset(int tag) {
    CodecPreset preset;
    if (const Status s = SettingsManager::Instance().LoadCodecPresetForTag(tag, &preset); !s.ok()) {
        LogError("The codec preset of menu item {} cannot be read: {}", tag, s.message());
        codec_ = 0;
        options_ = PlistValue();
        return;
    }
    codec_ = FourCharCode(preset.fourCC);
    PlistValue options = PlistValue::MakeDict();
    options.set("encoder", preset.encoder);
    options.set("pixel_format", preset.pixelFormat);
    PlistValue list = PlistValue::MakeDict();
    for (const auto& [key, value] : preset.options) list.set(key, value);
    options.set("options", list);
    options_ = options;
    // Our presets carry no rate: the movie renderer takes the clip's.
    frameRate_ = 0.0;
    frameInterval_ = frameRate_ > 0.0 ? 1.0 / frameRate_ : 0.0;
}

void RenderPanel::OutputSettingChanged(const ControlPort* sender) {
    if (sender == c_.colorSpacePopup) {
        LutManager::SetColorFormat(c_.colorSpacePopup->selectedTag());
        owner_.guiCtrl()->StockChanged();
    } else if (sender == c_.outputFormatPopup) {
        const int tag = c_.outputFormatPopup->selectedTag();
        if (IsMovieCodecTag(tag)) {
            LoadCodecPreset(tag);
            UpdateCodecBox(true);
        } else {
            UpdateCodecBox(false);
        }
    } else if (sender == c_.outputSizePopup && c_.outputSizePopup->selectedTag() == kOpenSizeWindowTag) {
        customSizeController_.OpenSizeWindow();
        if (customSizeController_.Accepted()) {
            const OutputSize size = customSizeController_.GetNewSize();
            record().setSize(size);
            int tag = SettingsManager::TagForSize(size);
            if (tag == kCustomSizeTag) ReplaceCustomSizeItem(size);
            c_.outputSizePopup->selectItemWithTag(tag);
        } else {
            c_.outputSizePopup->selectItemWithTag(lastSizeTag_);
            record().setSize(SettingsManager::SizeForTag(lastSizeTag_));
        }
    }
    UpdateOutputDefaultsFromGUI();
    lastSizeTag_ = c_.outputSizePopup->selectedTag();
}

void RenderPanel::UpdateOutputDefaultsFromGUI() {
    LoadOutputSettingsFromGUI();
    PlistValue& defaults = owner_.defaults();
    defaults.set("outputSettings", record().propertyList());
    PlistValue list = PlistValue::MakeArray();
    for (const std::string& d : owner_.mutableDestList()) list.append(d);
    defaults.set("destList", list);
    const int dest = c_.destinationPopup->indexOfSelectedItem();
    if (c_.destinationPopup->numberOfItems() > 0 && dest >= 0)
        defaults.set("destPath", c_.destinationPopup->titleAtIndex(dest));
    owner_.SaveUserDefaults();
}

void RenderPanel::UpdateCodecBox(bool movie) {
    for (MenuPopupPort* p : {c_.outputFilenamePopup, c_.outputEdlOptionsPopup, c_.outputFolderPopup,
                             c_.outputTimecodePopup})
        p->setEnabled(!movie);
    c_.outputFoldersBox->setHidden(movie);
    c_.outputFoldersBox->display();
}

void RenderPanel::RefreshCustomCodecs() {
    MenuPopupPort* p = c_.outputFormatPopup;
    for (int i = p->numberOfItems() - 1; i > 0; --i)
        if (p->tagAtIndex(i) >= 100 && p->tagAtIndex(i) <= 109) p->removeItemAtIndex(i);
    for (const CustomCodec& codec : SettingsManager::Instance().customCodecs()) p->addItem(codec.name(), codec.popupTag());
}

// ---------------------------------------------------------------- destinations

void RenderPanel::BrowseDestClicked() {
    const std::string path =
        FileParser::BrowseFromPathNeedDirectoryNeedFileTitle("", true, false, "Choose destination directory");
    if (path.empty()) return;
    std::vector<std::string>& list = owner_.mutableDestList();
    std::erase(list, path);
    list.insert(list.begin(), path);
    if (list.size() > kMaxDestinations) list.resize(kMaxDestinations);
    ReloadDestinationPopup();
    c_.destinationPopup->selectItemAtIndex(0);
    PlistValue& defaults = owner_.defaults();
    PlistValue stored = PlistValue::MakeArray();
    for (const std::string& d : list) stored.append(d);
    defaults.set("destList", stored);
    defaults.set("destPath", path);
    owner_.SaveUserDefaults();
}

void RenderPanel::DestSelectionChanged() {
    const int dest = c_.destinationPopup->indexOfSelectedItem();
    if (dest < 0) return;
    owner_.defaults().set("destPath", c_.destinationPopup->titleAtIndex(dest));
    owner_.SaveUserDefaults();
}

// ---------------------------------------------------------------- a run

void RenderPanel::RenderSequence() {
    bool starting = false;
    bool cancelNow = false;
    {
        std::lock_guard lock(monitor_);
        if (renderingSequence_) {
            c_.renderButton->setTitle(buttonText_[2]);
            c_.renderButton->setEnabled(false);
            c_.renderButton->display();
            cancelNow = !cancellingSequence_;
            cancellingSequence_ = true;
        } else {
            renderingSequence_ = true;
            starting = true;
        }
    }
    if (!starting) {
        if (cancelNow) RenderManager::Instance().CancelRender("Cancelling at user's request");
        return;
    }

    if (R3DView* view = owner_.r3dViewGL()) view->StopPlayback();
    LoadOutputSettingsFromGUI();
    OutputSettings& o = record();
    if (o.format() == kFormatMovie && (o.size().width > kMovieMaxWidth || o.size().height > kMovieMaxHeight)) {
        c_.userErrorController->SetMessageStringWithHeading(
            SizeLimitMessage(static_cast<int>(o.size().width), static_cast<int>(o.size().height)), kSizeLimitHeading);
        c_.userErrorController->Show();
        if (c_.userErrorController->didCancel()) {
            std::lock_guard lock(monitor_);
            renderingSequence_ = false;
            return;
        }
        // The popup keeps its item; the next look at the record selects 2048 x 1152.
        o.setSize({kMovieMaxWidth, kMovieMaxHeight});
    }

    SetOutputGuiEnabled(false);
    RenderManager& manager = RenderManager::Instance();
    manager.Reset();
    c_.renderTable->Display();
    c_.renderButton->setTitle(buttonText_[1]);

    SettingsManager& sm = SettingsManager::Instance();
    GuiModel& model = *owner_.guiModel();
    if (model.filename() && !model.filename()->empty()) sm.PushSettingsForClip(*model.clipSettings(), *model.filename());

    // One record for every item of the run.
    const OutputSettingsPtr shared = std::make_shared<OutputSettings>(o);
    const PlistValue& defaults = owner_.defaults();
    int accepted = 0;
    // A copy: the hops of FrameCountImmediate may let the list change under us.
    const std::vector<FileSystemItemPtr> list = owner_.shotList().List();
    for (const FileSystemItemPtr& entry : list) {
        const std::string path = entry->FullPath();
        std::error_code ec;
        if (path.empty() || !fs::exists(path, ec)) continue;
        const int32_t frames = entry->FrameCountImmediate();
        if (frames < 1) Log()->info("Frame count pooched");
        ClipSettingsPtr settings = sm.SettingsForClip(path);
        if (settings) {
            settings->setFramesRendered(0);
            settings->setErrorState(0);
            settings->setAcquired(false);
        } else {
            ClipSettings fresh;
            if (defaults.contains("clipSettings"))
                fresh.LoadFromDictionary(defaults["clipSettings"]);
            else
                fresh.CopySettingsFrom(*model.clipSettings());
            fresh.setTotalFrames(static_cast<float>(entry->FrameCount()));
            if (entry->kelvin() > 0) fresh.setKelvin(static_cast<float>(entry->kelvin()));
            sm.PushSettingsForClip(fresh, path);
            settings = sm.SettingsForClip(path);
        }
        owner_.SetSnippetsForSettingsAndPath(*settings, path);
        auto item = RenderManagerItem::Make(path, frames, settings, shared);
        if (manager.AddItem(item)) ++accepted;
    }
    if (accepted == 0) {
        manager.CancelRender("Nothing to render");
        RenderCompleted();
        return;
    }
    owner_.guiCtrl()->CloseCurrentFile();
    model.setFilename(std::nullopt);
    auto target = std::make_shared<RenderNotifyTarget>();
    target->UpdateProgress = [this, alive = alive_] {
        if (*alive) UpdateProgress();
    };
    target->RenderCompleted = [this, alive = alive_] {
        if (*alive) RenderCompleted();
    };
    manager.StartRender(target);
    c_.renderTable->Display();
    owner_.Autosave();
}

void RenderPanel::RenderCompleted() {
    Log()->info("Render Complete called on GUI Controller");
    {
        std::lock_guard lock(monitor_);
        renderingSequence_ = false;
        cancellingSequence_ = false;
    }
    c_.renderButton->setTitle(buttonText_[0]);
    c_.renderButton->setEnabled(true);
    SetOutputGuiEnabled(true);
}

void RenderPanel::SetOutputGuiEnabled(bool enabled) {
    for (MenuPopupPort* p : {c_.outputFormatPopup, c_.outputSizePopup, c_.outputFitPopup, c_.outputFilenamePopup,
                             c_.outputEdlOptionsPopup, c_.outputFolderPopup, c_.outputTimecodePopup,
                             c_.destinationPopup})
        p->setEnabled(enabled);
    c_.colorSpacePopup->setEnabled(enabled);
    c_.outputOverwriteCheckbox->setEnabled(enabled);
    c_.browseButton->setEnabled(enabled);
    for (ControlPort* t : c_.tabButtons) {
        t->setEnabled(enabled);
        t->setHidden(false);
    }
    for (BoxPort* b : {c_.outputFoldersBox, c_.outputFormatBox, c_.outputDestinationBox})
        b->setAlphaValue(enabled ? 1.0 : 0.8);
    c_.renderButton->setHidden(false);
    // A movie keeps its frame-sequence options off.
    if (enabled) UpdateCodecBox(record().format() == kFormatMovie);
}

void RenderPanel::UpdateProgress() {
    RenderManager& manager = RenderManager::Instance();
    const double total = manager.totalFrameCount();
    if (total == 0) return;
    const double done = manager.framesRendered();
    c_.progress->setDoubleValue(done / total * 100.0);
    c_.progress->display();
    c_.renderTxtFrames->setStringValue(fmt::format("{:.0f} of {:.0f}", done, total));
    c_.renderTxtETA->setStringValue(manager.ETAString());
    c_.renderTxtElapsed->setStringValue(manager.ElapsedString());
    c_.renderTxtFPS->setStringValue(manager.FPSString());
    c_.renderTable->Display();
}

}  // namespace ombrel
