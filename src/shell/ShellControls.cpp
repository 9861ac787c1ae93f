#include "shell/ShellControls.h"

#include <QFileDialog>
#include <QKeyEvent>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QTimer>

#include "core/Log.h"
#include "library/FileParser.h"
#include "library/MetadataCache.h"
#include "model/SettingsManager.h"

namespace ombrel {

namespace {
const QColor kGround(0x11, 0x11, 0x11);
const QColor kPanel(0x22, 0x22, 0x22);
const QColor kLine(0x44, 0x44, 0x44);
const QColor kText(0xcc, 0xcc, 0xcc);
const QColor kAccent(0xe6, 0xa0, 0x28);
const QColor kMissing(0xb0, 0x24, 0x24);
}  // namespace

void QtPopup::selectItemWithTag(int tag) {
    const int index = w_->findData(tag);
    if (index >= 0) w_->setCurrentIndex(index);
}

void QtTimer::OneShot(double seconds, std::function<void()> fn) {
    QTimer::singleShot(static_cast<int>(seconds * 1000.0), context_, std::move(fn));
}

namespace {
// A file panel answered "ok" without a path chose nothing, as "cancel" does.
std::optional<std::string> PathAnswer(const std::string& answer) {
    if (answer == "cancel" || answer == "ok") return std::nullopt;
    return answer;
}
}  // namespace

std::optional<std::string> QtModal::TakeAnswer() {
    if (answers_.empty()) return std::nullopt;
    std::string a = std::move(answers_.front());
    answers_.pop_front();
    return a;
}

void QtModal::RunMessage(const std::string& heading, const std::string& text) {
    Log()->info("modal: {}: {}", heading, text);
    if (TakeAnswer() || scripted_) return;
    QMessageBox::information(parent_, QString::fromStdString(heading), QString::fromStdString(text));
}

std::optional<std::string> QtModal::ChooseSavePath(const std::string& prompt) {
    std::printf("modal: Save: %s\n", prompt.c_str());
    std::fflush(stdout);
    if (auto a = TakeAnswer()) return PathAnswer(*a);
    if (scripted_) return std::nullopt;
    const QString path = QFileDialog::getSaveFileName(parent_, QString::fromStdString(prompt));
    if (path.isEmpty()) return std::nullopt;
    return path.toStdString();
}

std::optional<std::string> QtModal::ChooseFile(const std::string& title) {
    std::printf("modal: Open: %s\n", title.c_str());
    std::fflush(stdout);
    if (auto a = TakeAnswer()) return PathAnswer(*a);
    if (scripted_) return std::nullopt;
    const QString path = QFileDialog::getOpenFileName(parent_, QString::fromStdString(title));
    if (path.isEmpty()) return std::nullopt;
    return path.toStdString();
}

// ---------------------------------------------------------------- scrubber

ScrubberSlider::ScrubberSlider(QWidget* parent) : QSlider(Qt::Horizontal, parent) {
    setObjectName("scrubSlider");
    setMinimumHeight(28);
    setFocusPolicy(Qt::NoFocus);
}

void ScrubberSlider::setMarks(int in, int out) {
    in_ = in;
    out_ = out;
    update();
}

void ScrubberSlider::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), kGround);
    const int margin = 8;
    const int w = width() - 2 * margin;
    const int y = height() / 2;
    p.fillRect(margin, y - 2, w, 4, kLine);
    const int span = std::max(1, maximum() - minimum());
    auto xOf = [&](int v) { return margin + static_cast<int>(static_cast<double>(v - minimum()) * w / span); };
    if (out_ > in_) p.fillRect(xOf(in_), y - 2, xOf(out_) - xOf(in_), 4, QColor(0x66, 0x66, 0x66));
    p.setPen(kAccent);
    p.drawLine(xOf(in_), y + 4, xOf(in_), y + 10);
    if (out_ > 0) p.drawLine(xOf(out_), y + 4, xOf(out_), y + 10);
    const int x = xOf(value());
    p.setBrush(kText);
    p.setPen(Qt::NoPen);
    p.drawRect(x - 3, y - 9, 6, 18);
}

// ---------------------------------------------------------------- histogram

