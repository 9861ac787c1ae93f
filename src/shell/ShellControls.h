#pragma once

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QMainWindow>
#include <QSlider>
#include <QStackedWidget>
#include <QWidget>

#include <deque>
#include <functional>
#include <string>

#include "library/ClipMetadata.h"
#include "library/browse/ShotListDataSource.h"
#include "shell/logic/GuiPorts.h"

namespace ombrel {

// ---- The ports over Qt widgets. Programmatic moves never emit the signals we listen to. ----

class QtControl : public ControlPort {
public:
    explicit QtControl(QWidget* w) : w_(w) {}
    void setEnabled(bool on) override { w_->setEnabled(on); }
    void setHidden(bool hidden) override { w_->setHidden(hidden); }
    void display() override { w_->repaint(); }

protected:
    QWidget* w_;
};

class QtTabView : public TabViewPort {
public:
    explicit QtTabView(QStackedWidget* w) : w_(w) {}
    void selectTabViewItemAtIndex(int index) override { w_->setCurrentIndex(index); }
    void display() override { w_->repaint(); }
    void setEnabled(bool on) override { w_->setEnabled(on); }
    void setHidden(bool hidden) override { w_->setHidden(hidden); }

private:
    QStackedWidget* w_;
};

class QtCheckbox : public CheckboxPort {
public:
    explicit QtCheckbox(QCheckBox* w) : w_(w) {}
    void setState(bool on) override { w_->setChecked(on); }
    bool state() const override { return w_->isChecked(); }
    void setEnabled(bool on) override { w_->setEnabled(on); }
    void setHidden(bool hidden) override { w_->setHidden(hidden); }

private:
    QCheckBox* w_;
};

class QtPopup : public PopupPort {
public:
    explicit QtPopup(QComboBox* w) : w_(w) {}
    void selectItemWithTag(int tag) override;
    int selectedTag() const override { return w_->currentData().toInt(); }
    void setEnabled(bool on) override { w_->setEnabled(on); }
    void setHidden(bool hidden) override { w_->setHidden(hidden); }

private:
    QComboBox* w_;
};

class QtLabel : public TextFieldPort {
public:
    explicit QtLabel(QLabel* w) : w_(w) {}
    void setStringValue(const std::string& text) override { w_->setText(QString::fromStdString(text)); }
    std::string stringValue() const override { return w_->text().toStdString(); }
    void setHidden(bool hidden) override { w_->setHidden(hidden); }

private:
    QLabel* w_;
};

class QtMenuItem : public MenuItemPort {
public:
    explicit QtMenuItem(QAction* a) : a_(a) {}
    void setState(bool on) override { a_->setChecked(on); }
    bool state() const override { return a_->isChecked(); }
    void setEnabled(bool on) override { a_->setEnabled(on); }

private:
    QAction* a_;
};

class QtTimer : public TimerPort {
public:
    explicit QtTimer(QObject* context) : context_(context) {}
    void OneShot(double seconds, std::function<void()> fn) override;

private:
    QObject* context_;
};

class QtWindow : public WindowPort {
public:
    explicit QtWindow(QMainWindow* w) : w_(w) {}
    void setTitle(const std::string& title) override { w_->setWindowTitle(QString::fromStdString(title)); }

private:
    QMainWindow* w_;
};

// Panels and messages. A script may queue the answers; a modal then logs
// "modal: <heading>: <text>" and takes the next answer instead of waiting for a person.
class QtModal : public ModalPort {
public:
    explicit QtModal(QWidget* parent) : parent_(parent) {}
    void RunMessage(const std::string& heading, const std::string& text) override;
    std::optional<std::string> ChooseSavePath(const std::string& prompt) override;
    std::optional<std::string> ChooseFile(const std::string& title) override;
    void QueueAnswer(std::string answer) { answers_.push_back(std::move(answer)); }
    bool scripted() const { return scripted_; }
    void setScripted(bool on) { scripted_ = on; }
    // The next queued answer, if a script left one.
    std::optional<std::string> TakeAnswer();

private:
    QWidget* parent_;
    std::deque<std::string> answers_;
    bool scripted_ = false;
};

// ---- Custom controls in the tool's dark style. ----

// The scrubber: a frame slider with the clip's in and out marks drawn under the groove.
class ScrubberSlider : public QSlider, public SliderPort {
public:
    explicit ScrubberSlider(QWidget* parent = nullptr);
    void setDoubleValue(double value) override { setValue(static_cast<int>(value)); }
    double doubleValue() const override { return value(); }
    void setMinMax(double min, double max) override { setRange(static_cast<int>(min), static_cast<int>(max)); }
    void setMarks(int in, int out) override;
    void display() override { repaint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int in_ = 0;
    int out_ = 0;
};

// The histogram of the last preview draw: three channels of 512 buckets.
class HistogramView : public QWidget {
public:
    explicit HistogramView(QWidget* parent = nullptr);
    uint32_t** bucketList() { return rows_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<uint32_t> buckets_;
    uint32_t* rows_[3];
};

// The film strip: the shot list's clips as thumbnails with name and preset badge.
class FilmStripView : public QWidget, public StripPort {
public:
    FilmStripView(ShotListDataSource* shotList, QWidget* parent = nullptr);
    void ReloadData() override { update(); }
    void Display() override { repaint(); }
    std::vector<size_t> SelectedRowIndexes() const override { return selection_; }
    void SelectRowIndexes(const std::vector<size_t>& rows) override;
    void setClickHandler(std::function<void(int index, bool extend)> fn) { onClick_ = std::move(fn); }
    void setKeyHandler(std::function<bool(int key)> fn) { onKey_ = std::move(fn); }
    int indexAt(const QPoint& point) const;
    QRect cellRect(int index) const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    ShotListDataSource* shotList_;
    std::shared_ptr<MetadataObserver> thumbObserver_;
    std::vector<size_t> selection_;
    std::function<void(int, bool)> onClick_;
    std::function<bool(int)> onKey_;
};

// A list of the shot list's clips for the browse and render tabs.
class ShotListTable : public QWidget, public ListView {
public:
    ShotListTable(ShotListDataSource* shotList, bool renderRows, QWidget* parent = nullptr);
    void ReloadData() override { update(); }
    void Display() override { repaint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    ShotListDataSource* shotList_;
    bool renderRows_;
};

}  // namespace ombrel
