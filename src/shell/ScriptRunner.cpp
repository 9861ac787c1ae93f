#include "shell/ScriptRunner.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMouseEvent>
#include <QScreen>
#include <QSlider>
#include <QStackedWidget>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/MainQueue.h"
#include "shell/MainWindow.h"
#include "shell/logic/RenderPanel.h"

namespace ombrel {

namespace {

std::vector<std::string> Words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> out;
    for (std::string w; in >> w;) out.push_back(w);
    return out;
}

// The rest of the line after the first `n` words.
std::string Rest(const std::string& line, size_t n) {
    size_t pos = 0;
    for (size_t i = 0; i < n; ++i) {
        pos = line.find_first_not_of(" \t", pos);
        pos = line.find_first_of(" \t", pos);
        if (pos == std::string::npos) return {};
    }
    pos = line.find_first_not_of(" \t", pos);
    return pos == std::string::npos ? std::string() : line.substr(pos);
}

int KeyFor(const std::string& name) {
    static const std::pair<const char*, int> kKeys[] = {
        {"Left", Qt::Key_Left}, {"Right", Qt::Key_Right}, {"Up", Qt::Key_Up},         {"Down", Qt::Key_Down},
        {"space", Qt::Key_Space}, {"Enter", Qt::Key_Return}, {"Delete", Qt::Key_Delete}, {"Escape", Qt::Key_Escape}};
    for (const auto& [n, k] : kKeys)
        if (name == n) return k;
    if (name.size() == 1) return QChar(name[0]).toUpper().unicode();
    return 0;
}

}  // namespace

ScriptRunner::ScriptRunner(MainWindow& window, const std::string& scriptPath, std::string shotsDir)
    : window_(window), shotsDir_(std::move(shotsDir)) {
    std::ifstream in(scriptPath);
    if (!in) {
        Fail("cannot read the script " + scriptPath);
        return;
    }
    for (std::string line; std::getline(in, line);) lines_.push_back(line);
    window_.modal().setScripted(true);
    window_.services().setUrlOpener([](const std::string& url) {
        std::printf("open %s\n", url.c_str());
        std::fflush(stdout);
    });
}

void ScriptRunner::Start() {
    if (failed_) {
        QTimer::singleShot(0, &window_, [this] { window_.close(); });
        return;
    }
    Schedule(0);
}

void ScriptRunner::Schedule(int ms) { QTimer::singleShot(ms, &window_, [this] { Next(); }); }

bool ScriptRunner::Fail(const std::string& why) {
    failed_ = true;
    std::fprintf(stderr, "ombrel gui: script line %zu: %s\n", next_, why.c_str());
    return false;
}

bool ScriptRunner::Idle() const {
    GuiController& c = window_.controller();
    return !c.guiCtrlRed()->rendering() && !window_.view().isGettingFrame() && !c.renderPanel().renderingSequence();
}

void ScriptRunner::Next() {
    if (waitingIdle_) {
        MainQueue::Instance().ServePending();
        if (!Idle() && ++idlePolls_ < idleLimit_) {
            Schedule(50);
            return;
        }
        waitingIdle_ = false;
        // One more turn so that the last picture reaches the widget.
        Schedule(100);
        return;
    }
    while (next_ < lines_.size()) {
        const std::string line = lines_[next_++];
        const auto words = Words(line);
        if (words.empty() || words[0][0] == '#') continue;
        std::printf("> %s\n", line.c_str());
        std::fflush(stdout);
        if (words[0] == "wait") {
            const double s = words.size() > 1 ? std::atof(words[1].c_str()) : 0.0;
            Schedule(static_cast<int>(s * 1000.0));
            return;
        }
        if (words[0] == "idle") {
            waitingIdle_ = true;
            idlePolls_ = 0;
            // Polls of 50 ms: 30 s unless the line names more (a render on a busy machine).
            idleLimit_ = words.size() > 1 ? std::max(1, static_cast<int>(std::atof(words[1].c_str()) * 20.0)) : 600;
            Schedule(50);
            return;
        }
        if (words[0] == "quit") {
            QTimer::singleShot(0, &window_, [this] { window_.close(); });
            return;
        }
        if (!Run(words, line)) {
            QTimer::singleShot(0, &window_, [this] { window_.close(); });
            return;
        }
        // Each action gets a turn of the loop before the next line.
        Schedule(10);
        return;
    }
    QTimer::singleShot(0, &window_, [this] { window_.close(); });
}