HistogramView::HistogramView(QWidget* parent) : QWidget(parent), buckets_(3 * 512, 0) {
    setObjectName("histogramView");
    for (size_t c = 0; c < 3; ++c) rows_[c] = buckets_.data() + c * 512;
    setMinimumSize(256, 100);
}

void HistogramView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), kGround);
    p.setPen(kLine);
    p.drawRect(rect().adjusted(0, 0, -1, -1));
    uint32_t top = 1;
    for (size_t i = 4; i < buckets_.size(); ++i)
        if (i % 512 > 4 && i % 512 < 508) top = std::max(top, buckets_[i]);
    const QColor colours[3] = {QColor(220, 60, 60, 150), QColor(60, 200, 60, 150), QColor(70, 110, 240, 150)};
    p.setCompositionMode(QPainter::CompositionMode_Plus);
    for (size_t c = 0; c < 3; ++c) {
        p.setPen(colours[c]);
        for (int x = 0; x < width(); ++x) {
            const size_t b = static_cast<size_t>(x) * 512 / static_cast<size_t>(std::max(1, width()));
            const double v = std::min(1.0, static_cast<double>(rows_[c][b]) / top);
            p.drawLine(x, height() - 1, x, height() - 1 - static_cast<int>(v * (height() - 2)));
        }
    }
}

// ---------------------------------------------------------------- film strip

namespace {
// The cache tells on the main thread when a thumbnail is made; the strip then repaints.
struct StripRepaint : MetadataObserver {
    QPointer<QWidget> strip;
    void SetNeedsDisplay(const std::string&) override {
        if (strip) strip->update();
    }
};
}  // namespace

FilmStripView::FilmStripView(ShotListDataSource* shotList, QWidget* parent) : QWidget(parent), shotList_(shotList) {
    auto observer = std::make_shared<StripRepaint>();
    observer->strip = this;
    thumbObserver_ = observer;
    setObjectName("filmStripCollection");
    setFocusPolicy(Qt::StrongFocus);
    setMinimumHeight(120);
}

void FilmStripView::SelectRowIndexes(const std::vector<size_t>& rows) {
    selection_ = rows;
    update();
}

QRect FilmStripView::cellRect(int index) const { return QRect(8 + index * 168, 8, 160, height() - 16); }

int FilmStripView::indexAt(const QPoint& point) const {
    for (int i = 0; i < static_cast<int>(shotList_->Count()); ++i)
        if (cellRect(i).contains(point)) return i;
    return -1;
}

void FilmStripView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), kGround);
    const auto& list = shotList_->List();
    for (size_t i = 0; i < list.size(); ++i) {
        const QRect cell = cellRect(static_cast<int>(i));
        if (!cell.intersects(rect())) continue;
        const bool selected = std::find(selection_.begin(), selection_.end(), i) != selection_.end();
        p.fillRect(cell, selected ? QColor(0x3a, 0x3a, 0x3a) : kPanel);
        p.setPen(selected ? kAccent : kLine);
        p.drawRect(cell.adjusted(0, 0, -1, -1));
        const std::string path = list[i]->FullPath();
        const QRect thumb = cell.adjusted(6, 6, -6, -26);
        if (const ImagePtr image = MetadataCache::RequestThumbNotify(path, thumbObserver_); image && !image->empty()) {
            const QImage q(image->rgba.data(), image->width, image->height, image->width * 4, QImage::Format_RGBA8888);
            p.drawImage(thumb, q);
        } else {
            p.fillRect(thumb, QColor(0x2c, 0x2c, 0x2c));
        }
        // A clip whose file has gone (moved, or on a drive not mounted) says so over its
        // cached picture: it will neither play nor render until File > Find Missing Files.
        if (std::error_code ec; !std::filesystem::exists(path, ec)) {
            p.fillRect(thumb, QColor(0, 0, 0, 160));
            const QRect banner(thumb.left(), thumb.center().y() - 9, thumb.width(), 18);
            p.fillRect(banner, kMissing);
            p.setPen(Qt::white);
            p.drawText(banner, Qt::AlignCenter, "MISSING");
        }
        p.setPen(kText);
        std::string name = FileParser::DisplayClipNameForPath(path);
        if (name.empty()) name = FileParser::DisplayNameForPath(path.substr(path.find_last_of('/') + 1));
        p.drawText(cell.adjusted(6, cell.height() - 22, -6, -4), Qt::AlignLeft | Qt::AlignVCenter,
                   QString::fromStdString(name));
        // The badge: the clip carries settings of a preset.
        if (const ClipSettingsPtr s = SettingsManager::Instance().SettingsForClip(path); s && !s->presetName().empty()) {
            const QRect badge(thumb.right() - 22, thumb.top() + 4, 18, 14);
            p.fillRect(badge, kAccent);
            p.setPen(Qt::black);
            p.drawText(badge, Qt::AlignCenter, "P");
        }
    }
}

