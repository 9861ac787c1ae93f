#include "shell/logic/ConformSheet.h"

#include <algorithm>

#include "editorial/EdlGuiController.h"
#include "library/FileParser.h"
#include "model/SettingsManager.h"
#include "shell/logic/GuiController.h"

namespace ombrel {

namespace {

struct NullPorts {
    SheetPort sheet;
    LogViewPort log;
    TextFieldPort text;
    MenuPopupPort popup;
    TabViewPort tabs;
    CheckboxPort radio;
    StageRowPort row;
    ControlPort control;
    ButtonPort button;
};

template <typename T>
T* Or(T* port, T* fallback) {
    return port ? port : fallback;
}

}  // namespace

ConformSheet::ConformSheet(GuiController& owner) : owner_(owner) {
    setControls({});
    conform_ = std::make_unique<EdlGuiController>(*this);
}

ConformSheet::~ConformSheet() { conform_.reset(); }

void ConformSheet::setControls(const ConformSheetControls& controls) {
    static NullPorts n;
    c_ = controls;
    c_.edlWindow = Or(c_.edlWindow, &n.sheet);
    c_.edlTextView = Or(c_.edlTextView, &n.log);
    c_.r3dSourcePath = Or(c_.r3dSourcePath, &n.text);
    c_.edlPath = Or(c_.edlPath, &n.text);
    c_.inputType = Or(c_.inputType, &n.popup);
    c_.edlViewTabs = Or(c_.edlViewTabs, &n.tabs);
    c_.R3dRadioCell = Or(c_.R3dRadioCell, &n.radio);
    c_.QTRadioCell = Or(c_.QTRadioCell, &n.radio);
    for (StageRowPort*& r : c_.matchStage) r = Or(r, &n.row);
    for (ControlPort** p : {&c_.viewDetailButton, &c_.closeButton, &c_.browseDirButton, &c_.browseEdlButton})
        *p = Or(*p, &n.control);
    c_.startButton = Or(c_.startButton, &n.button);
}

StageRowPort* ConformSheet::Row(int stage) { return c_.matchStage[std::clamp(stage, 1, 4) - 1]; }

void ConformSheet::awakeFromNib() {
    platform::Preferences& prefs = owner_.preferences();
    if (auto p = prefs.stringForKey("EdlPath")) c_.edlPath->setStringValue(*p);
    if (auto p = prefs.stringForKey("SourceDirectory")) c_.r3dSourcePath->setStringValue(*p);
    c_.inputType->selectItemWithTag(static_cast<int>(prefs.integerForKey("EdlType").value_or(kTagEdl)));
    if (c_.inputType->indexOfSelectedItem() < 0 && c_.inputType->numberOfItems() > 0) c_.inputType->selectItemAtIndex(0);
    c_.R3dRadioCell->setState(true);
    c_.QTRadioCell->setState(false);
    conform_->ResetMatchMessages();
    c_.startButton->setTitle("LOAD EDL / XML FILE");
}

void ConformSheet::OpenEDLWindow() { c_.edlWindow->RunSheet(); }

void ConformSheet::EDLDonePressed() {
    if (!conform_->Finished()) return;
    platform::Preferences& prefs = owner_.preferences();
    prefs.setObject("EdlPath", PlistValue(c_.edlPath->stringValue()));
    prefs.setObject("SourceDirectory", PlistValue(c_.r3dSourcePath->stringValue()));
    prefs.Synchronize();
    c_.edlWindow->CloseSheet();
}

void ConformSheet::LoadEDL() {
    ConformRequest request;
    request.inputPath = c_.edlPath->stringValue();
    if (!c_.r3dSourcePath->stringValue().empty()) request.sourceDirectories = {c_.r3dSourcePath->stringValue()};
    request.inputType = c_.inputType->selectedTag();
    const int index = c_.inputType->indexOfSelectedItem();
    request.typeTitle = index >= 0 ? c_.inputType->titleAtIndex(index) : "EDL";
    request.r3d = c_.R3dRadioCell->state();
    conform_->LoadEDL(request);
}

void ConformSheet::BrowseSource() {
    const std::string path =
        FileParser::BrowseFromPathNeedDirectoryNeedFileTitle("", true, false, "Choose your source footage directory");
    if (path.empty()) return;
    c_.r3dSourcePath->setStringValue(path);
    owner_.preferences().setObject("SourceDirectory", PlistValue(path));
}

void ConformSheet::BrowseInputFile() {
    const std::string path =
        FileParser::BrowseFromPathNeedDirectoryNeedFileTitle("", false, true, "Select your EDL or XML file");
    if (path.empty()) return;
    c_.edlPath->setStringValue(path);
    owner_.preferences().setObject("EdlPath", PlistValue(path));
}

void ConformSheet::InputTypeChanged() { owner_.preferences().setInteger("EdlType", c_.inputType->selectedTag()); }

void ConformSheet::ViewDetails() { c_.edlViewTabs->selectTabViewItemAtIndex(0); }
void ConformSheet::ViewSummary() { c_.edlViewTabs->selectTabViewItemAtIndex(1); }

// ---------------------------------------------------------------- the conform's calls

void ConformSheet::SetStageLabel(int stage, const std::string& text) { Row(stage)->setLabel(text); }
void ConformSheet::SetStageAlpha(int stage, double alpha) { Row(stage)->setAlpha(alpha); }
void ConformSheet::SetStageIcon(int stage, StageIcon icon) { Row(stage)->setIcon(StageIconName(icon)); }
void ConformSheet::SetStageSpinner(int stage, bool running) { Row(stage)->setSpinning(running); }
void ConformSheet::AppendLog(const std::string& text) { c_.edlTextView->appendText(text); }
void ConformSheet::ReplaceLog(const std::string& text) { c_.edlTextView->setText(text); }

void ConformSheet::SetEdlButtons(bool enabled) {
    for (ControlPort* b : {c_.closeButton, c_.browseDirButton, c_.browseEdlButton}) b->setEnabled(enabled);
    c_.startButton->setTitle(enabled ? "LOAD EDL / XML FILE" : "CANCEL");
}

void ConformSheet::EnableViewDetails() { c_.viewDetailButton->setEnabled(true); }
void ConformSheet::RemoveAllItems() { owner_.shotList().RemoveAllItems(); }
void ConformSheet::AddPath(const std::string& path) { owner_.shotList().AddPath(path); }

void ConformSheet::SetFileSnippets(const std::map<std::string, FCPFile>& files) {
    std::map<std::string, FCPFilePtr> snippets;
    for (const auto& [key, file] : files) snippets[key] = std::make_shared<FCPFile>(file);
    owner_.shotList().setFileSnippets(std::move(snippets));
}

void ConformSheet::ReloadGUI() {
    owner_.ShotListUpdated();
    owner_.ResetToCurrentFile();
}

void ConformSheet::RemoveAllClips() { SettingsManager::Instance().RemoveAllClips(); }

}  // namespace ombrel
