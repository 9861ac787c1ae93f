#pragma once

#include <string>

#include "library/browse/BrowseViews.h"
#include "shell/logic/GuiPorts.h"

namespace ombrel {

// A popup whose items the controller edits: the format, size and destination menus.
class MenuPopupPort : public PopupPort {
public:
    virtual int numberOfItems() const { return 0; }
    virtual int tagAtIndex(int /*index*/) const { return 0; }
    virtual std::string titleAtIndex(int /*index*/) const { return {}; }
    virtual void removeItemAtIndex(int /*index*/) {}
    virtual void addItem(const std::string& /*title*/, int /*tag*/) {}
    virtual void selectItemAtIndex(int /*index*/) {}
    // -1 when nothing is selected.
    virtual int indexOfSelectedItem() const { return -1; }
};

class ButtonPort : public ControlPort {
public:
    virtual void setTitle(const std::string& /*title*/) {}
    virtual std::string title() const { return {}; }
    virtual bool isEnabled() const { return true; }
};

// A group of controls, dimmed while a run goes on.
class BoxPort : public ControlPort {
public:
    virtual void setAlphaValue(double /*alpha*/) {}
};

class ProgressPort : public ControlPort {
public:
    virtual void setDoubleValue(double /*percent*/) {}
};

// The message panel with OK and Cancel. Show blocks until the user answers.
class UserErrorPort {
public:
    virtual ~UserErrorPort() = default;
    virtual void SetMessageStringWithHeading(const std::string& message, const std::string& heading) = 0;
    virtual void Show() = 0;
    virtual bool didCancel() const = 0;
};

// The custom size panel and its error panel, both modal. Each Run blocks until its Close.
class SizePanelPort {
public:
    virtual ~SizePanelPort() = default;
    virtual void RunSizeWindow() = 0;
    virtual void CloseSizeWindow() = 0;
    virtual void RunSizeErrorWindow() = 0;
    virtual void CloseSizeErrorWindow() = 0;
};

// The controls of the render tab under the controller's field names.
struct RenderPanelControls {
    MenuPopupPort* outputFormatPopup = nullptr;
    MenuPopupPort* outputSizePopup = nullptr;
    MenuPopupPort* outputFitPopup = nullptr;
    MenuPopupPort* outputFilenamePopup = nullptr;
    MenuPopupPort* outputEdlOptionsPopup = nullptr;
    MenuPopupPort* outputFolderPopup = nullptr;
    MenuPopupPort* outputTimecodePopup = nullptr;
    MenuPopupPort* destinationPopup = nullptr;
    PopupPort* colorSpacePopup = nullptr;
    CheckboxPort* outputOverwriteCheckbox = nullptr;
    ControlPort* browseButton = nullptr;
    BoxPort* outputFoldersBox = nullptr;
    BoxPort* outputFormatBox = nullptr;
    BoxPort* outputDestinationBox = nullptr;
    ButtonPort* renderButton = nullptr;
    ProgressPort* progress = nullptr;
    TextFieldPort* renderTxtFrames = nullptr;
    TextFieldPort* renderTxtFPS = nullptr;
    TextFieldPort* renderTxtElapsed = nullptr;
    TextFieldPort* renderTxtETA = nullptr;
    TextFieldPort* framesRenderedLabel = nullptr;
    ListView* renderTable = nullptr;
    ControlPort* tabButtons[3] = {nullptr, nullptr, nullptr};
    UserErrorPort* userErrorController = nullptr;
    SizePanelPort* sizePanel = nullptr;
    TextFieldPort* widthText = nullptr;
    TextFieldPort* heightText = nullptr;
};

}  // namespace ombrel
