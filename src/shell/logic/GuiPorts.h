#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "library/browse/BrowseViews.h"
#include "model/ClipSettings.h"

namespace ombrel {

// What the window controller needs of its controls. The Qt shell implements these; tests
// fake them. Every call comes on the main thread. A port the window lacks stays a no-op.
class ControlPort {
public:
    virtual ~ControlPort() = default;
    virtual void setEnabled(bool /*enabled*/) {}
    virtual void setHidden(bool /*hidden*/) {}
    virtual void display() {}
};

class TabViewPort : public ControlPort {
public:
    virtual void selectTabViewItemAtIndex(int /*index*/) {}
};

// A popup whose items carry a tag (the item's data).
class PopupPort : public ControlPort {
public:
    virtual void selectItemWithTag(int /*tag*/) {}
    virtual int selectedTag() const { return 0; }
    virtual void setItemEnabled(int /*tag*/, bool /*enabled*/) {}
    virtual void removeAllItems() {}
    virtual void addItem(const std::string& /*title*/, int /*tag*/, bool /*enabled*/) {}
    virtual std::string selectedTitle() const { return {}; }
};

class SliderPort : public ControlPort {
public:
    virtual void setDoubleValue(double /*value*/) {}
    virtual double doubleValue() const { return 0.0; }
    virtual void setMinMax(double /*min*/, double /*max*/) {}
    // The in and out marks of the scrubber.
    virtual void setMarks(int /*in*/, int /*out*/) {}
    // Drawn width and knob, for a slider that shortens with another value.
    virtual int drawnWidth() const { return 0; }
    virtual int knobThickness() const { return 0; }
    virtual void setDrawnWidth(int /*width*/) {}
};

class TextFieldPort : public ControlPort {
public:
    virtual void setStringValue(const std::string& /*text*/) {}
    virtual std::string stringValue() const { return {}; }
};

class CheckboxPort : public ControlPort {
public:
    virtual void setState(bool /*on*/) {}
    virtual bool state() const { return false; }
};

class MenuItemPort : public ControlPort {
public:
    virtual void setState(bool /*on*/) {}
    virtual bool state() const { return false; }
};

// The film strip: the shot list's clips as a row of thumbnails.
class StripPort : public ListView {};

class TimerPort {
public:
    virtual ~TimerPort() = default;
    // Runs `fn` once on the main thread after `seconds`.
    virtual void OneShot(double seconds, std::function<void()> fn) = 0;
};

class ModalPort {
public:
    virtual ~ModalPort() = default;
    virtual void RunMessage(const std::string& heading, const std::string& text) = 0;
    // A path to save to, or nothing when the panel was cancelled.
    virtual std::optional<std::string> ChooseSavePath(const std::string& prompt) = 0;
    // A file to open, or nothing when the panel was cancelled.
    virtual std::optional<std::string> ChooseFile(const std::string& title) = 0;
};

class WindowPort {
public:
    virtual ~WindowPort() = default;
    virtual void setTitle(const std::string& title) = 0;
};

// The camera and update services of the window: the first-run and version sheets, the camera
// panels, the data pack prompt. A window without them (tests, scripts) keeps the defaults.
class ServicesPort {
public:
    virtual ~ServicesPort() = default;
    // The window became key for the first time.
    virtual void WindowBecameKey() {}
    // A clip opened; the camera panel follows it.
    virtual void ClipOpened(const ClipSettings& /*settings*/, bool /*r3d*/) {}
    // The prompt for the missing R3D pack; false when there is none to show.
    virtual bool OpenR3DDownloadWindow() { return false; }
};

// The controls of the window under the controller's field names.
struct GuiControls {
    TabViewPort* mainTabView = nullptr;
    TabViewPort* TimecodeTab = nullptr;
    TabViewPort* cameraDownloadTabView = nullptr;
    ControlPort* changeCameraButton = nullptr;
    ControlPort* useMetadataCheckboxView = nullptr;
    CheckboxPort* useMetadataCheckbox = nullptr;
    CheckboxPort* zoomCheckbox = nullptr;
    CheckboxPort* playCheckbox = nullptr;
    CheckboxPort* disableFilmCheckbox = nullptr;
    PopupPort* colorSpacePopup = nullptr;
    SliderPort* scrubSlider = nullptr;
    TextFieldPort* filenameText = nullptr;
    TextFieldPort* reelText = nullptr;
    TextFieldPort* clipText = nullptr;
    TextFieldPort* textTimeOfDay = nullptr;
    TextFieldPort* textEdgecode = nullptr;
    TextFieldPort* textEdgecodeQT = nullptr;
    TextFieldPort* frameText = nullptr;
    MenuItemPort* enableRocketMenuItem = nullptr;
    MenuItemPort* debayerQuarterMenuItem = nullptr;
    MenuItemPort* debayerHalfMenuItem = nullptr;
    MenuItemPort* debayerFullMenuItem = nullptr;
    MenuItemPort* r3dSettingsMenuItemRC2RG = nullptr;
    MenuItemPort* r3dSettingsMenuItemRC3RG3 = nullptr;
    MenuItemPort* r3dSettingsMenuItemRC3RLF = nullptr;
    MenuItemPort* r3dSettingsMenuItemHeading = nullptr;
    StripPort* filmStrip = nullptr;
    ListView* shotListTable = nullptr;
    ListView* shotListTableIcon = nullptr;
    ListView* shotsFoundTableIcon = nullptr;
    TimerPort* timer = nullptr;
    ModalPort* modal = nullptr;
    WindowPort* window = nullptr;
    ServicesPort* services = nullptr;
};

}  // namespace ombrel
