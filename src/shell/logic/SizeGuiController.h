#pragma once

#include <string>

#include "model/OutputSettings.h"
#include "shell/logic/RenderPanelPorts.h"

namespace ombrel {

// The custom size panel: two fields that only ever hold a whole number from 1 to their limit.
// Main thread only.
class SizeGuiController {
public:
    static constexpr int kMaxWidth = 4096;
    static constexpr int kMaxHeight = 2304;

    void setPorts(SizePanelPort* panel, TextFieldPort* widthText, TextFieldPort* heightText);

    // Runs the panel; returns when it was accepted or cancelled.
    void OpenSizeWindow();
    void SetInitialSize(OutputSize size);
    OutputSize GetNewSize() const { return sizeChosen_; }
    bool Accepted() const { return accepted_; }
    void AcceptPressed();
    void CancelPressed();
    void ExitSizeError();

    // The field notifications: `field` is widthText or heightText.
    void controlTextDidBeginEditing(TextFieldPort* field);
    void controlTextDidChange(TextFieldPort* field);

    bool errorShownOnce() const { return errorShownOnce_; }

private:
    SizePanelPort* panel_ = nullptr;
    TextFieldPort* widthText_ = nullptr;
    TextFieldPort* heightText_ = nullptr;
    OutputSize sizeChosen_{1920.0f, 1080.0f};
    std::string previousText_;
    bool accepted_ = false;
    bool errorShownOnce_ = false;
};

}  // namespace ombrel
