#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "shell/logic/GuiController.h"

namespace ombrel::test {

// Controls that remember what the controller did to them.
struct FakeTab : TabViewPort {
    int index = -1;
    void selectTabViewItemAtIndex(int i) override { index = i; }
};
struct FakeControl : ControlPort {
    bool enabled = true, hidden = false;
    void setEnabled(bool on) override { enabled = on; }
    void setHidden(bool h) override { hidden = h; }
};
struct FakeCheckbox : CheckboxPort {
    bool on = false, enabled = true, hidden = false;
    void setState(bool v) override { on = v; }
    bool state() const override { return on; }
    void setEnabled(bool v) override { enabled = v; }
    void setHidden(bool h) override { hidden = h; }
};
struct FakeSlider : SliderPort {
    double value = 0, min = 0, max = 0;
    void setDoubleValue(double v) override { value = v; }
    double doubleValue() const override { return value; }
    void setMinMax(double a, double b) override { min = a, max = b; }
};
struct FakeText : TextFieldPort {
    std::string text;
    void setStringValue(const std::string& t) override { text = t; }
    std::string stringValue() const override { return text; }
};
struct FakeMenuItem : MenuItemPort {
    bool on = false, enabled = true;
    void setState(bool v) override { on = v; }
    bool state() const override { return on; }
    void setEnabled(bool v) override { enabled = v; }
};
struct FakeStrip : StripPort {
    std::vector<size_t> selection;
    std::vector<size_t> SelectedRowIndexes() const override { return selection; }
    void SelectRowIndexes(const std::vector<size_t>& rows) override { selection = rows; }
};
// Timers wait until the test fires them.
struct FakeTimer : TimerPort {
    std::vector<std::function<void()>> pending;
    void OneShot(double, std::function<void()> fn) override { pending.push_back(std::move(fn)); }
    void FireAll();
};
struct FakeModal : ModalPort {
    std::vector<std::string> shown;
    std::vector<std::string> answers;
    void RunMessage(const std::string& heading, const std::string& text) override { shown.push_back(heading + ": " + text); }
    std::optional<std::string> ChooseSavePath(const std::string& prompt) override;
    std::optional<std::string> ChooseFile(const std::string& title) override;
};
struct FakeWindow : WindowPort {
    std::string title;
    void setTitle(const std::string& t) override { title = t; }
};

struct FakePopup : PopupPort {
    std::vector<std::pair<std::string, int>> items;
    int tag = 0;
    bool hidden = false;
    void removeAllItems() override { items.clear(); }
    void addItem(const std::string& title, int t, bool) override { items.emplace_back(title, t); }
    void selectItemWithTag(int t) override { tag = t; }
    int selectedTag() const override { return tag; }
    std::string selectedTitle() const override {
        for (const auto& [title, t] : items)
            if (t == tag) return title;
        return {};
    }
    void setHidden(bool h) override { hidden = h; }
};
struct FakeLevels : LevelsPort {
    LevelPositions p;
    LevelPositions positions() const override { return p; }
    void setPositionBottom(double v) override { p.bottom = v; }
    void setPositionMid(double v) override { p.mid = v; }
    void setPositionTop(double v) override { p.top = v; }
};
// The film settings panel's controls.
struct FakePanel {
    std::array<FakeSlider, kFilmRows> sliders;
    std::array<FakeText, kPanelTexts> texts;
    FakeLevels levels;
    FakePopup stock, gauge;
    FakeText stockLabel;
    FilmPanelControls Ports();
};

struct FakeControls {
    FakeTab mainTabView, timecodeTab, cameraDownloadTabView;
    FakeControl changeCameraButton, useMetadataView;
    FakeCheckbox useMetadata, zoom, play, bypass;
    FakeSlider scrub;
    FakeText fileName, reel, clip, timeOfDay, edgecode, frame;
    FakeMenuItem rocket, quarter, half, full, rc2, rc3, rlf, heading;
    FakePopup colorSpace;
    FakeStrip strip;
    FakeTimer timer;
    FakeModal modal;
    FakeWindow window;

    GuiControls Ports();
};

// A controller with fake controls, its own preferences and autosave in the scratch HOME.
struct ControllerRig {
    explicit ControllerRig(std::shared_ptr<platform::PreferencesStore> store = nullptr, R3DView* view = nullptr);
    ~ControllerRig();
    std::shared_ptr<platform::PreferencesStore> store;
    FakeControls controls;
    GuiController controller;
};

// The viewer gives a grab 2.2 s; a loaded machine may need several of those.
inline bool GrabDone(R3DView& view) {
    for (int i = 0; i < 25; ++i)
        if (view.WaitForFrameGrabToComplete()) return true;
    return false;
}

// The demo clip copied under a name of its own, so that several distinct R3D clips exist.
std::string DemoClipCopy(const std::string& dir, const std::string& name);

}  // namespace ombrel::test
