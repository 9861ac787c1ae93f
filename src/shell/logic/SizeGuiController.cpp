#include "shell/logic/SizeGuiController.h"

#include <algorithm>
#include <cctype>

namespace ombrel {

namespace {

// The leading whole number of a text, as a field reads it; large values stop growing past
// any limit so that a long run of digits cannot overflow.
long LeadingValue(const std::string& text) {
    size_t i = 0;
    while (i < text.size() && text[i] == ' ') ++i;
    long v = 0;
    for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i)
        v = std::min(v * 10 + (text[i] - '0'), 1000000L);
    return v;
}

bool DigitsOnly(const std::string& text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); });
}

}  // namespace

void SizeGuiController::setPorts(SizePanelPort* panel, TextFieldPort* widthText, TextFieldPort* heightText) {
    panel_ = panel;
    widthText_ = widthText;
    heightText_ = heightText;
}

void SizeGuiController::SetInitialSize(OutputSize size) {
    sizeChosen_ = size;
    if (widthText_) widthText_->setStringValue(std::to_string(static_cast<int>(size.width)));
    if (heightText_) heightText_->setStringValue(std::to_string(static_cast<int>(size.height)));
}

void SizeGuiController::OpenSizeWindow() {
    accepted_ = false;
    SetInitialSize(sizeChosen_);
    if (panel_) panel_->RunSizeWindow();
}

void SizeGuiController::AcceptPressed() {
    if (widthText_ && heightText_)
        sizeChosen_ = {static_cast<float>(LeadingValue(widthText_->stringValue())),
                       static_cast<float>(LeadingValue(heightText_->stringValue()))};
    accepted_ = true;
    if (panel_) panel_->CloseSizeWindow();
}

void SizeGuiController::CancelPressed() {
    accepted_ = false;
    if (panel_) panel_->CloseSizeWindow();
}

void SizeGuiController::ExitSizeError() {
    if (panel_) panel_->CloseSizeErrorWindow();
}

void SizeGuiController::controlTextDidBeginEditing(TextFieldPort* field) {
    if (field) previousText_ = field->stringValue();
}

void SizeGuiController::controlTextDidChange(TextFieldPort* field) {
    if (!field) return;
    const long limit = field == widthText_ ? kMaxWidth : kMaxHeight;
    const std::string text = field->stringValue();
    const long value = LeadingValue(text);
    if (DigitsOnly(text) && value > 0 && value <= limit) {
        previousText_ = text;
        return;
    }
    field->setStringValue(previousText_);
    if (value > limit && !errorShownOnce_) {
        errorShownOnce_ = true;
        if (panel_) panel_->RunSizeErrorWindow();
    }
}

}  // namespace ombrel
