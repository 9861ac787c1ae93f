#pragma once

#include <QComboBox>
#include <QLineEdit>
#include <QSlider>
#include <QWidget>

#include <array>
#include <functional>
#include <vector>

#include "shell/logic/FilmPanel.h"

namespace ombrel {

// The grading controls of the film settings tab, drawn the way a grading tool draws them.
// Each is its own port: a move by the model goes through the port and fires nothing; only
// what the user does reaches the handler the panel installs.

// A slider over a range of doubles. The value is kept exactly as set, so a typed 0.37 reads
// back as 0.37 and not as the nearest of the slider's steps.
class ValueSlider : public QSlider, public SliderPort {
public:
    static constexpr int kSteps = 1000;
    explicit ValueSlider(QWidget* parent = nullptr);
    void setDoubleValue(double value) override;
    double doubleValue() const override { return value_; }
    void setMinMax(double min, double max) override;
    void setEnabled(bool on) override { QSlider::setEnabled(on); }
    void setHidden(bool hidden) override { QSlider::setHidden(hidden); }
    void display() override { update(); }
    int drawnWidth() const override { return maximumWidth() < QWIDGETSIZE_MAX ? maximumWidth() : width(); }
    int knobThickness() const override;
    void setDrawnWidth(int width) override { setFixedWidth(width); }
    void onUserChange(std::function<void()> fn) { onChange_ = std::move(fn); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int StepFor(double value) const;
    double min_ = 0.0, max_ = 1.0, value_ = 0.0;
    std::function<void()> onChange_;
};

// A numeric field with no validator: the panel's rules decide what a typed text means. The
// first key of an edit opens it (the text before that key is what the panel keeps for putting
// back), every user edit is a change, Return or leaving the field ends it.
class PanelTextField : public QLineEdit, public TextFieldPort {
public:
    explicit PanelTextField(QWidget* parent = nullptr);
    void setStringValue(const std::string& text) override { setText(QString::fromStdString(text)); }
    std::string stringValue() const override { return text().toStdString(); }
    void setEnabled(bool on) override { QLineEdit::setEnabled(on); }
    void setHidden(bool hidden) override { QLineEdit::setHidden(hidden); }
    void display() override { update(); }
    void onBegin(std::function<void()> fn) { onBegin_ = std::move(fn); }
    // The edit is over: the next key opens a new one.
    void closeEdit() { open_ = false; }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    std::function<void()> onBegin_;
    bool open_ = false;
};

// A popup whose items carry tags as item data; a disabled item with an empty title is drawn
// as a separator and keeps its tag, so a script can still choose it.
class TagPopup : public QComboBox, public PopupPort {
public:
    explicit TagPopup(QWidget* parent = nullptr) : QComboBox(parent) {}
    void selectItemWithTag(int tag) override;
    int selectedTag() const override { return currentIndex() < 0 ? 0 : currentData().toInt(); }
    void setItemEnabled(int tag, bool enabled) override;
    void removeAllItems() override { clear(); }
    void addItem(const std::string& title, int tag, bool enabled) override;
    std::string selectedTitle() const override { return currentText().toStdString(); }
    void setEnabled(bool on) override { QComboBox::setEnabled(on); }
    void setHidden(bool hidden) override { QComboBox::setHidden(hidden); }
    void display() override { update(); }
};

// The levels: a grey ramp with the black, middle and white handles under it. A drag moves
// one handle in units of the drag width (width less 43 less twice the inset); the ends carry
// the middle in proportion.
class LevelsSliderView : public QWidget, public LevelsPort {
public:
    static constexpr int kInset = 4;
    explicit LevelsSliderView(QWidget* parent = nullptr);
    LevelPositions positions() const override { return p_; }
    void setPositionBottom(double v) override { p_.bottom = v; }
    void setPositionMid(double v) override { p_.mid = v; }
    void setPositionTop(double v) override { p_.top = v; }
    void setEnabled(bool on) override { QWidget::setEnabled(on); }
    void display() override { update(); }
    void onUserChange(std::function<void()> fn) { onChange_ = std::move(fn); }
    // The x of a position's handle centre.
    double HandleX(double position) const;
    QSize sizeHint() const override { return {260, 34}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    LevelPositions p_;
    LevelPositions start_;
    int pressX_ = 0;
    int handle_ = -1;
    std::function<void()> onChange_;
};

// One colour wheel: a hue ring with a puck at (strength, angle).
class ColorWheel : public QWidget {
public:
    ColorWheel(const char* title, QWidget* parent = nullptr);
    void setPuck(float strength, float angle);
    float strength() const { return strength_; }
    float angle() const { return angle_; }
    void onMoved(std::function<void()> fn) { onMoved_ = std::move(fn); }
    void onReset(std::function<void()> fn) { onReset_ = std::move(fn); }
    QSize sizeHint() const override { return {92, 106}; }
    // The wheel's centre and outer radius; a full-strength puck sits at 0.8 of the radius.
    QPointF Centre() const;
    double Radius() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    static constexpr int kTitle = 14;
    void MoveTo(const QPointF& at);
    QString title_;
    float strength_ = 0.0f, angle_ = 0.0f;
    std::function<void()> onMoved_, onReset_;
};

// The three colour balls, lift, gamma and gain from left to right, each with its slider.
class ColorBallsBox : public QWidget, public BallsPort {
public:
    explicit ColorBallsBox(QWidget* parent = nullptr);
    ColorBallInfo ballInfo() const override;
    void PushColorBallPositions(const ColorBallInfo& info) override;
    void display() override { update(); }
    ValueSlider* slider(int which) const { return sliders_[static_cast<size_t>(which)]; }
    ColorWheel* wheel(int which) const { return wheels_[static_cast<size_t>(which)]; }
    void onBallsMoved(std::function<void()> fn) { onMoved_ = std::move(fn); }
    // A wheel put back to its centre: which of lift (0), gamma (1), gain (2).
    void onBallReset(std::function<void(int)> fn) { onReset_ = std::move(fn); }

private:
    std::array<ColorWheel*, 3> wheels_{};
    std::array<ValueSlider*, 3> sliders_{};
    std::function<void()> onMoved_;
    std::function<void(int)> onReset_;
};

// The stock's swatch: a grey ramp and a few everyday colours through the stock's table.
class FilmStockBox : public QWidget, public StockBoxPort {
public:
    explicit FilmStockBox(QWidget* parent = nullptr);
    void setStockId(int tag) override;
    void display() override { update(); }
    int stockId() const { return tag_; }
    QSize sizeHint() const override { return {200, 30}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int tag_ = -1;
    std::vector<QColor> patches_;
};

}  // namespace ombrel
