#pragma once

#include <QAction>
#include <QCheckBox>
#include <QDialog>
#include <QLabel>
#include <QPushButton>

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "services/Events.h"

namespace ombrel::services {

// How a sheet opens a web page: the desktop's browser, or a script's log line.
using UrlOpener = std::function<void(const std::string& url)>;
UrlOpener DesktopUrlOpener();

// A black veil at alpha 0.5 over a window while one of its sheets is up.
class Veil : public QWidget {
public:
    explicit Veil(QWidget* window);
    void Cover();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};

// One sheet of the update services over the main window: a heading, a message, check boxes
// by index and a row of buttons; window-modal and not blocking unless made blocking.
class MessageSheet : public SheetPort {
public:
    struct Box {
        const char* name;
        const char* title;
    };
    struct Button {
        const char* name;
        const char* title;
    };
    MessageSheet(QWidget* window, const char* name, const std::vector<Box>& boxes, const std::vector<Button>& buttons);
    ~MessageSheet() override;
    MessageSheet(const MessageSheet&) = delete;
    MessageSheet& operator=(const MessageSheet&) = delete;

    // What a button does; `escape` also answers the Escape key and the window's close box.
    void onButton(int index, std::function<void()> fn, bool escape = false);
    // show() waits for the answer (the caller reads it after).
    void setBlocking(bool on) { blocking_ = on; }
    void setUrlOpener(UrlOpener opener) { opener_ = std::move(opener); }
    void setMenuItems(const std::array<QAction*, 3>& items) { menuItems_ = items; }
    QDialog* dialog() const { return dialog_; }
    QCheckBox* checkbox(int index) const;

    void setHeading(const std::string& text) override;
    void setMessage(const std::string& text) override;
    bool checkboxState(int index) const override;
    void setCheckboxState(int index, bool on) override;
    void show() override;
    void close() override;
    void openURL(const std::string& url) override { opener_(url); }
    void setMenuItemState(int index, bool on) override;

private:
    QDialog* dialog_;
    Veil* veil_;
    QLabel* headingText_;
    QLabel* messageText_;
    std::vector<QCheckBox*> boxes_;
    std::vector<QPushButton*> buttons_;
    std::function<void()> escape_;
    std::array<QAction*, 3> menuItems_{};
    UrlOpener opener_;
    bool blocking_ = false;
};

}  // namespace ombrel::services
