#include "shell/PreviewWidget.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

namespace ombrel {

PreviewWidget::PreviewWidget(R3DView* view, QWidget* parent) : QWidget(parent), view_(view) {
    setObjectName("r3dViewGL");
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::ClickFocus);
    setMinimumSize(320, 180);
    resizeQuiet_.setSingleShot(true);
    // A live resize ends after 150 ms without another size change.
    resizeQuiet_.setInterval(150);
    QObject::connect(&resizeQuiet_, &QTimer::timeout, this, [this] { view_->viewDidEndLiveResize(); });
}

void PreviewWidget::Present(PreviewImagePtr image) {
    {
        std::lock_guard lock(lock_);
        latest_ = std::move(image);
    }
    QMetaObject::invokeMethod(this, [this] { update(); }, Qt::QueuedConnection);
}

PreviewImagePtr PreviewWidget::latest() const {
    std::lock_guard lock(lock_);
    return latest_;
}

void PreviewWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), QColor(0x11, 0x11, 0x11));
    const PreviewImagePtr image = latest();
    if (!image || image->width <= 0) return;
    const QImage q(image->rgba.data(), image->width, image->height, image->width * 4, QImage::Format_RGBA8888);
    p.drawImage(QRect(0, 0, image->width, image->height), q);
}

void PreviewWidget::resizeEvent(QResizeEvent*) {
    view_->setBounds(width(), height());
    view_->windowResized();
    resizeQuiet_.start();
}

void PreviewWidget::showEvent(QShowEvent*) {
    canDraw_ = true;
    view_->setBounds(width(), height());
    resizeQuiet_.start();
}

void PreviewWidget::hideEvent(QHideEvent*) { canDraw_ = false; }

void PreviewWidget::mousePressEvent(QMouseEvent* e) {
    const QPointF pos = e->position();
    view_->mouseDown(static_cast<float>(pos.x()), static_cast<float>(height() - pos.y()));
    if (view_->zoom()) setCursor(Qt::ClosedHandCursor);
}

void PreviewWidget::mouseMoveEvent(QMouseEvent* e) {
    if (!(e->buttons() & Qt::LeftButton)) return;
    const QPointF pos = e->position();
    view_->mouseDragged(static_cast<float>(pos.x()), static_cast<float>(height() - pos.y()));
}

void PreviewWidget::mouseReleaseEvent(QMouseEvent*) { setCursor(view_->zoom() ? Qt::OpenHandCursor : Qt::ArrowCursor); }

void PreviewWidget::keyPressEvent(QKeyEvent* e) {
    if (keyHandler_ && keyHandler_(e->key())) return;
    QWidget::keyPressEvent(e);
}

}  // namespace ombrel
