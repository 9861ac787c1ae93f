#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "FakeControls.h"
#include "shell/logic/RenderPanel.h"

namespace ombrel::test {

// A popup as the toolkit keeps one: items with titles and tags, a tag not listed selects nothing.
struct FakeMenu : MenuPopupPort {
    std::vector<std::pair<std::string, int>> items;
    int selected = -1;
    bool enabled = true;
    FakeMenu() = default;
    FakeMenu(std::initializer_list<int> tags) {
        for (int t : tags) items.emplace_back(std::to_string(t), t);
    }
    void selectItemWithTag(int tag) override {
        selected = -1;
        for (size_t i = 0; i < items.size(); ++i)
            if (items[i].second == tag) selected = static_cast<int>(i);
    }
    int selectedTag() const override { return selected >= 0 ? items[selected].second : -1; }
    void setEnabled(bool on) override { enabled = on; }
    int numberOfItems() const override { return static_cast<int>(items.size()); }
    int tagAtIndex(int i) const override { return items[i].second; }
    std::string titleAtIndex(int i) const override { return items[i].first; }
    void removeItemAtIndex(int i) override {
        items.erase(items.begin() + i);
        if (selected >= i) selected = selected == i ? -1 : selected - 1;
    }
    void addItem(const std::string& title, int tag) override { items.emplace_back(title, tag); }
    void selectItemAtIndex(int i) override { selected = i; }
    int indexOfSelectedItem() const override { return selected; }
};
struct FakeButton : ButtonPort {
    std::string text;
    bool enabled = true, hidden = false;
    void setTitle(const std::string& t) override { text = t; }
    std::string title() const override { return text; }
    void setEnabled(bool on) override { enabled = on; }
    bool isEnabled() const override { return enabled; }
    void setHidden(bool h) override { hidden = h; }
};
struct FakeBox : BoxPort {
    double alpha = 1.0;
    bool hidden = false;
    void setAlphaValue(double a) override { alpha = a; }
    void setHidden(bool h) override { hidden = h; }
};
struct FakeProgress : ProgressPort {
    double value = 0;
    void setDoubleValue(double v) override { value = v; }
};
struct FakeErrorPanel : UserErrorPort {
    std::vector<std::string> shown;
    bool cancel = false;
    void SetMessageStringWithHeading(const std::string& m, const std::string& h) override { shown.push_back(h + ": " + m); }
    void Show() override {}
    bool didCancel() const override { return cancel; }
};
// The size panel runs `script` as the user would, and counts its error panels.
struct FakeSizePanel : SizePanelPort {
    std::function<void()> script;
    int errors = 0;
    void RunSizeWindow() override {
        if (script) script();
    }
    void CloseSizeWindow() override {}
    void RunSizeErrorWindow() override { ++errors; }
    void CloseSizeErrorWindow() override {}
};

struct RenderPanelFakes {
    FakeMenu format{0, 2, 5, 20, 21}, size{0, 1, 2, 3, 4, 5, 6, 7, 99}, fit{0, 1, 2}, filenames{0, 1},
        edl{0, 1, 2}, folders{0, 1, 2}, timecode{0, 1}, dest, colorSpace{0, 1};
    FakeCheckbox overwrite;
    FakeControl browse, tabs[3];
    FakeBox foldersBox, formatBox, destBox;
    FakeButton render;
    FakeProgress progress;
    FakeText frames, fps, elapsed, eta, rendered, width, height;
    FakeStrip table;
    FakeErrorPanel error;
    FakeSizePanel sizePanel;

    RenderPanelControls Ports() {
        RenderPanelControls c;
        c.outputFormatPopup = &format;
        c.outputSizePopup = &size;
        c.outputFitPopup = &fit;
        c.outputFilenamePopup = &filenames;
        c.outputEdlOptionsPopup = &edl;
        c.outputFolderPopup = &folders;
        c.outputTimecodePopup = &timecode;
        c.destinationPopup = &dest;
        c.colorSpacePopup = &colorSpace;
        c.outputOverwriteCheckbox = &overwrite;
        c.browseButton = &browse;
        for (int i = 0; i < 3; ++i) c.tabButtons[i] = &tabs[i];
        c.outputFoldersBox = &foldersBox;
        c.outputFormatBox = &formatBox;
        c.outputDestinationBox = &destBox;
        c.renderButton = &render;
        c.progress = &progress;
        c.renderTxtFrames = &frames;
        c.renderTxtFPS = &fps;
        c.renderTxtElapsed = &elapsed;
        c.renderTxtETA = &eta;
        c.framesRenderedLabel = &rendered;
        c.renderTable = &table;
        c.userErrorController = &error;
        c.sizePanel = &sizePanel;
        c.widthText = &width;
        c.heightText = &height;
        return c;
    }
};

}  // namespace ombrel::test
