#include "shell/FilmPanelWidgets.h"

#include <QConicalGradient>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QSignalBlocker>
#include <QStandardItemModel>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "look/LutManager.h"

namespace ombrel {

namespace {

const QColor kGroove(24, 24, 26);
const QColor kEdge(70, 70, 74);
const QColor kAccent(222, 150, 58);
const QColor kLabel(170, 170, 174);

}  // namespace

// ---------------------------------------------------------------- ValueSlider

ValueSlider::ValueSlider(QWidget* parent) : QSlider(Qt::Horizontal, parent) {
    QSlider::setRange(0, kSteps);
    setFocusPolicy(Qt::NoFocus);
    setFixedHeight(18);
    // Only the user's moves get through: the port's own moves block the signal.
    connect(this, &QSlider::valueChanged, this, [this](int step) {
        value_ = min_ + (max_ - min_) * step / kSteps;
        if (onChange_) onChange_();
    });
}

int ValueSlider::StepFor(double value) const {
    if (max_ <= min_) return 0;
    return std::clamp(static_cast<int>(std::lround((value - min_) / (max_ - min_) * kSteps)), 0, kSteps);
}

void ValueSlider::setDoubleValue(double value) {
    value_ = value;
    const QSignalBlocker quiet(this);
    setValue(StepFor(value));
}

void ValueSlider::setMinMax(double min, double max) {
    min_ = min;
    max_ = max;
    const QSignalBlocker quiet(this);
    setValue(StepFor(value_));
}

int ValueSlider::knobThickness() const { return 10; }

void ValueSlider::paintEvent(QPaintEvent* /*event*/) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const double knob = knobThickness();
    const QRectF groove(knob / 2, height() / 2.0 - 2, width() - knob, 4);
    p.setPen(Qt::NoPen);
    p.setBrush(kGroove);
    p.drawRoundedRect(groove.adjusted(-1, -1, 1, 1), 3, 3);
    const double at = groove.left() + groove.width() * value() / kSteps;
    p.setBrush(isEnabled() ? kAccent.darker(160) : kEdge);
    p.drawRoundedRect(QRectF(groove.left(), groove.top(), at - groove.left(), groove.height()), 2, 2);
    const QRectF handle(at - knob / 2, 2, knob, height() - 4);
    p.setBrush(isEnabled() ? QColor(200, 200, 204) : QColor(90, 90, 94));
    p.setPen(QPen(QColor(10, 10, 10), 1));
    p.drawRoundedRect(handle, 2, 2);
}

// ---------------------------------------------------------------- PanelTextField

PanelTextField::PanelTextField(QWidget* parent) : QLineEdit(parent) {
    setFixedWidth(48);
    setAlignment(Qt::AlignRight);
    setFrame(false);
    setStyleSheet("QLineEdit { background: #18181a; color: #e0e0e2; border: 1px solid #46464a; "
                  "border-radius: 2px; padding: 1px 3px; }");
}

void PanelTextField::keyPressEvent(QKeyEvent* event) {
    if (!open_ && !event->text().isEmpty()) {
        open_ = true;
        if (onBegin_) onBegin_();
    }
    QLineEdit::keyPressEvent(event);
}

// ---------------------------------------------------------------- TagPopup

void TagPopup::selectItemWithTag(int tag) {
    const int index = findData(tag);
    if (index >= 0) setCurrentIndex(index);
}

void TagPopup::setItemEnabled(int tag, bool enabled) {
    auto* items = qobject_cast<QStandardItemModel*>(model());
    const int index = findData(tag);
    if (!items || index < 0) return;
    if (QStandardItem* item = items->item(index)) item->setEnabled(enabled);
}

void TagPopup::addItem(const std::string& title, int tag, bool enabled) {
    if (title.empty() && !enabled) {
        // Drawn as a line; the tag stays, so a scripted or keyboard choice still reaches the panel.
        insertSeparator(count());
        setItemData(count() - 1, tag, Qt::UserRole);
        return;
    }
    QComboBox::addItem(QString::fromStdString(title), tag);
    if (!enabled) setItemEnabled(tag, false);
}

// ---------------------------------------------------------------- LevelsSliderView

