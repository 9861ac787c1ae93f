#pragma once

#include <QImage>
#include <QTimer>
#include <QWidget>

#include <atomic>
#include <mutex>

#include "sources/R3DView.h"

namespace ombrel {

// The viewer on screen: paints the newest picture that the R3DView handed over, from
// whichever thread drew it, and passes size changes and drags back to the view.
class PreviewWidget : public QWidget, public PreviewSurface {
public:
    explicit PreviewWidget(R3DView* view, QWidget* parent = nullptr);

    void Present(PreviewImagePtr image) override;
    bool CanDraw() const override { return canDraw_.load(); }
    PreviewImagePtr latest() const;
    // Called when a key goes to the viewer rather than a control.
    void setKeyHandler(std::function<bool(int key)> handler) { keyHandler_ = std::move(handler); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    R3DView* view_;
    mutable std::mutex lock_;
    PreviewImagePtr latest_;
    std::atomic<bool> canDraw_{false};
    QTimer resizeQuiet_;
    std::function<bool(int)> keyHandler_;
};

}  // namespace ombrel