void FilmStripView::mousePressEvent(QMouseEvent* e) {
    setFocus();
    const int index = indexAt(e->position().toPoint());
    if (index < 0) return;
    const bool extend = e->modifiers() & (Qt::ShiftModifier | Qt::ControlModifier);
    if (onClick_) onClick_(index, extend);
}

void FilmStripView::keyPressEvent(QKeyEvent* e) {
    if (onKey_ && onKey_(e->key())) return;
    QWidget::keyPressEvent(e);
}

// ---------------------------------------------------------------- lists

namespace {
// The second line, the reason a render failed after it, and the bar under both.
void DrawRenderRow(QPainter& p, const QRect& row, const RenderRowLook& look) {
    QRect line = row.adjusted(8, 20, -8, -16);
    if (look.detail) {
        p.setPen(QColor(0x88, 0x88, 0x88));
        QRect used;
        p.drawText(line, Qt::AlignLeft | Qt::AlignVCenter, QString::fromStdString(*look.detail), &used);
        line.setLeft(used.right() + 12);
    }
    if (!look.errorMessage.empty()) {
        p.setPen(QColor(0xe0, 0x50, 0x40));
        const QString why = p.fontMetrics().elidedText(QString::fromStdString("Failed: " + look.errorMessage),
                                                       Qt::ElideRight, line.width());
        p.drawText(line, Qt::AlignLeft | Qt::AlignVCenter, why);
    }
    if (!look.barShown) return;
    const QRect bar(row.left() + 8, row.bottom() - 13, row.width() - 16, static_cast<int>(RenderRowLook::kBarHeight));
    p.fillRect(bar, QColor::fromRgb(RenderRowLook::kGround));
    for (const ProgressSpan& span : look.spans) {
        QColor c = QColor::fromRgb(span.rgb);
        c.setAlphaF(static_cast<float>(span.alpha));
        const int x0 = bar.left() + static_cast<int>(span.from * bar.width());
        const int x1 = bar.left() + static_cast<int>(span.to * bar.width());
        p.fillRect(QRect(x0, bar.top(), std::max(0, x1 - x0), bar.height()), c);
    }
}
}  // namespace

ShotListTable::ShotListTable(ShotListDataSource* shotList, bool renderRows, QWidget* parent)
    : QWidget(parent), shotList_(shotList), renderRows_(renderRows) {
    setMinimumHeight(200);
}

void ShotListTable::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), kGround);
    const int rowHeight = renderRows_ ? 54 : 22;
    for (size_t i = 0; i < shotList_->Count(); ++i) {
        const QRect row(0, static_cast<int>(i) * rowHeight, width(), rowHeight);
        if (row.top() > height()) break;
        p.fillRect(row.adjusted(0, 0, 0, -1), i % 2 ? kGround : QColor(0x18, 0x18, 0x18));
        p.setPen(kText);
        if (renderRows_) {
            const RenderRowLook look = shotList_->RenderTableRow(i);
            p.drawText(row.adjusted(8, 2, -8, -20), Qt::AlignLeft | Qt::AlignVCenter, QString::fromStdString(look.title));
            DrawRenderRow(p, row, look);
        } else {
            p.drawText(row.adjusted(8, 0, -8, 0), Qt::AlignLeft | Qt::AlignVCenter,
                       QString::fromStdString(shotList_->List()[i]->FullPath()));
        }
    }
    if (shotList_->Count() == 0) {
        p.setPen(QColor(0x77, 0x77, 0x77));
        p.drawText(rect(), Qt::AlignCenter, "No clips in the shot list");
    }
}

}  // namespace ombrel