LevelsSliderView::LevelsSliderView(QWidget* parent) : QWidget(parent) {
    setMinimumSize(160, 34);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

double LevelsSliderView::HandleX(double position) const {
    const double units = width() - 43.0 - 2.0 * kInset;
    return kInset + 21.5 + position * units;
}

void LevelsSliderView::paintEvent(QPaintEvent* /*event*/) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const double left = HandleX(0.0), right = HandleX(1.0);
    const QRectF ramp(left, 3, right - left, 12);
    // The ramp as the levels bend it: black below the bottom, white above the top.
    QLinearGradient g(ramp.topLeft(), ramp.topRight());
    g.setColorAt(0.0, Qt::black);
    g.setColorAt(std::clamp(p_.bottom, 0.0, 1.0), Qt::black);
    g.setColorAt(std::clamp(p_.mid, 0.0, 1.0), QColor(128, 128, 128));
    g.setColorAt(std::clamp(p_.top, 0.0, 1.0), Qt::white);
    g.setColorAt(1.0, Qt::white);
    p.setPen(QPen(kEdge, 1));
    p.setBrush(g);
    p.drawRect(ramp);
    // The handles: top (white), middle (grey), bottom (black), each a small pointer under the ramp.
    const std::array<std::pair<double, QColor>, 3> handles = {
        {{p_.top, QColor(235, 235, 235)}, {p_.mid, QColor(128, 128, 128)}, {p_.bottom, QColor(12, 12, 12)}}};
    for (size_t i = 0; i < handles.size(); ++i) {
        const double x = HandleX(handles[i].first);
        QPainterPath tri;
        tri.moveTo(x, 17);
        tri.lineTo(x - 6, 29);
        tri.lineTo(x + 6, 29);
        tri.closeSubpath();
        p.setBrush(handles[i].second);
        p.setPen(QPen(handle_ == static_cast<int>(i) ? kAccent : QColor(150, 150, 154), 1.2));
        p.drawPath(tri);
    }
}

void LevelsSliderView::mousePressEvent(QMouseEvent* event) {
    if (!isEnabled()) return;
    const double x = event->position().x();
    // The nearest handle; the middle wins a tie, so a squeezed middle can still be moved.
    const double d[3] = {std::fabs(x - HandleX(p_.top)), std::fabs(x - HandleX(p_.mid)),
                         std::fabs(x - HandleX(p_.bottom))};
    handle_ = 1;
    if (d[0] < d[handle_]) handle_ = 0;
    if (d[2] < d[handle_]) handle_ = 2;
    if (d[handle_] > 12.0) {
        handle_ = -1;
        return;
    }
    start_ = p_;
    pressX_ = static_cast<int>(x);
    update();
}

void LevelsSliderView::mouseMoveEvent(QMouseEvent* event) {
    if (handle_ < 0) return;
    const double d = LevelDragUnits(event->position().x() - pressX_, width(), kInset);
    p_ = DragLevel(start_, static_cast<LevelHandle>(handle_), d);
    update();
    if (onChange_) onChange_();
}

void LevelsSliderView::mouseReleaseEvent(QMouseEvent* event) {
    if (handle_ >= 0) mouseMoveEvent(event);
    handle_ = -1;
    update();
}

// ---------------------------------------------------------------- ColorWheel

ColorWheel::ColorWheel(const char* title, QWidget* parent) : QWidget(parent), title_(title) {
    setMinimumSize(72, 86);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    setToolTip("Drag to tint; double-click to reset");
}

// The wheel sits above its title.
QPointF ColorWheel::Centre() const { return {width() / 2.0, (height() - kTitle) / 2.0}; }
double ColorWheel::Radius() const { return std::max(8.0, (std::min<double>(width(), height() - kTitle) - 4.0) / 2.0); }

void ColorWheel::setPuck(float strength, float angle) {
    strength_ = strength;
    angle_ = angle;
    update();
}

void ColorWheel::paintEvent(QPaintEvent* /*event*/) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QPointF c = Centre();
    const double r = Radius();
    // The hue ring, red at 0 radians, turning counter-clockwise as the angle does.
    QConicalGradient hue(c, 0);
    for (int i = 0; i <= 6; ++i) hue.setColorAt(i / 6.0, QColor::fromHsvF(static_cast<float>(i % 6) / 6.0f, 0.8f, 0.85f));
    p.setPen(Qt::NoPen);
    p.setBrush(hue);
    p.drawEllipse(c, r, r);
    QRadialGradient inner(c, r * 0.86);
    inner.setColorAt(0.0, QColor(58, 58, 62));
    inner.setColorAt(1.0, QColor(30, 30, 33));
    p.setBrush(inner);
    p.drawEllipse(c, r * 0.86, r * 0.86);
    p.setPen(QPen(QColor(80, 80, 84), 1));
    p.drawLine(QPointF(c.x() - r * 0.8, c.y()), QPointF(c.x() + r * 0.8, c.y()));
    p.drawLine(QPointF(c.x(), c.y() - r * 0.8), QPointF(c.x(), c.y() + r * 0.8));
    const double pr = r * 0.8 * strength_;
    const QPointF puck(c.x() + pr * std::cos(angle_), c.y() - pr * std::sin(angle_));
    p.setPen(QPen(Qt::white, 1.5));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(puck, 4.5, 4.5);
    p.setPen(kLabel);
    QFont f = font();
    f.setPointSizeF(f.pointSizeF() * 0.8);
    p.setFont(f);
    p.drawText(QRectF(0, height() - kTitle, width(), kTitle), Qt::AlignCenter, title_);
}

