#include "services/ui/MessageSheet.h"

#include <QDesktopServices>
#include <QEvent>
#include <QHBoxLayout>
#include <QUrl>
#include <QVBoxLayout>

#include "core/Log.h"

namespace ombrel::services {

UrlOpener DesktopUrlOpener() {
    return [](const std::string& url) {
        LogInfo("opening {}", url);
        if (!QDesktopServices::openUrl(QUrl(QString::fromStdString(url)))) LogWarn("no browser opened {}", url);
    };
}

Veil::Veil(QWidget* window) : QWidget(window) {
    setObjectName("sheetVeil");
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet("background-color: rgba(0, 0, 0, 128);");
    window->installEventFilter(this);
    hide();
}

void Veil::Cover() {
    setGeometry(parentWidget()->rect());
    raise();
    QWidget::show();
}

bool Veil::eventFilter(QObject* watched, QEvent* event) {
    if (watched == parentWidget() && event->type() == QEvent::Resize) setGeometry(parentWidget()->rect());
    return false;
}

MessageSheet::MessageSheet(QWidget* window, const char* name, const std::vector<Box>& boxes,
                           const std::vector<Button>& buttons)
    : dialog_(new QDialog(window)), veil_(new Veil(window)), opener_(DesktopUrlOpener()) {
    dialog_->setObjectName(name);
    dialog_->setWindowModality(Qt::WindowModal);
    dialog_->setMinimumWidth(460);
    auto* layout = new QVBoxLayout(dialog_);
    layout->setContentsMargins(20, 18, 20, 14);
    layout->setSpacing(10);
    headingText_ = new QLabel(dialog_);
    headingText_->setObjectName("headingText");
    QFont bold = headingText_->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.2);
    headingText_->setFont(bold);
    layout->addWidget(headingText_);
    messageText_ = new QLabel(dialog_);
    messageText_->setObjectName("messageText");
    messageText_->setWordWrap(true);
    messageText_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(messageText_);
    for (const Box& b : boxes) {
        auto* box = new QCheckBox(b.title, dialog_);
        box->setObjectName(b.name);
        boxes_.push_back(box);
        layout->addWidget(box);
    }
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    for (const Button& b : buttons) {
        auto* button = new QPushButton(b.title, dialog_);
        button->setObjectName(b.name);
        button->setAutoDefault(false);
        buttons_.push_back(button);
        row->addWidget(button);
    }
    if (!buttons_.empty()) buttons_.back()->setDefault(true);
    layout->addLayout(row);
    QObject::connect(dialog_, &QDialog::finished, veil_, &QWidget::hide);
    QObject::connect(dialog_, &QDialog::rejected, dialog_, [this] {
        if (escape_) escape_();
    });
}

MessageSheet::~MessageSheet() {
    delete dialog_;
    delete veil_;
}

void MessageSheet::onButton(int index, std::function<void()> fn, bool escape) {
    if (index < 0 || index >= static_cast<int>(buttons_.size())) return;
    if (escape) escape_ = fn;
    QObject::connect(buttons_[static_cast<size_t>(index)], &QPushButton::clicked, dialog_, std::move(fn));
}

QCheckBox* MessageSheet::checkbox(int index) const {
    return index >= 0 && index < static_cast<int>(boxes_.size()) ? boxes_[static_cast<size_t>(index)] : nullptr;
}

void MessageSheet::setHeading(const std::string& text) { headingText_->setText(QString::fromStdString(text)); }

void MessageSheet::setMessage(const std::string& text) { messageText_->setText(QString::fromStdString(text)); }

bool MessageSheet::checkboxState(int index) const {
    const QCheckBox* box = checkbox(index);
    return box && box->isChecked();
}

void MessageSheet::setCheckboxState(int index, bool on) {
    if (QCheckBox* box = checkbox(index)) box->setChecked(on);
}

void MessageSheet::show() {
    veil_->Cover();
    if (blocking_)
        dialog_->exec();
    else
        dialog_->open();
}

void MessageSheet::close() {
    if (dialog_->isVisible()) dialog_->done(QDialog::Accepted);
    veil_->hide();
}

void MessageSheet::setMenuItemState(int index, bool on) {
    if (index >= 0 && index < 3 && menuItems_[static_cast<size_t>(index)])
        menuItems_[static_cast<size_t>(index)]->setChecked(on);
}

}  // namespace ombrel::services
