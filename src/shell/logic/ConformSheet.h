#pragma once

#include <memory>
#include <string>

#include "editorial/ConformPort.h"
#include "shell/logic/RenderPanelPorts.h"

namespace ombrel {

class EdlGuiController;
class GuiController;

// The log of the sheet: text appended at its end, scrolled to it.
class LogViewPort {
public:
    virtual ~LogViewPort() = default;
    virtual void appendText(const std::string& /*text*/) {}
    virtual void setText(const std::string& /*text*/) {}
};

// A stage row: label, result icon (by name, empty hides it) and spinner.
class StageRowPort {
public:
    virtual ~StageRowPort() = default;
    virtual void setLabel(const std::string& /*text*/) {}
    virtual void setAlpha(double /*alpha*/) {}
    virtual void setIcon(const std::string& /*name*/) {}
    virtual void setSpinning(bool /*on*/) {}
};

// The sheet window itself: modal over the main window until closed.
class SheetPort {
public:
    virtual ~SheetPort() = default;
    virtual void RunSheet() {}
    virtual void CloseSheet() {}
};

struct ConformSheetControls {
    SheetPort* edlWindow = nullptr;
    LogViewPort* edlTextView = nullptr;
    TextFieldPort* r3dSourcePath = nullptr;
    TextFieldPort* edlPath = nullptr;
    MenuPopupPort* inputType = nullptr;
    TabViewPort* edlViewTabs = nullptr;
    CheckboxPort* R3dRadioCell = nullptr;
    CheckboxPort* QTRadioCell = nullptr;
    StageRowPort* matchStage[4] = {nullptr, nullptr, nullptr, nullptr};
    ControlPort* viewDetailButton = nullptr;
    ButtonPort* startButton = nullptr;
    ControlPort* closeButton = nullptr;
    ControlPort* browseDirButton = nullptr;
    ControlPort* browseEdlButton = nullptr;
};

// The conform sheet of File > "Load EDL / XML...": its fields and rows over the four-stage
// conform, which loads the window's shot list. Main thread only; the conform's worker reaches
// the rows through the main queue.
class ConformSheet : public ConformPort {
public:
    explicit ConformSheet(GuiController& owner);
    ~ConformSheet() override;

    void setControls(const ConformSheetControls& controls);
    // Fields from the preferences, idle rows.
    void awakeFromNib();

    void OpenEDLWindow();
    void EDLDonePressed();
    // Starts a run, or cancels the one going on.
    void LoadEDL();
    void BrowseSource();
    void BrowseInputFile();
    void InputTypeChanged();
    void ViewDetails();
    void ViewSummary();

    EdlGuiController& conform() { return *conform_; }

    // ConformPort.
    void SetStageLabel(int stage, const std::string& text) override;
    void SetStageAlpha(int stage, double alpha) override;
    void SetStageIcon(int stage, StageIcon icon) override;
    void SetStageSpinner(int stage, bool running) override;
    void AppendLog(const std::string& text) override;
    void ReplaceLog(const std::string& text) override;
    void SetEdlButtons(bool enabled) override;
    void EnableViewDetails() override;
    void RemoveAllItems() override;
    void AddPath(const std::string& path) override;
    void SetFileSnippets(const std::map<std::string, FCPFile>& files) override;
    void ReloadGUI() override;
    void RemoveAllClips() override;

private:
    StageRowPort* Row(int stage);

    GuiController& owner_;
    ConformSheetControls c_;
    std::unique_ptr<EdlGuiController> conform_;
};

}  // namespace ombrel
