#pragma once

#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QWidget>

#include <array>
#include <memory>
#include <vector>

#include "shell/FilmPanelWidgets.h"
#include "shell/logic/GuiController.h"

namespace ombrel {

// The histogram before the levels (column 0) or after them.
class PreLevelsRadio : public QWidget, public CheckboxPort {
public:
    explicit PreLevelsRadio(QWidget* parent = nullptr);
    void setState(bool on) override { (on ? pre_ : post_)->setChecked(true); }
    bool state() const override { return pre_->isChecked(); }
    void setEnabled(bool on) override { QWidget::setEnabled(on); }
    QRadioButton* pre() const { return pre_; }
    QRadioButton* post() const { return post_; }

private:
    QRadioButton* pre_;
    QRadioButton* post_;
};

// The grading column of the film settings tab: stock and gauge, the six value rows, the levels,
// the colour balls with lift, gamma and gain, and the defaults. Every control carries its field
// name; the logic is the controller's FilmPanel.
class FilmSettingsPanel : public QWidget {
public:
    FilmSettingsPanel(GuiController& controller, QWidget* parent = nullptr);
    // Hands the controls to the panel's logic; the histogram lives elsewhere in the window.
    // Before the controller's awakeFromNib, which fills the stock list.
    void Wire(ControlPort* histogramView);

    ValueSlider* slider(FilmRow row) const { return sliders_[static_cast<size_t>(row)]; }
    PanelTextField* text(PanelText field) const { return texts_[static_cast<size_t>(field)]; }
    LevelsSliderView* levels() const { return levels_; }
    ColorBallsBox* balls() const { return balls_; }
    TagPopup* stockPopup() const { return stockPopup_; }
    TagPopup* gaugePopup() const { return gaugePopup_; }
    FilmStockBox* stockBox() const { return stockBox_; }

private:
    QWidget* Row(FilmRow row);
    QWidget* Section(const char* title);

    GuiController& controller_;
    std::array<ValueSlider*, kFilmRows> sliders_{};
    std::array<PanelTextField*, kPanelTexts> texts_{};
    LevelsSliderView* levels_;
    ColorBallsBox* balls_;
    TagPopup* stockPopup_;
    TagPopup* gaugePopup_;
    FilmStockBox* stockBox_;
    QLabel* stockLabel_;
    PreLevelsRadio* preLevels_;
    std::vector<std::shared_ptr<void>> keep_;
};

}  // namespace ombrel