void ColorWheel::MoveTo(const QPointF& at) {
    const double r = Radius() * 0.8;
    const QPointF v = at - Centre();
    strength_ = static_cast<float>(std::min(1.0, std::hypot(v.x(), v.y()) / r));
    angle_ = static_cast<float>(std::atan2(-v.y(), v.x()));
    if (angle_ < 0.0f) angle_ += static_cast<float>(2.0 * std::numbers::pi);
    if (strength_ == 0.0f) angle_ = 0.0f;
    update();
    if (onMoved_) onMoved_();
}

void ColorWheel::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) MoveTo(event->position());
}

void ColorWheel::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() & Qt::LeftButton) MoveTo(event->position());
}

void ColorWheel::mouseDoubleClickEvent(QMouseEvent* /*event*/) {
    strength_ = 0.0f;
    angle_ = 0.0f;
    update();
    if (onReset_) onReset_();
}

// ---------------------------------------------------------------- ColorBallsBox

ColorBallsBox::ColorBallsBox(QWidget* parent) : QWidget(parent) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(6);
    const char* titles[3] = {"Lift", "Gamma", "Gain"};
    const char* sliders[3] = {"liftSlider", "gammaSlider", "gainSlider"};
    const char* wheels[3] = {"liftWheel", "gammaWheel", "gainWheel"};
    for (int i = 0; i < 3; ++i) {
        auto* column = new QVBoxLayout;
        column->setSpacing(2);
        wheels_[i] = new ColorWheel(titles[i], this);
        wheels_[i]->setObjectName(wheels[i]);
        sliders_[i] = new ValueSlider(this);
        sliders_[i]->setObjectName(sliders[i]);
        column->addWidget(wheels_[i], 1);
        column->addWidget(sliders_[i]);
        row->addLayout(column);
        wheels_[i]->onMoved([this] {
            if (onMoved_) onMoved_();
        });
        wheels_[i]->onReset([this, i] {
            if (onMoved_) onMoved_();
            if (onReset_) onReset_(i);
        });
    }
}

// Lift works on the shadows, gamma on the midtones, gain on the highlights.
ColorBallInfo ColorBallsBox::ballInfo() const {
    ColorBallInfo info;
    float* pairs[3] = {info.s, info.m, info.h};
    for (size_t i = 0; i < 3; ++i) {
        pairs[i][0] = wheels_[i]->strength();
        pairs[i][1] = wheels_[i]->angle();
    }
    return info;
}

void ColorBallsBox::PushColorBallPositions(const ColorBallInfo& info) {
    const float* pairs[3] = {info.s, info.m, info.h};
    for (size_t i = 0; i < 3; ++i) wheels_[i]->setPuck(pairs[i][0], pairs[i][1]);
}

// ---------------------------------------------------------------- FilmStockBox

FilmStockBox::FilmStockBox(QWidget* parent) : QWidget(parent) {
    setMinimumSize(160, 26);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void FilmStockBox::setStockId(int tag) {
    // The forced rounds set the same stock again: the table is read once a change.
    if (tag == tag_) return;
    tag_ = tag;
    patches_.clear();
    std::vector<float> table(kStockLutFloats);
    FillIdentityStockTable(table.data());
    LutManager::TextureWithStockSourceTypeToBufferOfLength(LutManager::StockNameForTag(tag), "5D", table.data(),
                                                           static_cast<int64_t>(kStockLutBytes));
    auto through = [&](double r, double g, double b) {
        auto at = [](double v) { return std::clamp(static_cast<int>(std::lround(v * 63.0)), 0, 63); };
        const float* e = table.data() + 3 * (at(r) + 64 * at(g) + 4096 * at(b));
        return QColor::fromRgbF(std::clamp(e[0], 0.0f, 1.0f), std::clamp(e[1], 0.0f, 1.0f), std::clamp(e[2], 0.0f, 1.0f));
    };
    for (int i = 0; i < 8; ++i) {
        const double v = i / 7.0;
        patches_.push_back(through(v, v, v));
    }
    // Skin, sky, foliage, a red and a yellow: what the eye judges a stock by.
    const double colours[5][3] = {{0.76, 0.56, 0.45}, {0.35, 0.52, 0.75}, {0.30, 0.45, 0.20}, {0.70, 0.15, 0.15},
                                  {0.85, 0.75, 0.25}};
    for (const auto& c : colours) patches_.push_back(through(c[0], c[1], c[2]));
    update();
}

void FilmStockBox::paintEvent(QPaintEvent* /*event*/) {
    QPainter p(this);
    p.fillRect(rect(), QColor(12, 12, 12));
    if (patches_.empty()) return;
    // Sprocket holes top and bottom, as on a strip of film.
    p.setBrush(QColor(48, 48, 50));
    p.setPen(Qt::NoPen);
    for (int x = 3; x < width(); x += 9) {
        p.drawRect(x, 1, 4, 3);
        p.drawRect(x, height() - 4, 4, 3);
    }
    const double w = (width() - 4.0) / static_cast<double>(patches_.size());
    for (size_t i = 0; i < patches_.size(); ++i)
        p.fillRect(QRectF(2 + w * static_cast<double>(i), 6, w - 1, height() - 12), patches_[i]);
}

}  // namespace ombrel