bool ScriptRunner::Run(const std::vector<std::string>& w, const std::string& line) {
    const std::string& verb = w[0];
    auto need = [&](size_t n) { return w.size() >= n; };
    auto find = [&](const std::string& name) -> QObject* {
        if (window_.objectName().toStdString() == name) return &window_;
        // "sheet/control" names a control inside one sheet, where several share a name.
        if (const auto slash = name.find('/'); slash != std::string::npos) {
            QObject* sheet = window_.findChild<QObject*>(QString::fromStdString(name.substr(0, slash)));
            return sheet ? sheet->findChild<QObject*>(QString::fromStdString(name.substr(slash + 1))) : nullptr;
        }
        return window_.findChild<QObject*>(QString::fromStdString(name));
    };
    if (verb == "answer" && need(2)) {
        window_.modal().QueueAnswer(Rest(line, 1));
        return true;
    }
    if (verb == "menu" && need(2)) {
        const std::string spec = Rest(line, 1);
        const auto slash = spec.find('/');
        if (slash == std::string::npos) return Fail("menu wants Menu/Item");
        const QString menu = QString::fromStdString(spec.substr(0, slash));
        const QString item = QString::fromStdString(spec.substr(slash + 1));
        for (QAction* top : window_.menuBar()->actions()) {
            if (top->text() != menu || !top->menu()) continue;
            for (QAction* a : top->menu()->actions())
                if (a->text() == item) {
                    a->trigger();
                    return true;
                }
        }
        return Fail("no menu item " + spec);
    }
    if (verb == "shot" && need(2)) {
        std::error_code ec;
        std::filesystem::create_directories(shotsDir_, ec);
        const QString base = QString::fromStdString(shotsDir_ + "/" + w[1]);
        if (!window_.grab().save(base + ".png")) return Fail("cannot write " + base.toStdString() + ".png");
        // Sheets and panels open over the window are windows of their own.
        for (QWidget* top : QApplication::topLevelWidgets())
            if (top != &window_ && top->isVisible() && !top->objectName().isEmpty())
                top->grab().save(base + "-" + top->objectName() + ".png");
        if (const PreviewImagePtr image = window_.previewWidget()->latest(); image && image->width > 0) {
            const QImage q(image->rgba.data(), image->width, image->height, image->width * 4, QImage::Format_RGBA8888);
            q.save(base + "-preview.png");
        }
        std::printf("shot %s\n", base.toStdString().c_str());
        return true;
    }
    if (verb == "key" && need(2)) {
        // `key KEY NAME`: the key goes to that control; the name here is the key.
        const int key = KeyFor(w[1]);
        if (key == 0) return Fail("unknown key " + w[1]);
        QObject* to = w.size() >= 3 ? find(w[2]) : static_cast<QObject*>(&window_);
        if (!to) return Fail("no control named " + w[2]);
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, QString::fromStdString(w[1].size() == 1 ? w[1] : ""));
        QApplication::sendEvent(to, &press);
        return true;
    }
    if (verb == "resize" && need(3)) {
        window_.resize(std::atoi(w[1].c_str()), std::atoi(w[2].c_str()));
        return true;
    }
    if (!need(2)) return Fail("too few words: " + line);
    QObject* target = find(w[1]);
    if (!target) return Fail("no control named " + w[1]);
    auto* widget = qobject_cast<QWidget*>(target);
    if (verb == "click") {
        if (auto* a = qobject_cast<QAction*>(target)) {
            a->trigger();
            return true;
        }
        if (auto* b = qobject_cast<QAbstractButton*>(target)) {
            b->click();
            return true;
        }
        if (!widget) return Fail(w[1] + " cannot be clicked");
        QPoint at = widget->rect().center();
        if (w.size() >= 4) {
            const int row = std::atoi(w[2].c_str()), col = std::atoi(w[3].c_str());
            if (auto* strip = dynamic_cast<FilmStripView*>(widget)) {
                at = strip->cellRect(col).center();  // one row of clips
            } else if (auto* view = qobject_cast<QAbstractItemView*>(widget); view && view->model()) {
                const QModelIndex index = view->model()->index(row, col);
                if (!index.isValid()) return Fail(w[1] + " has no cell " + w[2] + " " + w[3]);
                widget = view->viewport();
                at = view->visualRect(index).center();
            }
        }
        QMouseEvent press(QEvent::MouseButtonPress, at, widget->mapToGlobal(at), Qt::LeftButton, Qt::LeftButton,
                          Qt::NoModifier);
        QApplication::sendEvent(widget, &press);
        QMouseEvent release(QEvent::MouseButtonRelease, at, widget->mapToGlobal(at), Qt::LeftButton, Qt::NoButton,
                            Qt::NoModifier);
        QApplication::sendEvent(widget, &release);
        return true;
    }
    if (verb == "drag" && need(6)) {
        if (!widget) return Fail(w[1] + " cannot be dragged");
        const QPoint from(std::atoi(w[2].c_str()), std::atoi(w[3].c_str()));
        const QPoint to(std::atoi(w[4].c_str()), std::atoi(w[5].c_str()));
        QMouseEvent press(QEvent::MouseButtonPress, from, widget->mapToGlobal(from), Qt::LeftButton, Qt::LeftButton,
                          Qt::NoModifier);
        QApplication::sendEvent(widget, &press);
        QMouseEvent move(QEvent::MouseMove, to, widget->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(widget, &move);
        QMouseEvent release(QEvent::MouseButtonRelease, to, widget->mapToGlobal(to), Qt::LeftButton, Qt::NoButton,
                            Qt::NoModifier);
        QApplication::sendEvent(widget, &release);
        return true;
    }
    if (verb == "select" && need(3)) {
        auto* combo = qobject_cast<QComboBox*>(target);
        if (!combo) return Fail(w[1] + " is not a popup");
        const int index = combo->findData(std::atoi(w[2].c_str()));
        if (index < 0) return Fail(w[1] + " has no item tagged " + w[2]);
        combo->setCurrentIndex(index);
        emit combo->activated(index);
        return true;
    }
    if (verb == "type" && need(3)) {
        auto* edit = qobject_cast<QLineEdit*>(target);
        if (!edit) return Fail(w[1] + " is not a text field");
        edit->setFocus();
        edit->selectAll();
        for (const QChar ch : QString::fromStdString(Rest(line, 2))) {
            QKeyEvent key(QEvent::KeyPress, 0, Qt::NoModifier, QString(ch));
            QApplication::sendEvent(edit, &key);
        }
        QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
        QApplication::sendEvent(edit, &enter);
        return true;
    }
    if (verb == "slider" && need(3)) {
        auto* slider = qobject_cast<QSlider*>(target);
        if (!slider) return Fail(w[1] + " is not a slider");
        slider->setValue(std::atoi(w[2].c_str()));
        emit slider->sliderMoved(slider->value());
        return true;
    }
    if (verb == "print") {
        std::string value;
        if (auto* l = qobject_cast<QLabel*>(target)) value = l->text().toStdString();
        else if (auto* e = qobject_cast<QLineEdit*>(target)) value = e->text().toStdString();
        else if (auto* s = qobject_cast<QSlider*>(target)) value = std::to_string(s->value());
        else if (auto* c = qobject_cast<QComboBox*>(target)) value = std::to_string(c->currentData().toInt());
        else if (auto* b = qobject_cast<QAbstractButton*>(target)) value = b->isChecked() ? "1" : "0";
        else if (auto* a = qobject_cast<QAction*>(target)) value = a->isChecked() ? "1" : "0";
        else if (auto* t = qobject_cast<QStackedWidget*>(target)) value = std::to_string(t->currentIndex() + 1);
        else if (auto* v = qobject_cast<QAbstractItemView*>(target); v && v->model())
            value = std::to_string(v->model()->rowCount());  // a list prints its length
        else if (target == &window_) value = window_.windowTitle().toStdString();
        else return Fail(w[1] + " has no value to print");
        std::printf("%s=%s\n", w[1].c_str(), value.c_str());
        std::fflush(stdout);
        return true;
    }
    return Fail("cannot read: " + line);
}

}  // namespace ombrel
